#include "privileged_input/directory_records.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "privileged_input/path_rules.h"
#include "privileged_input/refusal.h"

#include <cstring>

namespace vorn::privileged_input {

namespace {

constexpr std::size_t kFixedSize = sizeof(platform::FILE_ID_BOTH_DIR_INFO);

/// The platform's structure, which includes one unit of the name and padding.
constexpr std::size_t kWholeRecordSize = kFixedSize + 8;

constexpr std::size_t kLastRecordOffset = kListingBufferSize - kWholeRecordSize;
static_assert(kLastRecordOffset == 65424);

std::uint32_t ReadWord(std::span<const std::uint8_t> record, std::size_t offset) {
  std::uint32_t word = 0;
  std::memcpy(&word, record.data() + offset, sizeof word);
  return word;
}

/// Whether the name and the next record lie within `rest`, which starts with the record.
bool Fits(std::span<const std::uint8_t> rest, std::uint32_t nameLength, std::uint32_t nextOffset) {
  if (nameLength % sizeof(char16_t) != 0 || nameLength > rest.size() - kFixedSize) return false;
  return nextOffset == 0 || (nextOffset >= kFixedSize && nextOffset <= rest.size());
}

bool AppendEntry(DirectoryEntry entry, std::size_t maxEntries,
                 std::vector<DirectoryEntry>& entries) {
  if (entry.name == u"." || entry.name == u"..") return true;
  if (!IsSafeComponentName(entry.name)) return false;
  if (entries.size() >= maxEntries) return RefuseWith(platform::ERROR_FILE_INVALID);
  entries.push_back(std::move(entry));
  return true;
}

}  // namespace

bool AppendDirectoryRecords(std::span<const std::uint8_t> buffer, std::size_t maxEntries,
                            std::vector<DirectoryEntry>& entries) {
  using platform::FILE_ID_BOTH_DIR_INFO;
  std::size_t offset = 0;
  while (true) {
    if (offset > kLastRecordOffset || offset + kFixedSize > buffer.size()) {
      return RefuseWith(platform::ERROR_FILE_INVALID);
    }
    const std::span<const std::uint8_t> rest = buffer.subspan(offset);
    const std::uint32_t nameLength =
        ReadWord(rest, offsetof(FILE_ID_BOTH_DIR_INFO, FileNameLength));
    const std::uint32_t nextOffset =
        ReadWord(rest, offsetof(FILE_ID_BOTH_DIR_INFO, NextEntryOffset));
    if (!Fits(rest, nameLength, nextOffset)) return RefuseWith(platform::ERROR_FILE_INVALID);
    DirectoryEntry entry;
    entry.name.resize(nameLength / sizeof(char16_t));
    std::memcpy(entry.name.data(), rest.data() + kFixedSize, nameLength);
    entry.attributes = ReadWord(rest, offsetof(FILE_ID_BOTH_DIR_INFO, FileAttributes));
    if (!AppendEntry(std::move(entry), maxEntries, entries)) return false;
    if (nextOffset == 0) return true;
    offset += nextOffset;
  }
}

}  // namespace vorn::privileged_input
