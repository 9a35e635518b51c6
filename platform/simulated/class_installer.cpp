// New devices in a list, and the class installer, which registers, removes or restarts a device
// with the parameters that were set for it.

#include "base/text.h"
#include "platform/device_setup.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/device_list.h"
#include "platform/simulated/device_removal.h"
#include "platform/simulated/error_values.h"

#include <algorithm>
#include <cstring>

namespace vorn::platform {

namespace simulated {

namespace {

constexpr std::uint32_t DI_CLASSINSTALLPARAMS = 0x00100000;
constexpr std::uint32_t DI_REMOVEDEVICE_CONFIGSPECIFIC = 0x2;
constexpr std::uint32_t DICS_ENABLE = 0x1;
constexpr std::uint32_t DICS_DISABLE = 0x2;
constexpr std::uint32_t DICS_STOP = 0x5;
constexpr std::uint32_t DICS_FLAG_GLOBAL = 0x1;
constexpr std::uint32_t DICS_FLAG_CONFIGGENERAL = 0x4;
constexpr std::size_t kMaxDeviceNameLength = 200;  // MAX_DEVNODE_ID_LEN
constexpr std::uint32_t kGeneratedIds = 10000;     // four digits

template <class Parameters>
Parameters ReadAs(const SP_CLASSINSTALL_HEADER* parameters) {
  Parameters copy = {};
  std::memcpy(&copy, parameters, sizeof copy);
  return copy;
}

// ------------------------------------------------------------------------------------------------
// New devices.

bool IsTaken(const DeviceList& list, std::u16string_view instanceId) {
  const auto has = [instanceId](const DeviceElement& element) {
    return IsSameDevice(element.instanceId, instanceId);
  };
  // Documented: an installed device keeps its id while it is absent.
  const DeviceTree& tree = Process::Current().TheMachine().devices;
  return tree.Find(instanceId) != nullptr ||
         std::any_of(list.devices.begin(), list.devices.end(), has);
}

/// ROOT\NAME\0000 with the first free number; empty when none is free.
std::u16string GenerateId(const DeviceList& list, std::u16string_view name) {
  for (std::uint32_t number = 0; number < kGeneratedIds; ++number) {
    std::u16string digits = ToUtf16(RenderNumber(number));
    digits.insert(0, 4 - digits.size(), u'0');
    std::u16string id = u"ROOT\\" + ToUpperAscii(name) + u"\\" + digits;
    if (!IsTaken(list, id)) return id;
  }
  return {};
}

/// The error of a name for a new device; 0 when it is valid. With a generated id the name is a
/// single part, otherwise it is the whole instance id.
std::uint32_t CheckName(std::u16string_view name, std::uint32_t flags) {
  if ((flags & ~DICD_GENERATE_ID) != 0) return ERROR_INVALID_FLAGS;
  const auto separators = std::count(name.begin(), name.end(), u'\\');
  const bool generated = flags == DICD_GENERATE_ID;
  const bool good = !name.empty() && name.size() < kMaxDeviceNameLength &&
                    separators == (generated ? 0 : 2) &&
                    (generated || EqualsIgnoringCase(name.substr(0, 5), u"ROOT\\"));
  return good ? 0 : ERROR_INVALID_DEVINST_NAME;
}

void AppendNewDevice(DeviceList& list, std::u16string instanceId, const GUID& classGuid) {
  Machine& machine = Process::Current().TheMachine();
  Device device;
  device.instanceId = std::move(instanceId);
  device.enumerator = u"ROOT";
  device.classGuid = classGuid;
  const auto name = machine.classNames.find(ToUpperAscii(ToUtf16(RenderGuid(classGuid))));
  if (name != machine.classNames.end()) device.className = name->second;
  list.Append(device);
  list.devices.back().unregistered = std::make_unique<Device>(std::move(device));
}

// ------------------------------------------------------------------------------------------------
// Parameters.

/// What the block means; nothing, with the last error, when it does not fit its function.
std::optional<ClassInstallParameters> ReadParameters(const SP_CLASSINSTALL_HEADER* header,
                                                     std::uint32_t size) {
  const auto refuse = [](std::uint32_t error) {
    SetLastError(error);
    return std::nullopt;
  };
  if (size < sizeof(SP_CLASSINSTALL_HEADER)) return refuse(ERROR_INVALID_PARAMETER);
  if (header->cbSize != sizeof(SP_CLASSINSTALL_HEADER)) return refuse(ERROR_INVALID_USER_BUFFER);
  if (header->InstallFunction == DIF_REMOVE) {
    if (size < sizeof(SP_REMOVEDEVICE_PARAMS)) return refuse(ERROR_INVALID_PARAMETER);
    const auto scope = ReadAs<SP_REMOVEDEVICE_PARAMS>(header).Scope;
    if (scope != DI_REMOVEDEVICE_GLOBAL && scope != DI_REMOVEDEVICE_CONFIGSPECIFIC) {
      return refuse(ERROR_INVALID_FLAGS);
    }
    return ClassInstallParameters{DIF_REMOVE, 0};
  }
  if (header->InstallFunction == DIF_PROPERTYCHANGE) {
    if (size < sizeof(SP_PROPCHANGE_PARAMS)) return refuse(ERROR_INVALID_PARAMETER);
    const auto change = ReadAs<SP_PROPCHANGE_PARAMS>(header);
    const bool known =
        change.StateChange >= DICS_ENABLE && change.StateChange <= DICS_STOP &&
        (change.Scope == DICS_FLAG_GLOBAL || change.Scope == DICS_FLAG_CONFIGSPECIFIC ||
         change.Scope == DICS_FLAG_CONFIGGENERAL);
    if (!known) return refuse(ERROR_INVALID_FLAGS);
    return ClassInstallParameters{DIF_PROPERTYCHANGE, change.StateChange};
  }
  return ClassInstallParameters{header->InstallFunction, 0};
}

// ------------------------------------------------------------------------------------------------
// What the class installer does.

bool Register(DeviceElement& element) {
  // Documented: a device that is already registered stays as it is.
  if (!element.unregistered) return true;
  Machine& machine = Process::Current().TheMachine();
  if (machine.devices.Find(element.instanceId) != nullptr) {
    return FailWith(ERROR_DEVINST_ALREADY_EXISTS);
  }
  Device device = std::move(*element.unregistered);
  element.unregistered.reset();
  // Assumed: a root-enumerated device is present as soon as it is registered, with the problem of a
  // device without a driver. Question: which status and problem does a device report between
  // DIF_REGISTERDEVICE and the bind?
  device.present = true;
  device.status = DN_ROOT_ENUMERATED | DN_NT_ENUMERATOR | DN_HAS_PROBLEM;
  device.problem = CM_PROB_FAILED_INSTALL;
  machine.devices.Insert(std::move(device));
  return true;
}

/// Removes a device from the machine. There is only one hardware profile, so both scopes do the
/// same. Documented: a removal that only a restart completes sets DI_NEEDREBOOT.
bool Remove(DeviceElement& element, const CallFaults& faults) {
  if (element.unregistered) {
    element.unregistered.reset();
    return true;
  }
  const Device* device = FindDeviceOf(element);
  if (device == nullptr) return false;
  if (device->temper.removeError != 0) return FailWith(device->temper.removeError);
  if (device->temper.removeNeedsRestart || faults.AsksRestart()) {
    element.installFlags |= DI_NEEDREBOOT;
  }
  RemoveDevice(Process::Current().TheMachine(), element.instanceId);
  return true;
}

/// Stops the device and sets its problem.
void StopWithProblem(Machine& machine, const std::u16string& instanceId, std::uint32_t problem) {
  StopDevice(machine, instanceId);
  Device& device = *machine.devices.Find(instanceId);
  device.status |= DN_HAS_PROBLEM;
  device.problem = problem;
}

bool ChangeState(DeviceElement& element, const CallFaults& faults) {
  if (!element.parameters || element.parameters->function != DIF_PROPERTYCHANGE) {
    return FailWith(ERROR_NO_CLASSINSTALL_PARAMS);
  }
  const Device* device = element.unregistered ? nullptr : FindDeviceOf(element);
  if (device == nullptr || !device->present) return FailWith(ERROR_NO_SUCH_DEVINST);
  const DeviceTemper temper = device->temper;
  if (temper.restartError != 0) return FailWith(temper.restartError);
  if (temper.restartNeedsReboot || faults.AsksRestart()) {
    // Documented: while somebody holds a device open, a change of its state waits for the restart.
    element.installFlags |= DI_NEEDRESTART;
    return true;
  }
  Machine& machine = Process::Current().TheMachine();
  const std::uint32_t change = element.parameters->stateChange;
  if (change == DICS_ENABLE) {
    EnableDevice(machine, element.instanceId);
  } else if (change == DICS_DISABLE) {
    DisableDevice(machine, element.instanceId);
  } else if (change == DICS_STOP) {
    StopDevice(machine, element.instanceId);
  } else if (temper.restartProblem != 0) {
    StopWithProblem(machine, element.instanceId, temper.restartProblem);
  } else {
    RestartDevice(machine, element.instanceId);
  }
  return true;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

bool SetupDiCreateDeviceInfoW(HDEVINFO list, const char16_t* deviceName, const GUID* classGuid,
                              const char16_t* description, std::uint32_t flags,
                              SP_DEVINFO_DATA* device) {
  return SimulateBool("SetupDiCreateDeviceInfoW",
                      Arguments("DeviceInfoSet", list, "DeviceName", deviceName, "ClassGuid",
                                classGuid == nullptr ? GUID{} : *classGuid, "DeviceDescription",
                                description, "CreationFlags", Hex{flags}),
                      [&](const CallFaults&) {
                        const auto found = FindList(list);
                        if (found == nullptr) return false;
                        if (deviceName == nullptr || classGuid == nullptr)
                          return FailWith(ERROR_INVALID_PARAMETER);
                        if (device != nullptr && device->cbSize != sizeof(SP_DEVINFO_DATA)) {
                          return FailWith(ERROR_INVALID_USER_BUFFER);
                        }
                        if (found->classGuid != GUID{} && found->classGuid != *classGuid) {
                          return FailWith(ERROR_CLASS_MISMATCH);
                        }
                        if (const std::uint32_t error = CheckName(deviceName, flags))
                          return FailWith(error);
                        std::u16string id = flags == DICD_GENERATE_ID
                                                ? GenerateId(*found, deviceName)
                                                : std::u16string(deviceName);
                        if (id.empty() || IsTaken(*found, id))
                          return FailWith(ERROR_DEVINST_ALREADY_EXISTS);
                        AppendNewDevice(*found, std::move(id), *classGuid);
                        if (device != nullptr) Describe(*found, found->devices.size() - 1, device);
                        return true;
                      });
}

bool SetupDiSetClassInstallParamsW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                   const SP_CLASSINSTALL_HEADER* parameters, std::uint32_t size) {
  const bool hasHeader = parameters != nullptr && size >= sizeof(SP_CLASSINSTALL_HEADER);
  const auto word = [&](std::size_t offset) {
    std::uint32_t value = 0;
    if (hasHeader && offset + sizeof value <= size) {
      std::memcpy(&value, reinterpret_cast<const std::uint8_t*>(parameters) + offset, sizeof value);
    }
    return value;
  };
  return SimulateBool(
      "SetupDiSetClassInstallParamsW",
      Arguments("DeviceInfoSet", list, "DeviceInfoData", DeviceArgument{device},
                "ClassInstallParamsSize", size, "cbSize", word(0), "InstallFunction", Hex{word(4)},
                "Parameter1", word(8), "Parameter2", word(12), "Parameter3", word(16)),
      [&](const CallFaults&) {
        const auto found = FindList(list);
        DeviceElement* element = found == nullptr ? nullptr : found->Find(device);
        if (element == nullptr) return false;
        if (parameters == nullptr) {
          if (size != 0) return FailWith(ERROR_INVALID_PARAMETER);
          element->parameters.reset();
          element->installFlags &= ~DI_CLASSINSTALLPARAMS;
          return true;
        }
        const auto read = ReadParameters(parameters, size);
        if (!read) return false;
        element->parameters = read;
        element->installFlags |= DI_CLASSINSTALLPARAMS;
        return true;
      });
}

bool SetupDiCallClassInstaller(std::uint32_t installFunction, HDEVINFO list,
                               const SP_DEVINFO_DATA* device) {
  return SimulateBool("SetupDiCallClassInstaller",
                      Arguments("InstallFunction", Hex{installFunction}, "DeviceInfoSet", list,
                                "DeviceInfoData", DeviceArgument{device}),
                      [&](const CallFaults& faults) {
                        const auto found = FindList(list);
                        DeviceElement* element = found == nullptr ? nullptr : found->Find(device);
                        if (element == nullptr) return false;
                        switch (installFunction) {
                          case DIF_REGISTERDEVICE:
                            return Register(*element);
                          case DIF_REMOVE:
                            return Remove(*element, faults);
                          case DIF_PROPERTYCHANGE:
                            return ChangeState(*element, faults);
                          default:
                            return FailWith(ERROR_DI_DO_DEFAULT);
                        }
                      });
}

bool SetupDiGetDeviceInstallParamsW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                    SP_DEVINSTALL_PARAMS_W* parameters) {
  return SimulateBool(
      "SetupDiGetDeviceInstallParamsW",
      Arguments("DeviceInfoSet", list, "DeviceInfoData", DeviceArgument{device}, "cbSize",
                parameters == nullptr ? std::uint32_t{0} : parameters->cbSize),
      [&](const CallFaults&) {
        const auto found = FindList(list);
        const DeviceElement* element = found == nullptr ? nullptr : found->Find(device);
        if (element == nullptr) return false;
        if (parameters == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
        if (parameters->cbSize != sizeof(SP_DEVINSTALL_PARAMS_W)) {
          return FailWith(ERROR_INVALID_USER_BUFFER);
        }
        *parameters = {};
        parameters->cbSize = sizeof(SP_DEVINSTALL_PARAMS_W);
        parameters->Flags = element->installFlags;
        return true;
      });
}

}  // namespace vorn::platform
