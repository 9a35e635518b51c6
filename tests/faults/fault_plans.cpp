#include "tests/faults/fault_plans.h"

#include "tests/faults/other_processes.h"

#include <algorithm>
#include <random>

namespace vorn::tests {

using platform::simulated::FaultKind;

namespace {

void AddEachWay(std::vector<Plan>& plans, const std::string& call, std::uint32_t nth,
                const std::vector<Way>& ways) {
  for (const Way& way : ways) {
    plans.push_back({PlannedFault{call, nth, false, way}});
    if (MayPersist(way)) plans.push_back({PlannedFault{call, nth, true, way}});
  }
}

/// Whether another process's moment may be before that call: calls on files and INFs, and the bind.
bool IsFileCall(std::string_view call) {
  constexpr std::string_view kCalls[] = {"NtCreateFile",
                                         "ReadFile",
                                         "WriteFile",
                                         "GetFileInformationByHandle",
                                         "GetFileInformationByHandleEx",
                                         "GetFinalPathNameByHandleW",
                                         "SetFileInformationByHandle",
                                         "SetupOpenInfFileW",
                                         "UpdateDriverForPlugAndPlayDevicesW",
                                         "SetupUninstallOEMInfW"};
  return std::find(std::begin(kCalls), std::end(kCalls), call) != std::end(kCalls);
}

std::vector<Way> WaysOf(Phase phase, std::string_view call) {
  switch (phase) {
    case Phase::Single:
      return HonestWays(call);
    case Phase::Lies:
      return LyingWays(call);
    case Phase::OtherProcesses: {
      std::vector<Way> ways;
      if (!IsFileCall(call)) return ways;
      for (const OtherProcess& process : OtherProcesses())
        ways.push_back({FaultKind::Change, 0, 0, process.name});
      return ways;
    }
    case Phase::Crashes:
      return {{FaultKind::KillBefore, 0, 0, {}}, {FaultKind::KillAfter, 0, 0, {}}};
    case Phase::DoubleCrashes:
    case Phase::Pairs:
      break;
  }
  return {};
}

/// `count` of the items, evenly spread from an offset that the seed chooses.
void TakeSpread(const std::vector<Plan>& items, std::size_t count, std::uint64_t seed,
                std::vector<Plan>& taken) {
  if (items.size() <= count) {
    taken.insert(taken.end(), items.begin(), items.end());
    return;
  }
  const std::size_t offset = seed % items.size();
  for (std::size_t i = 0; i < count; ++i)
    taken.push_back(items[(offset + i * items.size() / count) % items.size()]);
}

}  // namespace

const char* NameOf(Phase phase) {
  constexpr const char* kNames[] = {"single",  "lies",           "other-processes",
                                    "crashes", "double-crashes", "pairs"};
  return kNames[static_cast<int>(phase)];
}

std::vector<Plan> AllPlans(Phase phase, const Scenario& scenario, const CallCounts& counts) {
  std::vector<Plan> plans;
  const bool takesFiles = scenario.line->command != Command::AuditCatalog &&
                          scenario.line->command != Command::ResumeEndpoints;
  if (phase == Phase::OtherProcesses && !takesFiles) return plans;
  const bool once = phase == Phase::Crashes || phase == Phase::OtherProcesses;
  for (const auto& [call, count] : counts) {
    const std::vector<Way> ways = WaysOf(phase, call);
    for (std::uint32_t nth = 1; nth <= count; ++nth) {
      if (once) {
        for (const Way& way : ways)
          plans.push_back({PlannedFault{call, nth, false, way}});
      } else {
        AddEachWay(plans, call, nth, ways);
      }
    }
  }
  return plans;
}

std::vector<Plan> DrawPairs(Phase phase, const Scenario& scenario, const CallCounts& counts,
                            std::size_t count, std::uint64_t seed) {
  std::vector<Plan> singles;
  if (phase == Phase::DoubleCrashes) {
    singles = AllPlans(Phase::Crashes, scenario, counts);
  } else {
    singles = AllPlans(Phase::Single, scenario, counts);
    const std::vector<Plan> lies = AllPlans(Phase::Lies, scenario, counts);
    singles.insert(singles.end(), lies.begin(), lies.end());
  }
  std::vector<Plan> pairs;
  if (singles.size() < 2) return pairs;
  std::mt19937_64 random(seed);
  while (pairs.size() < count) {
    const Plan& one = singles[random() % singles.size()];
    const Plan& other = singles[random() % singles.size()];
    pairs.push_back({one.front(), other.front()});
  }
  return pairs;
}

std::vector<Plan> EveryPairOfCalls(const CallCounts& counts) {
  std::vector<PlannedFault> failures;
  for (const auto& [call, count] : counts) {
    const std::vector<Way> ways = HonestWays(call);
    if (ways.empty()) continue;
    for (std::uint32_t nth = 1; nth <= count; ++nth)
      failures.push_back({call, nth, false, ways.front()});
  }
  std::vector<Plan> pairs;
  for (std::size_t i = 0; i < failures.size(); ++i) {
    for (std::size_t j = i + 1; j < failures.size(); ++j)
      pairs.push_back({failures[i], failures[j]});
  }
  return pairs;
}

std::vector<Plan> Sample(std::vector<Plan> plans, std::size_t cap, std::uint64_t seed) {
  if (cap == 0 || plans.size() <= cap) return plans;
  std::vector<Plan> first;
  std::vector<Plan> later;
  for (Plan& plan : plans)
    (plan.front().nth == 1 ? first : later).push_back(std::move(plan));
  std::vector<Plan> taken;
  TakeSpread(first, std::max(cap / 2, cap - std::min(cap, later.size())), seed, taken);
  TakeSpread(later, cap - taken.size(), seed, taken);
  return taken;
}

std::uint64_t SeedOf(std::string_view text) {
  std::uint64_t hash = 14695981039346656037ULL;  // FNV-1a
  for (const char each : text) {
    hash ^= static_cast<unsigned char>(each);
    hash *= 1099511628211ULL;
  }
  return hash;
}

}  // namespace vorn::tests
