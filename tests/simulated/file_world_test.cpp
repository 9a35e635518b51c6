#include "tests/simulated/file_world.h"

#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"

#include <stdexcept>

namespace vorn::platform::simulated {
namespace {

using WorldBuilding = FileWorld;
using WorldComparison = FileWorld;

TEST_F(WorldBuilding, MakesTheFoldersOfAPath) {
  PutFile(Files(), u"C:\\x\\y\\z.txt", std::string_view("z"));
  EXPECT_EQ(ListFolder(Files(), u"C:\\x"), (std::vector<std::u16string>{u"y"}));
  EXPECT_EQ(MakeFolder(Files(), u"C:\\X\\Y"), *FindNode(Files(), u"C:\\x\\y"));
}

TEST_F(WorldBuilding, FindsByEveryFormOfAPath) {
  const auto node = FindNode(Files(), u"C:\\a\\file.txt");
  ASSERT_TRUE(node.has_value());
  EXPECT_EQ(FindNode(Files(), u"c:\\A\\FILE.TXT"), node);
  EXPECT_EQ(FindNode(Files(), u"\\\\?\\C:\\a\\file.txt"), node);
  EXPECT_EQ(FindNode(Files(), u"\\\\?\\Volume{01234567-89AB-cdef-0123-456789abcdef}\\a\\file.txt"),
            node);
  EXPECT_FALSE(FindNode(Files(), u"D:\\a\\file.txt").has_value());
  EXPECT_FALSE(FindNode(Files(), u"C:\\none\\file.txt").has_value());
}

TEST_F(WorldBuilding, ReplacesTheContentOfAnExistingFileInPlace) {
  const auto node = FindNode(Files(), u"C:\\a\\file.txt");
  PutFile(Files(), u"C:\\a\\file.txt", std::string_view("new"));
  EXPECT_EQ(FindNode(Files(), u"C:\\a\\file.txt"), node);
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "new");
  RemovePath(Files(), u"C:\\a\\file.txt");
  PutFile(Files(), u"C:\\a\\file.txt", std::string_view("other"));
  EXPECT_NE(FindNode(Files(), u"C:\\a\\file.txt"), node);
}

TEST_F(WorldBuilding, RemovesWholeTrees) {
  const std::size_t nodes = Files().nodes.size();
  PutFile(Files(), u"C:\\t\\u\\v\\w", std::string_view("w"));
  PutLink(Files(), u"C:\\t\\link", ReparseKind::Junction, u"C:\\a", true);
  RemovePath(Files(), u"C:\\t");
  EXPECT_EQ(Files().nodes.size(), nodes);
  EXPECT_TRUE(Exists(u"C:\\a\\file.txt")) << "a link's target is not below it";
  RemovePath(Files(), u"C:\\t");
}

TEST_F(WorldBuilding, MovesFilesAndFoldersOverExistingOnes) {
  PutFile(Files(), u"C:\\b\\file.txt", std::string_view("old"));
  MovePath(Files(), u"C:\\a\\file.txt", u"C:\\b\\file.txt");
  EXPECT_FALSE(Exists(u"C:\\a\\file.txt"));
  EXPECT_EQ(Content(u"C:\\b\\file.txt"), "content");
  MovePath(Files(), u"C:\\b", u"C:\\c\\d");
  EXPECT_EQ(Content(u"C:\\c\\d\\file.txt"), "content");
  MovePath(Files(), u"C:\\c\\d\\file.txt", u"C:\\c\\d\\FILE.txt");
  EXPECT_EQ(ListFolder(Files(), u"C:\\c\\d"), (std::vector<std::u16string>{u"FILE.txt"}));
}

TEST_F(WorldBuilding, RefusesImpossibleRequests) {
  EXPECT_THROW(PutFile(Files(), u"D:\\x", std::string_view("")), std::invalid_argument);
  EXPECT_THROW(PutFile(Files(), u"C:\\a", std::string_view("")), std::invalid_argument);
  EXPECT_THROW(MakeFolder(Files(), u"C:\\a\\file.txt\\x"), std::invalid_argument);
  EXPECT_THROW(MovePath(Files(), u"C:\\none", u"C:\\x"), std::invalid_argument);
  EXPECT_THROW(AddHardLink(Files(), u"C:\\a\\file.txt", u"C:\\a\\FILE.txt"), std::invalid_argument);
  EXPECT_THROW(NodeAt(Files(), u"C:\\none"), std::invalid_argument);
}

TEST_F(WorldBuilding, FollowsLinksForTheSystem) {
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\a", true);
  std::uint32_t error = 0;
  EXPECT_TRUE(ReadAsSystem(Files(), u"C:\\junction\\file.txt", nullptr).has_value());
  EXPECT_FALSE(ReadAsSystem(Files(), u"C:\\a", &error).has_value());
  EXPECT_EQ(error, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(ReadAsSystem(Files(), u"C:\\a\\none", &error).has_value());
  EXPECT_EQ(error, ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(ReadAsSystem(Files(), u"C:\\none\\x", &error).has_value());
  EXPECT_EQ(error, ERROR_PATH_NOT_FOUND);
}

TEST_F(WorldComparison, SeesNoDifferenceAfterAnUndoneChange) {
  const Machine before = TheMachine();
  const HANDLE folder = OpenPath(u"C:\\new", NewFolder());
  const HANDLE file = Open(u"file", New(), folder);
  Write(file, "text");
  EXPECT_FALSE(before.files == Files());
  Dispose(file);
  CloseHandle(file);
  Dispose(folder);
  CloseHandle(folder);
  EndProcess();
  EXPECT_TRUE(before.files == Files());
}

TEST_F(WorldComparison, SeesEveryKindOfChange) {
  const FileSystem before = Files();
  const auto changed = [&](auto change) {
    FileSystem after = before;
    change(after);
    return !(after == before);
  };
  EXPECT_FALSE(changed([](FileSystem&) {}));
  EXPECT_TRUE(changed(
      [](FileSystem& files) { PutFile(files, u"C:\\a\\file.txt", std::string_view("Content")); }));
  EXPECT_TRUE(
      changed([](FileSystem& files) { NodeAt(files, u"C:\\a").security.daclProtected = true; }));
  EXPECT_TRUE(changed(
      [](FileSystem& files) { NodeAt(files, u"C:\\a").attributes = FILE_ATTRIBUTE_HIDDEN; }));
  EXPECT_TRUE(
      changed([](FileSystem& files) { MovePath(files, u"C:\\a\\file.txt", u"C:\\a\\FILE.txt"); }));
  EXPECT_TRUE(changed([](FileSystem& files) { MakeFolder(files, u"C:\\b"); }));
  EXPECT_TRUE(
      changed([](FileSystem& files) { HoldOpen(files, u"C:\\a", FILE_LIST_DIRECTORY, 0); }));
  EXPECT_FALSE(changed([](FileSystem& files) { NodeAt(files, u"C:\\a").times.lastWrite = 1; }))
      << "times are no difference";
  EXPECT_FALSE(changed([](FileSystem& files) {
    PutFile(files, u"C:\\a\\file.txt", std::string_view("content"));
  })) << "the same content is no difference";
}

TEST_F(WorldComparison, IgnoresHowZerosAreStored) {
  FileSystem stored = Files();
  FileSystem empty = Files();
  PutFile(stored, u"C:\\z", Bytes(10, 0));
  PutEmptyFile(empty, u"C:\\z", 10);
  EXPECT_TRUE(stored == empty);
  PutEmptyFile(empty, u"C:\\z", 11);
  EXPECT_FALSE(stored == empty);
}

}  // namespace
}  // namespace vorn::platform::simulated
