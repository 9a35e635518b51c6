#include "install/fresh_install.h"

#include "install/driver_binding.h"
#include "journal/journal_guard.h"
#include "platform/device_setup.h"
#include "platform/owners.h"
#include "product/product.h"
#include "report/console.h"
#include "verify/live_verification.h"

#include <string_view>
#include <utility>

namespace vorn {

namespace {

constexpr std::uint32_t kMaxClassNameLength = 32;  // MAX_CLASS_NAME_LEN, with the terminator

struct NewRoot {
  platform::DeviceInfoList list;
  platform::SP_DEVINFO_DATA device = {};
};

/// Reports the failed call and returns `status`.
ExitStatus ReportFailure(std::u16string_view call, ExitStatus status) {
  ReportFailedCall(call);
  return status;
}

/// Registers a root device without a driver. Returns kExitOk or the status of the failed step.
ExitStatus RegisterRoot(NewRoot& root) {
  root.list = platform::DeviceInfoList(platform::SetupDiCreateDeviceInfoList(&kSetupClass));
  if (!root.list) return ReportFailure(u"SetupDiCreateDeviceInfoList", kExitCreateListFailed);

  char16_t className[kMaxClassNameLength] = {};
  if (!platform::SetupDiClassNameFromGuidW(&kSetupClass, className, kMaxClassNameLength, nullptr)) {
    return ReportFailure(u"SetupDiClassNameFromGuid", kExitClassNameFailed);
  }
  root.device.cbSize = sizeof root.device;
  if (!platform::SetupDiCreateDeviceInfoW(root.list.Get(), className, &kSetupClass, nullptr,
                                          platform::DICD_GENERATE_ID, &root.device)) {
    return ReportFailure(u"SetupDiCreateDeviceInfo", kExitCreateDeviceFailed);
  }
  if (!platform::SetupDiSetDeviceRegistryPropertyW(root.list.Get(), &root.device,
                                                   platform::SPDRP_HARDWAREID, kRootHardwareIds,
                                                   sizeof kRootHardwareIds)) {
    return ReportFailure(u"SetupDiSetDeviceRegistryProperty(HARDWAREID)", kExitSetHardwareIdFailed);
  }
  if (!platform::SetupDiCallClassInstaller(platform::DIF_REGISTERDEVICE, root.list.Get(),
                                           &root.device)) {
    return ReportFailure(u"SetupDiCallClassInstaller(DIF_REGISTERDEVICE)",
                         kExitRegisterDeviceFailed);
  }
  return kExitOk;
}

struct NewBinding {
  ExitStatus status = kExitOk;                  // else there is no device
  BindOutcome outcome = BindOutcome::Rejected;  // of kExitOk
};

/// Creates the device and binds the package; removes the device again if the bind fails.
NewBinding CreateAndBindRoot(const InstallRequest& request) {
  NewRoot root;
  const ExitStatus status = RegisterRoot(root);
  if (status != kExitOk) return {.status = status};
  const BindOutcome outcome = BindDriver(request.inf.path);
  if (outcome != BindOutcome::Rejected) return {.outcome = outcome};
  ReportFailedCall(u"UpdateDriverForPlugAndPlayDevices");
  platform::SetupDiCallClassInstaller(platform::DIF_REMOVE, root.list.Get(), &root.device);
  return {.status = kExitFreshBindFailed};
}

ExitStatus ReportDeferredStart(const InstallRequest& request, JournalGuard& journal) {
  if (!request.rollback) {
    PrintError(
        u"vorn_devnode: RESULT=NOT_STARTED - Windows requested a restart; candidate must be rolled "
        u"back\n");
    return kExitNotStarted;
  }
  PrintError(
      u"vorn_devnode: RESULT=REBOOT_REQUIRED - rollback package bound; Windows starts it at the "
      u"next restart\n");
  journal.Keep();
  return kExitRebootRequired;
}

}  // namespace

ExitStatus InstallFreshRoot(const InstallRequest& request, DriverIdentity target) {
  const ActivationState state = {
      .fresh = true, .target = std::move(target), .catalog = {}, .present = {}};
  if (!request.journal.Write(state)) return kExitActivationStateBlocks;
  JournalGuard journal(request.journal);

  const NewBinding binding = CreateAndBindRoot(request);
  if (binding.status != kExitOk) return binding.status;
  Print(u"vorn_devnode: Root\\VornAudio installed\n");

  if (binding.outcome == BindOutcome::WaitsForRestart) return ReportDeferredStart(request, journal);
  const ExitStatus proven = RunLiveVerification(state, VerificationMode::Reporting);
  if (proven == kExitOk) journal.Keep();
  return proven;
}

}  // namespace vorn
