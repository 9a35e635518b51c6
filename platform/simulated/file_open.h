#pragma once

// Opening and creating by native name: the rules that decide whether a caller gets a handle, and
// the open file or folder behind it.

#include "platform/native.h"
#include "platform/simulated/file_system.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

/// An open file or folder of the process. Its open is part of the machine until it is destroyed.
class FileObject : public Object {
 public:
  FileObject(Machine& machine, const OpenKey& key, std::uint32_t access);
  ~FileObject() override;

  NodeId Id() const { return key_.node; }
  const Node& Read() const { return files_.nodes.Get(key_.node); }
  Node& Write() const { return files_.nodes.at(key_.node); }
  FileSystem& Files() const { return files_; }

  /// The name by which it was opened.
  const Place& OpenedAs() const { return files_.opens.at(key_).place; }

  /// The rights of the handle.
  std::uint32_t Access() const { return access_; }
  bool MayAny(std::uint32_t rights) const { return (access_ & rights) != 0; }

  std::uint64_t position = 0;  // of the next read or write
  bool written = false;        // a file that it created, or whose content it changed

  // The state of a folder's listing: not started, past ".", past "..", past a name, or at the end.
  enum class Listing { NotBegun, Names, Ended };
  Listing listing = Listing::NotBegun;
  std::uint32_t dotsListed = 0;
  std::u16string lastListed;  // upper-cased
  std::size_t nextPage = 0;   // of the pages that the volume reports instead

 private:
  Machine& machine_;
  FileSystem& files_;
  OpenKey key_;
  std::uint32_t access_;
};

/// The parameters of NtCreateFile.
struct OpenRequest {
  const FileObject* root = nullptr;  // the folder that `name` is relative to
  std::u16string_view name;
  std::uint32_t access = 0;
  std::uint32_t attributes = 0;
  std::uint32_t share = 0;
  std::uint32_t disposition = FILE_OPEN;
  std::uint32_t options = 0;
  bool dontReparse = false;
  const SecurityRecord* security = nullptr;  // of a new object
};

/// The result: an open file, or the status that explains why not.
struct OpenResult {
  NTSTATUS status = STATUS_SUCCESS;
  std::shared_ptr<FileObject> file;
  bool created = false;
};

/// Opens or creates on behalf of the process.
OpenResult OpenByName(Process& process, const OpenRequest& request);

/// The same for whoever has that token, which must outlive the call alone.
OpenResult OpenByName(Machine& machine, const Token& token, const OpenRequest& request);

/// Whether a caller may make `owner` the owner of something: itself, or Administrators if it
/// belongs to them; anybody else takes the restore privilege. Nobody is named by an empty text.
bool MayName(const Token& token, const std::u16string& owner);

/// Whether an open with these rights and this sharing is compatible with all other opens of the
/// node.
bool SharesWithOthers(const FileSystem& files, NodeId node, std::uint32_t access,
                      std::uint32_t share);

/// The current time in the units of file times.
std::int64_t FileTimeNow(const Machine& machine);

/// The open file behind a handle; null for any other value.
std::shared_ptr<FileObject> FindFile(const Process& process, HANDLE handle);

}  // namespace vorn::platform::simulated
