#include "privileged_input/directory_records.h"

#include "platform/files.h"
#include "platform/simulated/file_values.h"
#include "tests/privileged_input/input_test.h"

#include <cstring>

namespace vorn::privileged_input {
namespace {

using Buffer = std::vector<std::uint8_t>;

constexpr std::size_t kFixedSize = 104;
constexpr std::size_t kNoLimit = 1000;

class DirectoryRecords : public tests::InputTest {
 protected:
  Buffer buffer = Buffer(kListingBufferSize);
  std::vector<DirectoryEntry> entries;

  void PutWord(std::size_t offset, std::uint32_t value) {
    std::memcpy(buffer.data() + offset, &value, sizeof value);
  }
  /// Writes a record at `offset`, its fields at their documented places.
  void PutRecord(std::size_t offset, std::uint32_t next, std::u16string_view name,
                 std::uint32_t attributes = platform::FILE_ATTRIBUTE_ARCHIVE) {
    PutWord(offset, next);
    PutWord(offset + 56, attributes);
    PutWord(offset + 60, static_cast<std::uint32_t>(name.size() * 2));
    const std::size_t room = buffer.size() - offset - kFixedSize;
    std::memcpy(buffer.data() + offset + kFixedSize, name.data(), std::min(room, name.size() * 2));
  }
  void ExpectMalformed() {
    platform::SetLastError(0);
    EXPECT_FALSE(AppendDirectoryRecords(buffer, kNoLimit, entries));
    EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  }
  std::vector<std::u16string> Names() const {
    std::vector<std::u16string> names;
    for (const DirectoryEntry& entry : entries)
      names.push_back(entry.name);
    return names;
  }
};

TEST_F(DirectoryRecords, YieldNamesAndAttributesInOrder) {
  PutRecord(0, 112, u"a", platform::FILE_ATTRIBUTE_DIRECTORY);
  PutRecord(112, 120, u"bcd.inf", platform::FILE_ATTRIBUTE_REPARSE_POINT);
  PutRecord(232, 0, u"e", 0xFFFFFFFF);
  EXPECT_TRUE(AppendDirectoryRecords(buffer, kNoLimit, entries));
  EXPECT_EQ(entries,
            (std::vector<DirectoryEntry>{{u"a", 0x10}, {u"bcd.inf", 0x400}, {u"e", 0xFFFFFFFF}}));
}

TEST_F(DirectoryRecords, LeaveOutTheFolderItselfAndItsParent) {
  PutRecord(0, 112, u".");
  PutRecord(112, 112, u"..");
  PutRecord(224, 0, u"x");
  EXPECT_TRUE(AppendDirectoryRecords(buffer, 1, entries));
  EXPECT_EQ(Names(), std::vector<std::u16string>{u"x"});
}

TEST_F(DirectoryRecords, StartNoLaterThanAWholeRecordBeforeTheEnd) {
  PutRecord(0, 65424, u"first");
  PutRecord(65424, 0, u"last");
  EXPECT_TRUE(AppendDirectoryRecords(buffer, kNoLimit, entries));
  EXPECT_EQ(Names(), (std::vector<std::u16string>{u"first", u"last"}));

  entries.clear();
  PutRecord(0, 65425, u"first");
  PutRecord(65425, 0, u"end");  // 6 bytes, and 7 are left
  ExpectMalformed();

  entries.clear();
  PutRecord(0, 65430, u"first");
  PutRecord(65430, 0, u"e");  // 2 bytes, and 2 are left
  ExpectMalformed();
}

TEST_F(DirectoryRecords, HaveNamesOfWholeCodeUnits) {
  PutRecord(0, 0, u"abc");
  PutWord(60, 5);
  ExpectMalformed();
}

TEST_F(DirectoryRecords, KeepTheirNamesInsideTheBuffer) {
  PutRecord(0, 65424, u"first");
  PutRecord(65424, 0, u"abcd");  // 8 bytes, up to the buffer's very end
  EXPECT_TRUE(AppendDirectoryRecords(buffer, kNoLimit, entries));
  for (const std::uint32_t length : {10U, 0x7FFFFFFEU, 0xFFFFFFFEU}) {
    PutWord(65424 + 60, length);
    ExpectMalformed();
  }
}

TEST_F(DirectoryRecords, KeepTheirNamesInsideTheBufferAtAnOddOffset) {
  PutRecord(0, 65423, u"first");
  PutRecord(65423, 0, u"abcd");  // 8 bytes, and 9 are left
  EXPECT_TRUE(AppendDirectoryRecords(buffer, kNoLimit, entries));
  PutWord(65423 + 60, 10);
  ExpectMalformed();
}

TEST_F(DirectoryRecords, PointBeyondTheirFixedPartOrNowhere) {
  for (const std::uint32_t next : {1U, 8U, 103U}) {
    PutRecord(0, next, u"a");
    ExpectMalformed();
  }
  // The first record's name is also the offset field of the second.
  PutRecord(0, 104, u"?");
  PutRecord(104, 0x161, u"b");
  PutRecord(104 + 0x161, 0, u"c");
  entries.clear();
  EXPECT_TRUE(AppendDirectoryRecords(buffer, kNoLimit, entries));
  EXPECT_EQ(Names(), (std::vector<std::u16string>{u"\u0161", u"b", u"c"}));
}

TEST_F(DirectoryRecords, DoNotPointBeyondTheBuffer) {
  for (const std::uint32_t next : {65537U, 0x80000000U, 0xFFFFFFFFU}) {
    PutRecord(0, next, u"a");
    ExpectMalformed();
  }
  EXPECT_TRUE(entries.empty()) << "nothing of a malformed record is taken";
  PutRecord(0, 65536, u"a");
  ExpectMalformed();
  PutRecord(0, 1000, u"a");
  for (const std::uint32_t next : {64536U, 64537U, 0xFFFFFC18U}) {
    PutRecord(1000, next, u"b");
    ExpectMalformed();
  }
}

TEST_F(DirectoryRecords, MayStartAtOddOffsets) {
  PutRecord(0, 107, u"a");
  PutRecord(107, 0, u"b");
  EXPECT_TRUE(AppendDirectoryRecords(buffer, kNoLimit, entries));
  EXPECT_EQ(Names(), (std::vector<std::u16string>{u"a", u"b"}));
}

TEST_F(DirectoryRecords, AreRefusedForAnUnsafeName) {
  for (const char16_t* name : {u"", u"aux", u"a:b", u"trailing.", u"...", u"a\\b", u"a/b"}) {
    PutRecord(0, 0, name);
    platform::SetLastError(0);
    EXPECT_FALSE(AppendDirectoryRecords(buffer, kNoLimit, entries)) << testing::PrintToString(name);
    EXPECT_LAST_ERROR(ERROR_INVALID_NAME) << testing::PrintToString(name);
  }
}

TEST_F(DirectoryRecords, AreLeftOutOrRefusedForTheirNamesAlsoInAFullList) {
  PutRecord(0, 112, u"a");
  PutRecord(112, 112, u".");
  PutRecord(224, 0, u"..");
  EXPECT_TRUE(AppendDirectoryRecords(buffer, 1, entries));
  PutRecord(224, 0, u"b:c");
  EXPECT_FALSE(AppendDirectoryRecords(buffer, 2, entries));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

TEST_F(DirectoryRecords, AreRefusedBeyondTheLimitOfTheList) {
  PutRecord(0, 112, u"a");
  PutRecord(112, 0, u"b");
  EXPECT_TRUE(AppendDirectoryRecords(buffer, 2, entries));
  EXPECT_EQ(entries.size(), 2U);
  platform::SetLastError(0);
  EXPECT_FALSE(AppendDirectoryRecords(buffer, 3, entries));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  EXPECT_EQ(entries.size(), 3U);
}

TEST_F(DirectoryRecords, AreRefusedInABufferTooSmallForOne) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{4}, kFixedSize - 1}) {
    EXPECT_FALSE(AppendDirectoryRecords(Buffer(size), kNoLimit, entries));
    EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  }
}

