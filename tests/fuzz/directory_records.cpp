// Folder listings of arbitrary bytes, walked a second time with plain arithmetic.

#include "privileged_input/directory_records.h"

#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "privileged_input/path_rules.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <algorithm>
#include <array>
#include <optional>

namespace vorn::tests {

namespace directory_records {
namespace {

using privileged_input::DirectoryEntry;
using privileged_input::kListingBufferSize;

std::uint64_t WordAt(std::span<const std::uint8_t> buffer, std::uint64_t offset) {
  std::uint64_t word = 0;
  for (std::uint64_t i = 4; i > 0; --i)
    word = word << 8 | buffer[offset + i - 1];
  return word;
}

/// The entries of a whole buffer; nothing when a record must be refused. The first word of a record
/// is the offset of the next; the attributes are at 56, the length of the name at 60 and the name
/// at 104.
std::optional<std::vector<DirectoryEntry>> Walk(std::span<const std::uint8_t> buffer,
                                                std::size_t most) {
  std::vector<DirectoryEntry> entries;
  for (std::uint64_t at = 0;;) {
    if (at > 65424) return std::nullopt;
    const std::uint64_t length = WordAt(buffer, at + 60);
    const std::uint64_t next = WordAt(buffer, at);
    if (length % 2 != 0 || at + 104 + length > kListingBufferSize) return std::nullopt;
    if (next != 0 && (next < 104 || at + next > kListingBufferSize)) return std::nullopt;
    DirectoryEntry entry;
    entry.name = UnitsOf(buffer.subspan(at + 104, length));
    entry.attributes = static_cast<std::uint32_t>(WordAt(buffer, at + 56));
    if (entry.name != u"." && entry.name != u"..") {
      if (!privileged_input::IsSafeComponentName(entry.name)) return std::nullopt;
      if (entries.size() == most) return std::nullopt;
      entries.push_back(entry);
    }
    if (next == 0) return entries;
    at += next;
  }
}

/// A buffer of the program's size that begins with the input and is zero after it. Always the same
/// one, and only what the input before this one wrote is cleared: most of a run would go there.
std::span<const std::uint8_t> ListingBufferWith(std::span<const std::uint8_t> input) {
  static std::array<std::uint8_t, kListingBufferSize> buffer;
  static std::size_t written = 0;
  const std::size_t size = std::min(input.size(), buffer.size());
  std::copy_n(input.begin(), size, buffer.begin());
  std::fill(buffer.begin() + static_cast<std::ptrdiff_t>(size),
            buffer.begin() + static_cast<std::ptrdiff_t>(std::max(size, written)), std::uint8_t{0});
  written = size;
  return buffer;
}

void Check(std::span<const std::uint8_t> input) {
  static platform::simulated::Machine machine;
  static platform::simulated::Process process(machine);  // for its last error alone
  const std::size_t most = input.empty() ? 0 : input[0] % 8;

  std::vector<DirectoryEntry> entries;
  privileged_input::AppendDirectoryRecords(input, most, entries);  // an unusual buffer size
  Require(entries.size() <= most, "no more entries than allowed, whatever the size");

  const std::span<const std::uint8_t> buffer = ListingBufferWith(input);
  entries.clear();
  const bool accepted = privileged_input::AppendDirectoryRecords(buffer, most, entries);
  const auto walked = Walk(buffer, most);
  Require(accepted == walked.has_value(), "accepted by both walks or by none");
  Require(!walked || entries == *walked, "the same entries by both walks");
}

}  // namespace
}  // namespace directory_records

void FuzzDirectoryRecords(std::span<const std::uint8_t> input) {
  directory_records::Check(input);
}

}  // namespace vorn::tests
