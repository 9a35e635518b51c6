#include "platform/simulated/dos_paths.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/modules.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

using namespace std::string_literals;

class FilePaths : public FileWorld {
 protected:
  static std::u16string FinalPath(HANDLE file, std::uint32_t flags) {
    char16_t buffer[512] = {};
    const std::uint32_t length = GetFinalPathNameByHandleW(file, buffer, 512, flags);
    return {buffer, length};
  }
};

using VolumeNames = FileWorld;
using FullPaths = FileWorld;
using FolderPaths = FileWorld;
using FolderCreation = FileWorld;

TEST_F(FilePaths, UseAVolumeGuidThatIs49CharactersLongForARoot) {
  const std::u16string root = FinalPath(OpenPath(u"C:\\", Folder()), VOLUME_NAME_GUID);
  EXPECT_EQ(root, u"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\");
  EXPECT_EQ(root.size(), 49U);
}

TEST_F(FilePaths, OfASecondNameStaysWhenTheFirstIsMoved) {
  AddHardLink(Files(), u"C:\\a\\file.txt", u"C:\\a\\second.txt");
  const HANDLE second = OpenPath(u"C:\\a\\second.txt");
  const std::u16string before = FinalPath(second, VOLUME_NAME_GUID);
  MovePath(Files(), u"C:\\a\\file.txt", u"C:\\moved.txt");
  EXPECT_EQ(FinalPath(second, VOLUME_NAME_GUID), before);
}

TEST_F(FilePaths, KeepTheNamesAsTheyAreListed) {
  const HANDLE file = OpenPath(u"C:\\A\\FILE.TXT");
  EXPECT_EQ(FinalPath(file, VOLUME_NAME_GUID),
            u"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\a\\file.txt");
  EXPECT_EQ(FinalPath(file, 0), u"\\\\?\\C:\\a\\file.txt");
  EXPECT_EQ(FinalPath(file, VOLUME_NAME_NT), u"\\Device\\HarddiskVolume3\\a\\file.txt");
  EXPECT_EQ(FinalPath(file, VOLUME_NAME_NONE), u"\\a\\file.txt");
}

TEST_F(FilePaths, FollowAMove) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  MovePath(Files(), u"C:\\a\\file.txt", u"C:\\b\\moved.txt");
  MovePath(Files(), u"C:\\b", u"C:\\c");
  EXPECT_EQ(FinalPath(file, 0), u"\\\\?\\C:\\c\\moved.txt");
}

TEST_F(FilePaths, ReportTheRequiredSize) {
  const HANDLE root = OpenPath(u"C:\\", Folder());
  char16_t buffer[64] = {u'x'};
  EXPECT_EQ(GetFinalPathNameByHandleW(root, buffer, 49, VOLUME_NAME_GUID), 50U);
  EXPECT_EQ(buffer[0], u'x');
  EXPECT_EQ(GetFinalPathNameByHandleW(root, buffer, 50, VOLUME_NAME_GUID), 49U);
}

