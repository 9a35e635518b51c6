#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "tests/simulated/file_world.h"

#include <algorithm>
#include <vector>

namespace vorn::platform::simulated {
namespace {

struct Listed {
  std::u16string name;
  FILE_ID_BOTH_DIR_INFO record;
};

/// The records of a page, found by following their offsets.
std::vector<Listed> Walk(const std::vector<std::uint8_t>& page) {
  std::vector<Listed> records;
  std::size_t at = 0;
  while (true) {
    Listed listed;
    std::memcpy(&listed.record, page.data() + at, sizeof listed.record);
    listed.name.resize(listed.record.FileNameLength / sizeof(char16_t));
    std::memcpy(listed.name.data(), page.data() + at + sizeof listed.record,
                listed.record.FileNameLength);
    records.push_back(listed);
    if (listed.record.NextEntryOffset == 0) return records;
    at += listed.record.NextEntryOffset;
  }
}

class FileListing : public FileWorld {
 protected:
  /// The next page; empty when the call fails.
  static std::vector<Listed> Page(HANDLE folder, std::uint32_t informationClass,
                                  std::uint32_t size = 65536) {
    std::vector<std::uint8_t> page(size);
    if (!GetFileInformationByHandleEx(folder, informationClass, page.data(), size)) return {};
    return Walk(page);
  }

