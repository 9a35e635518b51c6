#include "verify/verify_commands.h"

#include "base/text.h"
#include "control/endpoint_quiesce.h"
#include "devnode/hot_restart.h"
#include "devnode/root_discovery.h"
#include "journal/activation_storage.h"
#include "report/console.h"
#include "verify/live_verification.h"

#include <optional>

namespace vorn {

namespace {

/// Compares texts, not dates: 2026-1-2 is not 2026-01-02.
bool NamesTarget(const ActivationState& state, const std::u16string& version,
                 const std::u16string& date) {
  return EqualsIgnoringCase(state.target.version, version) &&
         EqualsIgnoringCase(state.target.date, date);
}

}  // namespace

ExitStatus Verify(const std::u16string& version, const std::u16string& date, Journal& journal) {
  const std::optional<ActivationState> state = journal.Read();
  if (!state) {
    PrintError(
        u"vorn_devnode: RESULT=ENDPOINTS_MISSING - protected activation state is missing or "
        u"malformed\n");
    return kExitEndpointsMissing;
  }
  if (!NamesTarget(*state, version, date)) {
    PrintError(
        u"vorn_devnode: RESULT=ENDPOINTS_MISSING - journal target does not match protected INF "
        u"DriverVer\n");
    return kExitEndpointsMissing;
  }
  return RunLiveVerification(*state, VerificationMode::Reporting);
}

ExitStatus HotActivate(const std::u16string& version, const std::u16string& date,
                       Journal& journal) {
  const std::optional<ActivationState> state = journal.Read();
  if (!state || !NamesTarget(*state, version, date)) {
    PrintError(
        u"vorn_devnode: RESULT=HOT_SWAP_FAILED - protected activation identity is missing or "
        u"mismatched\n");
    return kExitHotSwapFailed;
  }
  const LiveRoot root = DiscoverLiveRoot(RootFacts::State);
  if (!root.ok || root.instanceId.empty()) {
    PrintError(u"vorn_devnode: RESULT=HOT_SWAP_FAILED - cannot resolve the live VORN root: %ls\n",
               root.reason);
    return kExitHotSwapFailed;
  }
  QuiesceGuard guard(root.instanceId);
  if (!guard.Hide()) {
    PrintError(
        u"vorn_devnode: RESULT=HOT_SWAP_FAILED - VORN endpoints could not be quiesced; no driver "
        u"mutation attempted\n");
    return kExitHotSwapFailed;
  }
  const HotRestartResult restart = RunHotRestartPreflight();
  if (restart.passed && !restart.restartRequested) {
    // A restarted device publishes its endpoints again, so none is hidden any more.
    guard.Forget();
    return RunLiveVerification(*state, VerificationMode::Reporting);
  }
  if (!guard.Hidden().empty()) guard.Show();
  PrintError(
      u"vorn_devnode: RESULT=HOT_SWAP_FAILED - selected driver could not be activated without "
      u"restart\n");
  return kExitHotSwapFailed;
}

}  // namespace vorn
