// Paths and folders that are asked of the system without opening anything.

#include "platform/files.h"
#include "platform/last_error.h"
#include "tests/contract/contract.h"

namespace vorn::contract {

using namespace platform;

CONTRACT(FullPathsAreNormalised) {
  const struct {
    const char16_t* path;
    const char16_t* full;
  } rows[] = {
      {u"C:\\a\\b.txt", u"C:\\a\\b.txt"},
      {u"C:/a/b.txt", u"C:\\a\\b.txt"},
      {u"C:\\a\\.\\b", u"C:\\a\\b"},
      {u"C:\\a\\..\\b", u"C:\\b"},
      {u"C:\\..\\..\\b", u"C:\\b"},
      {u"C:\\a\\\\b", u"C:\\a\\b"},
      {u"C:\\a\\", u"C:\\a\\"},
      {u"C:\\", u"C:\\"},
      {u"C:\\a. ", u"C:\\a"},
      {u"C:\\a.b.", u"C:\\a.b"},
      {u"C:\\a \\b", u"C:\\a \\b"},
      {u"\\\\server\\share\\..\\x", u"\\\\server\\share\\x"},
      {u"\\\\?\\C:\\a\\..\\b", u"\\\\?\\C:\\b"},
      {u"\\\\.\\C:\\a", u"\\\\.\\C:\\a"},
      {u"NUL", u"\\\\.\\NUL"},
      {u"C:\\x\\nul", u"\\\\.\\nul"},
      {u"con.txt", u"\\\\.\\con"},
      {u"C:\\x\\com1", u"\\\\.\\com1"},
  };
  for (const auto& row : rows) {
    char16_t buffer[MAX_PATH] = {};
    const std::uint32_t length = GetFullPathNameW(row.path, MAX_PATH, buffer, nullptr);
    CHECK_EQ(std::u16string(buffer), row.full);
    CHECK_EQ(length, std::u16string_view(buffer).size());
  }
}

CONTRACT(RelativePathsStandOnTheCurrentFolder) {
  char16_t folder[MAX_PATH] = {};
  NEED(GetFullPathNameW(u".", MAX_PATH, folder, nullptr) != 0);
  std::u16string expected = folder;
  if (expected.back() != u'\\') expected += u'\\';
  char16_t buffer[MAX_PATH] = {};
  char16_t* filePart = nullptr;
  const std::uint32_t length = GetFullPathNameW(u"x\\file.inf", MAX_PATH, buffer, &filePart);
  CHECK_EQ(std::u16string(buffer), expected + u"x\\file.inf");
  CHECK_EQ(length, std::u16string_view(buffer).size());
  NEED(filePart != nullptr);
  CHECK_EQ(std::u16string(filePart), std::u16string(u"file.inf"));
  CHECK(GetFullPathNameW(u"\\x", MAX_PATH, buffer, nullptr) == 4);
  CHECK_EQ(std::u16string(buffer), expected.substr(0, 2) + u"\\x");
}

CONTRACT(AFullPathThatDoesNotFitTellsItsSize) {
  char16_t buffer[8] = {u'?'};
  CHECK_EQ(GetFullPathNameW(u"C:\\abcd", 7, buffer, nullptr), 8U);
  CHECK_EQ(GetFullPathNameW(u"C:\\abcd", 8, buffer, nullptr), 7U);
  CHECK_EQ(GetFullPathNameW(u"C:\\abcd", 0, nullptr, nullptr), 8U);
}

CONTRACT(AnEmptyPathHasNoFullPath) {
  char16_t buffer[MAX_PATH] = {};
  CHECK_EQ(GetFullPathNameW(u"", MAX_PATH, buffer, nullptr), 0U);
}

CONTRACT(AFolderHasNoFilePart) {
  char16_t buffer[MAX_PATH] = {};
  char16_t* filePart = buffer;
  CHECK(GetFullPathNameW(u"C:\\a\\", MAX_PATH, buffer, &filePart) != 0);
  CHECK(filePart == nullptr);
}

CONTRACT(TheTemporaryFolderEndsWithABackslash) {
  char16_t buffer[MAX_PATH + 1] = {};
  const std::uint32_t length = GetTempPathW(MAX_PATH + 1, buffer);
  NEED(length != 0 && length <= MAX_PATH);
  CHECK_EQ(length, std::u16string_view(buffer).size());
  CHECK_EQ(buffer[length - 1], u'\\');
  CHECK_EQ(GetTempPathW(2, buffer), length + 1);
  CHECK_EQ(GetTempPathW(length, buffer), length + 1);
}

CONTRACT(TheWindowsFolderEndsWithoutABackslash) {
  char16_t buffer[MAX_PATH] = {};
  const std::uint32_t length = GetWindowsDirectoryW(buffer, MAX_PATH);
  NEED(length != 0 && length < MAX_PATH);
  CHECK_EQ(length, std::u16string_view(buffer).size());
  CHECK(buffer[length - 1] != u'\\');
  CHECK_EQ(GetWindowsDirectoryW(buffer, length), length + 1);
}

CONTRACT(TheProgramsOwnPathIsCutToItsBuffer) {
  char16_t buffer[MAX_PATH] = {};
  const std::uint32_t length = GetModuleFileNameW(nullptr, buffer, MAX_PATH);
  NEED(length > 4 && length < MAX_PATH);
  CHECK_EQ(std::u16string(buffer).substr(length - 4), std::u16string(u".exe"));
  CHECK_EQ(GetModuleFileNameW(nullptr, buffer, 4), 4U);
  CHECK_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

CONTRACT(AProgramPathThatIsCutEndsInItsBuffer) {
  SkipOn(Side::Wine, "fills the whole buffer, as Windows did before Vista");
  char16_t buffer[MAX_PATH] = {};
  CHECK_EQ(GetModuleFileNameW(nullptr, buffer, 4), 4U);
  CHECK_EQ(buffer[3], u'\0');
}

CONTRACT(ADriveLetterStandsForAHardDiskVolume) {
  char16_t targets[512] = {u'?'};
  const std::uint32_t length = QueryDosDeviceW(u"C:", targets, 512);
  NEED(length > 2);
  CHECK_EQ(std::u16string(targets).substr(0, 22), std::u16string(u"\\Device\\HarddiskVolume"));
  CHECK_EQ(targets[length - 1], u'\0');
  CHECK_EQ(targets[length - 2], u'\0');
}

CONTRACT(AnUnusedDriveLetterHasNoTarget) {
  char16_t targets[512] = {};
  CHECK_EQ(QueryDosDeviceW(u"Q:", targets, 512), 0U);
  CHECK_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

CONTRACT(ATargetThatDoesNotFitIsNotGiven) {
  char16_t targets[4] = {};
  CHECK_EQ(QueryDosDeviceW(u"C:", targets, 4), 0U);
  CHECK_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

}  // namespace vorn::contract
