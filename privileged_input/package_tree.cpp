#include "privileged_input/package_tree.h"

#include "base/path_text.h"
#include "platform/files.h"
#include "platform/kept_last_error.h"
#include "platform/last_error.h"
#include "privileged_input/access_control.h"
#include "privileged_input/deletion.h"
#include "privileged_input/refusal.h"

#include <utility>

namespace vorn::privileged_input {

namespace {

/// A folder still to be copied.
struct PendingFolder {
  Directory source;
  Directory destination;
  std::u16string prefix = {};  // of the relative paths in it
  std::uint32_t depth = 0;     // below the package's folder
};

class TreeCopy {
 public:
  TreeCopy(const platform::SECURITY_DESCRIPTOR* descriptor, ProtectionCheck protection,
           PackageData& data)
      : descriptor_(descriptor), protection_(protection), data_(data) {}

  bool Run(const Directory& source) {
    pending_.push_back({.source = source, .destination = data_.directories.front()});
    while (!pending_.empty()) {
      const PendingFolder folder = std::move(pending_.back());
      pending_.pop_back();
      if (!CopyFolder(folder)) return false;
    }
    return true;
  }

 private:
  bool CopyFolder(const PendingFolder& folder) {
    if (folder.depth > kMaxPackageDepth) return RefuseWith(platform::ERROR_FILE_INVALID);
    std::vector<DirectoryEntry> entries;
    if (!Directory::Enumerate(folder.source, entries, kMaxPackageEntries)) return false;
    for (const DirectoryEntry& entry : entries) {
      if (!CopyEntry(folder, entry)) return false;
    }
    return true;
  }

  bool CopyEntry(const PendingFolder& folder, const DirectoryEntry& entry) {
    const bool isDirectory = (entry.attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (++entryCount_ > kMaxPackageEntries) return RefuseWith(platform::ERROR_FILE_INVALID);
    if ((entry.attributes & platform::FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
      return RefuseWith(isDirectory ? platform::ERROR_REPARSE_TAG_INVALID
                                    : platform::ERROR_FILE_INVALID);
    }
    return isDirectory ? CopySubfolder(folder, entry.name) : CopyFile(folder, entry.name);
  }

  bool CopySubfolder(const PendingFolder& folder, const std::u16string& name) {
    Directory source = Directory::OpenRelative(folder.source, name);
    if (!source) return false;
    Directory destination = Directory::CreateChild(folder.destination, name, descriptor_);
    if (!destination) return false;
    data_.directories.push_back(destination);
    pending_.push_back({std::move(source), std::move(destination), folder.prefix + name + u"\\",
                        folder.depth + 1});
    return true;
  }

  bool CopyFile(const PendingFolder& folder, const std::u16string& name) {
    const File source = File::Open(folder.source, name, kMaxPackageSize, FileMode::ReadOnly);
    if (!source) return false;
    totalSize_ += source.Size();
    if (totalSize_ > kMaxPackageSize) return RefuseWith(platform::ERROR_FILE_INVALID);
    File copy = File::Create(folder.destination, name, descriptor_, source.Size());
    if (!copy) return false;
    data_.files.push_back({folder.prefix + name, std::move(copy), folder.destination, {}});
    PackageFileEntry& entry = data_.files.back();
    if (!File::CopyFrom(entry.file, source)) return false;
    entry.identity = entry.file.Identity();
    // The read-only open denies writers, so it fails while the writable handle is open.
    entry.file.Close();
    entry.file = File::Open(folder.destination, name, entry.identity.size, FileMode::ReadOnly);
    if (!entry.file) return false;
    return protection_ == ProtectionCheck::Skip || HasProtectedOwnerAndDacl(entry.file.Handle());
  }

  const platform::SECURITY_DESCRIPTOR* descriptor_;
  ProtectionCheck protection_;
  PackageData& data_;
  std::vector<PendingFolder> pending_;  // last in, first out
  std::size_t entryCount_ = 0;          // in the whole tree
  std::uint64_t totalSize_ = 0;         // of all files, in bytes
};

/// How to find a closed copy again.
struct ClosedCopy {
  Directory folder;
  std::u16string name;
  FileIdentity identity;
};

/// Closes every copy. One that is still writable is deleted at once; the others are returned,
/// because their read-only handles cannot delete them and block an open that can.
std::vector<ClosedCopy> CloseCopies(PackageData& data) {
  std::vector<ClosedCopy> closed;
  for (PackageFileEntry& entry : data.files) {
    if (entry.file && entry.file.IsWritable()) {
      if (entry.file.IsDeletable()) DeleteByHandle(entry.file.Handle());
    } else {
      closed.push_back({entry.folder, std::u16string(FileNameComponent(entry.relativePath)),
                        entry.file ? entry.file.Identity() : entry.identity});
    }
    entry.file.Close();
  }
  data.files.clear();
  return closed;
}

void DeleteCopy(const ClosedCopy& copy) {
  const File file = File::Open(copy.folder, copy.name, copy.identity.size, FileMode::Deletable);
  if (file && file.IsDeletable() && file.Identity() == copy.identity) {
    DeleteByHandle(file.Handle());
  }
}

}  // namespace

bool CopyPackageTree(const Directory& source, const platform::SECURITY_DESCRIPTOR* descriptor,
                     ProtectionCheck protection, PackageData& data) {
  return TreeCopy(descriptor, protection, data).Run(source);
}

PackageData::~PackageData() {
  const platform::KeptLastError kept;
  for (const ClosedCopy& copy : CloseCopies(*this))
    DeleteCopy(copy);
  // Only an empty folder can be deleted, and only once its last handle closes: children first.
  while (!directories.empty()) {
    const Directory& last = directories.back();
    if (last.WasCreated()) MarkForDeletion(last.Handle());
    directories.pop_back();
  }
}

}  // namespace vorn::privileged_input
