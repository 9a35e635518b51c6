#pragma once

// File: a regular file that was opened in a verified Directory and checked to be a plain file on
// disk, with one name only and of bounded size.
//
// Copies share one open state, which keeps the folder's handles open. While it is held, nobody else
// may write, rename or delete the file. A default-constructed File is not open; so is the result of
// every failure, with the reason in the last error.

#include "platform/owners.h"
#include "platform/security.h"
#include "platform/types.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/directory.h"
#include "privileged_input/native_api.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vorn::privileged_input {

/// Largest size of an input file, such as an INF, in bytes (4 MiB).
inline constexpr std::uint64_t kMaxInputFileSize = 4194304;

/// What an existing file is opened for.
enum class FileMode {
  ReadOnly = 0,
  Deletable = 1,  // reading, and deletion by handle
};

/// Which file a handle leads to, and how long it is.
struct FileIdentity {
  std::uint32_t volumeSerial = 0;
  std::uint64_t fileIndex = 0;
  std::uint64_t size = 0;  // bytes

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

class File {
 public:
  struct State {
    platform::KernelHandle handle;
    std::shared_ptr<Directory::State> parent;  // the folder that holds the file
    std::u16string path;                       // volume GUID form
    std::uint32_t volumeSerial = 0;
    std::uint64_t fileIndex = 0;
    bool captured = false;      // the three numbers have been read
    std::uint64_t size = 0;     // bytes, when last captured
    std::uint64_t maxSize = 0;  // the largest size accepted
    bool deletable = false;     // the handle carries DELETE access
    bool writable = false;      // the handle carries write access: this program created the file

    ~State();
  };

  File() = default;

  /// Whether the file is open.
  explicit operator bool() const;

  /// The open handle, null when not open. Not handed over.
  platform::HANDLE Handle() const;

  /// The file's path from its volume GUID root; empty when never opened.
  const std::u16string& Path() const;

  std::uint64_t Size() const;  // bytes, when last captured
  std::uint32_t VolumeSerial() const;
  std::uint64_t FileIndex() const;
  FileIdentity Identity() const;
  bool IsDeletable() const;
  bool IsWritable() const;

  /// Reads identity and size anew, by the same rules as when the file was opened: a plain file on
  /// disk with one name, no larger than its limit. ERROR_FILE_INVALID otherwise.
  bool CaptureIdentity();

  /// Closes the handle that all copies share, and lets go of the folder; none of the copies is open
  /// any more.
  void Close();

  /// Opens the file at `relativePath` below `directory`; up to `maxSize` bytes.
  static File Open(const Directory& directory, std::u16string_view relativePath,
                   std::uint64_t maxSize, FileMode mode);

  /// Opens the file at an absolute path, its folder by Directory::OpenAbsolute.
  static File OpenAbsolute(const AbsolutePath& path, const NativeApi& api, std::uint64_t maxSize,
                           FileMode mode);

  /// As above; a text that is no absolute path fails with ERROR_INVALID_NAME.
  static File OpenAbsolute(std::u16string_view path, const NativeApi& api, std::uint64_t maxSize,
                           FileMode mode);

  /// Creates the file `name`, which must not exist, with that descriptor; it is writable and
  /// deletable. A file that fails its check is deleted again.
  static File Create(const Directory& directory, std::u16string_view name,
                     const platform::SECURITY_DESCRIPTOR* descriptor, std::uint64_t maxSize);

  /// Copies the whole content of `source`, as long as it was when captured, over that of
  /// `destination`, which must be writable and may be that long; flushes it and captures it anew.
  static bool CopyFrom(File& destination, const File& source);

 private:
  explicit File(std::shared_ptr<State> state);

  /// Opens the file of that safe name in an open folder.
  static File OpenIn(const Directory& folder, const std::u16string& name, std::uint64_t maxSize,
                     FileMode mode);

  std::shared_ptr<State> state_;
};

}  // namespace vorn::privileged_input
