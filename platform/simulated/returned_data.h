#pragma once

// How a platform call returns data of a length that the caller may not know: the required size
// always, the data only when the caller's buffer holds all of it.

#include "platform/simulated/calls.h"
#include "platform/simulated/file_system.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

/// The bytes of a text in UTF-16 with its terminator.
Bytes ToTerminatedBytes(std::u16string_view text);

/// Gives data or a text the length that the fault plan asks for: truncated, or with noise appended.
void SpoilLength(Bytes& data, const CallFaults& faults);
void SpoilLength(std::u16string& text, const CallFaults& faults);

/// Stores `*required` unless it is null, and copies `data` into `buffer` of `size` bytes. False,
/// with ERROR_INSUFFICIENT_BUFFER and nothing copied, when there is no buffer or it is too small.
bool ReturnData(const Bytes& data, void* buffer, std::uint32_t size, std::uint32_t* required);

/// ReturnData for a text; sizes in characters with the terminator.
bool ReturnText(std::u16string_view text, char16_t* buffer, std::uint32_t size,
                std::uint32_t* required);

}  // namespace vorn::platform::simulated
