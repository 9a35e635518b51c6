#include "platform/simulated/other_process.h"

#include "platform/files.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/path_walk.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vorn::platform::simulated {

namespace {

constexpr std::uint32_t kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr std::uint32_t kNoOptions = 0;
constexpr WalkOptions kToTheLink = {true, false};

std::u16string NativeName(std::u16string_view path) {
  return u"\\??\\" + std::u16string(path);
}

/// "C:\a" of "C:\a\b", "C:\" of "C:\a".
std::u16string_view FolderAbove(std::u16string_view path) {
  const std::size_t cut = path.rfind(u'\\');
  if (cut == std::u16string_view::npos) return {};
  const bool root = cut > 0 && path[cut - 1] == u':';
  return path.substr(0, root ? cut + 1 : cut);
}

/// Documented: a folder cannot be renamed while anything below it is open.
bool IsAnythingOpenBelow(const FileSystem& files, NodeId folder) {
  return std::any_of(files.opens.begin(), files.opens.end(), [&](const auto& open) {
    const NodeId above = open.second.place.folder;
    return above != 0 && files.nodes.contains(above) && IsWithin(files, above, folder);
  });
}

}  // namespace

OtherProcess::OtherProcess(Machine& machine, Token token)
    : machine_(machine), files_(machine.files), token_(std::move(token)) {}

std::shared_ptr<FileObject> OtherProcess::Open(std::u16string_view path, std::uint32_t access,
                                               std::uint32_t disposition, std::uint32_t options,
                                               std::uint32_t* error) {
  const std::u16string name = NativeName(path);
  OpenRequest request;
  request.name = name;
  request.access = access | SYNCHRONIZE;
  request.share = kShareAll;
  request.disposition = disposition;
  request.options = options;
  OpenResult opened = OpenByName(machine_, token_, request);
  *error = opened.status == STATUS_SUCCESS ? ERROR_SUCCESS : ToDosError(opened.status);
  return std::move(opened.file);
}

// ------------------------------------------------------------------------------------------------
// Deleting and making.

std::uint32_t OtherProcess::DeleteOne(std::u16string_view path) {
  std::uint32_t error = 0;
  const auto file = Open(path, DELETE, FILE_OPEN, FILE_OPEN_REPARSE_POINT, &error);
  if (!file) return error;
  const Node& node = file->Read();
  if (node.directory && !node.entries.empty()) return ERROR_DIR_NOT_EMPTY;
  if ((node.attributes & FILE_ATTRIBUTE_READONLY) != 0) return ERROR_ACCESS_DENIED;
  const Place place = file->OpenedAs();
  if (place.folder == 0) return ERROR_ACCESS_DENIED;
  files_.nodes.at(place.folder).entries.at(place.key).deletePending = true;
  return ERROR_SUCCESS;
}

std::uint32_t OtherProcess::Delete(std::u16string_view path) {
  std::uint32_t error = 0;
  std::vector<std::u16string> names;
  if (const auto folder = Open(path, FILE_LIST_DIRECTORY, FILE_OPEN,
                               FILE_DIRECTORY_FILE | FILE_OPEN_REPARSE_POINT, &error)) {
    if (folder->OpenedAs().folder == 0) return ERROR_ACCESS_DENIED;
    for (const auto& [key, entry] : folder->Read().entries)
      names.push_back(entry.name);
  }
  for (const std::u16string& name : names) {
    error = Delete(std::u16string(path) + u"\\" + name);
    if (error != ERROR_SUCCESS) return error;
  }
  return DeleteOne(path);
}

std::uint32_t OtherProcess::MakeOne(std::u16string_view path, bool directory,
                                    std::shared_ptr<FileObject>* made) {
  std::uint32_t error = 0;
  const std::uint32_t kind = directory ? FILE_DIRECTORY_FILE : FILE_NON_DIRECTORY_FILE;
  const std::uint32_t access = directory ? FILE_READ_ATTRIBUTES : FILE_WRITE_DATA;
  *made = Open(path, access, FILE_CREATE, kind, &error);
  if (error != ERROR_PATH_NOT_FOUND || FolderAbove(path).size() >= path.size()) return error;
  error = MakeFolder(FolderAbove(path));
  if (error != ERROR_SUCCESS) return error;
  *made = Open(path, access, FILE_CREATE, kind, &error);
  return error;
}

