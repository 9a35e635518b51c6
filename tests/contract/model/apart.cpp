#include "tests/contract/apart.h"

namespace vorn::contract {

// A crash of the model is a defect of the model, for which the suite may well end.
std::optional<Ending> RunApart(const std::vector<std::string>&, std::uint32_t) {
  return std::nullopt;
}

std::string Ending::Text() const {
  return inTime ? "ended" : "did not end in time";
}

std::vector<std::string> Arguments(int count, char** values) {
  return {values + 1, values + count};
}

}  // namespace vorn::contract
