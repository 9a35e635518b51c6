#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

using FileContent = FileWorld;
using FileSpace = FileWorld;
using FileFacts = FileWorld;

constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;

TEST_F(FileContent, IsReadFromThePosition) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  EXPECT_EQ(ReadAll(file, 3), "con");
  EXPECT_EQ(ReadAll(file, 100), "tent");
  EXPECT_EQ(ReadAll(file, 100), "") << "the end is no failure";
  EXPECT_TRUE(SetFilePointerEx(file, 3, nullptr, FILE_BEGIN));
  EXPECT_EQ(ReadAll(file, 2), "te");
}

TEST_F(FileContent, IsReachedByEveryMoveMethod) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  std::int64_t at = -1;
  EXPECT_TRUE(SetFilePointerEx(file, -2, &at, FILE_END));
  EXPECT_EQ(at, 5);
  EXPECT_TRUE(SetFilePointerEx(file, -1, &at, FILE_CURRENT));
  EXPECT_EQ(at, 4);
  EXPECT_TRUE(SetFilePointerEx(file, 1000, &at, FILE_BEGIN));
  EXPECT_EQ(ReadAll(file), "");
  EXPECT_TRUE(FailsWith(SetFilePointerEx(file, -1, &at, FILE_BEGIN), ERROR_NEGATIVE_SEEK));
  EXPECT_TRUE(FailsWith(SetFilePointerEx(file, 0, &at, 3), ERROR_INVALID_PARAMETER));
  EXPECT_EQ(at, 1000);
}

TEST_F(FileContent, GrowsAndIsReplacedByWrites) {
  const HANDLE file = OpenPath(u"C:\\a\\new.txt", New());
  EXPECT_TRUE(Write(file, "abcdef"));
  SetFilePointerEx(file, 2, nullptr, FILE_BEGIN);
  EXPECT_TRUE(Write(file, "XY"));
  EXPECT_EQ(Content(u"C:\\a\\new.txt"), "abXYef");
}

TEST_F(FileContent, IsZeroBetweenTheOldEndAndAWriteBeyondIt) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | GENERIC_WRITE));
  SetFilePointerEx(file, 9, nullptr, FILE_BEGIN);
  EXPECT_TRUE(Write(file, "!"));
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), std::string("content\0\0!", 10));
}

TEST_F(FileContent, IsCutOrExtendedToThePosition) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | GENERIC_WRITE));
  SetFilePointerEx(file, 3, nullptr, FILE_BEGIN);
  EXPECT_TRUE(SetEndOfFile(file));
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "con");
  SetFilePointerEx(file, 5, nullptr, FILE_BEGIN);
  EXPECT_TRUE(SetEndOfFile(file));
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), std::string("con\0\0", 5));
}

TEST_F(FileContent, IsAppendedThroughAnAppendOnlyHandle) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(FILE_APPEND_DATA));
  EXPECT_TRUE(Write(file, "!"));
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "content!");
}

TEST_F(FileContent, OfZerosTakesNoMemory) {
  PutEmptyFile(Files(), u"C:\\huge.bin", 8 * kGiB);
  const HANDLE file = OpenPath(u"C:\\huge.bin", With(GENERIC_READ | GENERIC_WRITE));
  EXPECT_EQ(FactsOf(file).nFileSizeHigh, 2U);
  SetFilePointerEx(file, static_cast<std::int64_t>(8 * kGiB) - 2, nullptr, FILE_BEGIN);
  EXPECT_EQ(ReadAll(file, 10), std::string(2, '\0'));
  const std::string zeros(1 << 20, '\0');
  SetFilePointerEx(file, 0, nullptr, FILE_BEGIN);
  EXPECT_TRUE(Write(file, zeros));
  EXPECT_EQ(NodeAt(Files(), u"C:\\huge.bin").content->size(), 0U);
  EXPECT_TRUE(Write(file, "x"));
  EXPECT_EQ(NodeAt(Files(), u"C:\\huge.bin").content->size(), zeros.size() + 1);
  EXPECT_EQ(FileSize(NodeAt(Files(), u"C:\\huge.bin")), 8 * kGiB);
}

