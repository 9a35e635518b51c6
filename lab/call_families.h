#pragma once

// The families of platform calls: one for each header of platform/.

#include <cstddef>
#include <span>
#include <string_view>

namespace vorn::lab {

struct CallFamily {
  std::string_view header;  // "device_setup", of platform/device_setup.h
  std::string_view title;   // for people
  std::string_view about;
};

/// Every family, in the order in which a run mostly comes to them.
std::span<const CallFamily> CallFamilies();

/// The number of a call's family.
std::size_t FamilyOf(std::string_view call);

}  // namespace vorn::lab
