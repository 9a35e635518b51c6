#include "devnode/root_candidate.h"

#include "base/text.h"

namespace vorn {

namespace {

int RankOf(const RootCandidate& candidate) {
  if (!candidate.located) return 0;
  return candidate.started && candidate.problem == 0 ? 2 : 1;
}

bool IsBetter(const RootCandidate& candidate, const RootCandidate& than) {
  const int rank = RankOf(candidate);
  const int other = RankOf(than);
  if (rank != other) return rank > other;
  return CompareIgnoringCase(candidate.instanceId, than.instanceId) < 0;
}

}  // namespace

std::optional<std::size_t> ChooseRootToKeep(const std::vector<RootCandidate>& candidates) {
  if (candidates.empty()) return std::nullopt;
  std::size_t best = 0;
  for (std::size_t i = 1; i < candidates.size(); ++i) {
    if (IsBetter(candidates[i], candidates[best])) best = i;
  }
  if (!candidates[best].located) return std::nullopt;
  return best;
}

}  // namespace vorn
