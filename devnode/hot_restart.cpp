#include "devnode/hot_restart.h"

#include "devnode/class_installer.h"
#include "devnode/root_discovery.h"
#include "devnode/root_walk.h"
#include "report/console.h"

#include <cstdint>
#include <optional>

namespace vorn {

namespace {

constexpr std::uint32_t kRestartTimeoutMs = 30'000;

/// The only matching device of a list. Nothing, with a report, unless there is exactly one and the
/// whole list was read.
std::optional<platform::SP_DEVINFO_DATA> FindOnlyRoot(platform::HDEVINFO list) {
  RootWalk walk(list);
  std::int32_t found = 0;
  platform::SP_DEVINFO_DATA root = {};
  for (platform::SP_DEVINFO_DATA device = {}; walk.Next(device); ++found)
    root = device;
  if (walk.SawEveryDevice() && found == 1) return root;
  PrintError(
      u"vorn_devnode: hot-swap preflight requires exactly one present VORN root (found %d)\n",
      found);
  return std::nullopt;
}

bool RestartDevice(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device) {
  return (SetRestartParameters(list, device) &&
          platform::SetupDiCallClassInstaller(platform::DIF_PROPERTYCHANGE, list, &device)) ||
         ReportFailedCall(u"SetupDiCallClassInstaller(hot-swap preflight)");
}

bool WaitUntilRestarted() {
  const StartWait wait = WaitForStartedRoot(kRestartTimeoutMs);
  if (!wait.started) {
    PrintError(u"vorn_devnode: VORN root did not restart during hot-swap preflight (CM_PROB=%lu)\n",
               wait.problem);
    return false;
  }
  Print(u"vorn_devnode: VORN root hot-restart preflight passed\n");
  return true;
}

}  // namespace

HotRestartResult RunHotRestartPreflight() {
  const platform::DeviceInfoList present = OpenRootDevices(RootScope::Present);
  if (!present) {
    ReportFailedCall(u"SetupDiGetClassDevs(hot-swap preflight)");
    return {};
  }
  const std::optional<platform::SP_DEVINFO_DATA> root = FindOnlyRoot(present.Get());
  if (!root || !RestartDevice(present.Get(), *root)) return {};
  const std::optional<bool> restartNeeded = ReadRestartNeeded(present.Get(), *root);
  if (!restartNeeded) {
    ReportFailedCall(u"SetupDiGetDeviceInstallParams(hot-swap preflight)");
    return {};
  }
  if (*restartNeeded) {
    PrintError(
        u"vorn_devnode: hot-swap preflight requested a system restart; refusing candidate before "
        u"bind\n");
    return {.passed = false, .restartRequested = true};
  }
  return {.passed = WaitUntilRestarted(), .restartRequested = false};
}

}  // namespace vorn
