// Tests of the undisturbed runs, which supply the places of faults.

#include "tests/faults/undisturbed.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

namespace vorn::tests {

namespace model = platform::simulated;

TEST(Undisturbed, EndsAlikeOnABusyAndAnIdleMachine) {
  for (const CommandLine& line : CommandLines()) {
    for (const StartingMachine& start : StartingMachines()) {
      RunOptions options;
      options.logCalls = false;
      model::Machine idle = start.machine;
      const RunResult alone = RunCommand(idle, line.arguments, options);
      options.faults = BusyMachine();
      model::Machine busy = start.machine;
      const RunResult beside = RunCommand(busy, line.arguments, options);
      EXPECT_EQ(beside.status, alone.status) << line.name << "@" << start.name;
      EXPECT_LE(beside.callCount, alone.callCount) << line.name << "@" << start.name;
    }
  }
}

TEST(Undisturbed, FindsRepeatedTurnsOfAWait) {
  const Undisturbed run = RunUndisturbed(FindScenario("verify@stale-journal"), {});
  const auto repeats = std::count_if(run.places.begin(), run.places.end(),
                                     [](const CallPlace& place) { return place.repeats; });
  EXPECT_GT(repeats, 400);  // a turn has some 400 calls
  EXPECT_FALSE(run.places.front().repeats);
  EXPECT_FALSE(run.places.back().repeats);
}

TEST(Undisturbed, TellsCallSitesApart) {
  const Undisturbed run = RunUndisturbed(FindScenario("install@outdated"), {true, false});
  std::set<std::uint64_t> sites;
  for (const CallPlace& place : run.places)
    sites.insert(place.site);
  EXPECT_GT(sites.size(), 100U);
  EXPECT_LT(sites.size(), run.places.size());
}

TEST(Undisturbed, SeesWhereTheMachineChanges) {
  const Undisturbed looks = RunUndisturbed(FindScenario("audit-catalog@installed"), {false, true});
  EXPECT_TRUE(std::none_of(looks.places.begin(), looks.places.end(),
                           [](const CallPlace& place) { return place.newWorld; }));
  const Undisturbed changes = RunUndisturbed(FindScenario("install@outdated"), {false, true});
  EXPECT_GT(std::count_if(changes.places.begin(), changes.places.end(),
                          [](const CallPlace& place) { return place.newWorld; }),
            30);
  // The bind changes it.
  const auto bind = std::find_if(
      changes.places.begin(), changes.places.end(),
      [](const CallPlace& place) { return place.call == "UpdateDriverForPlugAndPlayDevicesW"; });
  ASSERT_NE(bind, changes.places.end());
  EXPECT_TRUE(std::next(bind)->newWorld);
}

}  // namespace vorn::tests
