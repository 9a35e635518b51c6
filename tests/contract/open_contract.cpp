// Opening and creating files by name: NtCreateFile, CreateFileW, CreateDirectoryW.

#include "platform/device_io.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "tests/contract/contract.h"
#include "tests/contract/native_files.h"

namespace vorn::contract {

using namespace platform;

namespace {

constexpr std::uintptr_t kWasOpened = 1;
constexpr std::uintptr_t kWasCreated = 2;

/// A folder with a file of three bytes.
struct FileWorld {
  std::u16string folder = Scratch();
  std::u16string file = folder + u"\\File.txt";
  FileWorld() { WriteNewFile(file, "abc"); }
};

How With(std::uint32_t access, std::uint32_t share) {
  How how;
  how.access = access;
  how.share = share;
  return how;
}

void MakeReadOnly(const std::u16string& path) {
  const Opened file = OpenNative(Nt(path), With(FILE_WRITE_ATTRIBUTES, kShareAll));
  FILE_BASIC_INFO info = {};
  info.FileAttributes = FILE_ATTRIBUTE_READONLY;
  NEED(SetFileInformationByHandle(file.Handle(), FileBasicInfo, &info, sizeof info));
}

}  // namespace

CONTRACT(NtdllExportsWhatTheProgramLooksUp) {
  const HMODULE ntdll = GetModuleHandleW(u"ntdll.dll");
  NEED(ntdll != nullptr);
  for (const char* name : {"NtCreateFile", "NtDeleteKey", "RtlNtStatusToDosError"})
    CHECK(GetProcAddress(ntdll, name) != nullptr);
  SetLastError(0);
  CHECK(GetProcAddress(ntdll, "NoSuchExport") == nullptr);
  CHECK_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
  CHECK(GetModuleHandleW(u"no_such_module.dll") == nullptr);
  CHECK_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
}

CONTRACT(NativeStatusesHaveTheirWin32Errors) {
  const struct {
    NTSTATUS status;
    std::uint32_t error;
  } rows[] = {
      {STATUS_SUCCESS, ERROR_SUCCESS},
      {STATUS_INVALID_HANDLE, ERROR_INVALID_HANDLE},
      {STATUS_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {STATUS_ACCESS_DENIED, ERROR_ACCESS_DENIED},
      {STATUS_OBJECT_NAME_INVALID, ERROR_INVALID_NAME},
      {STATUS_OBJECT_NAME_NOT_FOUND, ERROR_FILE_NOT_FOUND},
      {STATUS_OBJECT_NAME_COLLISION, ERROR_ALREADY_EXISTS},
      {STATUS_OBJECT_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
      {STATUS_OBJECT_PATH_SYNTAX_BAD, ERROR_BAD_PATHNAME},
      {STATUS_SHARING_VIOLATION, ERROR_SHARING_VIOLATION},
      {STATUS_DELETE_PENDING, ERROR_ACCESS_DENIED},
      {STATUS_DISK_FULL, ERROR_DISK_FULL},
      {STATUS_MEDIA_WRITE_PROTECTED, ERROR_WRITE_PROTECT},
      {STATUS_FILE_IS_A_DIRECTORY, ERROR_ACCESS_DENIED},
      {STATUS_DIRECTORY_NOT_EMPTY, ERROR_DIR_NOT_EMPTY},
      {STATUS_NOT_A_DIRECTORY, ERROR_DIRECTORY},
      {STATUS_CANNOT_DELETE, ERROR_ACCESS_DENIED},
      {STATUS_KEY_DELETED, ERROR_KEY_DELETED},
  };
  for (const auto& row : rows)
    CHECK_EQ(ToWin32(row.status), row.error);
}

CONTRACT(TheReparseStatusHasItsWin32Error) {
  SkipOn(Side::Wine, "its table has no STATUS_REPARSE_POINT_ENCOUNTERED");
  CHECK_EQ(ToWin32(STATUS_REPARSE_POINT_ENCOUNTERED), ERROR_REPARSE_POINT_ENCOUNTERED);
}

CONTRACT(AFileOpensByItsNtName) {
  const FileWorld world;
  const Opened file = OpenNative(Nt(world.file), {});
  CHECK_EQ(file.status, STATUS_SUCCESS);
  CHECK_EQ(file.information, kWasOpened);
  CHECK_EQ(GetFileType(file.Handle()), FILE_TYPE_DISK);
}

CONTRACT(AFileOpensByTheNameOfItsVolumeDevice) {
  SkipOn(Side::Wine, "\\Device\\HarddiskVolume1\\ opens something that is no directory");
  const FileWorld world;
  char16_t device[MAX_PATH] = {};
  const char16_t drive[] = {world.file[0], u':', u'\0'};
  NEED(QueryDosDeviceW(drive, device, MAX_PATH) != 0);
  const Opened file = OpenNative(device + world.file.substr(2), {});
  CHECK_EQ(file.status, STATUS_SUCCESS);
  How how;
  how.access = kListFolder;
  how.options = kFolder;
  how.share = kShareAll;
  CHECK_EQ(OpenNative(device + std::u16string(u"\\"), how).status, STATUS_SUCCESS);
}

CONTRACT(TheProgramsOwnOpensGoDownFromTheVolume) {
  SkipOn(Side::Wine, "\\Device\\HarddiskVolume1\\ opens something that is no directory");
  const FileWorld world;
  char16_t device[MAX_PATH] = {};
  const char16_t drive[] = {world.file[0], u':', u'\0'};
  NEED(QueryDosDeviceW(drive, device, MAX_PATH) != 0);
  How how;
  how.access = READ_CONTROL | FILE_READ_ATTRIBUTES | FILE_TRAVERSE | FILE_LIST_DIRECTORY;
  how.options = kFolder | FILE_OPEN_REPARSE_POINT;
  how.objectAttributes = OBJ_CASE_INSENSITIVE | OBJ_DONT_REPARSE;
  std::vector<Opened> held;
  held.push_back(OpenNative(device + std::u16string(u"\\"), how));
  NEED(held.back().status == STATUS_SUCCESS);
  std::size_t start = 3;
  for (std::size_t end = world.file.find(u'\\', start); end != std::u16string::npos;
       start = end + 1, end = world.file.find(u'\\', start)) {
    held.push_back(OpenNative(world.file.substr(start, end - start), how, held.back().Handle()));
    NEED(held.back().status == STATUS_SUCCESS);
  }
  how.access = GENERIC_READ | READ_CONTROL;
  how.options = kFile | FILE_OPEN_REPARSE_POINT;
  const Opened file = OpenNative(world.file.substr(start), how, held.back().Handle());
  CHECK_EQ(file.status, STATUS_SUCCESS);
  CHECK_EQ(file.information, kWasOpened);
  char bytes[4] = {};
  std::uint32_t read = 0;
  CHECK(ReadFile(file.Handle(), bytes, sizeof bytes, &read));
  CHECK_EQ(read, 3U);
}

CONTRACT(AFileOpensRelativeToItsFolder) {
  const FileWorld world;
  const Opened folder = OpenFolder(world.folder);
  CHECK_EQ(OpenNative(u"file.TXT", {}, folder.Handle()).status, STATUS_SUCCESS);
  CHECK_EQ(OpenNative(u"none.txt", {}, folder.Handle()).status, STATUS_OBJECT_NAME_NOT_FOUND);
  NEED(CreateDirectoryW((world.folder + u"\\below").c_str()));
  WriteNewFile(world.folder + u"\\below\\b.txt", "b");
  CHECK_EQ(OpenNative(u"below\\b.txt", {}, folder.Handle()).status, STATUS_SUCCESS);
}

CONTRACT(AnEmptyRelativeNameOpensTheFolderItself) {
  const FileWorld world;
  const Opened folder = OpenFolder(world.folder);
  How how;
  how.access = kListFolder;
  how.share = kShareAll;
  how.options = kFolder;
  CHECK_EQ(OpenNative(u"", how, folder.Handle()).status, STATUS_SUCCESS);
}

CONTRACT(ARelativeNameMayNotStartWithASeparator) {
  const FileWorld world;
  const Opened folder = OpenFolder(world.folder);
  // Which refusal it is depends on the version and on the file system.
  const NTSTATUS status = OpenNative(u"\\File.txt", {}, folder.Handle()).status;
  const bool refused = status == STATUS_OBJECT_NAME_INVALID || status == STATUS_INVALID_PARAMETER ||
                       status == STATUS_OBJECT_PATH_SYNTAX_BAD;
  if (!refused) NoteFailure(__FILE__, __LINE__, "status " + Shown(status));
}

CONTRACT(ANameIsFoundWithoutRegardToCase) {
  const FileWorld world;
  CHECK_EQ(OpenNative(Nt(world.folder + u"\\FILE.TXT"), {}).status, STATUS_SUCCESS);
}

CONTRACT(ANameIsFoundWithoutRegardToCaseBeyondAscii) {
  const FileWorld world;
  WriteNewFile(world.folder + u"\\\u00e4\u03c3\u0436\u00df", "x");
  const auto statusOf = [&world](const char16_t* name) {
    return OpenNative(Nt(world.folder + u"\\" + name), {}).status;
  };
  CHECK_EQ(statusOf(u"\u00c4\u03a3\u0416\u00df"), STATUS_SUCCESS);
  // The final sigma is no small letter of the sigma, and SS none of the sharp s.
  CHECK_EQ(statusOf(u"\u00c4\u03c2\u0416\u00df"), STATUS_OBJECT_NAME_NOT_FOUND);
  CHECK_EQ(statusOf(u"\u00c4\u03a3\u0416SS"), STATUS_OBJECT_NAME_NOT_FOUND);
}

CONTRACT(WhatIsMissingIsToldFromAMissingFolder) {
  const FileWorld world;
  CHECK_EQ(OpenNative(Nt(world.folder + u"\\none"), {}).status, STATUS_OBJECT_NAME_NOT_FOUND);
  CHECK_EQ(OpenNative(Nt(world.folder + u"\\none\\x"), {}).status, STATUS_OBJECT_PATH_NOT_FOUND);
  CHECK_EQ(OpenNative(Nt(world.file + u"\\x"), {}).status, STATUS_OBJECT_PATH_NOT_FOUND);
  How folder;
  folder.access = kListFolder;
  folder.options = kFolder;
  CHECK_EQ(OpenNative(Nt(world.folder + u"\\none"), folder).status, STATUS_OBJECT_NAME_NOT_FOUND);
}

CONTRACT(FilesAndFoldersAreNotTakenForEachOther) {
  const FileWorld world;
  How how;
  how.options = kFolder;
  CHECK_EQ(OpenNative(Nt(world.file), how).status, STATUS_NOT_A_DIRECTORY);
  CHECK_EQ(OpenNative(Nt(world.folder), {}).status, STATUS_FILE_IS_A_DIRECTORY);
}

CONTRACT(DispositionsCreateOrOpen) {
  const FileWorld world;
  How how;
  how.access = GENERIC_READ | GENERIC_WRITE;
  how.disposition = FILE_CREATE;
  CHECK_EQ(OpenNative(Nt(world.file), how).status, STATUS_OBJECT_NAME_COLLISION);
  const Opened created = OpenNative(Nt(world.folder + u"\\new"), how);
  CHECK_EQ(created.status, STATUS_SUCCESS);
  CHECK_EQ(created.information, kWasCreated);
  how.disposition = FILE_OPEN_IF;
  const Opened opened = OpenNative(Nt(world.file), how);
  CHECK_EQ(opened.status, STATUS_SUCCESS);
  CHECK_EQ(opened.information, kWasOpened);
  const Opened other = OpenNative(Nt(world.folder + u"\\other"), how);
  CHECK_EQ(other.status, STATUS_SUCCESS);
  CHECK_EQ(other.information, kWasCreated);
}

CONTRACT(AFolderIsCreatedByTheNativeCall) {
  const std::u16string folder = Scratch() + u"\\made";
  How how;
  how.access = kListFolder | DELETE;
  how.options = kFolder;
  how.disposition = FILE_CREATE;
  const Opened made = OpenNative(Nt(folder), how);
  CHECK_EQ(made.status, STATUS_SUCCESS);
  CHECK_EQ(made.information, kWasCreated);
  CHECK_EQ(OpenNative(Nt(folder), how).status, STATUS_OBJECT_NAME_COLLISION);
}

CONTRACT(SharingIsHeldAgainstEveryOpenHandle) {
  const struct {
    std::uint32_t firstAccess, firstShare, secondAccess, secondShare;
    bool allowed;
  } rows[] = {
      {GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, true},
      {GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, kShareAll, false},
      {GENERIC_READ, FILE_SHARE_READ, DELETE, kShareAll, false},
      {GENERIC_READ, FILE_SHARE_READ, FILE_READ_ATTRIBUTES, 0, true},
      {GENERIC_READ, 0, GENERIC_READ, kShareAll, false},
      {GENERIC_READ, kShareAll, GENERIC_READ, 0, false},
      {GENERIC_WRITE, kShareAll, GENERIC_READ, FILE_SHARE_READ, false},
      {GENERIC_WRITE, kShareAll, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, true},
      {DELETE, kShareAll, GENERIC_READ, FILE_SHARE_READ, false},
      {DELETE, kShareAll, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, true},
      {FILE_READ_ATTRIBUTES, 0, GENERIC_READ | GENERIC_WRITE, 0, true},
  };
  const FileWorld world;
  for (const auto& row : rows) {
    const Opened first = OpenNative(Nt(world.file), With(row.firstAccess, row.firstShare));
    NEED(first.status == STATUS_SUCCESS);
    const Opened second = OpenNative(Nt(world.file), With(row.secondAccess, row.secondShare));
    const auto number = static_cast<int>(&row - rows);
    const std::string what = "row " + std::to_string(number) + " status " + Shown(second.status);
    const NTSTATUS expected = row.allowed ? STATUS_SUCCESS : STATUS_SHARING_VIOLATION;
    if (second.status != expected) NoteFailure(__FILE__, __LINE__, what);
  }
}

CONTRACT(TwoNamesOfOneFileShareItsHandles) {
  const FileWorld world;
  const std::u16string other = world.folder + u"\\other";
  NEED(MakeHardLink(world.file, other));
  const Opened first = OpenNative(Nt(world.file), With(GENERIC_READ, FILE_SHARE_READ));
  CHECK_EQ(OpenNative(Nt(other), With(GENERIC_WRITE, kShareAll)).status, STATUS_SHARING_VIOLATION);
}

CONTRACT(AHandleDoesNotDoWhatItWasNotOpenedFor) {
  const FileWorld world;
  const Opened reader = OpenNative(Nt(world.file), With(GENERIC_READ, kShareAll));
  std::uint32_t count = 77;
  CHECK(!WriteFile(reader.Handle(), "x", 1, &count));
  CHECK_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  CHECK(!MarkForDeletion(reader.Handle()));
  CHECK_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  const Opened writer = OpenNative(Nt(world.file), With(GENERIC_WRITE, kShareAll));
  char byte = 0;
  CHECK(!ReadFile(writer.Handle(), &byte, 1, &count));
  CHECK_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

CONTRACT(AReadOnlyFileIsNotWritten) {
  SkipOn(Side::Wine, "as root, whom Unix lets write read-only files");
  const FileWorld world;
  MakeReadOnly(world.file);
  CHECK_EQ(OpenNative(Nt(world.file), With(GENERIC_WRITE, kShareAll)).status, STATUS_ACCESS_DENIED);
}

CONTRACT(AReadOnlyFileIsNotDeleted) {
  const FileWorld world;
  MakeReadOnly(world.file);
  const Opened file = OpenNative(Nt(world.file), With(DELETE | FILE_WRITE_ATTRIBUTES, kShareAll));
  CHECK_EQ(file.status, STATUS_SUCCESS);
  CHECK(!MarkForDeletion(file.Handle()));
  CHECK_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  FILE_BASIC_INFO info = {};
  info.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  CHECK(SetFileInformationByHandle(file.Handle(), FileBasicInfo, &info, sizeof info));
  CHECK(MarkForDeletion(file.Handle()));
}

CONTRACT(ALinkOnTheWayIsRefusedWhenAsked) {
  SkipOn(Side::Wine, "reparse points cannot be made, and Unix links are followed silently");
  const FileWorld world;
  NEED(MakeFolderLink(world.folder + u"\\link", world.folder));
  const Opened folder = OpenFolder(world.folder);
  CHECK_EQ(OpenNative(u"link\\File.txt", {}, folder.Handle()).status, STATUS_SUCCESS);
  How how;
  how.objectAttributes = OBJ_CASE_INSENSITIVE | OBJ_DONT_REPARSE;
  CHECK_EQ(OpenNative(u"File.txt", how, folder.Handle()).status, STATUS_SUCCESS);
  CHECK_EQ(OpenNative(u"link\\File.txt", how, folder.Handle()).status,
           STATUS_REPARSE_POINT_ENCOUNTERED);
}

CONTRACT(ADriveLetterIsALinkOnTheWay) {
  SkipOn(Side::Wine, "reparse points cannot be made, and Unix links are followed silently");
  const FileWorld world;
  How how;
  how.objectAttributes = OBJ_CASE_INSENSITIVE | OBJ_DONT_REPARSE;
  CHECK_EQ(OpenNative(Nt(world.file), how).status, STATUS_REPARSE_POINT_ENCOUNTERED);
}

CONTRACT(ALinkInLastPlaceIsNotFollowed) {
  SkipOn(Side::Wine, "reparse points cannot be made, and Unix links are followed silently");
  const FileWorld world;
  NEED(MakeFolderLink(world.folder + u"\\link", world.folder));
  const Opened folder = OpenFolder(world.folder);
  How how;
  how.access = READ_CONTROL | FILE_READ_ATTRIBUTES | FILE_TRAVERSE | FILE_LIST_DIRECTORY;
  how.options = kFolder | FILE_OPEN_REPARSE_POINT;
  how.objectAttributes = OBJ_CASE_INSENSITIVE | OBJ_DONT_REPARSE;
  const Opened link = OpenNative(u"link", how, folder.Handle());
  // Either the link itself opens or it is refused; the folder behind it must not open.
  if (link.status == STATUS_REPARSE_POINT_ENCOUNTERED) return;
  NEED(link.status == STATUS_SUCCESS);
  FILE_ATTRIBUTE_TAG_INFO info = {};
  NEED(GetFileInformationByHandleEx(link.Handle(), FileAttributeTagInfo, &info, sizeof info));
  CHECK((info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0);
}

CONTRACT(ALinkItselfOpensAsAReparsePoint) {
  SkipOn(Side::Wine, "reparse points cannot be made, and Unix links are followed silently");
  const FileWorld world;
  const std::u16string link = world.folder + u"\\link";
  NEED(MakeFolderLink(link, world.folder));
  How how;
  how.access = FILE_READ_ATTRIBUTES;
  how.options = kFolder | FILE_OPEN_REPARSE_POINT;
  const Opened opened = OpenNative(Nt(link), how);
  NEED(opened.status == STATUS_SUCCESS);
  FILE_ATTRIBUTE_TAG_INFO info = {};
  CHECK(GetFileInformationByHandleEx(opened.Handle(), FileAttributeTagInfo, &info, sizeof info));
  CHECK((info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0);
}

CONTRACT(CreateFileTellsWhatIsMissing) {
  const FileWorld world;
  const struct {
    std::u16string path;
    std::uint32_t error;
  } rows[] = {
      {world.folder + u"\\none", ERROR_FILE_NOT_FOUND},
      {world.folder + u"\\none\\x", ERROR_PATH_NOT_FOUND},
      {u"\\\\?\\root#vorncontract#0000#{a3f2b8c1-0000-0000-0000-000000000000}",
       ERROR_FILE_NOT_FOUND},
  };
  for (const auto& row : rows) {
    SetLastError(0);
    CHECK(CreateFileW(row.path.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0) ==
          INVALID_HANDLE_VALUE);
    CHECK_EQ(GetLastError(), row.error);
  }
}

CONTRACT(CreateFileOpensAFileByItsDosPath) {
  const FileWorld world;
  const HANDLE file =
      CreateFileW(world.file.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
  NEED(file != INVALID_HANDLE_VALUE);
  char bytes[4] = {};
  std::uint32_t read = 0;
  CHECK(ReadFile(file, bytes, sizeof bytes, &read));
  CHECK_EQ(read, 3U);
  CHECK(CloseHandle(file));
}

CONTRACT(AFolderIsCreatedOnce) {
  const std::u16string folder = Scratch();
  CHECK(CreateDirectoryW((folder + u"\\a").c_str()));
  CHECK(!CreateDirectoryW((folder + u"\\a").c_str()));
  CHECK_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  CHECK(!CreateDirectoryW((folder + u"\\b\\c").c_str()));
  CHECK_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

CONTRACT(AHandleIsClosedOnce) {
  const FileWorld world;
  How how;
  const Opened file = OpenNative(Nt(world.file), how);
  CHECK(!CloseHandle(nullptr));
  CHECK_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

}  // namespace vorn::contract
