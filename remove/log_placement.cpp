#include "remove/log_placement.h"

#include "base/path_text.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "privileged_input/directory.h"
#include "privileged_input/native_open.h"

#include <memory>
#include <utility>

namespace vorn {

namespace {

using privileged_input::Directory;
using privileged_input::OpenNative;
using privileged_input::OpenRequest;

constexpr char16_t kFolderName[] = u"logs";
constexpr char16_t kFileName[] = u"vorn_devnode.log";

// While the file is open, others may append to it but not rename or delete it.
constexpr std::uint32_t kLogAccess = platform::GENERIC_READ | platform::READ_CONTROL;
constexpr std::uint32_t kLogShare = platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE;
constexpr OpenRequest kOpenLog = {.access = kLogAccess,
                                  .disposition = platform::FILE_OPEN,
                                  .kind = platform::FILE_NON_DIRECTORY_FILE,
                                  .share = kLogShare};
constexpr OpenRequest kCreateLog = {.access = kLogAccess,
                                    .disposition = platform::FILE_CREATE,
                                    .kind = platform::FILE_NON_DIRECTORY_FILE,
                                    .share = kLogShare};

/// The parent of the INF's folder; a bare drive is its root. Empty if there is none.
std::u16string ParentPath(std::u16string_view infPath) {
  const std::u16string_view parent = CutLastComponent(CutLastComponent(infPath));
  return parent.size() == 2 ? std::u16string(parent) + u"\\" : std::u16string(parent);
}

bool MakeFolder(const std::u16string& path) {
  return platform::CreateDirectoryW(path.c_str()) ||
         platform::GetLastError() == platform::ERROR_ALREADY_EXISTS;
}

bool HasOneName(platform::HANDLE file) {
  platform::BY_HANDLE_FILE_INFORMATION information = {};
  return platform::GetFileInformationByHandle(file, &information) &&
         information.nNumberOfLinks == 1;
}

/// Opens the file, or creates it with inherited security; null unless it is a plain file with one
/// name. While the handle is open, the stream opened by path is the same file.
std::shared_ptr<const void> HoldLogFile(const Directory& folder) {
  const privileged_input::NativeApi& api = folder.SharedState()->api;
  // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): an open folder has a state
  platform::KernelHandle file = OpenNative(api, folder.Handle(), kFileName, kOpenLog);
  if (!file && platform::GetLastError() == platform::ERROR_FILE_NOT_FOUND) {
    file = OpenNative(api, folder.Handle(), kFileName, kCreateLog);
  }
  if (!file || !privileged_input::IsPlainFile(file.Get()) || !HasOneName(file.Get())) {
    return nullptr;
  }
  // An empty folder can be turned into a link even while it is open. Now that it holds the file it
  // no longer can, so this check lasts.
  if (!privileged_input::IsPlainFolder(folder.Handle())) return nullptr;
  return std::make_shared<const platform::KernelHandle>(std::move(file));
}

}  // namespace

void PlaceRemovalLog(std::u16string_view commandLineInfPath, RemovalLog& log) {
  const std::u16string parentPath = ParentPath(commandLineInfPath);
  if (parentPath.empty()) return;
  // Open the parent before creating anything in it by name.
  const Directory parent = Directory::OpenAbsolute(parentPath, privileged_input::LoadNativeApi());
  if (!parent) return;
  // Use the volume GUID path: the drive letter may have been redirected.
  if (!MakeFolder(JoinPath(parent.Path(), kFolderName))) return;
  const Directory folder = Directory::OpenRelative(parent, kFolderName);
  if (!folder) return;
  log.SetRemovalLogPath(JoinPath(folder.Path(), kFileName),
                        [folder] { return HoldLogFile(folder); });
}

}  // namespace vorn
