#include "tests/faults/fault_plans.h"

#include "tests/faults/other_processes.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <random>

namespace vorn::tests {

using platform::simulated::FaultKind;

namespace {

void AddEachWay(std::vector<Plan>& plans, const CallPlace& place, const std::vector<Way>& ways) {
  for (const Way& way : ways) {
    plans.push_back({PlannedFault{place.call, place.nth, false, way, place.site}});
    if (MayPersist(way)) {
      plans.push_back({PlannedFault{place.call, place.nth, true, way, place.site}});
    }
  }
}

/// Whether another process may act before that call: true for calls on files and INFs, and for the
/// bind.
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

/// Acts of other processes on the files before that call.
std::vector<Way> ActsBefore(const Scenario& scenario, std::string_view call) {
  const bool takesFiles = scenario.line->command != Command::AuditCatalog &&
                          scenario.line->command != Command::ResumeEndpoints;
  std::vector<Way> ways;
  if (!takesFiles || !IsFileCall(call)) return ways;
  for (const OtherProcess& process : OtherProcesses())
    ways.push_back({FaultKind::Change, 0, 0, process.name});
  return ways;
}

std::vector<Way> WaysOf(Phase phase, const Scenario& scenario, std::string_view call) {
  switch (phase) {
    case Phase::Single:
      return HonestWays(call);
    case Phase::Lies: {
      std::vector<Way> ways = LyingWays(call);
      // A read-only command gets no stale answers: the machine has not changed since its start.
      if (IsReadOnly(scenario.line->command)) return ways;
      const std::vector<Way> stale = StaleWays(call);
      ways.insert(ways.end(), stale.begin(), stale.end());
      return ways;
    }
    case Phase::OtherProcesses:
      return ActsBefore(scenario, call);
    case Phase::Crashes:
    case Phase::DoubleCrashes:
    case Phase::Pairs:
      break;
  }
  return {};
}

/// What an operator may do after a crash of the command.
std::vector<std::string> NextActs(Command command) {
  if (IsReadOnly(command)) return {"again"};
  return {"again", "resume", "rollback"};
}

/// Whether the platform may ask the user before it does what the call wants: whether to trust the
/// publisher of a package.
bool MayHang(std::string_view call) {
  return call == "UpdateDriverForPlugAndPlayDevicesW";
}

/// A crash in each state of the machine that the command passes through, and a call that does not
/// return until somebody ends the process.
std::vector<Plan> EachCrash(const Scenario& scenario, const Undisturbed& undisturbed) {
  std::vector<Plan> plans;
  const auto add = [&plans](const CallPlace& place, FaultKind kind, const std::string& next) {
    plans.push_back({PlannedFault{place.call, place.nth, false, {kind, 0, 0, next}, place.site}});
  };
  const auto& places = undisturbed.places;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (i != 0 && !places[i].newWorld) continue;
    if (i != 0) add(places[i - 1], FaultKind::KillAfter, "again");
    for (const std::string& next : NextActs(scenario.line->command))
      add(places[i], FaultKind::KillBefore, next);
  }
  if (!places.empty()) add(places.back(), FaultKind::KillAfter, "again");
  for (const CallPlace& place : places) {
    if (!MayHang(place.call)) continue;
    for (const std::string& next : NextActs(scenario.line->command))
      add(place, FaultKind::Hang, next);
  }
  return plans;
}

/// Appends `count` of the items, evenly spread from an offset that the seed determines.
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

std::uint64_t CountPossible(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed) {
  if (phase == Phase::Crashes) return 2 * undisturbed.places.size();
  std::map<std::string, std::uint64_t> ofCall;
  std::uint64_t possible = 0;
  for (const CallPlace& place : undisturbed.places) {
    const auto known = ofCall.find(place.call);
    if (known != ofCall.end()) {
      possible += known->second;
      continue;
    }
    std::vector<Plan> plans;
    AddEachWay(plans, place, WaysOf(phase, scenario, place.call));
    possible += ofCall[place.call] = plans.size();
  }
  return possible;
}

std::vector<Plan> AllPlans(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed,
                           bool withRepeats) {
  if (phase == Phase::Crashes) return EachCrash(scenario, undisturbed);
  std::vector<Plan> plans;
  for (const CallPlace& place : undisturbed.places) {
    if (withRepeats || !place.repeats) {
      AddEachWay(plans, place, WaysOf(phase, scenario, place.call));
    }
  }
  return plans;
}

std::vector<Plan> DrawPairs(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed,
                            std::size_t count, std::uint64_t seed) {
  std::vector<Plan> singles;
  if (phase == Phase::DoubleCrashes) {
    singles = AllPlans(Phase::Crashes, scenario, undisturbed);
  } else {
    singles = AllPlans(Phase::Single, scenario, undisturbed);
    const std::vector<Plan> lies = AllPlans(Phase::Lies, scenario, undisturbed);
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

std::vector<Plan> EveryPairOfCalls(const Undisturbed& undisturbed) {
  std::vector<PlannedFault> failing;
  std::vector<std::vector<Way>> ways;
  for (const CallPlace& place : undisturbed.places) {
    std::vector<Way> all = HonestWays(place.call);
    if (all.empty() || place.repeats) continue;
    failing.push_back({place.call, place.nth, false, {}, place.site});
    ways.push_back(std::move(all));
  }
  std::vector<Plan> pairs;
  for (std::size_t i = 0; i < failing.size(); ++i) {
    for (std::size_t j = i + 1; j < failing.size(); ++j) {
      Plan pair = {failing[i], failing[j]};
      pair[0].way = ways[i][j % ways[i].size()];
      pair[1].way = ways[j][i % ways[j].size()];
      pairs.push_back(std::move(pair));
    }
  }
  return pairs;
}

std::vector<Plan> Sample(const std::vector<Plan>& plans, std::size_t cap, std::uint64_t seed,
                         SeenWays* seen) {
  std::vector<Plan> taken;
  std::vector<Plan> others;
  for (const Plan& plan : plans) {
    PlannedFault way = plan.front();
    way.nth = 0;
    const bool isNew = seen != nullptr && seen->insert(way.site ^ SeedOf(ToText(way))).second;
    (isNew ? taken : others).push_back(plan);
  }
  TakeSpread(others, cap, seed, taken);
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
