#pragma once

// File: a regular file opened in a verified Directory and checked to be a plain file on disk, with
// a single name and of bounded size.
//
// Copies share one state, which keeps the folders open. While it lives, nobody else can write,
// rename or delete the file. A default-constructed File is not open; neither is the result of a
// failure, which sets the last error.

#include "platform/owners.h"
#include "platform/security.h"
#include "platform/types.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/directory.h"
#include "privileged_input/native_api.h"
#include "privileged_input/native_open.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vorn::privileged_input {

/// Largest input file, such as an INF, in bytes (4 MiB).
inline constexpr std::uint64_t kMaxInputFileSize = 4194304;

enum class FileMode {
  ReadOnly = 0,
  Deletable = 1,  // reading, and deletion by handle
};

/// Which file a handle refers to, and its size.
struct FileIdentity {
  std::uint32_t volumeSerial = 0;
  std::uint64_t fileIndex = 0;
  std::uint64_t size = 0;  // bytes

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

class File {
 public:
  struct State {
    std::shared_ptr<Directory::State> parent;
    platform::KernelHandle handle;  // after `parent`: closed before the folder
    std::u16string path;            // from the volume GUID root
    FileIdentity identity;          // when last captured
    std::uint64_t maxSize = 0;      // bytes
    bool deletable = false;         // the handle has DELETE access
    bool writable = false;          // the handle has write access: this program created the file
  };

  File() = default;

  explicit operator bool() const { return state_ != nullptr && state_->handle; }

  /// The handle, which the File keeps; null when not open.
  platform::HANDLE Handle() const { return state_ ? state_->handle.Get() : nullptr; }

  /// The path from the volume GUID root; empty when never opened.
  const std::u16string& Path() const;

  /// Identity and size in bytes, as last captured.
  FileIdentity Identity() const { return state_ ? state_->identity : FileIdentity(); }
  std::uint64_t Size() const { return Identity().size; }

  bool IsDeletable() const { return state_ != nullptr && state_->deletable; }
  bool IsWritable() const { return state_ != nullptr && state_->writable; }

  /// Reads identity and size again (GetFileInformationByHandle) and repeats the checks of the open:
  /// a plain file on disk with one name and within its size limit, else ERROR_FILE_INVALID.
  bool CaptureIdentity();

  /// Closes the shared handle and releases the folder; all copies are then closed.
  void Close();

  /// Opens the file at `relativePath` below `directory`, of at most `maxSize` bytes.
  static File Open(const Directory& directory, std::u16string_view relativePath,
                   std::uint64_t maxSize, FileMode mode);

  /// Opens the file at an absolute path, its folder by Directory::OpenAbsolute. Without a path, or
  /// with a text that is none: ERROR_INVALID_NAME.
  static File OpenAbsolute(const std::optional<AbsolutePath>& path, const NativeApi& api,
                           std::uint64_t maxSize, FileMode mode);
  static File OpenAbsolute(std::u16string_view path, const NativeApi& api, std::uint64_t maxSize,
                           FileMode mode) {
    return OpenAbsolute(AbsolutePath::Parse(path), api, maxSize, mode);
  }

  /// Creates the file `name`, which must not exist, with `descriptor`, writable and deletable. A
  /// file that fails the check is deleted again.
  static File Create(const Directory& directory, std::u16string_view name,
                     const platform::SECURITY_DESCRIPTOR* descriptor, std::uint64_t maxSize);

  /// Copies the whole of `source`, at its captured size, over the content of `destination`, which
  /// must be writable and large enough; flushes the copy and captures its identity.
  static bool CopyFrom(File& destination, const File& source);

 private:
  explicit File(std::shared_ptr<State> state) : state_(std::move(state)) {}

  /// Opens or creates the file `name`, a safe name, without checking it.
  static File OpenUnchecked(const Directory& folder, std::u16string_view name,
                            std::uint64_t maxSize, const OpenRequest& request,
                            const platform::SECURITY_DESCRIPTOR* descriptor = nullptr);
  static File OpenIn(const Directory& folder, std::u16string_view name, std::uint64_t maxSize,
                     FileMode mode);

  std::shared_ptr<State> state_;
};

}  // namespace vorn::privileged_input
