#include "base/text.h"
#include "capture/readers.h"
#include "control/control_channel.h"
#include "control/control_protocol.h"
#include "control/control_request.h"
#include "devnode/device_reads.h"
#include "devnode/root_walk.h"
#include "platform/config_manager.h"
#include "platform/device_io.h"
#include "platform/files.h"
#include "platform/owners.h"
#include "product/product.h"

#include <algorithm>
#include <set>

namespace vorn::capture {

namespace {

using platform::DEVINST;
using platform::HDEVINFO;
using platform::SP_DEVINFO_DATA;

// More than any machine has; what lies beyond is an error of the capture.
constexpr std::uint32_t kMostDevices = 4096;
constexpr std::uint32_t kMostChildren = 1024;
constexpr std::uint32_t kMostPropertyBytes = 65536;
constexpr std::uint32_t kClassTextBytes = 128;  // as much as the program has room for

constexpr platform::DEVPROPKEY kProperties[] = {platform::DEVPKEY_Device_DriverVersion,
                                                platform::DEVPKEY_Device_DriverInfPath,
                                                platform::DEVPKEY_Device_Service};
constexpr platform::GUID kInterfaceClasses[] = {kControlInterfaceClass, platform::KSCATEGORY_AUDIO};

/// Upper-cased instance ids of the devices that are present.
std::set<std::u16string> ListPresent() {
  std::set<std::u16string> present;
  const platform::DeviceInfoList list = OpenRootDevices(RootScope::Present);
  if (!list) return present;
  SP_DEVINFO_DATA device = {};
  for (std::uint32_t index = 0; index < kMostDevices; ++index) {
    device = {};
    device.cbSize = sizeof device;
    if (!platform::SetupDiEnumDeviceInfo(list.Get(), index, &device)) break;
    if (const auto id = ReadInstanceId(list.Get(), device)) present.insert(ToUpperAscii(*id));
  }
  return present;
}

std::optional<Bytes> ReadHardwareIds(HDEVINFO list, const SP_DEVINFO_DATA& device) {
  std::uint32_t size = 0;
  platform::SetupDiGetDeviceRegistryPropertyW(list, &device, platform::SPDRP_HARDWAREID, nullptr,
                                              nullptr, 0, &size);
  if (size == 0 || size > kMostPropertyBytes) return std::nullopt;
  Bytes data(size);
  if (!platform::SetupDiGetDeviceRegistryPropertyW(list, &device, platform::SPDRP_HARDWAREID,
                                                   nullptr, data.data(), size, nullptr)) {
    return std::nullopt;
  }
  return data;
}

void ReadProperties(HDEVINFO list, const SP_DEVINFO_DATA& device, DeviceFact& fact) {
  for (const platform::DEVPROPKEY& key : kProperties) {
    PropertyFact property = {.key = key};
    std::uint32_t size = 0;
    platform::SetupDiGetDevicePropertyW(list, &device, &key, &property.type, nullptr, 0, &size);
    if (size == 0 || size > kMostPropertyBytes) continue;
    property.data.resize(size);
    if (platform::SetupDiGetDevicePropertyW(list, &device, &key, &property.type,
                                            property.data.data(), size, nullptr)) {
      fact.properties.push_back(std::move(property));
    }
  }
}

void ReadStatus(DEVINST node, DeviceFact& fact) {
  fact.statusError = platform::CM_Get_DevNode_Status(&fact.status, &fact.problem, node);
  if (fact.statusError != platform::CR_SUCCESS) fact.status = fact.problem = 0;
}

// ------------------------------------------------------------------------------------------------
// Nodes below a root.

std::optional<std::u16string> ReadNodeId(DEVINST node) {
  std::uint32_t length = 0;
  if (platform::CM_Get_Device_ID_Size(&length, node) != platform::CR_SUCCESS) return std::nullopt;
  if (length > kMostPropertyBytes) return std::nullopt;
  std::u16string id(std::size_t{length} + 1, u'\0');
  if (platform::CM_Get_Device_IDW(node, id.data(), length + 1) != platform::CR_SUCCESS) {
    return std::nullopt;
  }
  return std::u16string(id.c_str());
}

void ReadChild(DEVINST node, const std::u16string& parent, CapturedMachine& machine) {
  std::optional<std::u16string> id = ReadNodeId(node);
  if (!id || id->empty()) {
    machine.Miss(u"child of " + parent, "CM_Get_Device_IDW", 0);
    return;
  }
  DeviceFact fact;
  fact.instanceId = std::move(*id);
  fact.parent = parent;
  fact.ours = true;
  char16_t text[kClassTextBytes / sizeof(char16_t) + 1] = {};
  std::uint32_t size = kClassTextBytes;
  const platform::CONFIGRET result = platform::CM_Get_DevNode_Registry_PropertyW(
      node, platform::CM_DRP_CLASSGUID, nullptr, text, &size);
  fact.classText = result == platform::CR_SUCCESS ? std::u16string(text) : std::u16string();
  if (result != platform::CR_SUCCESS) {
    machine.Miss(u"class of " + fact.instanceId, "CM_Get_DevNode_Registry_PropertyW", result);
  }
  ReadStatus(node, fact);
  machine.devices.push_back(std::move(fact));
}

void ReadChildren(DEVINST root, const std::u16string& parent, CapturedMachine& machine) {
  DEVINST child = 0;
  platform::CONFIGRET found = platform::CM_Get_Child(&child, root);
  for (std::uint32_t count = 0; found == platform::CR_SUCCESS; ++count) {
    if (count == kMostChildren) {
      machine.Miss(u"children of " + parent, "CM_Get_Sibling", 0);
      return;
    }
    ReadChild(child, parent, machine);
    found = platform::CM_Get_Sibling(&child, child);
  }
}

// ------------------------------------------------------------------------------------------------
// The driver.

/// Asks for a reply that the program asks for, too; the requests change nothing.
template <class Reply>
ReplyFact Ask(platform::HANDLE channel, std::uint32_t code) {
  Reply reply;
  const ControlAnswer answer = SendControlRequest(channel, code, nullptr, 0, &reply, sizeof reply);
  ReplyFact fact = {.code = code, .answered = answer.succeeded};
  if (!answer.succeeded) {
    fact.error = answer.error;
    return fact;
  }
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&reply);
  fact.reply.assign(bytes, bytes + std::min<std::size_t>(answer.bytes, sizeof reply));
  return fact;
}

/// Opens an interface for reading, which the two queries take.
platform::DeviceHandle OpenForReading(const std::u16string& path) {
  return platform::DeviceHandle(platform::CreateFileW(
      path.c_str(), platform::GENERIC_READ, platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE,
      platform::OPEN_EXISTING, platform::FILE_ATTRIBUTE_NORMAL));
}

void ReadInterfaces(DeviceFact& fact, CapturedMachine& machine) {
  for (const platform::GUID& interfaceClass : kInterfaceClasses) {
    for (std::u16string& path : ListRootInterfacePaths(interfaceClass, fact.instanceId)) {
      InterfaceFact interface = {.interfaceClass = interfaceClass, .path = std::move(path)};
      const platform::DeviceHandle handle = OpenForReading(interface.path);
      if (!handle) {
        interface.openError = platform::GetLastError();
        machine.Miss(u"interface " + interface.path, "CreateFileW", interface.openError);
      } else if (fact.replies.empty()) {
        fact.replies.push_back(Ask<StatusReply>(handle.Get(), kGetStatusCode));
        fact.replies.push_back(Ask<EndpointPoolReply>(handle.Get(), kEndpointPoolCode));
      }
      fact.interfaces.push_back(std::move(interface));
    }
  }
  for (const ReplyFact& reply : fact.replies) {
    if (!reply.answered) {
      machine.Miss(u"driver of " + fact.instanceId, "DeviceIoControl", reply.error);
    }
  }
}

// ------------------------------------------------------------------------------------------------

DeviceFact ReadDevice(HDEVINFO list, const SP_DEVINFO_DATA& device,
                      const std::set<std::u16string>& present, std::u16string instanceId,
                      CapturedMachine& machine) {
  DeviceFact fact;
  fact.instanceId = std::move(instanceId);
  fact.present = present.contains(ToUpperAscii(fact.instanceId));
  fact.ours = MatchesRootHardwareId(list, device);
  fact.hardwareIds = ReadHardwareIds(list, device);
  if (!fact.ours) return fact;
  fact.classGuid = device.ClassGuid;
  ReadProperties(list, device, fact);
  platform::SP_DEVINSTALL_PARAMS_W parameters = {};
  parameters.cbSize = sizeof parameters;
  if (platform::SetupDiGetDeviceInstallParamsW(list, &device, &parameters)) {
    fact.installFlags = parameters.Flags;
  }
  if (!fact.present) return fact;
  ReadStatus(device.DevInst, fact);
  if (fact.statusError != platform::CR_SUCCESS) {
    machine.Miss(u"status of " + fact.instanceId, "CM_Get_DevNode_Status", fact.statusError);
  }
  ReadInterfaces(fact, machine);
  return fact;
}

/// A root that is present, whose children are read after all roots.
struct PresentRoot {
  DEVINST node;
  std::u16string instanceId;
};

}  // namespace

