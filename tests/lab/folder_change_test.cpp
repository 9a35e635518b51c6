#include "lab/folder_change.h"

#include "lab/bad_input.h"
#include "tests/lab/temporary_folder.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;

StoredItem FileOf(std::string_view text, std::uint64_t zeroTail = 0) {
  StoredItem item;
  item.content = std::make_shared<platform::simulated::Bytes>(text.begin(), text.end());
  item.zeroTail = zeroTail;
  return item;
}

TEST(FolderChange, MakesEveryKindOfChange) {
  TemporaryFolder root;
  WriteHostFile(root / "old.txt", "old");
  WriteHostFile(root / "gone.txt", "gone");
  fs::create_directories(root / "gone folder/with/more");
  fs::create_directories(root / "becomes file/x");
  WriteHostFile(root / "becomes folder", "x");

  FolderChange change(root / "");
  change.Remove("gone.txt");
  change.Remove("gone folder");
  change.MakeFolder("becomes folder");
  change.MakeFolder("new folder");
  change.PutFile("old.txt", FileOf("new"));
  change.PutFile("new folder/file", FileOf("inside"));
  change.PutFile("becomes file", FileOf("a file"));
  change.PutFile("large", FileOf("head", 1000));
  change.Commit();

  EXPECT_EQ(ReadHostFile(root / "old.txt"), "new");
  EXPECT_FALSE(fs::exists(root / "gone.txt"));
  EXPECT_FALSE(fs::exists(root / "gone folder"));
  EXPECT_TRUE(fs::is_directory(root / "becomes folder"));
  EXPECT_EQ(ReadHostFile(root / "new folder/file"), "inside");
  EXPECT_EQ(ReadHostFile(root / "becomes file"), "a file");
  EXPECT_EQ(fs::file_size(root / "large"), 1004U);
  EXPECT_EQ(std::distance(fs::directory_iterator(root / ""), fs::directory_iterator()), 5);
}

TEST(FolderChange, DropsWhatWasOnlyStaged) {
  TemporaryFolder root;
  WriteHostFile(root / "file", "old");
  fs::create_directory(root / ".lab-staged");
  WriteHostFile(root / ".lab-staged/0", "never meant");
  FinishFolderChange(root / "");
  EXPECT_EQ(ReadHostFile(root / "file"), "old");
  FolderChange change(root / "");
  change.PutFile("file", FileOf("new"));
  change.Commit();
  EXPECT_EQ(ReadHostFile(root / "file"), "new");
  EXPECT_FALSE(fs::exists(root / ".lab-staged"));
}

TEST(FolderChange, IsFinishedAfterACrashAtAnyPoint) {
  // A commit whose process died leaves the list and the files that were not moved yet.
  for (int moved = 0; moved <= 2; ++moved) {
    SCOPED_TRACE(moved);
    TemporaryFolder root;
    WriteHostFile(root / "first", moved >= 1 ? "new first" : "old first");
    WriteHostFile(root / "second", moved >= 2 ? "new second" : "old second");
    WriteHostFile(root / "gone", "x");
    fs::create_directory(root / ".lab-committed");
    WriteHostFile(root / ".lab-committed/changes.json",
                  R"({"remove": ["gone"], "folders": ["folder"],
                      "put": [{"path": "first", "staged": "0"},
                              {"path": "second", "staged": "1"}]})");
    if (moved < 1) WriteHostFile(root / ".lab-committed/0", "new first");
    if (moved < 2) WriteHostFile(root / ".lab-committed/1", "new second");
    FinishFolderChange(root / "");
    FinishFolderChange(root / "");  // again, which changes nothing
    EXPECT_EQ(ReadHostFile(root / "first"), "new first");
    EXPECT_EQ(ReadHostFile(root / "second"), "new second");
    EXPECT_FALSE(fs::exists(root / "gone"));
    EXPECT_TRUE(fs::is_directory(root / "folder"));
    EXPECT_FALSE(fs::exists(root / ".lab-committed"));
  }
}

TEST(FolderChange, ChangesNothingWhenAPathIsTooLong) {
  TemporaryFolder root;
  WriteHostFile(root / "file", "old");
  FolderChange change(root / "");
  change.PutFile("file", FileOf("new"));
  change.PutFile(std::string(5000, 'x'), FileOf("x"));
  EXPECT_THROW(change.Commit(), BadInput);
  FinishFolderChange(root / "");
  EXPECT_EQ(ReadHostFile(root / "file"), "old");
}

}  // namespace
}  // namespace vorn::lab
