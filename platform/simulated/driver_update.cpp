// newdev's driver update: publishes a package and binds it to every device with a hardware id.

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/device_setup.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/driver_package.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace vorn::platform {

namespace simulated {

namespace {

constexpr std::uint32_t kKnownFlags = 0x7;  // INSTALLFLAG_FORCE, READONLY, NONINTERACTIVE

bool HasHardwareId(const Device& device, std::u16string_view hardwareId) {
  return std::any_of(device.hardwareIds.begin(), device.hardwareIds.end(),
                     [&](const std::u16string& id) { return IsSameName(id, hardwareId); });
}

/// The rank of the device's selected package; nothing when it has none that can be read.
std::optional<DriverRank> SelectedRank(const Machine& machine, const Device& device,
                                       std::u16string_view hardwareId) {
  if (device.publishedInf.empty()) return std::nullopt;
  const auto inf = ReadWholeFile(machine.files, PublishedInfPath(machine, device.publishedInf));
  std::uint32_t ignored = 0;
  const auto package = inf ? ReadDriverPackage(*inf, hardwareId, &ignored) : std::nullopt;
  return package ? std::optional(package->rank) : std::nullopt;
}

struct UpdateRequest {
  std::u16string_view hardwareId;
  std::u16string_view infPath;
  bool force = false;
  bool restartAsked = false;  // asked for by whoever holds the device, whatever the package says
};

/// The outcome of an update: an error, or whether the machine must restart.
struct UpdateResult {
  std::uint32_t error = 0;
  bool needsRestart = false;
};

/// The devices that take a package of that rank. Documented: with INSTALLFLAG_FORCE all devices
/// with the hardware id take a package, otherwise only those whose own package ranks lower. Empty
/// when none of them is present.
std::vector<std::u16string> FindTakers(const Machine& machine, const UpdateRequest& request,
                                       const DriverRank& rank) {
  std::vector<std::u16string> takers;
  bool anyPresent = false;
  for (const Device& device : machine.devices.devices) {
    if (!HasHardwareId(device, request.hardwareId)) continue;
    const auto selected =
        request.force ? std::nullopt : SelectedRank(machine, device, request.hardwareId);
    if (selected && *selected >= rank) continue;
    takers.push_back(device.instanceId);
    anyPresent = anyPresent || device.present;
  }
  if (!anyPresent) takers.clear();
  return takers;
}

/// Assumed: after an update that asks for a restart a device keeps running what it runs, and one
/// that runs nothing reports that it waits. Question: which image and which problem has a device
/// after a bind that asked for a restart?
void WaitForRestart(Device& device) {
  device.pendingInf = device.publishedInf;
  if (IsStarted(device)) return;
  device.status |= DN_HAS_PROBLEM;
  device.problem = CM_PROB_NEED_RESTART;
}

void GivePackage(Machine& machine, const std::u16string& instanceId,
                 std::u16string_view publishedInf, bool needsRestart) {
  BindPackage(machine, instanceId, publishedInf);
  Device& device = *machine.devices.Find(instanceId);
  // Assumed: an absent or disabled device only gets the selection of a package. Question: which
  // package do the INF path and version of an absent device name after a bind?
  if (!device.present || device.problem == CM_PROB_DISABLED) return;
  if (needsRestart) {
    WaitForRestart(device);
  } else {
    RestartDevice(machine, instanceId);
  }
}

bool HasPresentDevice(const Machine& machine, std::u16string_view hardwareId) {
  const auto& devices = machine.devices.devices;
  return std::any_of(devices.begin(), devices.end(), [&](const Device& device) {
    return device.present && HasHardwareId(device, hardwareId);
  });
}

// Documented (porting from SetupAPI to CfgMgr32; UpdateDriverForPlugAndPlayDevices): the bind first
// looks for a device with the hardware id, and reads the INF only for a device that matches.
// Documented: without such a device it fails with ERROR_NO_SUCH_DEVINST, without the INF with
// ERROR_FILE_NOT_FOUND, and where no device takes the package with ERROR_NO_MORE_ITEMS. Documented:
// a publisher that is not trusted is a question to the user. Assumed: in a session where nobody
// answers it, the bind does not return. Question (untrusted-publisher): does a bind in session 0 of
// a package whose publisher is not trusted return, and with which error?
UpdateResult Update(Machine& machine, const UpdateRequest& request) {
  if (!HasPresentDevice(machine, request.hardwareId)) return {ERROR_NO_SUCH_DEVINST};
  std::uint32_t error = 0;
  const auto inf = ReadAsSystem(machine.files, request.infPath, &error);
  if (!inf) return {error == ERROR_PATH_NOT_FOUND ? ERROR_FILE_NOT_FOUND : error};
  if (machine.store.updateError != 0) return {machine.store.updateError};
  const auto package = ReadDriverPackage(*inf, request.hardwareId, &error);
  if (!package) return {error};
  if (!package->hasModel) return {ERROR_NO_MORE_ITEMS};
  const auto takers = FindTakers(machine, request, package->rank);
  if (takers.empty()) return {ERROR_NO_MORE_ITEMS};
  const auto published = PublishPackage(machine, request.infPath, request.hardwareId, &error);
  if (!published) return {error};
  const Bytes& image = machine.store.Find(*published)->image;
  const bool needsRestart = request.restartAsked || machine.store.updateNeedsRestart ||
                            (!image.empty() && ParseImage(image).needsRestart);
  for (const std::u16string& taker : takers)
    GivePackage(machine, taker, *published, needsRestart);
  return {0, needsRestart};
}

}  // namespace

}  // namespace simulated

using namespace simulated;

bool UpdateDriverForPlugAndPlayDevicesW(const char16_t* hardwareId, const char16_t* infPath,
                                        std::uint32_t flags, bool* restartRequired) {
  return SimulateBool(
      "UpdateDriverForPlugAndPlayDevicesW",
      Arguments("HardwareId", hardwareId, "FullInfPath", infPath, "InstallFlags", Hex{flags}),
      [&](const CallFaults& faults) {
        if (hardwareId == nullptr || infPath == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
        if ((flags & ~kKnownFlags) != 0) return FailWith(ERROR_INVALID_FLAGS);
        const UpdateResult result =
            Update(Process::Current().TheMachine(),
                   {hardwareId, infPath, (flags & INSTALLFLAG_FORCE) != 0, faults.AsksRestart()});
        if (result.error != 0) return FailWith(result.error);
        if (restartRequired != nullptr) *restartRequired = result.needsRestart;
        return true;
      });
}

}  // namespace vorn::platform
