#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

using FileDeletion = FileWorld;

TEST_F(FileDeletion, HappensWhenTheHandleCloses) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | DELETE));
  EXPECT_TRUE(Dispose(file));
  EXPECT_TRUE(Exists(u"C:\\a\\file.txt"));
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_FALSE(Exists(u"C:\\a\\file.txt"));
}

TEST_F(FileDeletion, WaitsForTheLastHandleOfAnyProcess) {
  const std::uint64_t hold = HoldOpen(Files(), u"C:\\a\\file.txt", GENERIC_READ, kEverythingShared);
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(DELETE));
  EXPECT_TRUE(Dispose(file));
  CloseHandle(file);
  EXPECT_TRUE(Exists(u"C:\\a\\file.txt"));
  ReleaseHold(Files(), hold);
  EXPECT_FALSE(Exists(u"C:\\a\\file.txt"));
}

TEST_F(FileDeletion, RefusesEveryOpenWhilePending) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | DELETE));
  Dispose(file);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(FILE_READ_ATTRIBUTES)), STATUS_DELETE_PENDING);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", New()), STATUS_DELETE_PENDING);
  EXPECT_EQ(ReadAll(file), "content") << "the open handle goes on";
}

TEST_F(FileDeletion, CanBeUndone) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(DELETE));
  EXPECT_TRUE(Dispose(file));
  EXPECT_TRUE(Dispose(file, false));
  CloseHandle(file);
  EXPECT_TRUE(Exists(u"C:\\a\\file.txt"));
}

TEST_F(FileDeletion, IsRefusedForAReadOnlyFileUntilTheAttributeIsCleared) {
  NodeAt(Files(), u"C:\\a\\file.txt").attributes = FILE_ATTRIBUTE_READONLY;
  const HANDLE file =
      OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | DELETE | FILE_WRITE_ATTRIBUTES));
  EXPECT_TRUE(FailsWith(Dispose(file), ERROR_ACCESS_DENIED));
  FILE_BASIC_INFO info = {};
  info.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  ASSERT_TRUE(SetFileInformationByHandle(file, FileBasicInfo, &info, sizeof info));
  EXPECT_TRUE(Dispose(file));
  CloseHandle(file);
  EXPECT_FALSE(Exists(u"C:\\a\\file.txt"));
}

TEST_F(FileDeletion, IsRefusedForAFolderThatIsNotEmptyAndForARoot) {
  How folder = Folder();
  folder.access |= DELETE;
  const HANDLE full = OpenPath(u"C:\\a", folder);
  EXPECT_TRUE(FailsWith(Dispose(full), ERROR_DIR_NOT_EMPTY));
  const HANDLE root = OpenPath(u"C:\\", folder);
  EXPECT_TRUE(FailsWith(Dispose(root), ERROR_ACCESS_DENIED));
}

TEST_F(FileDeletion, LeavesAFolderUntilItsDeletedChildIsGone) {
  const HANDLE folder = OpenPath(u"C:\\new", NewFolder());
  const HANDLE file = Open(u"file", New(), folder);
  Dispose(file);
  EXPECT_TRUE(FailsWith(Dispose(folder), ERROR_DIR_NOT_EMPTY));
  CloseHandle(file);
  EXPECT_TRUE(Dispose(folder));
  CloseHandle(folder);
  EXPECT_FALSE(Exists(u"C:\\new"));
}

TEST_F(FileDeletion, RemovesOneNameOfAHardLinkedFile) {
  AddHardLink(Files(), u"C:\\a\\file.txt", u"C:\\second.txt");
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(DELETE));
  Dispose(file);
  EXPECT_EQ(StatusOf(u"C:\\second.txt", With(GENERIC_READ)), STATUS_SUCCESS)
      << "only the name is being deleted";
  CloseHandle(file);
  EXPECT_FALSE(Exists(u"C:\\a\\file.txt"));
  EXPECT_EQ(Content(u"C:\\second.txt"), "content");
  EXPECT_EQ(NodeAt(Files(), u"C:\\second.txt").links, 1U);
}

TEST_F(FileDeletion, RemovesALinkAndNotItsTarget) {
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\a", true);
  How folder = Folder();
  folder.access |= DELETE;
  const HANDLE link = OpenPath(u"C:\\junction", folder);
  EXPECT_TRUE(Dispose(link));
  CloseHandle(link);
  EXPECT_FALSE(Exists(u"C:\\junction"));
  EXPECT_TRUE(Exists(u"C:\\a\\file.txt"));
}

TEST_F(FileDeletion, CanBeRequestedAtTheOpen) {
  How how = New();
  how.options |= FILE_DELETE_ON_CLOSE;
  const HANDLE file = OpenPath(u"C:\\a\\passing.txt", how);
  EXPECT_TRUE(Exists(u"C:\\a\\passing.txt"));
  CloseHandle(file);
  EXPECT_FALSE(Exists(u"C:\\a\\passing.txt"));
}

TEST_F(FileDeletion, CannotBeRequestedOfANewReadOnlyFile) {
  How how = New();
  how.options |= FILE_DELETE_ON_CLOSE;
  how.attributes = FILE_ATTRIBUTE_READONLY;
  EXPECT_EQ(StatusOf(u"C:\\a\\passing.txt", how), STATUS_CANNOT_DELETE);
  EXPECT_FALSE(Exists(u"C:\\a\\passing.txt"));
}

TEST_F(FileDeletion, OfANewFileWaitsForItsOwnHandle) {
  const std::uint64_t old = HoldOpen(Files(), u"C:\\a\\file.txt", GENERIC_READ, kEverythingShared);
  RemovePath(Files(), u"C:\\a\\file.txt");
  PutFile(Files(), u"C:\\a\\file.txt", std::string_view("other"));
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(DELETE));
  EXPECT_TRUE(Dispose(file));
  ReleaseHold(Files(), old);
  EXPECT_TRUE(Exists(u"C:\\a\\file.txt"));
  CloseHandle(file);
  EXPECT_FALSE(Exists(u"C:\\a\\file.txt"));
}

TEST_F(FileDeletion, HappensWhenTheProcessDies) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(DELETE));
  Dispose(file);
  TheProcess().Kill();
  EXPECT_FALSE(Exists(u"C:\\a\\file.txt"));
}

TEST_F(FileDeletion, BySomebodyElseLeavesTheOpenFileReadable) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  const std::size_t nodes = Files().nodes.size();
  RemovePath(Files(), u"C:\\a\\file.txt");
  EXPECT_EQ(ReadAll(file), "content");
  CloseHandle(file);
  EXPECT_EQ(Files().nodes.size(), nodes - 1);
}

TEST_F(FileDeletion, SparesANewFileOfTheSameName) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(GENERIC_READ | DELETE));
  RemovePath(Files(), u"C:\\a\\file.txt");
  PutFile(Files(), u"C:\\a\\file.txt", std::string_view("other"));
  EXPECT_TRUE(Dispose(file));
  CloseHandle(file);
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "other");
}

TEST_F(FileDeletion, NeedsAKnownAndCompleteStructure) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(DELETE));
  const FILE_DISPOSITION_INFO info = {1};
  EXPECT_TRUE(
      FailsWith(SetFileInformationByHandle(file, FileDispositionInfo, &info, 0), ERROR_BAD_LENGTH));
  EXPECT_TRUE(Exists(u"C:\\a\\file.txt"));
}

}  // namespace
}  // namespace vorn::platform::simulated