TEST_F(FilePaths, AreMissingForAVolumeWithoutAGuid) {
  Files().volumes[0].guid.clear();
  const HANDLE root = OpenPath(u"C:\\", Folder());
  EXPECT_EQ(FinalPath(root, VOLUME_NAME_GUID), u"");
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(FilePaths, CanBeOverridden) {
  Files().volumes[0].reportedRoot = u"\\\\?\\GLOBALROOT\\Device\\X\\";
  EXPECT_EQ(FinalPath(OpenPath(u"C:\\a", Folder()), VOLUME_NAME_GUID),
            u"\\\\?\\GLOBALROOT\\Device\\X\\a");
}

TEST_F(FilePaths, AreLostWithTheName) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  RemovePath(Files(), u"C:\\a\\file.txt");
  EXPECT_EQ(FinalPath(file, VOLUME_NAME_GUID), u"");
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(VolumeNames, AreListsOfTargets) {
  TheProcess();
  char16_t buffer[64] = {};
  EXPECT_EQ(QueryDosDeviceW(u"c:", buffer, 64), 25U);
  EXPECT_EQ(std::u16string(buffer, 25), u"\\Device\\HarddiskVolume3\0\0"s);
  Files().dosDevices[u"C:"] = u"\\Device\\New\0\\Device\\Old"s;
  EXPECT_EQ(QueryDosDeviceW(u"C:", buffer, 64), 25U);
  EXPECT_EQ(std::u16string(buffer, 25), u"\\Device\\New\0\\Device\\Old\0\0"s);
}

TEST_F(VolumeNames, OfAnUnknownLetterOrASmallBufferFail) {
  TheProcess();
  char16_t buffer[64] = {u'x'};
  EXPECT_TRUE(FailsWith(QueryDosDeviceW(u"D:", buffer, 64) != 0, ERROR_FILE_NOT_FOUND));
  EXPECT_TRUE(FailsWith(QueryDosDeviceW(u"C:", buffer, 24) != 0, ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(buffer[0], u'x');
  EXPECT_EQ(QueryDosDeviceW(u"C:", buffer, 25), 25U);
}

TEST_F(VolumeNames, AreAllListedWithoutAName) {
  TheProcess();
  AddVolume(Files(), u'D', u"\\Device\\HarddiskVolume4", u"");
  char16_t buffer[64] = {};
  EXPECT_EQ(QueryDosDeviceW(nullptr, buffer, 64), 7U);
  EXPECT_EQ(std::u16string(buffer, 7), u"C:\0D:\0\0"s);
}

struct FullPathCase {
  const char16_t* path;
  const char16_t* full;
};

TEST_F(FullPaths, FollowTheRulesOfDosPaths) {
  Files().currentFolder = u"C:\\cur\\dir";
  const FullPathCase cases[] = {
      {u"C:\\a\\b", u"C:\\a\\b"},
      {u"C:/a/b", u"C:\\a\\b"},
      {u"C:\\a\\\\b", u"C:\\a\\b"},
      {u"C:\\a\\.\\b\\..\\c", u"C:\\a\\c"},
      {u"C:\\..\\..\\x", u"C:\\x"},
      {u"C:\\", u"C:\\"},
      {u"C:\\a\\", u"C:\\a\\"},
      {u"C:\\a\\..", u"C:\\"},
      {u"C:\\a. ", u"C:\\a"},
      {u"C:\\a...", u"C:\\a"},
      {u"C:\\a.\\b", u"C:\\a\\b"},
      {u"C:\\a..\\b", u"C:\\a..\\b"},
      {u"c:\\X", u"c:\\X"},
      {u"x.inf", u"C:\\cur\\dir\\x.inf"},
      {u".\\x.inf", u"C:\\cur\\dir\\x.inf"},
      {u"..\\x.inf", u"C:\\cur\\x.inf"},
      {u"..\\..\\..\\x.inf", u"C:\\x.inf"},
      {u"\\x.inf", u"C:\\x.inf"},
      {u"C:x.inf", u"C:\\cur\\dir\\x.inf"},
      {u"C:", u"C:\\cur\\dir"},
      {u"D:x.inf", u"D:\\x.inf"},
      {u"D:", u"D:\\"},
      {u".", u"C:\\cur\\dir"},
      {u"nul", u"\\\\.\\nul"},
      {u"C:\\a\\COM1.txt", u"\\\\.\\COM1"},
      {u"C:\\a\\COM0", u"C:\\a\\COM0"},
      {u"\\\\server\\share\\a\\..\\b", u"\\\\server\\share\\b"},
      {u"\\\\server\\share\\..\\..\\b", u"\\\\server\\share\\b"},
      {u"//server/share/x", u"\\\\server\\share\\x"},
      {u"\\\\?\\C:\\a\\..\\b", u"\\\\?\\C:\\b"},
      {u"\\\\.\\VornAudio", u"\\\\.\\VornAudio"},
  };
  for (const FullPathCase& row : cases)
    EXPECT_EQ(FullPath(Files(), row.path), row.full) << ::testing::PrintToString(row.path);
}

TEST_F(FullPaths, ReportTheirLastNameAndTheRequiredSize) {
  TheProcess();
  char16_t buffer[32] = {u'x'};
  char16_t* part = nullptr;
  EXPECT_EQ(GetFullPathNameW(u"C:\\a\\x.inf", 10, buffer, &part), 11U);
  EXPECT_EQ(buffer[0], u'x');
  EXPECT_EQ(GetFullPathNameW(u"C:\\a\\x.inf", 11, buffer, &part), 10U);
  EXPECT_EQ(part, buffer + 5);
  EXPECT_EQ(GetFullPathNameW(u"C:\\a\\", 32, buffer, &part), 5U);
  EXPECT_EQ(part, nullptr);
  EXPECT_TRUE(FailsWith(GetFullPathNameW(u"", 32, buffer, nullptr) != 0, ERROR_INVALID_NAME));
}

TEST_F(FolderPaths, AreTheMachines) {
  TheProcess();
  char16_t buffer[128] = {};
  EXPECT_EQ(GetTempPathW(128, buffer), Files().tempFolder.size());
  EXPECT_EQ(std::u16string(buffer), Files().tempFolder);
  EXPECT_EQ(GetTempPathW(5, buffer), Files().tempFolder.size() + 1);
  EXPECT_EQ(GetWindowsDirectoryW(buffer, 128), 10U);
  EXPECT_EQ(std::u16string(buffer), u"C:\\Windows");
  EXPECT_EQ(GetWindowsDirectoryW(buffer, 10), 11U);
}

TEST_F(FolderPaths, OfTheProgramAreCutToTheBuffer) {
  TheProcess();
  Files().modulePath = u"C:\\p\\x.exe";
  char16_t buffer[32] = {};
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, 32), 10U);
  EXPECT_EQ(std::u16string(buffer), u"C:\\p\\x.exe");
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, 10), 10U);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::u16string(buffer), u"C:\\p\\x.ex");
  EXPECT_EQ(GetModuleFileNameW(NtdllModule(), buffer, 32), 29U);
  EXPECT_TRUE(
      FailsWith(GetModuleFileNameW(reinterpret_cast<HMODULE>(std::uintptr_t{8}), buffer, 32) != 0,
                ERROR_MOD_NOT_FOUND));
}