std::uint32_t OtherProcess::MakeFolder(std::u16string_view path) {
  std::uint32_t error = 0;
  if (Open(path, FILE_READ_ATTRIBUTES, FILE_OPEN, FILE_DIRECTORY_FILE, &error)) return error;
  if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND) return error;
  std::shared_ptr<FileObject> made;
  return MakeOne(path, true, &made);
}

// ------------------------------------------------------------------------------------------------
// Contents.

std::uint32_t OtherProcess::Fill(FileObject& file, std::string_view content) {
  file.written = true;
  const bool fits = ResizeContent(files_, file.Id(), 0) &&
                    WriteContent(files_, file.Id(), 0, content.data(), content.size());
  return fits ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

std::uint32_t OtherProcess::Write(std::u16string_view path, std::string_view content) {
  std::uint32_t error = 0;
  auto file = Open(path, FILE_WRITE_DATA, FILE_OPEN, FILE_NON_DIRECTORY_FILE, &error);
  const bool missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  if (missing) error = MakeOne(path, false, &file);
  return file ? Fill(*file, content) : error;
}

std::uint32_t OtherProcess::Grow(std::u16string_view path, std::uint64_t count) {
  std::uint32_t error = 0;
  const auto file = Open(path, FILE_APPEND_DATA, FILE_OPEN, FILE_NON_DIRECTORY_FILE, &error);
  if (!file) return error;
  const std::uint64_t size = FileSize(file->Read());
  const bool fits = count <= VolumeOf(files_, file->Read()).freeBytes &&
                    ResizeContent(files_, file->Id(), size + count);
  file->written = true;
  return fits ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

std::uint32_t OtherProcess::Copy(std::u16string_view from, std::u16string_view to) {
  std::uint32_t error = 0;
  const auto source = Open(from, FILE_READ_DATA, FILE_OPEN, FILE_NON_DIRECTORY_FILE, &error);
  if (!source) return error;
  std::string content(static_cast<std::size_t>(FileSize(source->Read())), '\0');
  ReadContent(source->Read(), 0, content.data(), content.size());
  return Write(to, content);
}

// ------------------------------------------------------------------------------------------------
// Names.

/// Where a new name is to stand: a folder in which it may be made, and the name.
struct OtherProcess::Goal {
  std::uint32_t error = ERROR_SUCCESS;
  std::shared_ptr<FileObject> folder;  // kept open until the name stands
  std::u16string name;
  bool taken = false;
};

OtherProcess::Goal OtherProcess::FindGoal(std::u16string_view path, bool directory) {
  Goal goal;
  const Walked walked = Walk(files_, NativeName(path), kToTheLink);
  goal.taken = walked.status == STATUS_SUCCESS;
  if (!goal.taken && walked.status != STATUS_OBJECT_NAME_NOT_FOUND) {
    goal.error = ToDosError(walked.status);
    return goal;
  }
  // Documented (rename information): the folder of the new name is opened for writing.
  const std::uint32_t right = directory ? FILE_APPEND_DATA : FILE_WRITE_DATA;
  goal.folder = Open(FolderAbove(path), right, FILE_OPEN, FILE_DIRECTORY_FILE, &goal.error);
  goal.name = path.substr(path.rfind(u'\\') + 1);
  return goal;
}

std::uint32_t OtherProcess::Move(std::u16string_view from, std::u16string_view to) {
  std::uint32_t error = 0;
  const auto source = Open(from, DELETE, FILE_OPEN, FILE_OPEN_REPARSE_POINT, &error);
  if (!source) return error;
  const Place place = source->OpenedAs();
  const bool directory = source->Read().directory;
  if (place.folder == 0) return ERROR_ACCESS_DENIED;
  if (directory && IsAnythingOpenBelow(files_, source->Id())) return ERROR_ACCESS_DENIED;
  Goal goal = FindGoal(to, directory);
  if (goal.error == ERROR_SUCCESS && goal.taken) {
    // Documented: a folder in the way is not replaced, nor a file that somebody has open.
    const Walked there = Walk(files_, NativeName(to), kToTheLink);
    if (there.node == source->Id()) return ERROR_SUCCESS;
    if (files_.nodes.Get(there.node).directory || IsOpen(files_, there.node)) {
      return ERROR_ACCESS_DENIED;
    }
    goal.error = DeleteOne(to);
  }
  if (goal.error != ERROR_SUCCESS) return goal.error;
  if (IsWithin(files_, goal.folder->Id(), source->Id())) return ERROR_ACCESS_DENIED;
  if (goal.folder->Read().volume != source->Read().volume) return ERROR_NOT_SAME_DEVICE;
  MoveEntry(files_, place, goal.folder->Id(), goal.name);
  return ERROR_SUCCESS;
}

std::uint32_t OtherProcess::Link(std::u16string_view existing, std::u16string_view name) {
  std::uint32_t error = 0;
  const auto file = Open(existing, FILE_WRITE_ATTRIBUTES, FILE_OPEN,
                         FILE_NON_DIRECTORY_FILE | FILE_OPEN_REPARSE_POINT, &error);
  if (!file) return error;
  const Goal goal = FindGoal(name, false);
  if (goal.error != ERROR_SUCCESS) return goal.error;
  if (goal.taken) return ERROR_ALREADY_EXISTS;
  if (goal.folder->Read().volume != file->Read().volume) return ERROR_NOT_SAME_DEVICE;
  AddEntry(files_, goal.folder->Id(), goal.name, file->Id());
  return ERROR_SUCCESS;
}

std::uint32_t OtherProcess::PutLink(std::u16string_view path, ReparseKind kind,
                                    std::u16string_view target, bool directory) {
  std::uint32_t error = Delete(path);
  const bool gone =
      error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  if (!gone) return error;
  std::shared_ptr<FileObject> link;
  error = MakeOne(path, directory, &link);
  if (!link) return error;
  link->Write().reparse = kind;
  link->Write().reparseTarget = target;
  return ERROR_SUCCESS;
}

// ------------------------------------------------------------------------------------------------
// Handles and attributes.

std::uint32_t OtherProcess::Hold(std::u16string_view path, std::uint32_t access) {
  std::uint32_t error = 0;
  const auto file = Open(path, access, FILE_OPEN, kNoOptions, &error);
  if (!file) return error;
  simulated::Open open;
  open.place = file->OpenedAs();
  open.access = file->Access();
  open.share = kShareAll;
  open.description = path;
  AddForeignOpen(files_, file->Id(), std::move(open));
  return ERROR_SUCCESS;
}

std::uint32_t OtherProcess::MakeReadOnly(std::u16string_view path) {
  std::uint32_t error = 0;
  const auto file = Open(path, FILE_WRITE_ATTRIBUTES, FILE_OPEN, FILE_OPEN_REPARSE_POINT, &error);
  if (file) file->Write().attributes |= FILE_ATTRIBUTE_READONLY;
  return error;
}

std::uint32_t OtherProcess::Secure(std::u16string_view path, const SecurityRecord& record) {
  const bool owned = !record.owner.empty();
  if (owned && !MayName(token_, record.owner)) return ERROR_INVALID_OWNER;
  std::uint32_t error = 0;
  const auto file =
      Open(path, owned ? WRITE_DAC | WRITE_OWNER : WRITE_DAC, FILE_OPEN, kNoOptions, &error);
  if (!file) return error;
  ReplaceSecurity(file->Write().security, record);
  return ERROR_SUCCESS;
}

void ReplaceSecurity(SecurityRecord& own, const SecurityRecord& record) {
  const SecurityRecord before = std::exchange(own, record);
  if (own.owner.empty()) own.owner = before.owner;
  if (own.group.empty()) own.group = before.group;
}

}  // namespace vorn::platform::simulated