TEST_F(FileContent, OfAFolderCannotBeReadOrWritten) {
  How folder = Folder();
  folder.access |= FILE_WRITE_DATA;
  const HANDLE handle = OpenPath(u"C:\\a", folder);
  char buffer[4] = {};
  std::uint32_t count = 0;
  EXPECT_TRUE(FailsWith(ReadFile(handle, buffer, 4, &count), ERROR_INVALID_FUNCTION));
  EXPECT_TRUE(FailsWith(WriteFile(handle, buffer, 4, &count), ERROR_INVALID_FUNCTION));
  EXPECT_TRUE(FailsWith(SetEndOfFile(handle), ERROR_INVALID_PARAMETER));
}

TEST_F(FileContent, IsReadShortWhenPlanned) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | GENERIC_WRITE));
  Fault shortRead;
  shortRead.call = "ReadFile";
  shortRead.kind = FaultKind::Short;
  shortRead.amount = 2;
  Fault shortWrite = shortRead;
  shortWrite.call = "WriteFile";
  TheProcess().faults = {shortRead, shortWrite};
  EXPECT_EQ(ReadAll(file), "co");
  EXPECT_EQ(ReadAll(file), "ntent");
  std::uint32_t written = 0;
  EXPECT_TRUE(WriteFile(file, "1234", 4, &written));
  EXPECT_EQ(written, 2U);
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "content12");
}

TEST_F(FileContent, IsUnchangedByAFailedCall) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | GENERIC_WRITE));
  Fault fault;
  fault.call = "WriteFile";
  fault.error = ERROR_DISK_FULL;
  TheProcess().faults = {fault};
  std::uint32_t written = 99;
  EXPECT_TRUE(FailsWith(WriteFile(file, "1234", 4, &written), ERROR_DISK_FULL));
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "content");
}

TEST_F(FileContent, OfACopiedMachineIsIndependent) {
  const Machine before = TheMachine();
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_WRITE));
  EXPECT_TRUE(Write(file, "CONT"));
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "CONTent");
  const auto old = ReadWholeFile(before.files, u"C:\\a\\file.txt");
  EXPECT_EQ(std::string(old->begin(), old->end()), "content");
}

TEST_F(FileSpace, IsUsedByGrowthAndFreedByCutsAndDeletion) {
  Files().volumes[0].freeBytes = 10;
  const HANDLE file = OpenPath(u"C:\\a\\new.txt", New());
  EXPECT_TRUE(Write(file, "12345678"));
  EXPECT_EQ(Files().volumes[0].freeBytes, 2U);
  SetFilePointerEx(file, 4, nullptr, FILE_BEGIN);
  EXPECT_TRUE(SetEndOfFile(file));
  EXPECT_EQ(Files().volumes[0].freeBytes, 6U);
  EXPECT_TRUE(Dispose(file));
  CloseHandle(file);
  EXPECT_EQ(Files().volumes[0].freeBytes, 10U);
}

TEST_F(FileSpace, FailsAWriteWithoutEffectWhenExhausted) {
  const HANDLE file = OpenPath(u"C:\\a\\new.txt", New());
  Files().volumes[0].freeBytes = 3;
  std::uint32_t written = 9;
  EXPECT_TRUE(FailsWith(WriteFile(file, "1234", 4, &written), ERROR_DISK_FULL));
  EXPECT_EQ(written, 0U);
  EXPECT_EQ(Content(u"C:\\a\\new.txt"), "");
  SetFilePointerEx(file, 4, nullptr, FILE_BEGIN);
  EXPECT_TRUE(FailsWith(SetEndOfFile(file), ERROR_DISK_FULL));
  EXPECT_EQ(Files().volumes[0].freeBytes, 3U);
}

TEST_F(FileFacts, AreTheNodesOwn) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  const BY_HANDLE_FILE_INFORMATION facts = FactsOf(file);
  const NodeId id = *FindNode(Files(), u"C:\\a\\file.txt");
  EXPECT_EQ(facts.dwVolumeSerialNumber, Files().volumes[0].serial);
  EXPECT_EQ(facts.nFileSizeLow, 7U);
  EXPECT_EQ(facts.nFileIndexLow, id);
  EXPECT_NE(facts.nFileIndexHigh, 0U);
  EXPECT_EQ(facts.nNumberOfLinks, 1U);
}

TEST_F(FileFacts, CountTheNamesOfAFile) {
  AddHardLink(Files(), u"C:\\a\\file.txt", u"C:\\b\\second.txt");
  const BY_HANDLE_FILE_INFORMATION first = FactsOf(OpenPath(u"C:\\a\\file.txt"));
  const BY_HANDLE_FILE_INFORMATION second = FactsOf(OpenPath(u"C:\\b\\second.txt"));
  EXPECT_EQ(first.nNumberOfLinks, 2U);
  EXPECT_EQ(first.nFileIndexLow, second.nFileIndexLow);
}

