#include "tests/contract/questions.h"

#include <cstdio>

namespace vorn::contract {

// The model was written to answer them in one way; only Windows can say which is right.
int AskQuestions(const char*) {
  std::puts("the questions are for Windows itself");
  return 64;
}

}  // namespace vorn::contract
