// What is asked of an open file: content, attributes, listing, deletion, paths.

#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "tests/contract/contract.h"
#include "tests/contract/native_files.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace vorn::contract {

using namespace platform;

namespace {

/// The names of a page of directory records; the case fails where the records are not well linked.
std::vector<std::u16string> NamesOf(const std::vector<std::uint8_t>& page) {
  std::vector<std::u16string> names;
  for (std::size_t offset = 0;;) {
    NEED(offset + sizeof(FILE_ID_BOTH_DIR_INFO) <= page.size());
    FILE_ID_BOTH_DIR_INFO record = {};
    std::memcpy(&record, page.data() + offset, sizeof record);
    NEED(offset + sizeof record + record.FileNameLength <= page.size());
    NEED(record.FileNameLength % sizeof(char16_t) == 0);
    std::u16string name(record.FileNameLength / sizeof(char16_t), u'\0');
    std::memcpy(name.data(), page.data() + offset + sizeof record, record.FileNameLength);
    names.push_back(name);
    if (record.NextEntryOffset == 0) return names;
    NEED(record.NextEntryOffset % 8 == 0);
    NEED(record.NextEntryOffset >= sizeof record + record.FileNameLength);
    offset += record.NextEntryOffset;
  }
}

/// Lists a folder with pages of that size, the first by the restarting class.
std::vector<std::u16string> List(HANDLE folder, std::size_t pageSize, int* pages = nullptr) {
  std::vector<std::u16string> names;
  std::uint32_t informationClass = FileIdBothDirectoryRestartInfo;
  for (int page = 0;; ++page) {
    // Aligned as the structure is.
    std::vector<std::uint8_t> buffer(pageSize, 0xCC);
    if (!GetFileInformationByHandleEx(folder, informationClass, buffer.data(),
                                      static_cast<std::uint32_t>(buffer.size()))) {
      CHECK_EQ(GetLastError(), ERROR_NO_MORE_FILES);
      if (pages != nullptr) *pages = page;
      break;
    }
    for (std::u16string& name : NamesOf(buffer))
      names.push_back(std::move(name));
    informationClass = FileIdBothDirectoryInfo;
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::u16string Joined(const std::vector<std::u16string>& names) {
  std::u16string text;
  for (const std::u16string& name : names)
    text += (text.empty() ? u"" : u" ") + name;
  return text;
}

How Deleting() {
  How how;
  how.access = GENERIC_READ | DELETE;
  how.share = kShareAll;
  return how;
}

BY_HANDLE_FILE_INFORMATION InformationOf(const Opened& file) {
  BY_HANDLE_FILE_INFORMATION information = {};
  NEED(GetFileInformationByHandle(file.Handle(), &information));
  return information;
}

std::u16string FinalPath(HANDLE file, std::uint32_t flags) {
  char16_t path[MAX_PATH * 2] = {};
  const std::uint32_t length = GetFinalPathNameByHandleW(file, path, MAX_PATH * 2, flags);
  CHECK_EQ(length, std::u16string_view(path).size());
  return path;
}

}  // namespace

CONTRACT(AFileIsReadToItsEnd) {
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abcdef");
  const Opened file = OpenNative(Nt(path), {});
  char buffer[8] = {};
  std::uint32_t read = 77;
  CHECK(ReadFile(file.Handle(), buffer, 4, &read));
  CHECK_EQ(read, 4U);
  CHECK(ReadFile(file.Handle(), buffer, sizeof buffer, &read));
  CHECK_EQ(read, 2U);
  CHECK(ReadFile(file.Handle(), buffer, sizeof buffer, &read));
  CHECK_EQ(read, 0U);
}

CONTRACT(TheFilePositionMoves) {
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abcdef");
  const Opened file = OpenNative(Nt(path), {});
  std::int64_t position = -1;
  CHECK(SetFilePointerEx(file.Handle(), -2, &position, FILE_END));
  CHECK_EQ(position, 4);
  char byte = 0;
  std::uint32_t read = 0;
  CHECK(ReadFile(file.Handle(), &byte, 1, &read));
  CHECK_EQ(byte, 'e');
  CHECK(SetFilePointerEx(file.Handle(), 0, &position, FILE_CURRENT));
  CHECK_EQ(position, 5);
  CHECK(!SetFilePointerEx(file.Handle(), -1, nullptr, FILE_BEGIN));
  CHECK_EQ(GetLastError(), ERROR_NEGATIVE_SEEK);
}

CONTRACT(AFileEndsWhereItIsCut) {
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abcdef");
  How how;
  how.access = GENERIC_READ | GENERIC_WRITE;
  const Opened file = OpenNative(Nt(path), how);
  CHECK(SetFilePointerEx(file.Handle(), 2, nullptr, FILE_BEGIN));
  CHECK(SetEndOfFile(file.Handle()));
  CHECK(FlushFileBuffers(file.Handle()));
  CHECK_EQ(InformationOf(file).nFileSizeLow, 2U);
}

CONTRACT(AFileTellsItsSizeLinksAndIndex) {
  const std::u16string folder = Scratch();
  const std::u16string path = folder + u"\\f";
  WriteNewFile(path, "abc");
  const BY_HANDLE_FILE_INFORMATION alone = InformationOf(OpenNative(Nt(path), {}));
  CHECK_EQ(alone.nNumberOfLinks, 1U);
  CHECK_EQ(alone.nFileSizeLow, 3U);
  CHECK_EQ(alone.nFileSizeHigh, 0U);
  CHECK((alone.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0);
  NEED(MakeHardLink(path, folder + u"\\g"));
  const BY_HANDLE_FILE_INFORMATION linked = InformationOf(OpenNative(Nt(folder + u"\\g"), {}));
  CHECK_EQ(linked.nNumberOfLinks, 2U);
  CHECK_EQ(linked.nFileIndexLow, alone.nFileIndexLow);
  CHECK_EQ(linked.nFileIndexHigh, alone.nFileIndexHigh);
  CHECK_EQ(linked.dwVolumeSerialNumber, alone.dwVolumeSerialNumber);
  WriteNewFile(folder + u"\\h", "abc");
  CHECK(InformationOf(OpenNative(Nt(folder + u"\\h"), {})).nFileIndexLow != alone.nFileIndexLow);
}

CONTRACT(TagInformationTellsFoldersFromFiles) {
  const std::u16string folder = Scratch();
  WriteNewFile(folder + u"\\f", "");
  FILE_ATTRIBUTE_TAG_INFO info = {};
  const Opened opened = OpenFolder(folder);
  CHECK(GetFileInformationByHandleEx(opened.Handle(), FileAttributeTagInfo, &info, sizeof info));
  CHECK((info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
  CHECK((info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0);
  const Opened file = OpenNative(Nt(folder + u"\\f"), {});
  CHECK(GetFileInformationByHandleEx(file.Handle(), FileAttributeTagInfo, &info, sizeof info));
  CHECK((info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0);
}

CONTRACT(AFolderListsItsNamesOnceAndThenEnds) {
  const std::u16string folder = Scratch();
  WriteNewFile(folder + u"\\b.txt", "");
  WriteNewFile(folder + u"\\A long name with blanks.txt", "");
  NEED(CreateDirectoryW((folder + u"\\sub").c_str()));
  const Opened opened = OpenFolder(folder);
  CHECK_EQ(Joined(List(opened.Handle(), 65536)),
           std::u16string(u". .. A long name with blanks.txt b.txt sub"));
}

CONTRACT(AListingContinuesOverPages) {
  const std::u16string folder = Scratch();
  for (char16_t letter = u'a'; letter <= u'z'; ++letter)
    WriteNewFile(folder + u"\\file_" + letter, "");
  const Opened opened = OpenFolder(folder);
  int pages = 0;
  CHECK_EQ(List(opened.Handle(), 512, &pages).size(), 28U);
  CHECK(pages > 5);
}

CONTRACT(AListingStartsAgainWhenAsked) {
  const std::u16string folder = Scratch();
  WriteNewFile(folder + u"\\f", "");
  const Opened opened = OpenFolder(folder);
  CHECK_EQ(List(opened.Handle(), 4096).size(), 3U);
  CHECK_EQ(List(opened.Handle(), 4096).size(), 3U);
}

CONTRACT(AnEmptyFolderListsItselfAndItsParent) {
  const Opened opened = OpenFolder(Scratch());
  CHECK_EQ(Joined(List(opened.Handle(), 4096)), std::u16string(u". .."));
}

CONTRACT(ARecordTellsAttributesAndSize) {
  const std::u16string folder = Scratch();
  WriteNewFile(folder + u"\\file", "12345");
  const Opened opened = OpenFolder(folder);
  std::vector<std::uint8_t> page(65536);
  NEED(GetFileInformationByHandleEx(opened.Handle(), FileIdBothDirectoryRestartInfo, page.data(),
                                    static_cast<std::uint32_t>(page.size())));
  bool seen = false;
  for (std::size_t offset = 0;;) {
    FILE_ID_BOTH_DIR_INFO record = {};
    std::memcpy(&record, page.data() + offset, sizeof record);
    if (record.FileNameLength == 8) {
      seen = true;
      CHECK_EQ(record.EndOfFile, 5);
      CHECK((record.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0);
      const BY_HANDLE_FILE_INFORMATION file = InformationOf(OpenNative(Nt(folder + u"\\file"), {}));
      CHECK_EQ(static_cast<std::uint64_t>(record.FileId),
               (std::uint64_t{file.nFileIndexHigh} << 32) | file.nFileIndexLow);
    } else {
      CHECK((record.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
    }
    if (record.NextEntryOffset == 0) break;
    offset += record.NextEntryOffset;
  }
  CHECK(seen);
}

CONTRACT(APageTooSmallForAnyRecordIsRefused) {
  const Opened opened = OpenFolder(Scratch());
  // The smallest page is the whole record, with one unit of a name and what aligns it.
  for (const std::uint32_t size : {1U, 104U, 111U}) {
    std::vector<std::uint8_t> page(size);
    CHECK(!GetFileInformationByHandleEx(opened.Handle(), FileIdBothDirectoryRestartInfo,
                                        page.data(), size));
    CHECK_EQ(GetLastError(), ERROR_BAD_LENGTH);
  }
  std::vector<std::uint8_t> page(112);
  CHECK(GetFileInformationByHandleEx(opened.Handle(), FileIdBothDirectoryRestartInfo, page.data(),
                                     112));
}

CONTRACT(AFileIsNotListed) {
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abc");
  const Opened file = OpenNative(Nt(path), {});
  std::vector<std::uint8_t> page(4096);
  CHECK(!GetFileInformationByHandleEx(file.Handle(), FileIdBothDirectoryRestartInfo, page.data(),
                                      4096));
}

CONTRACT(AMarkedFileGoesWithItsLastHandle) {
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abc");
  Opened first = OpenNative(Nt(path), Deleting());
  Opened second = OpenNative(Nt(path), Deleting());
  CHECK(MarkForDeletion(first.Handle()));
  first.Close();
  char byte = 0;
  std::uint32_t read = 0;
  CHECK(ReadFile(second.Handle(), &byte, 1, &read));
  CHECK_EQ(read, 1U);
  second.Close();
  CHECK_EQ(OpenNative(Nt(path), {}).status, STATUS_OBJECT_NAME_NOT_FOUND);
}

CONTRACT(AFileThatIsBeingDeletedIsNotOpened) {
  SkipOn(Side::Wine, "opening a file that is being deleted succeeds");
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abc");
  const Opened file = OpenNative(Nt(path), Deleting());
  CHECK(MarkForDeletion(file.Handle()));
  How how;
  how.share = kShareAll;
  CHECK_EQ(OpenNative(Nt(path), how).status, STATUS_DELETE_PENDING);
}

CONTRACT(ADeletedNameThatIsStillOpenIsNotCreatedAgain) {
  SkipOn(Side::Wine, "opening a file that is being deleted succeeds");
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abc");
  const Opened file = OpenNative(Nt(path), Deleting());
  CHECK(MarkForDeletion(file.Handle()));
  How how;
  how.access = GENERIC_WRITE;
  how.share = kShareAll;
  how.disposition = FILE_CREATE;
  CHECK_EQ(ToWin32(OpenNative(Nt(path), how).status), ERROR_ACCESS_DENIED);
}

CONTRACT(AMarkCanBeTakenBack) {
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abc");
  {
    const Opened file = OpenNative(Nt(path), Deleting());
    CHECK(MarkForDeletion(file.Handle()));
    const FILE_DISPOSITION_INFO keep = {0};
    CHECK(SetFileInformationByHandle(file.Handle(), FileDispositionInfo, &keep, sizeof keep));
  }
  CHECK_EQ(OpenNative(Nt(path), {}).status, STATUS_SUCCESS);
}

CONTRACT(DeletingANameLeavesTheOthersOfItsFile) {
  const std::u16string folder = Scratch();
  WriteNewFile(folder + u"\\f", "abc");
  NEED(MakeHardLink(folder + u"\\f", folder + u"\\g"));
  {
    const Opened file = OpenNative(Nt(folder + u"\\f"), Deleting());
    CHECK(MarkForDeletion(file.Handle()));
  }
  CHECK_EQ(OpenNative(Nt(folder + u"\\f"), {}).status, STATUS_OBJECT_NAME_NOT_FOUND);
  const Opened other = OpenNative(Nt(folder + u"\\g"), {});
  CHECK_EQ(InformationOf(other).nNumberOfLinks, 1U);
}

CONTRACT(AFolderIsDeletedWhenItIsEmpty) {
  const std::u16string folder = Scratch() + u"\\d";
  NEED(CreateDirectoryW(folder.c_str()));
  WriteNewFile(folder + u"\\f", "");
  How how;
  how.access = kListFolder | DELETE;
  how.options = kFolder;
  how.share = kShareAll;
  {
    const Opened opened = OpenNative(Nt(folder), how);
    NEED(opened.status == STATUS_SUCCESS);
    CHECK(!MarkForDeletion(opened.Handle()));
    CHECK_EQ(GetLastError(), ERROR_DIR_NOT_EMPTY);
    const Opened file = OpenNative(u"f", Deleting(), opened.Handle());
    CHECK(MarkForDeletion(file.Handle()));
  }
  {
    const Opened opened = OpenNative(Nt(folder), how);
    CHECK(MarkForDeletion(opened.Handle()));
  }
  CHECK_EQ(OpenNative(Nt(folder), how).status, STATUS_OBJECT_NAME_NOT_FOUND);
}

CONTRACT(AFileOpenedToBeDeletedOnCloseIsGoneThen) {
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "abc");
  How how = Deleting();
  how.options |= FILE_DELETE_ON_CLOSE;
  { CHECK_EQ(OpenNative(Nt(path), how).status, STATUS_SUCCESS); }
  CHECK_EQ(OpenNative(Nt(path), {}).status, STATUS_OBJECT_NAME_NOT_FOUND);
}

CONTRACT(AFolderHeldWithReadSharingTakesNoRenameOrTakesItWhole) {
  const std::u16string folder = Scratch();
  const std::u16string held = folder + u"\\held";
  NEED(CreateDirectoryW(held.c_str()));
  WriteNewFile(folder + u"\\f", "abc");
  How hold;
  hold.access = kListFolder | READ_CONTROL;
  hold.options = kFolder;
  {
    const Opened holder = OpenNative(Nt(held), hold);
    NEED(holder.status == STATUS_SUCCESS);
    // Windows 11 22H2 and later no longer open the folder for writing.
    const std::uint32_t error = MoveTo(folder + u"\\f", held + u"\\g");
    CHECK(error == 0 || error == ERROR_SHARING_VIOLATION);
    if (error != 0) CHECK_EQ(OpenNative(Nt(folder + u"\\f"), {}).status, STATUS_SUCCESS);
    if (error == 0) CHECK_EQ(MoveTo(held + u"\\g", folder + u"\\f"), 0U);
  }
  CHECK_EQ(MoveTo(folder + u"\\f", held + u"\\g"), 0U);
  CHECK_EQ(OpenNative(Nt(held + u"\\g"), {}).status, STATUS_SUCCESS);
}

CONTRACT(AFinalPathStandsOnItsVolume) {
  const std::u16string path = Scratch() + u"\\File.txt";
  WriteNewFile(path, "");
  const Opened file = OpenNative(Nt(path), {});
  const std::u16string dos = FinalPath(file.Handle(), 0);
  CHECK_EQ(dos.substr(0, 4), std::u16string(u"\\\\?\\"));
  CHECK_EQ(dos.substr(dos.size() - 9), std::u16string(u"\\File.txt"));
  const std::u16string guid = FinalPath(file.Handle(), VOLUME_NAME_GUID);
  CHECK_EQ(guid.substr(0, 11), std::u16string(u"\\\\?\\Volume{"));
  CHECK_EQ(guid.substr(47, 2), std::u16string(u"}\\"));
  CHECK_EQ(guid.substr(49), dos.substr(7));
  CHECK_EQ(FinalPath(file.Handle(), VOLUME_NAME_NONE), dos.substr(6));
  const std::u16string nt = FinalPath(file.Handle(), VOLUME_NAME_NT);
  CHECK_EQ(nt.substr(0, 22), std::u16string(u"\\Device\\HarddiskVolume"));
}

CONTRACT(TheRootHasAFinalPathOfFortyNineUnits) {
  How how;
  how.access = kListFolder;
  how.options = kFolder;
  how.share = kShareAll;
  const Opened root = OpenNative(u"\\??\\C:\\", how);
  NEED(root.status == STATUS_SUCCESS);
  CHECK_EQ(FinalPath(root.Handle(), VOLUME_NAME_GUID).size(), 49U);
}

CONTRACT(AFinalPathHasItsSizeAndTerminator) {
  const std::u16string path = Scratch() + u"\\File.txt";
  WriteNewFile(path, "");
  const Opened file = OpenNative(Nt(path), {});
  char16_t buffer[MAX_PATH * 2] = {};
  const std::uint32_t length =
      GetFinalPathNameByHandleW(file.Handle(), buffer, MAX_PATH * 2, VOLUME_NAME_GUID);
  NEED(length != 0);
  CHECK_EQ(GetFinalPathNameByHandleW(file.Handle(), buffer, length, VOLUME_NAME_GUID), length + 1);
  CHECK_EQ(GetFinalPathNameByHandleW(file.Handle(), buffer, length + 1, VOLUME_NAME_GUID), length);
}

CONTRACT(AVolumeGuidPathOpens) {
  const std::u16string path = Scratch() + u"\\File.txt";
  WriteNewFile(path, "");
  std::u16string guid;
  {
    const Opened file = OpenNative(Nt(path), {});
    guid = FinalPath(file.Handle(), VOLUME_NAME_GUID);
  }
  guid[1] = u'?';
  CHECK_EQ(OpenNative(guid, {}).status, STATUS_SUCCESS);
}

}  // namespace vorn::contract