TEST_F(FolderCreation, InheritsAndCountsNoHandle) {
  TheProcess();
  EXPECT_TRUE(CreateDirectoryW(u"C:\\a\\logs"));
  EXPECT_EQ(NodeAt(Files(), u"C:\\a\\logs").security,
            InheritFrom(NodeAt(Files(), u"C:\\a").security, true, kAdministrators));
  EXPECT_TRUE(TheProcess().OpenObjects().empty());
}

struct FolderCase {
  const char16_t* path;
  std::uint32_t error;
};

TEST_F(FolderCreation, FailsWithTheCodeOfEachReason) {
  TheProcess();
  PutLink(Files(), u"C:\\dangling", ReparseKind::Junction, u"C:\\none", true);
  const std::u16string tooLong = u"C:\\" + std::u16string(245, u'x');
  const FolderCase cases[] = {
      {u"C:\\a", ERROR_ALREADY_EXISTS},
      {u"C:\\a\\file.txt", ERROR_ALREADY_EXISTS},
      {u"C:\\none\\x", ERROR_PATH_NOT_FOUND},
      {u"C:\\a\\file.txt\\x", ERROR_PATH_NOT_FOUND},
      {u"", ERROR_PATH_NOT_FOUND},
      {u"C:\\", ERROR_ACCESS_DENIED},
      {u"C:\\a*", ERROR_INVALID_NAME},
      {u"C:\\dangling", ERROR_ALREADY_EXISTS},
      {u"D:\\x", ERROR_PATH_NOT_FOUND},
      {tooLong.c_str(), ERROR_FILENAME_EXCED_RANGE},
  };
  for (const FolderCase& row : cases)
    EXPECT_TRUE(FailsWith(CreateDirectoryW(row.path), row.error))
        << ::testing::PrintToString(std::u16string(row.path));
}

TEST_F(FolderCreation, FollowsLinksAboveTheNewFolder) {
  TheProcess();
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\a", true);
  EXPECT_TRUE(CreateDirectoryW(u"C:\\junction\\made"));
  EXPECT_TRUE(Exists(u"C:\\a\\made"));
}

TEST_F(FolderCreation, AcceptsAVolumeGuidPath) {
  TheProcess();
  EXPECT_TRUE(CreateDirectoryW(u"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\a\\made"));
  EXPECT_TRUE(Exists(u"C:\\a\\made"));
}

TEST_F(FilePaths, GrowBetweenTwoCallsWhereTheFaultPlanSaysSo) {
  const auto expectLonger = [this](const char* call, const auto& length) {
    SCOPED_TRACE(call);
    Fault longer;
    longer.call = call;
    longer.first = longer.last = 2;
    longer.kind = FaultKind::Long;
    longer.amount = 20;
    TheProcess().faults = {longer};
    TheProcess().callCounts.clear();
    const std::uint32_t first = length();
    EXPECT_EQ(length(), first + 10);
  };
  char16_t buffer[256];
  expectLonger("GetTempPathW", [&] { return GetTempPathW(256, buffer); });
  expectLonger("GetWindowsDirectoryW", [&] { return GetWindowsDirectoryW(buffer, 256); });
  expectLonger("GetModuleFileNameW", [&] { return GetModuleFileNameW(nullptr, buffer, 256); });
  expectLonger("GetFullPathNameW",
               [&] { return GetFullPathNameW(u"C:\\a", 256, buffer, nullptr); });
  expectLonger("GetFullPathNameW", [&] { return GetFullPathNameW(u"C:\\a", 0, nullptr, nullptr); });
  const HANDLE folder = OpenPath(u"C:\\a", Folder());
  expectLonger("GetFinalPathNameByHandleW",
               [&] { return GetFinalPathNameByHandleW(folder, buffer, 256, VOLUME_NAME_GUID); });
}

}  // namespace
}  // namespace vorn::platform::simulated
