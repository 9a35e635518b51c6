// Files that Windows itself reads for a program, by path.

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/dos_paths.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/path_walk.h"

namespace vorn::platform::simulated {

namespace {

NTSTATUS CheckReadable(const FileSystem& files, const Walked& walked) {
  if (walked.status != STATUS_SUCCESS) return walked.status;
  const Entry* entry = FindEntry(files, walked.place);
  if (entry != nullptr && entry->deletePending) return STATUS_DELETE_PENDING;
  if (walked.rawVolume || files.nodes.Get(walked.node).directory) return STATUS_FILE_IS_A_DIRECTORY;
  // Assumed: Windows' own readers share reading and deletion. Question (held-folders): does the
  // bind read a package that is held without write sharing?
  const bool shared =
      SharesWithOthers(files, walked.node, FILE_GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE);
  return shared ? STATUS_SUCCESS : STATUS_SHARING_VIOLATION;
}

}  // namespace

std::optional<Bytes> ReadAsSystem(const FileSystem& files, std::u16string_view path,
                                  std::uint32_t* error) {
  const std::u16string name = ToNtPath(files, path);
  const Walked walked = Walk(files, name, {});
  const NTSTATUS status = CheckReadable(files, walked);
  if (status != STATUS_SUCCESS) {
    if (error != nullptr) *error = ToDosError(status);
    return std::nullopt;
  }
  const Node& node = files.nodes.Get(walked.node);
  Bytes content(static_cast<std::size_t>(FileSize(node)));
  ReadContent(node, 0, content.data(), content.size());
  return content;
}

}  // namespace vorn::platform::simulated
