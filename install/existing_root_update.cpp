#include "install/existing_root_update.h"

#include "catalog/catalog_snapshot.h"
#include "catalog/endpoint_sets.h"
#include "control/endpoint_quiesce.h"
#include "devnode/root_discovery.h"
#include "install/driver_binding.h"
#include "install/previous_selection.h"
#include "journal/activation_storage.h"
#include "journal/journal_guard.h"
#include "report/console.h"
#include "verify/live_verification.h"

#include <string_view>

namespace vorn {

namespace {

/// Whether exactly one present root was found. Says why not.
bool IsUnambiguous(const LiveRoot& root) {
  if (root.presentCount == 1 && !root.instanceId.empty()) return true;
  PrintError(u"vorn_devnode: existing root baseline is missing or ambiguous: %ls\n", root.reason);
  return false;
}

/// A device that the user disabled is left alone, unless the caller goes back to what it ran
/// before. Says why not.
bool MayBeUpdated(const LiveRoot& root, bool rollback) {
  if (!root.disabled || rollback) return true;
  PrintError(
      u"vorn_devnode: RESULT=BIND_REFUSED - the VORN device is disabled; enable it in Device "
      u"Manager before updating its driver\n");
  return false;
}

/// Takes down which endpoints the user has, for the journal. False after printing why not.
bool CaptureBaselines(const LiveRoot& root, ActivationState& state) {
  const CatalogSnapshot catalog =
      TakeCatalogSnapshot(root.instanceId, root.endpointChildren, /*comparePnp=*/false);
  if (!catalog.ok) {
    PrintError(u"vorn_devnode: existing root has no complete MMDevice catalog baseline: %ls\n",
               catalog.reason);
    return false;
  }
  state.catalog = catalog.endpoints;
  const CheckResult present =
      ComputeExpectedPresent(state.catalog, root.endpointChildren, &state.present);
  if (!present.ok) {
    PrintError(u"vorn_devnode: existing endpoint baseline is ambiguous: %ls\n", present.reason);
  }
  return present.ok;
}

/// Runs the engine; a journal whose target is proven stays.
ExitStatus Prove(const ActivationState& state, JournalGuard& journal) {
  const ExitStatus proven = RunLiveVerification(state, VerificationMode::Reporting);
  if (proven == kExitOk) journal.Keep();
  return proven;
}

ExitStatus ConfirmUnchangedPackage(ActivationState state, JournalGuard& journal) {
  state.unchangedPackage = true;
  Print(u"vorn_devnode: Root\\VornAudio already runs the target package; device left untouched\n");
  return Prove(state, journal);
}

/// The candidate waits for a restart, which nobody asked for: the previous package is selected
/// again, so that the restart does not bring the candidate unproven.
ExitStatus TakeBackDeferredSwitch(const LiveRoot& rootBefore, QuiesceGuard& quiesced) {
  bool secondRestartRequired = false;
  const bool restored = RestorePreviousSelection(rootBefore, secondRestartRequired);
  if (restored && !secondRestartRequired) quiesced.Forget();

  const bool hotSwap = rootBefore.startedCleanly;
  const std::u16string_view code = hotSwap ? u"HOT_SWAP_FAILED" : u"NOT_STARTED";
  const std::u16string_view outcome =
      restored ? u"previous package selection restored; rolling back"
               : u"the previous selection could not be restored, so PnP metadata may name the "
                 u"staged package until the next update converges; rolling back";
  PrintError(u"vorn_devnode: RESULT=%ls - Windows deferred the driver switch to a restart; %ls\n",
             code, outcome);
  if (hotSwap) return kExitHotSwapFailed;
  // A restored selection is a refused bind to the caller, although the text names the device.
  return restored ? kExitBindRefused : kExitNotStarted;
}

ExitStatus BindAndProve(const InstallRequest& request, const LiveRoot& root,
                        const ActivationState& state, QuiesceGuard& quiesced,
                        JournalGuard& journal) {
  bool restartRequired = false;
  if (!BindDriver(request.infPath, restartRequired)) {
    ReportFailedCall(u"UpdateDriverForPlugAndPlayDevices(existing)");
    PrintError(u"vorn_devnode: RESULT=BIND_REFUSED - Windows rejected the bind\n");
    return kExitBindRefused;
  }
  if (!restartRequired) {
    // The driver was restarted with the bind; the engine proves what its new endpoints are.
    quiesced.Forget();
    Print(u"vorn_devnode: Root\\VornAudio driver updated on existing devnode\n");
    return Prove(state, journal);
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

ExitStatus UpdateExistingRoot(const InstallRequest& request, ActivationState state) {
  const LiveRoot root = DiscoverLiveRoot();
  if (!IsUnambiguous(root)) return kExitNotStarted;
  if (!MayBeUpdated(root, request.rollback)) return kExitBindRefused;
  if (!CaptureBaselines(root, state)) return kExitEndpointsMissing;

  // What is hidden is shown again last, when the final line is printed and the journal is gone.
  QuiesceGuard quiesced(root.instanceId);
  state.fresh = false;
  if (!WriteActivationState(request.statePath, state)) return kExitActivationStateBlocks;
  JournalGuard journal(request.statePath);

  const bool hotSwap = root.startedCleanly;
  if (hotSwap && !request.rollback &&
      RunLiveVerification(state, VerificationMode::Quick) == kExitOk) {
    return ConfirmUnchangedPackage(state, journal);
  }
  if (hotSwap && !QuiesceEndpoints(quiesced, QuiesceMode::Hide)) {
    PrintError(u"vorn_devnode: VORN endpoints could not be quiesced; binding directly\n");
  }
  return BindAndProve(request, root, state, quiesced, journal);
}

}  // namespace vorn
