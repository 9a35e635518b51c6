#pragma once

// Typed bytes, as registry values and device properties have them: a string or a 32-bit number
// where they are exactly that, else the type's number and the bytes.

#include "lab/facts.h"

#include <cstdint>

namespace vorn::lab {

/// Writes `text` for data of `textType` that is one terminated string, `dword` for data of
/// `dwordType` (when there is one) of 4 bytes, else `type` and `hex`.
void DescribeTypedData(FactWriter& facts, std::uint32_t& type, Bytes& data, std::uint32_t textType,
                       const std::uint32_t* dwordType = nullptr);

/// Reads exactly one of these forms.
void DescribeTypedData(FactReader& facts, std::uint32_t& type, Bytes& data, std::uint32_t textType,
                       const std::uint32_t* dwordType = nullptr);

}  // namespace vorn::lab
