#pragma once

// Cases that go wrong on purpose: what they are for is that the suite goes on after each of them.

#include "tests/contract/contract.h"

namespace vorn::contract {

struct IllCase {
  Case one;
  bool apartOnly = false;  // it takes its process along
  bool passes = false;
};

const std::vector<IllCase>& IllCases();

}  // namespace vorn::contract
