#include "platform/simulated/directory_pages.h"

#include "platform/files.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/native_values.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::platform::simulated {

namespace {

constexpr std::uint32_t kJunctionTag = 0xA0000003;      // IO_REPARSE_TAG_MOUNT_POINT
constexpr std::uint32_t kSymbolicLinkTag = 0xA000000C;  // IO_REPARSE_TAG_SYMLINK
constexpr std::uint32_t kOtherTag = 0x9000001A;         // IO_REPARSE_TAG_CLOUD

constexpr std::uint64_t kClusterSize = 4096;

std::uint64_t AllocationSize(const Node& node) {
  return (FileSize(node) + kClusterSize - 1) / kClusterSize * kClusterSize;
}

std::uint32_t Aligned(std::uint32_t size) {
  constexpr std::uint32_t kRecordAlignment = 8;
  return (size + kRecordAlignment - 1) / kRecordAlignment * kRecordAlignment;
}

/// One name of the listing.
struct Item {
  std::u16string_view name;
  std::u16string_view shortName;
  NodeId node = 0;
};

FILE_ID_BOTH_DIR_INFO Record(const FileSystem& files, const Item& item) {
  const Node& node = files.nodes.Get(item.node);
  FILE_ID_BOTH_DIR_INFO record = {};
  record.CreationTime = node.times.creation;
  record.LastAccessTime = node.times.lastAccess;
  record.LastWriteTime = node.times.lastWrite;
  record.ChangeTime = node.times.change;
  record.EndOfFile = static_cast<std::int64_t>(FileSize(node));
  record.AllocationSize = static_cast<std::int64_t>(AllocationSize(node));
  record.FileAttributes = ReportedAttributes(node);
  record.FileNameLength = static_cast<std::uint32_t>(item.name.size() * sizeof(char16_t));
  // Documented: EaSize of a listed link is its reparse tag.
  record.EaSize = ReparseTag(node);
  const std::size_t units = std::min(item.shortName.size(), std::size(record.ShortName));
  record.ShortNameLength = static_cast<std::int8_t>(units * sizeof(char16_t));
  std::copy_n(item.shortName.begin(), units, record.ShortName);
  record.FileId = static_cast<std::int64_t>(FileIndexOf(item.node, node));
  return record;
}

/// The page being filled.
class Page {
 public:
  Page(const FileSystem& files, void* bytes, std::uint32_t size)
      : files_(files), bytes_(static_cast<std::uint8_t*>(bytes)), size_(size) {}

  bool IsEmpty() const { return end_ == 0; }

  /// False when the record no longer fits.
  bool Add(const Item& item) {
    const FILE_ID_BOTH_DIR_INFO record = Record(files_, item);
    const std::uint32_t start = Aligned(end_);
    const std::uint32_t length = static_cast<std::uint32_t>(sizeof record) + record.FileNameLength;
    if (start + length > size_) return false;
    if (!IsEmpty()) {
      const std::uint32_t step = start - last_;
      std::memcpy(bytes_ + last_, &step, sizeof step);
    }
    std::memcpy(bytes_ + start, &record, sizeof record);
    std::memcpy(bytes_ + start + sizeof record, item.name.data(), record.FileNameLength);
    last_ = start;
    end_ = start + length;
    return true;
  }

