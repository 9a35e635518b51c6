#pragma once

// Directory: a folder opened from its volume's root one name at a time, each relative to the
// previous handle and checked to be a plain folder and not a link.
//
// Copies share one state, which keeps all parent folders open. While it lives, nobody else can
// write, rename or delete the folder. A default-constructed Directory is not open; neither is the
// result of a failure, which sets the last error. Operations on a Directory that is not open fail
// and keep the last error of the failed open.

#include "platform/owners.h"
#include "platform/security.h"
#include "platform/types.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/directory_records.h"
#include "privileged_input/native_api.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::privileged_input {

class Directory {
 public:
  struct State {
    std::shared_ptr<State> parent;  // null for a volume root
    platform::KernelHandle handle;  // after `parent`: closed before the folders above it
    NativeApi api;                  // opens the children
    std::u16string path;            // from the volume GUID root; never reopened
    bool created = false;           // by this program
  };

  Directory() = default;

  explicit operator bool() const { return state_ != nullptr; }

  /// The handle, which the Directory keeps; null when not open.
  platform::HANDLE Handle() const { return state_ ? state_->handle.Get() : nullptr; }

  /// The path from the volume GUID root; empty when not open.
  const std::u16string& Path() const;

  /// Whether this program created the folder.
  bool WasCreated() const { return state_ != nullptr && state_->created; }

  const std::shared_ptr<State>& SharedState() const { return state_; }

  /// Opens the folder at an absolute path. The drive must be a local hard-disk volume whose root
  /// has a volume GUID path. Without a path, or with a text that is none: ERROR_INVALID_NAME.
  static Directory OpenAbsolute(const std::optional<AbsolutePath>& path, const NativeApi& api);
  static Directory OpenAbsolute(std::u16string_view path, const NativeApi& api) {
    return OpenAbsolute(AbsolutePath::Parse(path), api);
  }

  /// Opens the folder at `relativePath`, names joined by backslashes, below `parent`. A link, or
  /// anything but a plain folder, on the way fails with ERROR_REPARSE_TAG_INVALID.
  static Directory OpenRelative(const Directory& parent, std::u16string_view relativePath);

  /// Creates the folder `name`, which must not exist, with `descriptor`. A folder that fails the
  /// check is deleted again.
  static Directory CreateChild(const Directory& parent, std::u16string_view name,
                               const platform::SECURITY_DESCRIPTOR* descriptor);

  /// Which entries of a listing are of use.
  using EntryFilter = bool (*)(const DirectoryEntry&);

  /// Lists a folder into `entries`, in the platform's order, without "." and "..". Fails at an
  /// unsafe name or beyond `maxEntries` names. With a filter only what it accepts is kept, while
  /// every name is checked and counts.
  static bool Enumerate(const Directory& directory, std::vector<DirectoryEntry>& entries,
                        std::size_t maxEntries, EntryFilter filter = nullptr);

 private:
  explicit Directory(std::shared_ptr<State> state) : state_(std::move(state)) {}

  static Directory OpenVolumeRoot(char16_t driveLetter, const NativeApi& api);
  static Directory OpenComponent(const Directory& parent, std::u16string_view name);
  static Directory OpenComponents(Directory folder, const std::vector<std::u16string>& names);

  std::shared_ptr<State> state_;
};

}  // namespace vorn::privileged_input
