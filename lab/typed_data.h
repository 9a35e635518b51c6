#pragma once

// Typed bytes, as in registry values and device properties: a string or a 32-bit number if they are
// exactly that, otherwise the type's number and the bytes.

#include "lab/facts.h"

#include <cstdint>

namespace vorn::lab {

/// Writes `text` for data of `textType` that is one terminated string, `dword` for 4 bytes of data
/// of `dwordType` (when there is one), and otherwise `type` and `hex`.
void DescribeTypedData(FactWriter& facts, std::uint32_t& type, Bytes& data, std::uint32_t textType,
                       const std::uint32_t* dwordType = nullptr);

/// Reads exactly one of these forms.
void DescribeTypedData(FactReader& facts, std::uint32_t& type, Bytes& data, std::uint32_t textType,
                       const std::uint32_t* dwordType = nullptr);

}  // namespace vorn::lab
