#include "tests/contract/questions.h"

#include <cstdio>

namespace vorn::contract {

int AskQuestions(const char*) {
  return 64;
}

}  // namespace vorn::contract
