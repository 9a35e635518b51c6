#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace vorn::platform::simulated {

namespace {

/// Small letters that are equally far from their capitals.
struct Run {
  char16_t first;
  char16_t last;
  std::uint8_t step;
  std::int32_t offset;  // of the capital
};

// Observed (RtlUpcaseUnicodeChar on Wine): a small letter becomes its capital if each is the
// other's counterpart in Unicode; the micro sign, the dotless i, the long s, the final sigma and
// the digraphs in title case stay as they are. Documented (NTFS, $UpCase): a volume keeps the table
// of the Windows that formatted it. Assumed: volumes, the registry and Plug and Play fold by one
// table, that of RtlUpcaseUnicodeChar. Question: does RtlUpcaseUnicodeChar of that Windows map
// every code unit as this table does, and are two files, two keys and two devices whose names
// differ by such a pair one?
constexpr Run kRuns[] = {
#include "platform/simulated/upper_case_runs.inc"
};

std::array<char16_t, 0x10000> MakeCapitals() {
  std::array<char16_t, 0x10000> capitals = {};
  for (std::size_t unit = 0; unit < capitals.size(); ++unit)
    capitals[unit] = static_cast<char16_t>(unit);
  for (const Run& run : kRuns) {
    for (std::uint32_t unit = run.first; unit <= run.last; unit += run.step)
      capitals[unit] = static_cast<char16_t>(static_cast<std::int32_t>(unit) + run.offset);
  }
  return capitals;
}

}  // namespace

const std::array<char16_t, 0x10000>& Capitals() {
  static const std::array<char16_t, 0x10000> capitals = MakeCapitals();
  return capitals;
}

std::u16string ToUpperName(std::u16string_view name) {
  std::u16string upper(name);
  for (char16_t& unit : upper)
    unit = ToUpperName(unit);
  return upper;
}

bool IsSameName(std::u16string_view left, std::u16string_view right) {
  if (left.size() != right.size()) return false;
  if (AreSameUnits(left, right)) return true;
  // Compared from the end, because that is where the ids of one machine differ.
  return std::equal(left.rbegin(), left.rend(), right.rbegin(), [](char16_t one, char16_t other) {
    return one == other || ToUpperName(one) == ToUpperName(other);
  });
}

int CompareNames(std::u16string_view left, std::u16string_view right) {
  const std::size_t shorter = std::min(left.size(), right.size());
  for (std::size_t i = CommonUnits(left, right); i < shorter; ++i) {
    const int difference = int{ToUpperName(left[i])} - int{ToUpperName(right[i])};
    if (difference != 0) return difference;
  }
  if (left.size() == right.size()) return 0;
  return left.size() < right.size() ? -1 : 1;
}

bool IsNameBefore(std::u16string_view left, std::u16string_view right) {
  return CompareNames(left, right) < 0;
}

bool StartsWithName(std::u16string_view name, std::u16string_view start) {
  return name.size() >= start.size() && IsSameName(name.substr(0, start.size()), start);
}

}  // namespace vorn::platform::simulated
