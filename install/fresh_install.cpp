#include "install/fresh_install.h"

#include "install/driver_binding.h"
#include "journal/activation_storage.h"
#include "journal/journal_guard.h"
#include "platform/device_setup.h"
#include "platform/owners.h"
#include "report/console.h"
#include "verify/live_verification.h"

#include <string_view>

namespace vorn {

namespace {

constexpr platform::GUID kMediaClass = {
    0x4d36e96c, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr std::uint32_t kMaxClassNameLength = 32;  // MAX_CLASS_NAME_LEN, with the terminator

/// The hardware id as a multi-string: the id, its terminator, and the list's.
constexpr char16_t kHardwareIds[] = u"Root\\VornAudio\0";
static_assert(sizeof kHardwareIds == 32);

/// The new root device while it is being installed, and the list that it is an element of.
struct NewRoot {
  DeviceInfoList list;
  platform::SP_DEVINFO_DATA device = {};
};

/// Reports the call that just failed and hands its status on.
ExitStatus Failed(std::u16string_view call, ExitStatus status) {
  ReportFailedCall(call);
  return status;
}

/// Makes a root device known to Plug and Play, without a driver. kExitOk, or what failed.
ExitStatus RegisterRoot(NewRoot& root) {
  root.list = DeviceInfoList(platform::SetupDiCreateDeviceInfoList(&kMediaClass));
  if (!root.list) return Failed(u"SetupDiCreateDeviceInfoList", kExitCreateListFailed);

  char16_t className[kMaxClassNameLength] = {};
  if (!platform::SetupDiClassNameFromGuidW(&kMediaClass, className, kMaxClassNameLength, nullptr)) {
    return Failed(u"SetupDiClassNameFromGuid", kExitClassNameFailed);
  }
  root.device.cbSize = sizeof root.device;
  if (!platform::SetupDiCreateDeviceInfoW(root.list.Get(), className, &kMediaClass, nullptr,
                                          platform::DICD_GENERATE_ID, &root.device)) {
    return Failed(u"SetupDiCreateDeviceInfo", kExitCreateDeviceFailed);
  }
  if (!platform::SetupDiSetDeviceRegistryPropertyW(root.list.Get(), &root.device,
                                                   platform::SPDRP_HARDWAREID, kHardwareIds,
                                                   sizeof kHardwareIds)) {
    return Failed(u"SetupDiSetDeviceRegistryProperty(HARDWAREID)", kExitSetHardwareIdFailed);
  }
  if (!platform::SetupDiCallClassInstaller(platform::DIF_REGISTERDEVICE, root.list.Get(),
                                           &root.device)) {
    return Failed(u"SetupDiCallClassInstaller(DIF_REGISTERDEVICE)", kExitRegisterDeviceFailed);
  }
  return kExitOk;
}

/// Takes the device away again that no driver could be bound to.
void RemoveRoot(const NewRoot& root) {
  platform::SetupDiCallClassInstaller(platform::DIF_REMOVE, root.list.Get(), &root.device);
}

/// Creates the device and binds the package. kExitOk, or what failed; the list is destroyed.
ExitStatus CreateAndBindRoot(const InstallRequest& request, bool& restartRequired) {
  NewRoot root;
  const ExitStatus status = RegisterRoot(root);
  if (status != kExitOk) return status;
  if (BindDriver(request.infPath, restartRequired)) return kExitOk;
  ReportFailedCall(u"UpdateDriverForPlugAndPlayDevices");
  RemoveRoot(root);
  return kExitFreshBindFailed;
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

ExitStatus InstallFreshRoot(const InstallRequest& request, ActivationState state) {
  state.fresh = true;
  if (!WriteActivationState(request.statePath, state)) return kExitActivationStateBlocks;
  JournalGuard journal(request.statePath);

  bool restartRequired = false;
  const ExitStatus created = CreateAndBindRoot(request, restartRequired);
  if (created != kExitOk) return created;
  Print(u"vorn_devnode: Root\\VornAudio installed\n");

  if (restartRequired) return ReportDeferredStart(request, journal);
  const ExitStatus proven = RunLiveVerification(state, VerificationMode::Reporting);
  if (proven == kExitOk) journal.Keep();
  return proven;
}

}  // namespace vorn
