#include "remove/root_removal.h"

#include "devnode/class_installer.h"
#include "devnode/root_discovery.h"
#include "devnode/root_walk.h"
#include "platform/clock.h"
#include "report/console.h"

namespace vorn {

namespace {

constexpr std::uint64_t kWaitMs = 30000;
constexpr std::uint32_t kPollMs = 500;

/// False after a failed call, which is reported.
bool RemoveRoot(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
                RootRemoval& removal) {
  if (!SetRemoveParameters(list, device)) {
    return ReportFailedCall(u"SetupDiSetClassInstallParams(DIF_REMOVE)");
  }
  if (!platform::SetupDiCallClassInstaller(platform::DIF_REMOVE, list, &device)) {
    return ReportFailedCall(u"SetupDiCallClassInstaller(DIF_REMOVE)");
  }
  ++removal.removed;
  // Unreadable restart flags are not a failure: the later count of roots decides.
  if (ReadRestartNeeded(list, device).value_or(false)) removal.rebootRequired = true;
  return true;
}

}  // namespace

std::optional<RootRemoval> RemoveInstalledRoots() {
  const platform::DeviceInfoList list = OpenRootDevices(RootScope::Installed);
  if (!list) {
    ReportFailedCall(u"SetupDiGetClassDevs");
    return std::nullopt;
  }
  RootRemoval removal;
  RootWalk walk(list.Get());
  for (platform::SP_DEVINFO_DATA device = {}; walk.Next(device);) {
    if (!RemoveRoot(list.Get(), device, removal)) removal.failed = true;
  }
  removal.sawEveryDevice = walk.SawEveryDevice();
  return removal;
}

std::optional<std::int32_t> WaitForZeroRoots() {
  const std::uint64_t start = platform::GetTickCount64();
  while (true) {
    const std::optional<std::int32_t> count = CountInstalledRoots();
    if (count == 0) return count;
    platform::Sleep(kPollMs);
    if (platform::GetTickCount64() - start >= kWaitMs) return count;
  }
}

}  // namespace vorn
