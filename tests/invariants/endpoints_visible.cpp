// What the user sees of the endpoints, before and after.

#include "base/text.h"
#include "tests/invariants/checkers.h"
#include "tests/invariants/machine_view.h"

#include <algorithm>

namespace vorn::tests {

namespace model = platform::simulated;
using model::FaultKind;

namespace {

// What the endpoint builder needs after a restart to bring everything back.
constexpr std::uint64_t kSettleMs = 60'000;
constexpr char kSetVisibility[] = "0x22A01C";  // the control code that hides and shows an endpoint

/// The program's words for endpoints that it may have left hidden.
bool AdmitsHiddenEndpoints(const Observation& run) {
  return run.Said(u"could not re-show") || run.Said(u"could not hide") ||
         run.Said(u"driver quiesce could not") || run.Said(u"RESULT=ENDPOINTS_MISSING - root=") ||
         run.Said(u"RESULT=NOT_STARTED - devnode");
}

/// Whether the driver said of a show that it was done, and it was not. Nobody can see that.
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

}  // namespace

Violations CheckEndpointsVisible(const Observation& run) {
  if (run.run.killed) return {};
  Violations found = CheckHiddenByThisRun(run);
  if (run.run.status != 0 || run.command == Command::Remove || IsReadOnly(run.command)) {
    return found;
  }
  const std::set<std::u16string> before = VisibleEndpointIds(run.before);
  if (before.empty()) return found;
  model::Machine settled = run.after;
  model::Advance(settled, kSettleMs);
  const std::set<std::u16string> after = VisibleEndpointIds(settled);
  if (!std::includes(after.begin(), after.end(), before.begin(), before.end())) {
    found.push_back("an endpoint that was visible is not, though the run succeeded");
  }
  return found;
}

}  // namespace vorn::tests