void ReadDevices(CapturedMachine& machine) {
  const std::set<std::u16string> present = ListPresent();
  const platform::DeviceInfoList list = OpenRootDevices(RootScope::Installed);
  if (!list) {
    machine.Miss(u"devices", "SetupDiGetClassDevsW", platform::GetLastError());
    return;
  }
  std::vector<PresentRoot> roots;
  for (std::uint32_t index = 0;; ++index) {
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof device;
    if (index == kMostDevices || !platform::SetupDiEnumDeviceInfo(list.Get(), index, &device)) {
      const std::uint32_t error = platform::GetLastError();
      if (error != platform::ERROR_NO_MORE_ITEMS) {
        machine.Miss(u"devices", "SetupDiEnumDeviceInfo", error);
      }
      break;
    }
    std::optional<std::u16string> id = ReadInstanceId(list.Get(), device);
    if (!id) {
      machine.Miss(u"instance id", "SetupDiGetDeviceInstanceIdW", platform::GetLastError());
      continue;
    }
    machine.devices.push_back(ReadDevice(list.Get(), device, present, std::move(*id), machine));
    const DeviceFact& fact = machine.devices.back();
    if (fact.ours && fact.present) roots.push_back({device.DevInst, fact.instanceId});
  }
  for (const PresentRoot& root : roots)
    ReadChildren(root.node, root.instanceId, machine);
}

}  // namespace vorn::capture
