#include "capture/capture_writer.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/file_transfer.h"
#include "privileged_input/native_api.h"
#include "privileged_input/native_open.h"
#include "privileged_input/refusal.h"

#include <algorithm>

namespace vorn::capture {

using privileged_input::AbsolutePath;
using privileged_input::Directory;
using privileged_input::OpenNative;
using privileged_input::OpenRequest;

namespace {

constexpr char16_t kDocumentName[] = u"machine.json";
constexpr char16_t kContentsName[] = u"files";

/// As the program's own, without DELETE: nothing of a capture is deleted again.
OpenRequest NewFolder() {
  OpenRequest request = privileged_input::kCreateDirectory;
  request.access &= ~platform::DELETE;
  return request;
}

OpenRequest NewFile() {
  OpenRequest request = privileged_input::kCreateFile;
  request.access &= ~platform::DELETE;
  return request;
}

}  // namespace

std::optional<CaptureWriter> CaptureWriter::Create(const std::u16string& folder) {
  const std::optional<AbsolutePath> path = AbsolutePath::Parse(folder);
  if (!path || path->Components().empty()) {
    platform::SetLastError(platform::ERROR_INVALID_NAME);
    return std::nullopt;
  }
  const Directory parent =
      Directory::OpenAbsolute(path->Folder(), privileged_input::LoadNativeApi());
  if (!parent) return std::nullopt;
  platform::KernelHandle created =
      OpenNative(parent.SharedState()->api, parent.Handle(), path->Name(), NewFolder());
  if (!created) return std::nullopt;
  return CaptureWriter(parent, std::move(created));
}

bool CaptureWriter::Put(platform::HANDLE folder, std::u16string_view name,
                        const Bytes& content) const {
  const platform::KernelHandle file =
      OpenNative(parent_.SharedState()->api, folder, name, NewFile());
  if (!file) return false;
  for (std::size_t done = 0; done < content.size();) {
    const auto piece = static_cast<std::uint32_t>(
        std::min<std::size_t>(content.size() - done, privileged_input::kTransferSize));
    if (!privileged_input::WriteExactly(file.Get(), content.data() + done, piece)) return false;
    done += piece;
  }
  return true;
}

bool CaptureWriter::Write(const Capture& capture) {
  const platform::KernelHandle contents =
      OpenNative(parent_.SharedState()->api, folder_.Get(), kContentsName, NewFolder());
  if (!contents) return false;
  for (std::size_t i = 0; i < capture.contents.size(); ++i) {
    if (!Put(contents.Get(), ToUtf16(std::to_string(i)), capture.contents[i])) return false;
  }
  return Put(folder_.Get(), kDocumentName, Bytes(capture.document.begin(), capture.document.end()));
}

}  // namespace vorn::capture
