#include "verify/live_verification.h"

#include "devnode/root_discovery.h"
#include "platform/clock.h"
#include "report/console.h"
#include "verify/audio_services.h"
#include "verify/observations.h"

#include <cstdint>
#include <string_view>

namespace vorn {

namespace {

constexpr std::uint32_t kRootStartTimeoutMs = 20'000;
constexpr std::uint32_t kProofTimeoutMs = 90'000;
constexpr std::uint32_t kPollPauseMs = 2'000;

/// Observes until everything is proven or `budgetMs` have passed; 0 observes once. Returns the
/// latest evidence.
Observations ObserveUntilProven(const ActivationState& state, PackageChange change,
                                std::uint32_t budgetMs) {
  const std::uint64_t deadline = platform::GetTickCount64() + budgetMs;
  Observations seen;
  for (;;) {
    Observe(state, change, seen);
    if (AreProven(seen) || platform::GetTickCount64() >= deadline) return seen;
    platform::Sleep(kPollPauseMs);
  }
}

void ReportNotStarted(std::uint32_t problem) {
  PrintError(u"vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=%lu)\n",
             problem);
}

void ReportProven(const ActivationState& state, const Observations& seen) {
  Print(
      u"vorn_devnode: RESULT=OK - root=%ls, package=%ls %ls (%ls), catalog=20, active=%zu, "
      u"present-pnp=%zu, kernel=20\n",
      seen.root.instanceId, state.target.date, state.target.version, seen.root.driverInfPath,
      seen.catalog.activeEndpointIds.size(), seen.root.endpointChildren.size());
}

/// Only some observations have a word for success; the others then show their empty reason.
void ReportMissing(const Observations& seen) {
  const auto wordOr = [](bool ok, std::u16string_view word, std::u16string_view reason) {
    return ok ? word : reason;
  };
  PrintError(
      u"vorn_devnode: RESULT=ENDPOINTS_MISSING - root=%ls; package=%ls; kernel=%ls; "
      u"resident=%ls; catalog=%ls; mapping=%ls; present=%ls (catalog=%zu, active=%zu, "
      u"present-pnp=%zu)\n",
      wordOr(seen.root.ok, u"healthy", seen.root.reason), seen.package.reason, seen.kernel.reason,
      wordOr(seen.resident.ok, u"proven", seen.resident.reason),
      wordOr(seen.catalog.ok, u"healthy", seen.catalog.reason), seen.mapping.reason,
      seen.present.reason, seen.catalog.endpoints.size(), seen.catalog.activeEndpointIds.size(),
      seen.root.endpointChildren.size());
}

}  // namespace

ExitStatus RunLiveVerification(const ActivationState& state, VerificationMode mode,
                               PackageChange change) {
  const bool reporting = mode == VerificationMode::Reporting;
  StartAudioServices();
  const StartWait wait = WaitForStartedRoot(reporting ? kRootStartTimeoutMs : 0);
  if (!wait.started) {
    if (reporting) ReportNotStarted(wait.problem);
    return kExitNotStarted;
  }
  const Observations seen = ObserveUntilProven(state, change, reporting ? kProofTimeoutMs : 0);
  const bool proven = AreProven(seen);
  if (reporting && proven) ReportProven(state, seen);
  if (reporting && !proven) ReportMissing(seen);
  return proven ? kExitOk : kExitEndpointsMissing;
}

}  // namespace vorn