 private:
  const FileSystem& files_;
  std::uint8_t* bytes_;
  std::uint32_t size_;
  std::uint32_t last_ = 0;  // offset of the last record
  std::uint32_t end_ = 0;
};

/// Adds what remains of "." and ".."; false when the page is full.
bool AddDots(FileObject& folder, Page& page) {
  constexpr std::u16string_view kDots[] = {u".", u".."};
  const NodeId above = folder.Read().place.folder;
  const bool listsDots = !VolumeOf(folder.Files(), folder.Read()).omitsDots;
  if (above == 0 || !listsDots) return true;
  while (folder.dotsListed < std::size(kDots)) {
    const NodeId node = folder.dotsListed == 0 ? folder.Id() : above;
    if (!page.Add({kDots[folder.dotsListed], {}, node})) return false;
    ++folder.dotsListed;
  }
  return true;
}

bool AddName(FileObject& folder, Page& page, const std::u16string& key, const Entry& entry) {
  if (!page.Add({entry.name, entry.shortName, entry.node})) return false;
  folder.lastListed = key;
  return true;
}

/// The place of a name in a scattered listing (FNV-1a).
std::pair<std::uint64_t, std::u16string_view> ScatteredPlace(std::u16string_view key) {
  std::uint64_t hash = 14695981039346656037ULL;
  for (const char16_t unit : key)
    hash = (hash ^ unit) * 1099511628211ULL;
  return {hash, key};
}

bool AddScatteredNames(FileObject& folder, Page& page) {
  using Named = std::pair<const std::u16string, Entry>;
  std::vector<const Named*> rest;
  for (const Named& named : folder.Read().entries) {
    const bool isListed = !folder.lastListed.empty() &&
                          ScatteredPlace(named.first) <= ScatteredPlace(folder.lastListed);
    if (!isListed) rest.push_back(&named);
  }
  std::sort(rest.begin(), rest.end(), [](const Named* left, const Named* right) {
    return ScatteredPlace(left->first) < ScatteredPlace(right->first);
  });
  return std::all_of(rest.begin(), rest.end(), [&](const Named* named) {
    return AddName(folder, page, named->first, named->second);
  });
}

/// Adds the names after the last one listed; false when the page is full. Documented: the order of
/// a listing is the file system's. Documented: NTFS lists by name without regard to case, and FAT
/// does not.
bool AddNames(FileObject& folder, Page& page) {
  const Node& node = folder.Read();
  if (VolumeOf(folder.Files(), node).scattersListings) return AddScatteredNames(folder, page);
  auto entry = node.entries.upper_bound(folder.lastListed);
  while (entry != node.entries.end() && AddName(folder, page, entry->first, entry->second))
    ++entry;
  return entry == node.entries.end();
}

NTSTATUS FillReportedPage(FileObject& folder, void* page, std::uint32_t size) {
  const std::vector<Bytes>& pages = folder.Read().reportedPages;
  if (folder.nextPage >= pages.size()) return STATUS_NO_MORE_FILES;
  const Bytes& bytes = pages[folder.nextPage++];
  std::memcpy(page, bytes.data(), std::min<std::size_t>(bytes.size(), size));
  return STATUS_SUCCESS;
}

}  // namespace

std::uint32_t ReportedAttributes(const Node& node) {
  std::uint32_t attributes = node.attributes;
  if (node.directory) attributes |= FILE_ATTRIBUTE_DIRECTORY;
  if (node.reparse != ReparseKind::None) attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
  return attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes;
}

std::uint32_t ReparseTag(const Node& node) {
  switch (node.reparse) {
    case ReparseKind::None:
      return 0;
    case ReparseKind::Junction:
      return kJunctionTag;
    case ReparseKind::SymbolicLink:
      return kSymbolicLinkTag;
    case ReparseKind::Other:
      return kOtherTag;
  }
  return 0;
}

NTSTATUS FillDirectoryPage(FileObject& folder, bool restart, void* page, std::uint32_t size) {
  // Documented (length check of the native query): a page without room for a whole record, with one
  // unit of a name and its alignment, is refused with error 24.
  constexpr std::uint32_t kSmallestPage = 112;
  if (size < kSmallestPage) return STATUS_INFO_LENGTH_MISMATCH;
  if (restart) {
    folder.listing = FileObject::Listing::NotBegun;
    folder.dotsListed = 0;
    folder.lastListed.clear();
    folder.nextPage = 0;
  }
  if (!folder.Read().reportedPages.empty()) return FillReportedPage(folder, page, size);
  if (folder.listing == FileObject::Listing::Ended) return STATUS_NO_MORE_FILES;
  const bool first = folder.listing == FileObject::Listing::NotBegun;
  folder.listing = FileObject::Listing::Names;
  Page records(folder.Files(), page, size);
  const bool complete = AddDots(folder, records) && AddNames(folder, records);
  if (!complete) return records.IsEmpty() ? STATUS_BUFFER_OVERFLOW : STATUS_SUCCESS;
  if (!records.IsEmpty()) return STATUS_SUCCESS;
  folder.listing = FileObject::Listing::Ended;
  // Documented: a listing without any name ends with STATUS_NO_SUCH_FILE. Only an empty root has
  // one, or an empty folder of a volume without dot entries.
  return first ? STATUS_NO_SUCH_FILE : STATUS_NO_MORE_FILES;
}

}  // namespace vorn::platform::simulated