TEST_F(DirectoryRecords, AreReadFromABufferThatJustHoldsOneWithoutAName) {
  EXPECT_FALSE(AppendDirectoryRecords(Buffer(kFixedSize), kNoLimit, entries));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME) << "an entry must have a name";
}

TEST_F(DirectoryRecords, NeverLeadOutsideTheBuffer) {
  // A generator of the test's own, so that a failing seed can be reported.
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    std::uint32_t state = seed;
    const auto draw = [&state] {
      state = state * 1664525 + 1013904223;
      return state >> 8;
    };
    Buffer bytes(kListingBufferSize);
    for (int words = 0; words < 200; ++words) {
      const std::uint32_t value = draw() % 3 == 0 ? draw() : draw() % 300;
      const std::size_t offset = draw() % (bytes.size() - 4);
      std::memcpy(bytes.data() + offset, &value, sizeof value);
      const std::uint32_t start = draw() % 400;
      std::memcpy(bytes.data() + 4 * (draw() % 40), &start, sizeof start);
    }
    std::vector<DirectoryEntry> found;
    if (AppendDirectoryRecords(bytes, kNoLimit, found)) continue;
    EXPECT_TRUE(platform::GetLastError() == platform::ERROR_FILE_INVALID ||
                platform::GetLastError() == platform::ERROR_INVALID_NAME)
        << "seed " << seed;
  }
}

}  // namespace
}  // namespace vorn::privileged_input
