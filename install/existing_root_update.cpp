#include "install/existing_root_update.h"

#include "catalog/catalog_snapshot.h"
#include "catalog/endpoint_sets.h"
#include "control/endpoint_quiesce.h"
#include "devnode/root_discovery.h"
#include "install/driver_binding.h"
#include "install/previous_selection.h"
#include "journal/journal_guard.h"
#include "report/console.h"
#include "verify/live_verification.h"

#include <optional>
#include <string_view>
#include <utility>

namespace vorn {

namespace {

/// The activation state for a bind of `target` with the present endpoints as the baseline. Nothing,
/// after printing why, if they cannot be determined.
std::optional<ActivationState> CaptureBaselines(const LiveRoot& root, DriverIdentity target) {
  const CatalogSnapshot catalog =
      TakeCatalogSnapshot(root.instanceId, root.endpointChildren, PnpComparison::None);
  if (!catalog.ok) {
    PrintError(u"vorn_devnode: existing root has no complete MMDevice catalog baseline: %ls\n",
               catalog.reason);
    return std::nullopt;
  }
  ActivationState state = {
      .fresh = false, .target = std::move(target), .catalog = catalog.endpoints, .present = {}};
  const CheckResult present =
      ComputeExpectedPresent(state.catalog, root.endpointChildren, &state.present);
  if (!present.ok) {
    PrintError(u"vorn_devnode: existing endpoint baseline is ambiguous: %ls\n", present.reason);
    return std::nullopt;
  }
  return state;
}

/// Keeps the journal if its target is proven.
ExitStatus Prove(const ActivationState& state, PackageChange change, JournalGuard& journal) {
  const ExitStatus proven = RunLiveVerification(state, VerificationMode::Reporting, change);
  if (proven == kExitOk) journal.Keep();
  return proven;
}

ExitStatus ConfirmUnchangedPackage(const ActivationState& state, JournalGuard& journal) {
  Print(u"vorn_devnode: Root\\VornAudio already runs the target package; device left untouched\n");
  return Prove(state, PackageChange::None, journal);
}

/// The candidate would take effect unproven at the next restart, so the previous package is
/// selected again.
ExitStatus TakeBackDeferredSwitch(const LiveRoot& rootBefore, QuiesceGuard& quiesced) {
  const BindOutcome previous = RestorePreviousSelection(rootBefore);
  if (previous == BindOutcome::Bound) quiesced.Forget();

  const bool restored = previous != BindOutcome::Rejected;
  const bool hotSwap = rootBefore.startedCleanly;
  const std::u16string_view code = hotSwap ? u"HOT_SWAP_FAILED" : u"NOT_STARTED";
  const std::u16string_view outcome =
      restored ? u"previous package selection restored; rolling back"
               : u"the previous selection could not be restored, so PnP metadata may name the "
                 u"staged package until the next update converges; rolling back";
  PrintError(u"vorn_devnode: RESULT=%ls - Windows deferred the driver switch to a restart; %ls\n",
             code, outcome);
  if (hotSwap) return kExitHotSwapFailed;
  // To the caller a restored selection is a refused bind, although the line says NOT_STARTED.
  return restored ? kExitBindRefused : kExitNotStarted;
}

ExitStatus BindAndProve(const InstallRequest& request, const LiveRoot& root,
                        const ActivationState& state, QuiesceGuard& quiesced,
                        JournalGuard& journal) {
  const BindOutcome bound = BindDriver(request.inf.path);
  if (bound == BindOutcome::Rejected) {
    ReportFailedCall(u"UpdateDriverForPlugAndPlayDevices(existing)");
    PrintError(u"vorn_devnode: RESULT=BIND_REFUSED - Windows rejected the bind\n");
    return kExitBindRefused;
  }
  if (bound == BindOutcome::Bound) {
    // The bind restarted the driver, which publishes its endpoints again.
    quiesced.Forget();
    Print(u"vorn_devnode: Root\\VornAudio driver updated on existing devnode\n");
    return Prove(state, PackageChange::Possible, journal);
  }
  if (request.rollback) {
    PrintError(
        u"vorn_devnode: RESULT=REBOOT_REQUIRED - rollback package selected; Windows loads it at "
        u"the next restart\n");
    journal.Keep();
    return kExitRebootRequired;
  }
  return TakeBackDeferredSwitch(root, quiesced);
}

}  // namespace

ExitStatus UpdateExistingRoot(const InstallRequest& request, DriverIdentity target) {
  const LiveRoot root = DiscoverLiveRoot();
  if (root.presentCount != 1 || root.instanceId.empty()) {
    PrintError(u"vorn_devnode: existing root baseline is missing or ambiguous: %ls\n", root.reason);
    return kExitNotStarted;
  }
  if (root.disabled && !request.rollback) {
    PrintError(
        u"vorn_devnode: RESULT=BIND_REFUSED - the VORN device is disabled; enable it in Device "
        u"Manager before updating its driver\n");
    return kExitBindRefused;
  }
  const std::optional<ActivationState> state = CaptureBaselines(root, std::move(target));
  if (!state) return kExitEndpointsMissing;

  // Declared before the journal's guard: hidden endpoints are shown again after the final line,
  // when the journal has been deleted.
  QuiesceGuard quiesced(root.instanceId);
  if (!request.journal.Write(*state)) return kExitActivationStateBlocks;
  JournalGuard journal(request.journal);

  const bool hotSwap = root.startedCleanly;
  if (hotSwap && !request.rollback &&
      RunLiveVerification(*state, VerificationMode::Quick) == kExitOk) {
    return ConfirmUnchangedPackage(*state, journal);
  }
  if (hotSwap && !quiesced.Hide()) {
    PrintError(u"vorn_devnode: VORN endpoints could not be quiesced; binding directly\n");
  }
  return BindAndProve(request, root, *state, quiesced, journal);
}

}  // namespace vorn
