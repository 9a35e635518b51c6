// What the user sees of the endpoints, before and after.

#include "base/text.h"
#include "tests/invariants/checkers.h"
#include "tests/invariants/target.h"
#include "tests/support/machine_view.h"

#include <algorithm>
#include <set>
#include <string>

namespace vorn::tests {

namespace model = platform::simulated;
using model::FaultKind;

namespace {

// How long the endpoint builder takes after a restart to publish every endpoint again.
constexpr std::uint64_t kRepublishMs = 60'000;
constexpr char kSetVisibility[] = "0x22A01C";  // the control code that hides and shows an endpoint

/// Whether the program reported that endpoints may be hidden.
bool AdmitsHiddenEndpoints(const Observation& run) {
  return run.Said(u"could not re-show") || run.Said(u"could not hide") ||
         run.Said(u"driver quiesce could not") || run.Said(u"RESULT=ENDPOINTS_MISSING - root=") ||
         run.Said(u"RESULT=NOT_STARTED - devnode");
}

/// Whether the driver reported success for a show that it did not perform. The program cannot
/// detect that.
bool WasShowFeigned(const Observation& run) {
  for (const FaultKind kind : {FaultKind::SucceedWithoutEffect, FaultKind::AnswerFromPast}) {
    for (const model::CallRecord* call : run.Hits("DeviceIoControl", kind)) {
      if (call->Argument("controlCode") == kSetVisibility && call->result == "true") return true;
    }
  }
  return false;
}

Violations CheckHiddenByThisRun(const Observation& run) {
  const model::Device* before = OnlyPresentRoot(run.before);
  const model::Device* after = OnlyPresentRoot(run.after);
  if (before == nullptr || after == nullptr) return {};
  const bool hidMore = !std::includes(before->hidden.begin(), before->hidden.end(),
                                      after->hidden.begin(), after->hidden.end());
  if (hidMore && !AdmitsHiddenEndpoints(run) && !WasShowFeigned(run)) {
    return {"endpoints were left hidden without a word"};
  }
  return {};
}

/// The endpoints that the user saw before, without those of duplicate roots that the run removed:
/// they go with their root.
std::set<std::u16string> EndpointsToKeep(const Observation& run) {
  std::set<std::u16string> kept = ActiveEndpointIds(run.before);
  if (!run.Said(u" duplicate/ghost Root\\VornAudio devnode(s)")) return kept;
  for (const model::AudioEndpoint& endpoint : run.before.audio.endpoints) {
    if (run.after.devices.Find(endpoint.root) == nullptr) kept.erase(endpoint.id);
  }
  return kept;
}

}  // namespace

Violations CheckEndpointsVisible(const Observation& run) {
  if (run.run.killed) return {};
  Violations found = CheckHiddenByThisRun(run);
  if (run.run.status != 0 || run.command == Command::Remove || IsReadOnly(run.command)) {
    return found;
  }
  const std::set<std::u16string> before = EndpointsToKeep(run);
  if (before.empty() || (run.command == Command::HotActivate && !KnowsFormerEndpoints(run))) {
    return found;
  }
  model::Machine settled = run.after;
  model::Advance(settled, kRepublishMs);
  const std::set<std::u16string> after = ActiveEndpointIds(settled);
  if (!std::includes(after.begin(), after.end(), before.begin(), before.end())) {
    found.push_back("an endpoint that was visible is not, though the run succeeded");
  }
  return found;
}

}  // namespace vorn::tests
