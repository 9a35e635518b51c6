#pragma once

// The names of the platform calls that the program makes, as the call log and --fault spell them.

#include <span>
#include <string_view>

namespace vorn::lab {

/// Every name, sorted by code units.
std::span<const std::string_view> CallNames();

bool IsCallName(std::string_view name);

}  // namespace vorn::lab