TEST_F(FileFacts, CanBeOverridden) {
  Node& node = NodeAt(Files(), u"C:\\a\\file.txt");
  node.reportedLinks = 5;
  node.reportedType = FILE_TYPE_PIPE;
  node.reportedIndex = 0x1122334455667788;
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  EXPECT_EQ(FactsOf(file).nNumberOfLinks, 5U);
  EXPECT_EQ(FactsOf(file).nFileIndexHigh, 0x11223344U);
  EXPECT_EQ(FactsOf(file).nFileIndexLow, 0x55667788U);
  EXPECT_EQ(GetFileType(file), FILE_TYPE_PIPE);
}

TEST_F(FileFacts, ReportFilesAndFoldersAsOnDisk) {
  EXPECT_EQ(GetFileType(OpenPath(u"C:\\a\\file.txt")), FILE_TYPE_DISK);
  EXPECT_EQ(GetFileType(OpenPath(u"C:\\a", Folder())), FILE_TYPE_DISK);
}

TEST_F(FileFacts, ReportAFileWithoutAttributesAsNormal) {
  NodeAt(Files(), u"C:\\a\\file.txt").attributes = 0;
  EXPECT_EQ(AttributesOf(OpenPath(u"C:\\a\\file.txt")), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(FileFacts, AcceptNewAttributesAndKeepTheTimes) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | FILE_WRITE_ATTRIBUTES));
  FILE_BASIC_INFO info = {};
  ASSERT_TRUE(GetFileInformationByHandleEx(file, FileBasicInfo, &info, sizeof info));
  EXPECT_EQ(info.LastWriteTime, FileTimes::kStartOf2026);
  info.FileAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
  info.LastWriteTime = 0;
  ASSERT_TRUE(SetFileInformationByHandle(file, FileBasicInfo, &info, sizeof info));
  EXPECT_EQ(AttributesOf(file), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  info.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  ASSERT_TRUE(SetFileInformationByHandle(file, FileBasicInfo, &info, sizeof info));
  EXPECT_EQ(AttributesOf(file), FILE_ATTRIBUTE_NORMAL);
  info.FileAttributes = 0;
  ASSERT_TRUE(SetFileInformationByHandle(file, FileBasicInfo, &info, sizeof info));
  EXPECT_EQ(AttributesOf(file), FILE_ATTRIBUTE_NORMAL) << "0 leaves them as they are";
  ASSERT_TRUE(GetFileInformationByHandleEx(file, FileBasicInfo, &info, sizeof info));
  EXPECT_EQ(info.LastWriteTime, FileTimes::kStartOf2026);
}

TEST_F(FileFacts, NeverTurnAFileIntoAFolder) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(FILE_WRITE_ATTRIBUTES));
  FILE_BASIC_INFO info = {};
  info.FileAttributes = FILE_ATTRIBUTE_DIRECTORY;
  EXPECT_TRUE(FailsWith(SetFileInformationByHandle(file, FileBasicInfo, &info, sizeof info),
                        ERROR_INVALID_PARAMETER));
}

TEST_F(FileFacts, NeedTheirWholeStructure) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | FILE_WRITE_ATTRIBUTES));
  FILE_BASIC_INFO info = {};
  EXPECT_TRUE(
      FailsWith(GetFileInformationByHandleEx(file, FileBasicInfo, &info, 39), ERROR_BAD_LENGTH));
  EXPECT_TRUE(FailsWith(GetFileInformationByHandleEx(file, FileAttributeTagInfo, &info, 7),
                        ERROR_BAD_LENGTH));
  EXPECT_TRUE(
      FailsWith(SetFileInformationByHandle(file, FileBasicInfo, &info, 39), ERROR_BAD_LENGTH));
  EXPECT_TRUE(
      FailsWith(GetFileInformationByHandleEx(file, 77, &info, 40), ERROR_INVALID_PARAMETER));
  EXPECT_TRUE(FailsWith(SetFileInformationByHandle(file, 77, &info, 40), ERROR_INVALID_PARAMETER));
}

}  // namespace
}  // namespace vorn::platform::simulated
