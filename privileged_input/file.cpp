#include "privileged_input/file.h"

#include "base/path_text.h"
#include "platform/files.h"
#include "platform/kept_last_error.h"
#include "privileged_input/deletion.h"
#include "privileged_input/file_transfer.h"
#include "privileged_input/path_rules.h"
#include "privileged_input/refusal.h"

#include <algorithm>
#include <vector>

namespace vorn::privileged_input {

namespace {

std::uint64_t JoinWords(std::uint32_t high, std::uint32_t low) {
  return std::uint64_t{high} << 32 | low;
}

}  // namespace

const std::u16string& File::Path() const {
  static const std::u16string none;
  return state_ == nullptr ? none : state_->path;
}

bool File::CaptureIdentity() {
  if (!IsPlainFile(Handle())) return false;
  platform::BY_HANDLE_FILE_INFORMATION info = {};
  if (!platform::GetFileInformationByHandle(Handle(), &info)) return false;
  const std::uint64_t size = JoinWords(info.nFileSizeHigh, info.nFileSizeLow);
  if (info.nNumberOfLinks != 1 || size > state_->maxSize) {
    return RefuseWith(platform::ERROR_FILE_INVALID);
  }
  state_->identity = {info.dwVolumeSerialNumber, JoinWords(info.nFileIndexHigh, info.nFileIndexLow),
                      size};
  return true;
}

void File::Close() {
  if (state_ == nullptr) return;
  state_->handle.Reset();
  state_->parent.reset();
}

File File::Open(const Directory& directory, std::u16string_view relativePath, std::uint64_t maxSize,
                FileMode mode) {
  std::vector<std::u16string> names;
  if (!directory || !ParseRelativePath(relativePath, names)) return {};
  if (names.size() == 1) return OpenIn(directory, names.back(), maxSize, mode);
  const Directory folder = Directory::OpenRelative(directory, CutLastComponent(relativePath));
  return OpenIn(folder, names.back(), maxSize, mode);
}

File File::OpenAbsolute(const std::optional<AbsolutePath>& path, const NativeApi& api,
                        std::uint64_t maxSize, FileMode mode) {
  if (!path || path->Components().empty()) return RefuseWith<File>(platform::ERROR_INVALID_NAME);
  return OpenIn(Directory::OpenAbsolute(path->Folder(), api), path->Name(), maxSize, mode);
}

File File::OpenIn(const Directory& folder, std::u16string_view name, std::uint64_t maxSize,
                  FileMode mode) {
  if (!folder) return {};
  const OpenRequest& request = mode == FileMode::Deletable ? kOpenDeletableFile : kOpenFile;
  File file = OpenUnchecked(folder, name, maxSize, request);
  if (!file || !file.CaptureIdentity()) return {};
  return file;
}

File File::OpenUnchecked(const Directory& folder, std::u16string_view name, std::uint64_t maxSize,
                         const OpenRequest& request,
                         const platform::SECURITY_DESCRIPTOR* descriptor) {
  auto state = std::make_shared<State>();
  state->parent = folder.SharedState();
  state->path = JoinPath(folder.Path(), name);
  state->maxSize = maxSize;
  state->deletable = (request.access & platform::DELETE) != 0;
  state->writable = request.disposition == platform::FILE_CREATE;
  state->handle = OpenNative(state->parent->api, folder.Handle(), name, request, descriptor);
  return File(std::move(state));
}

File File::Create(const Directory& directory, std::u16string_view name,
                  const platform::SECURITY_DESCRIPTOR* descriptor, std::uint64_t maxSize) {
  if (!directory || !IsSafeComponentName(name)) return {};
  if (descriptor == nullptr) return RefuseWith<File>(platform::ERROR_INVALID_PARAMETER);
  File file = OpenUnchecked(directory, name, maxSize, kCreateFile, descriptor);
  if (!file) return {};
  if (file.CaptureIdentity()) return file;
  const platform::KeptLastError kept;
  DeleteByHandle(file.Handle());
  return {};
}

bool File::CopyFrom(File& destination, const File& source) {
  if (!destination || !destination.IsWritable() || !source) {
    return RefuseWith(platform::ERROR_INVALID_HANDLE);
  }
  std::uint64_t remaining = source.Size();
  if (remaining > destination.state_->maxSize) return RefuseWith(platform::ERROR_FILE_INVALID);
  if (!SeekToStart(destination.Handle()) || !SeekToStart(source.Handle())) return false;
  const auto largestPiece = std::min<std::uint64_t>(remaining, kTransferSize);
  std::uint8_t* const buffer = ZeroedTransferBuffer(static_cast<std::size_t>(largestPiece));
  while (remaining > 0) {
    const auto piece = static_cast<std::uint32_t>(std::min(remaining, largestPiece));
    if (!ReadExactly(source.Handle(), buffer, piece) ||
        !WriteExactly(destination.Handle(), buffer, piece)) {
      return false;
    }
    remaining -= piece;
  }
  return platform::SetEndOfFile(destination.Handle()) &&
         platform::FlushFileBuffers(destination.Handle()) && destination.CaptureIdentity();
}

}  // namespace vorn::privileged_input
