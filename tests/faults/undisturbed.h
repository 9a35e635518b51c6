#pragma once

// A run without faults, call by call: the places where a fault can be injected.

#include "tests/faults/scenarios.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vorn::tests {

/// One call of the run.
struct CallPlace {
  std::string call;
  std::uint32_t nth = 1;  // counted among the calls of that name
  // Call site: equal for equal call stacks; 0 unless requested.
  std::uint64_t site = 0;
  // The call belongs to a turn of a waiting loop that makes the same calls and gets the same
  // answers as the first two turns, and it is not the last turn. A fault here differs from a fault
  // in those turns in time only.
  bool repeats = false;
  // The machine, its clock aside, differs from what it was before the previous call. Where this is
  // not set, a process that dies before the call leaves the same machine as one that dies a call
  // earlier. False unless requested.
  bool newWorld = false;
};

struct Undisturbed {
  std::vector<CallPlace> places;  // in the order of the calls
  int status = 0;
  // A hash over all calls, arguments and results. Machines with the same hash answer the command
  // alike, so the same faults lead to the same runs.
  std::uint64_t answers = 0;
};

/// What to record beside the calls. Each item costs time.
struct Look {
  bool sites = false;
  bool worlds = false;
};

Undisturbed RunUndisturbed(const Scenario& scenario, const Look& look);

/// The options of every run of the harness, faults aside. After a few waits each further one takes
/// extra seconds, as on a busy machine: the program then gives up after ten turns instead of fifty
/// identical ones. With VORN_FAULTS_FULL=2 waits take exactly the time asked for.
std::vector<platform::simulated::Fault> BusyMachine();

}  // namespace vorn::tests
