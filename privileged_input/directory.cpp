#include "privileged_input/directory.h"

#include "base/path_text.h"
#include "platform/files.h"
#include "platform/kept_last_error.h"
#include "privileged_input/deletion.h"
#include "privileged_input/native_open.h"
#include "privileged_input/path_rules.h"
#include "privileged_input/refusal.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace vorn::privileged_input {

namespace {

std::shared_ptr<Directory::State> OpenChild(
    const Directory& parent, std::u16string_view name, const OpenRequest& request,
    const platform::SECURITY_DESCRIPTOR* descriptor = nullptr) {
  auto state = std::make_shared<Directory::State>();
  state->parent = parent.SharedState();
  state->api = state->parent->api;
  state->path = JoinPath(parent.Path(), name);
  state->handle = OpenNative(state->api, parent.Handle(), name, request, descriptor);
  state->created = request.disposition == platform::FILE_CREATE;
  return state;
}

/// Drops what the filter does not accept of the entries from `first` on, and returns how many.
std::size_t Drop(std::vector<DirectoryEntry>& entries, std::size_t first,
                 Directory::EntryFilter filter) {
  const auto unwanted = std::remove_if(entries.begin() + static_cast<std::ptrdiff_t>(first),
                                       entries.end(), std::not_fn(filter));
  const auto count = static_cast<std::size_t>(entries.end() - unwanted);
  entries.erase(unwanted, entries.end());
  return count;
}

}  // namespace

const std::u16string& Directory::Path() const {
  static const std::u16string none;
  return state_ == nullptr ? none : state_->path;
}

Directory Directory::OpenVolumeRoot(char16_t driveLetter, const NativeApi& api) {
  std::u16string device;
  if (!IsHardDiskVolumeDrive(api, driveLetter, &device)) return {};
  auto state = std::make_shared<State>();
  state->api = api;
  state->handle = OpenNative(api, nullptr, device + u"\\", kOpenDirectory);
  if (!state->handle || !IsPlainFolder(state->handle.Get())) return {};
  state->path = QueryVolumeGuidRoot(state->handle.Get());
  if (state->path.empty()) return RefuseWith<Directory>(platform::ERROR_BAD_DEVICE);
  return Directory(std::move(state));
}

Directory Directory::OpenComponent(const Directory& parent, std::u16string_view name) {
  auto state = OpenChild(parent, name, kOpenDirectory);
  if (!state->handle) return {};
  if (!IsPlainFolder(state->handle.Get())) {
    return RefuseWith<Directory>(platform::ERROR_REPARSE_TAG_INVALID);
  }
  return Directory(std::move(state));
}

Directory Directory::OpenComponents(Directory folder, const std::vector<std::u16string>& names) {
  for (const std::u16string& name : names) {
    if (!folder) return {};
    folder = OpenComponent(folder, name);
  }
  return folder;
}

Directory Directory::OpenAbsolute(const std::optional<AbsolutePath>& path, const NativeApi& api) {
  if (!path) return RefuseWith<Directory>(platform::ERROR_INVALID_NAME);
  return OpenComponents(OpenVolumeRoot(path->DriveLetter(), api), path->Components());
}

Directory Directory::OpenRelative(const Directory& parent, std::u16string_view relativePath) {
  std::vector<std::u16string> names;
  if (!parent || !ParseRelativePath(relativePath, names)) return {};
  return OpenComponents(parent, names);
}

Directory Directory::CreateChild(const Directory& parent, std::u16string_view name,
                                 const platform::SECURITY_DESCRIPTOR* descriptor) {
  if (!parent || !IsSafeComponentName(name)) return {};
  if (descriptor == nullptr) return RefuseWith<Directory>(platform::ERROR_INVALID_PARAMETER);
  auto state = OpenChild(parent, name, kCreateDirectory, descriptor);
  if (!state->handle) return {};
  if (IsPlainFolder(state->handle.Get())) return Directory(std::move(state));
  const platform::KeptLastError kept;
  MarkForDeletion(state->handle.Get());
  return {};
}

bool Directory::Enumerate(const Directory& directory, std::vector<DirectoryEntry>& entries,
                          std::size_t maxEntries, EntryFilter filter) {
  entries.clear();
  if (!directory) return false;
  std::vector<std::uint8_t> buffer(kListingBufferSize);
  std::uint32_t informationClass = platform::FileIdBothDirectoryRestartInfo;
  while (platform::GetFileInformationByHandleEx(directory.Handle(), informationClass, buffer.data(),
                                                static_cast<std::uint32_t>(buffer.size()))) {
    const std::size_t before = entries.size();
    if (!AppendDirectoryRecords(buffer, maxEntries, entries)) return false;
    if (filter != nullptr) maxEntries -= Drop(entries, before, filter);
    informationClass = platform::FileIdBothDirectoryInfo;
  }
  return platform::GetLastError() == platform::ERROR_NO_MORE_FILES;
}

}  // namespace vorn::privileged_input
