#pragma once

// A run without faults, looked at call by call: the places where a fault can be put.

#include "tests/faults/scenarios.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vorn::tests {

/// One call of the run.
struct CallPlace {
  std::string call;
  std::uint32_t nth = 1;  // of the calls of that name
  // From where in the program it is made: equal for equal call stacks. 0 when it was not asked for.
  std::uint64_t site = 0;
  // It belongs to a turn of a waiting loop that asks the same and is answered the same as the first
  // and the second such turn, and is not the last. A fault in it differs from theirs in time alone.
  bool repeats = false;
  // The world is another than before the previous call, its time aside. A process that dies before
  // any other call dies in the same world as one that dies before the call before it. Unset when it
  // was not asked for.
  bool newWorld = false;
};

struct Undisturbed {
  std::vector<CallPlace> places;  // in the order of the calls
  int status = 0;
  // Of all calls, arguments and results: machines of one number answer the command alike, and the
  // same faults lead it the same way.
  std::uint64_t answers = 0;
};

/// What to look for beside the calls; each takes time.
struct Look {
  bool sites = false;
  bool worlds = false;
};

Undisturbed RunUndisturbed(const Scenario& scenario, const Look& look);

/// What every run of the harness has, beside its faults: after a few waits each further one takes
/// seconds more, as on a busy machine, so that the program's patience ends after ten turns and
/// not after fifty that are all alike. With VORN_FAULTS_FULL=2 waits take what they ask for.
std::vector<platform::simulated::Fault> BusyMachine();

}  // namespace vorn::tests
