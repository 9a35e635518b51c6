#pragma once

// What a case or a question leaves when its process ends before its time.

#include <cstdint>

namespace vorn::contract {

/// Removes the temporary folder, the registry key, the devices and the package of that process, and
/// starts the audio services.
void CleanUpAfter(std::uint32_t processId);

}  // namespace vorn::contract
