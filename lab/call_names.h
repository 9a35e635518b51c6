#pragma once

// The names of the platform calls that the program makes, as they stand in the call log and in
// --fault.

#include <span>
#include <string_view>

namespace vorn::lab {

/// Every name, in the order of the code units.
std::span<const std::string_view> CallNames();

bool IsCallName(std::string_view name);

}  // namespace vorn::lab
