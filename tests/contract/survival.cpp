#include "tests/contract/survival.h"

#include "platform/clock.h"

#include <cstdlib>
#include <stdexcept>

namespace vorn::contract {

namespace {

void EndTheProcess() {
  std::abort();
}

void ReadNowhere() {
  static const int* volatile nowhere = nullptr;
  CHECK_EQ(*nowhere, 0);
}

void NeverEnd() {
  for (;;)
    platform::Sleep(1000);
}

void Throw() {
  throw std::runtime_error("on purpose");
}

void Stop() {
  NEED(false);
}

void Pass() {
  CHECK(true);
}

}  // namespace

const std::vector<IllCase>& IllCases() {
  static const std::vector<IllCase> cases = {
      {{"OnPurposeTheProcessEnds", EndTheProcess}, true, false},
      {{"OnPurposeNothingIsRead", ReadNowhere}, true, false},
      {{"OnPurposeTheCaseNeverEnds", NeverEnd}, true, false},
      {{"OnPurposeTheCaseThrows", Throw}, false, false},
      {{"OnPurposeTheCaseCannotGoOn", Stop}, false, false},
      {{"TheNextCaseIsSound", Pass}, false, true},
  };
  return cases;
}

}  // namespace vorn::contract
