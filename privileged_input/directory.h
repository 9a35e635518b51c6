#pragma once

// Directory: a folder that was reached from its volume's root one name at a time, each step opened
// relative to the handle of the step before and checked to be a plain folder, never a link.
//
// Copies share one open state, which keeps the handles of all folders above it open. While it is
// held, nobody else may write, rename or delete the folder. A default-constructed Directory is not
// open; so is the result of every failure, with the reason in the last error. An operation on a
// Directory that is not open fails and leaves the last error to whatever failed to open it.

#include "platform/owners.h"
#include "platform/security.h"
#include "platform/types.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/directory_records.h"
#include "privileged_input/native_api.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::privileged_input {

class Directory {
 public:
  struct State {
    platform::KernelHandle handle;
    std::shared_ptr<State> parent;  // null for a volume root
    NativeApi api;                  // that children are opened with
    std::u16string path;            // volume GUID form; for messages and comparison, never reopened
    bool created = false;           // by this program, else opened

    ~State();
  };

  Directory() = default;

  /// Whether the folder is open.
  explicit operator bool() const;

  /// The open handle, null when not open. Not handed over.
  platform::HANDLE Handle() const;

  /// The folder's path from its volume GUID root; empty when not open.
  const std::u16string& Path() const;

  /// Whether this program created the folder.
  bool WasCreated() const;

  const std::shared_ptr<State>& SharedState() const { return state_; }

  /// Opens the folder at an absolute path, from the root of trust: the drive must be a local
  /// hard-disk volume and its root must have a volume GUID path.
  static Directory OpenAbsolute(const AbsolutePath& path, const NativeApi& api);

  /// As above; a text that is no absolute path fails with ERROR_INVALID_NAME.
  static Directory OpenAbsolute(std::u16string_view path, const NativeApi& api);

  /// Opens the folder at `relativePath` (names joined by backslashes) below `parent`. A link or
  /// anything else that is no plain folder on the way fails with ERROR_REPARSE_TAG_INVALID.
  static Directory OpenRelative(const Directory& parent, std::u16string_view relativePath);

  /// Creates the folder `name`, which must not exist, with that descriptor. A folder that fails
  /// its check is deleted again.
  static Directory CreateChild(const Directory& parent, std::u16string_view name,
                               const platform::SECURITY_DESCRIPTOR* descriptor);

  /// Lists a folder into `entries`, in the platform's order, without "." and "..". Fails when it
  /// holds an unsafe name or more than `maxEntries` names.
  static bool Enumerate(const Directory& directory, std::vector<DirectoryEntry>& entries,
                        std::size_t maxEntries);

 private:
  explicit Directory(std::shared_ptr<State> state);

  static Directory OpenVolumeRoot(char16_t driveLetter, const NativeApi& api);
  static Directory OpenComponent(const Directory& parent, std::u16string_view name);

  std::shared_ptr<State> state_;
};

}  // namespace vorn::privileged_input
