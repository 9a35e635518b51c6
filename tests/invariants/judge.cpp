#include "tests/invariants/checkers.h"

namespace vorn::tests {

namespace {

struct Checker {
  const char* name;
  Violations (*check)(const Observation&);
};

constexpr Checker kCheckers[] = {
    {"final line", CheckFinalLine},
    {"known lines", CheckKnownLines},
    {"proven activation", CheckProvenActivation},
    {"proven removal", CheckProvenRemoval},
    {"endpoints visible", CheckEndpointsVisible},
    {"journal", CheckJournal},
    {"nothing left", CheckNothingLeft},
    {"foreign parts", CheckForeignParts},
    {"owned places", CheckOwnedPlaces},
    {"untouched", CheckUntouched},
    {"packages after roots", CheckPackagesAfterRoots},
    {"time bound", CheckTimeBound},
    {"opens by path", CheckOpensByPath},
};

}  // namespace

Violations Judge(const Observation& run) {
  Violations all;
  for (const Checker& checker : kCheckers) {
    for (const std::string& violation : checker.check(run))
      all.push_back(std::string(checker.name) + ": " + violation);
  }
  return all;
}

}  // namespace vorn::tests
