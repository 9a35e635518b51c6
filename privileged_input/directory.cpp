#include "privileged_input/directory.h"

#include "base/path_text.h"
#include "platform/files.h"
#include "platform/kept_last_error.h"
#include "privileged_input/deletion.h"
#include "privileged_input/native_open.h"
#include "privileged_input/path_rules.h"
#include "privileged_input/refusal.h"

#include <cstdint>
#include <optional>
#include <utility>

namespace vorn::privileged_input {

// The handle goes before the reference to the parent, so that a folder is never open without the
// folders above it.
Directory::State::~State() {
  handle.Reset();
}

Directory::Directory(std::shared_ptr<State> state) : state_(std::move(state)) {}

Directory::operator bool() const {
  return state_ != nullptr;  // which is kept only of a folder that opened
}

platform::HANDLE Directory::Handle() const {
  return state_ == nullptr ? nullptr : state_->handle.Get();
}

const std::u16string& Directory::Path() const {
  static const std::u16string none;
  return state_ == nullptr ? none : state_->path;
}

bool Directory::WasCreated() const {
  return state_ != nullptr && state_->created;
}

Directory Directory::OpenVolumeRoot(char16_t driveLetter, const NativeApi& api) {
  std::u16string device;
  if (!IsHardDiskVolumeDrive(api, driveLetter, &device)) return {};
  auto state = std::make_shared<State>();
  state->api = api;
  state->handle = OpenNative(api, nullptr, device + u"\\", kOpenDirectory);
  if (!state->handle || !IsPlainFolder(state->handle.Get())) return {};
  state->path = QueryVolumeGuidRoot(state->handle.Get());
  if (state->path.empty()) {
    platform::SetLastError(platform::ERROR_BAD_DEVICE);
    return {};
  }
  return Directory(std::move(state));
}

Directory Directory::OpenComponent(const Directory& parent, std::u16string_view name) {
  auto state = std::make_shared<State>();
  state->parent = parent.state_;
  state->api = parent.state_->api;
  state->path = JoinPath(parent.Path(), name);
  state->handle = OpenNative(state->api, parent.Handle(), name, kOpenDirectory);
  if (!state->handle) return {};
  if (!IsPlainFolder(state->handle.Get())) {
    platform::SetLastError(platform::ERROR_REPARSE_TAG_INVALID);
    return {};
  }
  return Directory(std::move(state));
}

Directory Directory::OpenAbsolute(std::u16string_view path, const NativeApi& api) {
  const std::optional<AbsolutePath> parsed = AbsolutePath::Parse(path);
  return parsed ? OpenAbsolute(*parsed, api) : Directory();
}

Directory Directory::OpenAbsolute(const AbsolutePath& path, const NativeApi& api) {
  Directory directory = OpenVolumeRoot(path.DriveLetter(), api);
  for (const std::u16string& component : path.Components()) {
    if (!directory) return {};
    directory = OpenComponent(directory, component);
  }
  return directory;
}

Directory Directory::OpenRelative(const Directory& parent, std::u16string_view relativePath) {
  std::vector<std::u16string> components;
  if (!parent || !ParseRelativePath(relativePath, components)) return {};
  Directory directory = parent;
  for (const std::u16string& component : components) {
    directory = OpenComponent(directory, component);
    if (!directory) return {};
  }
  return directory;
}

Directory Directory::CreateChild(const Directory& parent, std::u16string_view name,
                                 const platform::SECURITY_DESCRIPTOR* descriptor) {
  if (!parent || !IsSafeComponentName(name)) return {};
  if (descriptor == nullptr) {
    platform::SetLastError(platform::ERROR_INVALID_PARAMETER);
    return {};
  }
  auto state = std::make_shared<State>();
  state->parent = parent.state_;
  state->api = parent.state_->api;
  state->path = JoinPath(parent.Path(), name);
  state->handle = OpenNative(state->api, parent.Handle(), name, kCreateDirectory, descriptor);
  if (!state->handle) return {};
  state->created = true;
  if (!IsPlainFolder(state->handle.Get())) {
    const platform::KeptLastError kept;
    MarkForDeletion(state->handle.Get());
    return {};
  }
  return Directory(std::move(state));
}

bool Directory::Enumerate(const Directory& directory, std::vector<DirectoryEntry>& entries,
                          std::size_t maxEntries) {
  entries.clear();
  if (!directory) return false;
  std::vector<std::uint8_t> buffer(kListingBufferSize);
  std::uint32_t informationClass = platform::FileIdBothDirectoryRestartInfo;
  while (platform::GetFileInformationByHandleEx(directory.Handle(), informationClass, buffer.data(),
                                                static_cast<std::uint32_t>(buffer.size()))) {
    if (!AppendDirectoryRecords(buffer, maxEntries, entries)) return false;
    informationClass = platform::FileIdBothDirectoryInfo;
  }
  return platform::GetLastError() == platform::ERROR_NO_MORE_FILES;
}

}  // namespace vorn::privileged_input
