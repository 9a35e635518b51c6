#include "privileged_input/file.h"

#include "base/path_text.h"
#include "platform/files.h"
#include "platform/kept_last_error.h"
#include "privileged_input/deletion.h"
#include "privileged_input/file_transfer.h"
#include "privileged_input/native_open.h"
#include "privileged_input/path_rules.h"
#include "privileged_input/refusal.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace vorn::privileged_input {

namespace {

std::uint64_t JoinWords(std::uint32_t high, std::uint32_t low) {
  return std::uint64_t{high} << 32 | low;
}

}  // namespace

// The handle goes before the reference to the folder, so that a file is never open without the
// folders above it.
File::State::~State() {
  handle.Reset();
}

File::File(std::shared_ptr<State> state) : state_(std::move(state)) {}

File::operator bool() const {
  return state_ != nullptr && state_->handle;
}

platform::HANDLE File::Handle() const {
  return state_ == nullptr ? nullptr : state_->handle.Get();
}

const std::u16string& File::Path() const {
  static const std::u16string none;
  return state_ == nullptr ? none : state_->path;
}

std::uint64_t File::Size() const {
  return Identity().size;
}

std::uint32_t File::VolumeSerial() const {
  return Identity().volumeSerial;
}

std::uint64_t File::FileIndex() const {
  return Identity().fileIndex;
}

FileIdentity File::Identity() const {
  if (state_ == nullptr) return {};
  return {state_->volumeSerial, state_->fileIndex, state_->size};
}

bool File::IsDeletable() const {
  return state_ != nullptr && state_->deletable;
}

bool File::IsWritable() const {
  return state_ != nullptr && state_->writable;
}

bool File::CaptureIdentity() {
  if (!*this) return RefuseWith(platform::ERROR_INVALID_HANDLE);
  if (!IsPlainFile(Handle())) return false;
  platform::BY_HANDLE_FILE_INFORMATION info = {};
  if (!platform::GetFileInformationByHandle(Handle(), &info)) return false;
  const std::uint64_t size = JoinWords(info.nFileSizeHigh, info.nFileSizeLow);
  if (info.nNumberOfLinks != 1 || size > state_->maxSize) {
    return RefuseWith(platform::ERROR_FILE_INVALID);
  }
  state_->volumeSerial = info.dwVolumeSerialNumber;
  state_->fileIndex = JoinWords(info.nFileIndexHigh, info.nFileIndexLow);
  state_->size = size;
  state_->captured = true;
  return true;
}

void File::Close() {
  if (state_ == nullptr) return;
  state_->handle.Reset();
  state_->parent.reset();
}

File File::Open(const Directory& directory, std::u16string_view relativePath, std::uint64_t maxSize,
                FileMode mode) {
  std::vector<std::u16string> components;
  if (!directory || !ParseRelativePath(relativePath, components)) return {};
  const std::u16string name = std::move(components.back());
  Directory folder = directory;
  if (components.size() > 1) {
    folder = Directory::OpenRelative(directory, relativePath.substr(0, relativePath.rfind(u'\\')));
    if (!folder) return {};
  }
  return OpenIn(folder, name, maxSize, mode);
}

File File::OpenIn(const Directory& folder, const std::u16string& name, std::uint64_t maxSize,
                  FileMode mode) {
  auto state = std::make_shared<State>();
  state->parent = folder.SharedState();
  state->path = JoinPath(folder.Path(), name);
  state->maxSize = maxSize;
  state->deletable = mode == FileMode::Deletable;
  state->handle = OpenNative(state->parent->api, folder.Handle(), name,
                             state->deletable ? kOpenDeletableFile : kOpenFile);
  File file(std::move(state));
  if (!file || !file.CaptureIdentity()) return {};
  return file;
}

File File::OpenAbsolute(std::u16string_view path, const NativeApi& api, std::uint64_t maxSize,
                        FileMode mode) {
  const std::optional<AbsolutePath> parsed = AbsolutePath::Parse(path);
  return parsed ? OpenAbsolute(*parsed, api, maxSize, mode) : File();
}

File File::OpenAbsolute(const AbsolutePath& path, const NativeApi& api, std::uint64_t maxSize,
                        FileMode mode) {
  if (path.Components().empty()) {
    platform::SetLastError(platform::ERROR_INVALID_NAME);
    return {};
  }
  const Directory folder = Directory::OpenAbsolute(path.Folder(), api);
  return folder ? OpenIn(folder, path.Name(), maxSize, mode) : File();
}

File File::Create(const Directory& directory, std::u16string_view name,
                  const platform::SECURITY_DESCRIPTOR* descriptor, std::uint64_t maxSize) {
  if (!directory || !IsSafeComponentName(name)) return {};
  if (descriptor == nullptr) {
    platform::SetLastError(platform::ERROR_INVALID_PARAMETER);
    return {};
  }
  auto state = std::make_shared<State>();
  state->parent = directory.SharedState();
  state->path = JoinPath(directory.Path(), name);
  state->maxSize = maxSize;
  state->deletable = true;
  state->writable = true;
  state->handle = OpenNative(state->parent->api, directory.Handle(), name, kCreateFile, descriptor);
  File file(std::move(state));
  if (!file) return {};
  if (!file.CaptureIdentity()) {
    const platform::KeptLastError kept;
    DeleteByHandle(file.Handle());
    return {};
  }
  return file;
}

bool File::CopyFrom(File& destination, const File& source) {
  if (!destination || !destination.IsWritable() || !source) {
    return RefuseWith(platform::ERROR_INVALID_HANDLE);
  }
  std::uint64_t remaining = source.Size();
  if (remaining > destination.state_->maxSize) return RefuseWith(platform::ERROR_FILE_INVALID);
  if (!SeekToStart(destination.Handle()) || !SeekToStart(source.Handle())) return false;
  std::vector<std::uint8_t> buffer(kTransferSize);
  while (remaining > 0) {
    const auto piece =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(remaining, kTransferSize));
    if (!ReadExactly(source.Handle(), buffer.data(), piece) ||
        !WriteExactly(destination.Handle(), buffer.data(), piece)) {
      return false;
    }
    remaining -= piece;
  }
  return platform::SetEndOfFile(destination.Handle()) &&
         platform::FlushFileBuffers(destination.Handle()) && destination.CaptureIdentity();
}

}  // namespace vorn::privileged_input
