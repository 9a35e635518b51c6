#pragma once

// How Windows compares the names of files, devices, registry keys and objects: unit by unit, after
// each small letter has become its capital. The program itself folds ASCII letters alone, so two
// names that differ for it can be one name for the machine.

#include "base/text.h"

#include <array>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

/// The capital of every code unit, or the unit itself.
const std::array<char16_t, 0x10000>& Capitals();

inline char16_t ToUpperName(char16_t unit) {
  return unit < 0x80 ? ToUpperAscii(unit) : Capitals()[unit];
}

std::u16string ToUpperName(std::u16string_view name);

/// Whether two names are the same name.
bool IsSameName(std::u16string_view left, std::u16string_view right);

/// Compares the capitals of two names, in whose order a hive keeps keys: negative, 0 for the same
/// name, or positive.
int CompareNames(std::u16string_view left, std::u16string_view right);

/// Whether a name comes before another in that order.
bool IsNameBefore(std::u16string_view left, std::u16string_view right);

/// Whether a name begins with another.
bool StartsWithName(std::u16string_view name, std::u16string_view start);

}  // namespace vorn::platform::simulated
