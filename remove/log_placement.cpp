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

// Other writers may append meanwhile; nobody may rename or delete the file while it is held.
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

/// The folder above the one that holds the INF; a bare drive means its root.
std::u16string FolderAbove(std::u16string_view infPath) {
  return std::u16string(CutLastComponent(CutLastComponent(infPath)));
}

Directory OpenParent(const std::u16string& parent) {
  const bool bareDrive = parent.size() == 2;
  return Directory::OpenAbsolute(bareDrive ? parent + u"\\" : parent,
                                 privileged_input::LoadNativeApi());
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

/// Opens the file, or creates it with the folder's inherited security; null unless it is a plain
/// file with one name. The stream that appends is opened by path while this is open, so that it
/// opens the same file.
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
  // A folder can be turned into a link in place while it is empty, even while it is held. With the
  // file in it that is over, so what it is now it stays.
  if (!privileged_input::IsPlainFolder(folder.Handle())) return nullptr;
  return std::make_shared<const platform::KernelHandle>(std::move(file));
}

}  // namespace

void PlaceRemovalLog(std::u16string_view commandLineInfPath, RemovalLog& log) {
  const std::u16string parentPath = FolderAbove(commandLineInfPath);
  if (parentPath.empty()) return;
  // The parent is held before anything is created in it by name.
  const Directory parent = OpenParent(parentPath);
  if (!parent) return;
  // By the volume's own name: a drive letter may lead elsewhere by now.
  if (!MakeFolder(JoinPath(parent.Path(), kFolderName))) return;
  const Directory folder = Directory::OpenRelative(parent, kFolderName);
  if (!folder) return;
  log.SetRemovalLogPath(JoinPath(folder.Path(), kFileName),
                        [folder] { return HoldLogFile(folder); });
}

}  // namespace vorn