  static std::vector<std::u16string> Names(const std::vector<Listed>& records) {
    std::vector<std::u16string> names;
    for (const Listed& listed : records)
      names.push_back(listed.name);
    return names;
  }
};

using TextList = std::vector<std::u16string>;

TEST_F(FileListing, HasTheOrderOfTheVolumeAndEachNameOnce) {
  TextList names;
  for (char16_t letter = u'a'; letter <= u'j'; ++letter)
    names.push_back(u"name " + std::u16string(1, letter));
  for (const std::u16string& name : names)
    PutFile(Files(), u"C:\\list\\" + name, std::string_view(""));
  Files().volumes[0].scattersListings = true;
  const HANDLE folder = OpenPath(u"C:\\list", Folder());
  TextList listed = Names(Page(folder, FileIdBothDirectoryRestartInfo, 300));
  ASSERT_LT(listed.size(), names.size());
  for (TextList next; !(next = Names(Page(folder, FileIdBothDirectoryInfo, 300))).empty();)
    listed.insert(listed.end(), next.begin(), next.end());
  ASSERT_EQ(listed.size(), names.size() + 2);
  listed.erase(listed.begin(), listed.begin() + 2);
  EXPECT_FALSE(std::is_sorted(listed.begin(), listed.end()));
  EXPECT_FALSE(std::is_sorted(listed.rbegin(), listed.rend()));
  EXPECT_TRUE(std::is_permutation(listed.begin(), listed.end(), names.begin(), names.end()));
}

TEST_F(FileListing, StartsWithTheDotEntriesAndContinuesInUpperCaseOrder) {
  PutFile(Files(), u"C:\\list\\b", std::string_view(""));
  PutFile(Files(), u"C:\\list\\A", std::string_view(""));
  PutFile(Files(), u"C:\\list\\_", std::string_view(""));
  MakeFolder(Files(), u"C:\\list\\c");
  const HANDLE folder = OpenPath(u"C:\\list", Folder());
  EXPECT_EQ(Names(Page(folder, FileIdBothDirectoryRestartInfo)),
            (TextList{u".", u"..", u"A", u"b", u"c", u"_"}));
  EXPECT_TRUE(Page(folder, FileIdBothDirectoryInfo).empty());
  EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
  EXPECT_TRUE(Page(folder, FileIdBothDirectoryInfo).empty());
  EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES) << "the end stays";
}

TEST_F(FileListing, OfAnEmptyFolderHasOnlyTheDotEntries) {
  MakeFolder(Files(), u"C:\\empty");
  const HANDLE folder = OpenPath(u"C:\\empty", Folder());
  EXPECT_EQ(Names(Page(folder, FileIdBothDirectoryInfo)), (TextList{u".", u".."}));
}

TEST_F(FileListing, HasNoDotEntriesWhereTheVolumeOmitsThem) {
  PutFile(Files(), u"C:\\list\\a", std::string_view(""));
  MakeFolder(Files(), u"C:\\empty");
  Files().volumes[0].omitsDots = true;
  const HANDLE folder = OpenPath(u"C:\\list", Folder());
  EXPECT_EQ(Names(Page(folder, FileIdBothDirectoryRestartInfo)), (TextList{u"a"}));
  const HANDLE empty = OpenPath(u"C:\\empty", Folder());
  EXPECT_TRUE(Page(empty, FileIdBothDirectoryRestartInfo).empty());
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(FileListing, OfARootHasNoDotEntries) {
  const HANDLE root = OpenPath(u"C:\\", Folder());
  EXPECT_EQ(Names(Page(root, FileIdBothDirectoryRestartInfo)), (TextList{u"a", u"Windows"}));
}

TEST_F(FileListing, OfAnEmptyRootFindsNothing) {
  AddVolume(Files(), u'E', u"\\Device\\HarddiskVolume9", u"");
  const HANDLE root = Open(u"\\Device\\HarddiskVolume9\\", Folder());
  EXPECT_TRUE(Page(root, FileIdBothDirectoryRestartInfo).empty());
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(FileListing, DescribesEveryName) {
  PutFile(Files(), u"C:\\list\\a long name.txt", std::string_view("12345"));
  SetShortName(Files(), u"C:\\list\\a long name.txt", u"ALONGN~1.TXT");
  PutLink(Files(), u"C:\\list\\link", ReparseKind::Junction, u"C:\\a", true);
  const HANDLE folder = OpenPath(u"C:\\list", Folder());
  const std::vector<Listed> records = Page(folder, FileIdBothDirectoryRestartInfo);
  ASSERT_EQ(records.size(), 4U);
  EXPECT_EQ(records[0].record.FileAttributes, FILE_ATTRIBUTE_DIRECTORY);
  const FILE_ID_BOTH_DIR_INFO& file = records[2].record;
  EXPECT_EQ(file.EndOfFile, 5);
  EXPECT_EQ(file.AllocationSize, 4096);
  EXPECT_EQ(file.FileAttributes, FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(file.ShortNameLength, 24);
  EXPECT_EQ(std::u16string(file.ShortName, 12), u"ALONGN~1.TXT");
  EXPECT_EQ(static_cast<std::uint64_t>(file.FileId) & 0xFFFFFFFFFFFF,
            *FindNode(Files(), u"C:\\list\\a long name.txt"));
  EXPECT_EQ(records[3].record.FileAttributes,
            FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
  EXPECT_EQ(records[3].record.EaSize, 0xA0000003U);
}

TEST_F(FileListing, AlignsRecordsToEightInPagesOfTheRequestedSize) {
  TextList expected = {u".", u".."};
  for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
    const std::u16string name(std::size_t{1} + (letter - u'A') % 5, letter);
    PutFile(Files(), u"C:\\many\\" + name, std::string_view(""));
    expected.push_back(name);
  }
  const HANDLE folder = OpenPath(u"C:\\many", Folder());
  TextList names;
  std::vector<Listed> page = Page(folder, FileIdBothDirectoryRestartInfo, 500);
  int pages = 0;
  while (!page.empty()) {
    ++pages;
    for (const Listed& listed : page) {
      names.push_back(listed.name);
      EXPECT_EQ(listed.record.NextEntryOffset % 8, 0U);
    }
    page = Page(folder, FileIdBothDirectoryInfo, 500);
  }
  EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
  EXPECT_EQ(names, expected);
  EXPECT_EQ(pages, 7);
}

TEST_F(FileListing, FillsAPageToTheLastByte) {
  MakeFolder(Files(), u"C:\\empty");
  const HANDLE folder = OpenPath(u"C:\\empty", Folder());
  // "." takes 106 bytes, padded to 112; ".." takes 108.
  EXPECT_EQ(Page(folder, FileIdBothDirectoryRestartInfo, 220).size(), 2U);
  EXPECT_EQ(Page(folder, FileIdBothDirectoryRestartInfo, 219).size(), 1U);
}

TEST_F(FileListing, RestartsOnRequest) {
  const HANDLE folder = OpenPath(u"C:\\a", Folder());
  EXPECT_EQ(Page(folder, FileIdBothDirectoryInfo).size(), 3U);
  EXPECT_EQ(Page(folder, FileIdBothDirectoryRestartInfo).size(), 3U);
}

TEST_F(FileListing, ShowsNewEntriesThatSortAfterThePosition) {
  const HANDLE folder = OpenPath(u"C:\\a", Folder());
  EXPECT_EQ(Page(folder, FileIdBothDirectoryRestartInfo, 230).size(), 2U);
  PutFile(Files(), u"C:\\a\\zz", std::string_view(""));
  EXPECT_EQ(Names(Page(folder, FileIdBothDirectoryInfo)), (TextList{u"file.txt", u"zz"}));
}

TEST_F(FileListing, NeedsRoomForOneRecord) {
  const HANDLE folder = OpenPath(u"C:\\a", Folder());
  EXPECT_TRUE(Page(folder, FileIdBothDirectoryRestartInfo, 111).empty());
  EXPECT_EQ(GetLastError(), ERROR_BAD_LENGTH);
  EXPECT_EQ(Names(Page(folder, FileIdBothDirectoryRestartInfo, 112)), TextList{u"."});
  EXPECT_EQ(Names(Page(folder, FileIdBothDirectoryInfo, 112)), TextList{u".."});
  EXPECT_TRUE(Page(folder, FileIdBothDirectoryInfo, 112).empty());
  EXPECT_EQ(GetLastError(), ERROR_MORE_DATA);
}

TEST_F(FileListing, NeedsAFolderAndTheRightToListIt) {
  How traverse = Folder();
  traverse.access = FILE_READ_ATTRIBUTES;
  EXPECT_TRUE(Page(OpenPath(u"C:\\a", traverse), FileIdBothDirectoryRestartInfo).empty());
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(Page(OpenPath(u"C:\\a\\file.txt"), FileIdBothDirectoryRestartInfo).empty());
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(FileListing, CanBeOverriddenPageByPage) {
  std::vector<std::uint8_t> odd(200, 0xFF);
  NodeAt(Files(), u"C:\\a").reportedPages = {odd};
  const HANDLE folder = OpenPath(u"C:\\a", Folder());
  std::vector<std::uint8_t> page(300);
  ASSERT_TRUE(
      GetFileInformationByHandleEx(folder, FileIdBothDirectoryRestartInfo, page.data(), 300));
  EXPECT_EQ(page[199], 0xFF);
  EXPECT_EQ(page[200], 0);
  EXPECT_TRUE(
      FailsWith(GetFileInformationByHandleEx(folder, FileIdBothDirectoryInfo, page.data(), 300),
                ERROR_NO_MORE_FILES));
}

}  // namespace
}  // namespace vorn::platform::simulated
