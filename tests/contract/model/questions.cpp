#include "tests/contract/questions.h"

#include <cstdio>

namespace vorn::contract {

// The model was written to answer them in one way; only Windows can say which is right.
int AskQuestions(const std::vector<std::string>&) {
  std::puts("the questions are for Windows itself");
  return 64;
}

int AskQuestion(const std::vector<std::string>& arguments) {
  return AskQuestions(arguments);
}

}  // namespace vorn::contract
