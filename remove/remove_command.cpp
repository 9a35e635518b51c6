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

#include <optional>

namespace vorn {

namespace {

constexpr std::uint32_t kQueryRemoveBudgetMs = 10000;
constexpr std::uint32_t kEndpointRecordBudgetMs = 10000;
constexpr std::int32_t kUncountedRoots = -1;  // in the final line
constexpr char16_t kEndpointRecordPath[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio";

/// The identity of the INF; nothing unless it is the product's.
std::optional<InfIdentity> AuthenticateExpectedInf(const privileged_input::File& inf) {
  std::optional<InfIdentity> expected = ReadInfIdentity(inf);
  if (expected && !HasExactPackageContract(*expected)) expected.reset();
  return expected;
}

void QuiesceBeforeRemoval(QuiesceGuard& guard, const RemovalLog& log) {
  if (guard.Hide()) {
    log.LogRemoval(Format(u"quiesced all endpoints of %ls", guard.RootInstanceId()));
  } else {
    log.LogRemoval(
        u"endpoints could not all be quiesced before removal; trying the removal anyway");
  }
}

/// Asks applications to release the live root. False if one still holds it.
bool LetGoOfLiveRoot(QuiesceGuard& guard, const RemovalLog& log) {
  QuiesceBeforeRemoval(guard, log);
  if (QueryRemoveWithRetries(guard.RootInstanceId(), kQueryRemoveBudgetMs, log)) return true;
  log.LogRemoval(
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

ExitStatus RemovePackagesAndRecords(const InfIdentity& expected, const RootRemoval& removal,
                                    const RemovalLog& log) {
  const std::optional<std::uint32_t> removedPackages = RemoveExactPackages(expected);
  if (!removedPackages) {
    log.LogRemoval(
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
      removal.removed, static_cast<std::int32_t>(*removedPackages), records.removed.size(),
      records.retained.size());
  return kExitOk;
}

ExitStatus ReportRemainingRoots(const RootRemoval& removal, std::int32_t remaining,
                                const RemovalLog& log) {
  const std::u16string code = removal.rebootRequired ? u"REBOOT_REQUIRED" : u"REMOVE_FAILED";
  log.LogRemoval(
      Format(u"RESULT=%ls - %d installed root(s) remain after removal", code, remaining));
  return removal.rebootRequired ? kExitRebootRequired : kExitRemoveFailed;
}

/// A failed DIF_REMOVE fails the command even if no root remains, so it is checked first.
ExitStatus Decide(const InfIdentity& expected, const RootRemoval& removal,
                  std::optional<std::int32_t> remaining, QuiesceGuard& guard,
                  const RemovalLog& log) {
  if (!removal.sawEveryDevice || removal.failed || !remaining) {
    log.LogRemoval(
        Format(u"RESULT=REMOVE_FAILED - partial or unverifiable removal; installed roots=%d",
               remaining.value_or(kUncountedRoots)));
    return kExitRemoveFailed;
  }
  if (*remaining > 0) return ReportRemainingRoots(removal, *remaining, log);
  if (removal.rebootRequired) {
    // Keep the packages and records: the driver is in memory until the restart.
    Print(u"vorn_devnode: RESULT=REBOOT_REQUIRED - removal is pending restart\n");
    return kExitRebootRequired;
  }
  guard.Forget();
  return RemovePackagesAndRecords(expected, removal, log);
}

}  // namespace

ExitStatus RunRemove(const privileged_input::InputInf& inf,
                     const std::u16string& commandLineInfPath, RemovalLog& log) {
  const std::optional<InfIdentity> expected = AuthenticateExpectedInf(inf.file);
  if (!expected) {
    PrintError(
        u"vorn_devnode: RESULT=REMOVE_FAILED - expected INF could not be authenticated; no device "
        u"was touched\n");
    return kExitRemoveRefused;
  }
  const LiveRoot liveRoot = DiscoverLiveRoot(RootFacts::State);
  PlaceRemovalLog(commandLineInfPath, log);

  QuiesceGuard guard(liveRoot.instanceId);
  const bool hasLiveRoot = liveRoot.ok && !liveRoot.instanceId.empty();
  if (hasLiveRoot && !LetGoOfLiveRoot(guard, log)) return kExitRemoveBusy;

  const std::optional<RootRemoval> removal = RemoveInstalledRoots();
  if (!removal) return kExitRemoveRefused;
  return Decide(*expected, *removal, WaitForZeroRoots(), guard, log);
}

}  // namespace vorn
