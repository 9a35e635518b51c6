#include "remove/remove_command.h"

#include "control/endpoint_quiesce.h"
#include "devnode/root_discovery.h"
#include "package/inf_identity.h"
#include "package/package_cleanup.h"
#include "remove/endpoint_records.h"
#include "remove/log_placement.h"
#include "remove/query_removal.h"
#include "remove/root_removal.h"
#include "report/console.h"
#include "report/removal_log.h"

namespace vorn {

namespace {

constexpr std::uint32_t kQueryRemoveBudgetMs = 10000;
constexpr std::uint32_t kEndpointRecordBudgetMs = 10000;
constexpr char16_t kEndpointRecordPath[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio";

bool AuthenticateExpectedInf(const std::u16string& path, InfIdentity& expected) {
  return ReadInfIdentity(path, u"", nullptr, expected) && HasExactPackageContract(expected);
}

void QuiesceBeforeRemoval(QuiesceGuard& guard) {
  if (QuiesceEndpoints(guard, QuiesceMode::Hide)) {
    LogRemoval(Format(u"quiesced all endpoints of %ls", guard.RootInstanceId()));
  } else {
    LogRemoval(u"endpoints could not all be quiesced before removal; trying the removal anyway");
  }
}

/// Gives applications the chance to let go of the live root. False when it is still held.
bool LetGoOfLiveRoot(QuiesceGuard& guard) {
  QuiesceBeforeRemoval(guard);
  if (QueryRemoveWithRetries(guard.RootInstanceId(), kQueryRemoveBudgetMs)) return true;
  LogRemoval(
      u"RESULT=REMOVE_BUSY - the device is still held after 10 s; nothing was removed and no "
      u"restart scheduled");
  return false;
}

void ReportEndpointRecords(const EndpointRecordCleanupResult& records) {
  for (const std::u16string& record : records.removed) {
    Print(u"vorn_devnode: removed VORN endpoint record %ls\n", record);
  }
  for (const std::u16string& record : records.retained) {
    PrintError(
        u"vorn_devnode: WARNING - VORN endpoint record %ls could not be removed and remains as "
        u"Windows endpoint history\n",
        record);
  }
  for (const std::u16string& record : records.unreadable) {
    PrintError(
        u"vorn_devnode: WARNING - endpoint record %ls could not be read, so its owner is unknown; "
        u"left untouched\n",
        record);
  }
  if (!records.listedAll) {
    PrintError(
        u"vorn_devnode: WARNING - the MMDevices endpoint records could not all be listed; VORN "
        u"endpoint history may remain\n");
  }
}

/// No root is left and no restart is needed: the packages go, then the endpoint records.
ExitStatus RemovePackagesAndRecords(const InfIdentity& expected, const RootRemoval& removal) {
  std::uint32_t removedPackages = 0;
  if (!RemoveExactPackages(expected, removedPackages)) {
    LogRemoval(
        u"RESULT=REMOVE_FAILED - device roots are absent but exact driver-package cleanup could "
        u"not be proven; residue retained");
    return kExitRemoveFailed;
  }
  const EndpointRecordCleanupResult records = CleanEndpointRecords(
      platform::HKEY_LOCAL_MACHINE, kEndpointRecordPath, kEndpointRecordBudgetMs);
  ReportEndpointRecords(records);
  Print(
      u"vorn_devnode: RESULT=OK - removed %d Root\\VornAudio device(s), %d exact driver package(s) "
      u"and %zu VORN endpoint record(s) (%zu retained); zero installed roots and exact packages "
      u"verified\n",
      removal.removed, static_cast<std::int32_t>(removedPackages), records.removed.size(),
      records.retained.size());
  return kExitOk;
}

ExitStatus ReportRemainingRoots(const RootRemoval& removal) {
  const std::u16string code = removal.rebootRequired ? u"REBOOT_REQUIRED" : u"REMOVE_FAILED";
  LogRemoval(
      Format(u"RESULT=%ls - %d installed root(s) remain after removal", code, removal.remaining));
  return removal.rebootRequired ? kExitRebootRequired : kExitRemoveFailed;
}

/// A failed DIF_REMOVE fails the command even when no root remains, so that rule comes first.
ExitStatus Decide(const InfIdentity& expected, const RootRemoval& removal, QuiesceGuard& guard) {
  if (!removal.sawEveryDevice || removal.failed || removal.remaining < 0) {
    LogRemoval(Format(u"RESULT=REMOVE_FAILED - partial or unverifiable removal; installed roots=%d",
                      removal.remaining));
    return kExitRemoveFailed;
  }
  if (removal.remaining > 0) return ReportRemainingRoots(removal);
  if (removal.rebootRequired) {
    // The package and the records stay: the driver is in memory until the restart.
    Print(u"vorn_devnode: RESULT=REBOOT_REQUIRED - removal is pending restart\n");
    return kExitRebootRequired;
  }
  guard.Forget();
  return RemovePackagesAndRecords(expected, removal);
}

}  // namespace

ExitStatus RunRemove(const std::u16string& snapshotInfPath,
                     const std::u16string& commandLineInfPath) {
  InfIdentity expected;
  if (!AuthenticateExpectedInf(snapshotInfPath, expected)) {
    PrintError(
        u"vorn_devnode: RESULT=REMOVE_FAILED - expected INF could not be authenticated; no device "
        u"was touched\n");
    return kExitRemoveRefused;
  }
  const LiveRoot liveRoot = DiscoverLiveRoot();
  PlaceRemovalLog(commandLineInfPath);

  QuiesceGuard guard(liveRoot.instanceId);
  const bool hasLiveRoot = liveRoot.ok && !liveRoot.instanceId.empty();
  if (hasLiveRoot && !LetGoOfLiveRoot(guard)) return kExitRemoveBusy;

  RootRemoval removal = RemoveInstalledRoots();
  if (!removal.listed) return kExitRemoveRefused;
  removal.remaining = WaitForZeroRoots();
  return Decide(expected, removal, guard);
}

}  // namespace vorn
