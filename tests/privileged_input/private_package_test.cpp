#include "privileged_input/private_package.h"

#include "base/text.h"
#include "platform/native.h"
#include "tests/privileged_input/input_test.h"

#include <algorithm>

namespace vorn::privileged_input {
namespace {

using tests::kGuidRoot;
using tests::Repeat;

constexpr char16_t kInf[] = u"C:\\pkg\\driver\\vorn_audio.inf";
constexpr char16_t kFolder[] = u"C:\\pkg\\driver\\";

class PackageSnapshot : public tests::InputTest {
 protected:
  PackageSnapshot() {
    sim::PutFile(Files(), kInf, "the inf");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\vorn_audio.cat", "the catalog");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", "the driver");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\deep\\notes.txt", "");
    sim::PutFile(Files(), u"C:\\pkg\\beside.txt", "not part of the package");
  }

  /// The folder of the only snapshot.
  std::u16string CopyFolder() {
    const auto names = sim::ListFolder(Files(), u"C:\\Temp");
    EXPECT_EQ(names.size(), 1U);
    return names.empty() ? u"" : u"C:\\Temp\\" + names[0];
  }
  std::string Content(std::u16string_view path) {
    const auto bytes = sim::ReadWholeFile(Files(), path);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "(no file)";
  }
  void ExpectNothingLeft() {
    EXPECT_EQ(sim::ListFolder(Files(), u"C:\\Temp"), std::vector<std::u16string>{});
  }
  void ExpectRefused(const std::u16string& path, std::string_view error) {
    process.console.clear();
    EXPECT_FALSE(AcquirePackageSnapshot(path)) << testing::PrintToString(path);
    EXPECT_EQ(ToUtf8(process.ErrorOutput()),
              "vorn_devnode: protected local package snapshot refused (error 0x" +
                  std::string(error) + ")\n");
    EXPECT_EQ(process.Output(), u"");
    EXPECT_EQ(OpenHandles(), 0U);
    EXPECT_EQ(SnapshotInfPath(), u"");
    if (Exists(u"C:\\Temp")) ExpectNothingLeft();
  }
  void ExpectRefused(std::string_view error) { ExpectRefused(kInf, error); }

  /// Files with numbered names in a folder.
  void PutMany(std::u16string_view folder, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      sim::PutFile(Files(), std::u16string(folder) + u"n" + ToUtf16(std::to_string(i)), "");
    }
  }
  std::u16string NestedFolder(std::size_t levels) {
    std::u16string path = kFolder;
    for (std::size_t level = 0; level < levels; ++level)
      path += u"d\\";
    return path;
  }
};

TEST_F(PackageSnapshot, CopiesTheWholeFolderOfTheInfAndNothingElse) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf)) << platform::GetLastError();
  const std::u16string copy = CopyFolder();
  EXPECT_EQ(Content(copy + u"\\vorn_audio.inf"), "the inf");
  EXPECT_EQ(Content(copy + u"\\vorn_audio.cat"), "the catalog");
  EXPECT_EQ(Content(copy + u"\\x64\\vorn_audio.sys"), "the driver");
  EXPECT_EQ(Content(copy + u"\\x64\\deep\\notes.txt"), "");
  EXPECT_EQ(sim::ListFolder(Files(), copy).size(), 3U);
  EXPECT_EQ(sim::ListFolder(Files(), copy + u"\\x64").size(), 2U);
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(PackageSnapshot, IsRefusedInATemporaryFolderThatBecomesALinkWhileItIsHeld) {
  sim::Fault becomesLink;
  becomesLink.call = "BCryptGenRandom";
  becomesLink.kind = sim::FaultKind::Change;
  becomesLink.change = [](sim::Machine& now) {
    sim::Node& temp = sim::NodeAt(now.files, u"C:\\Temp");
    temp.reparse = sim::ReparseKind::Junction;
    temp.reparseTarget = u"C:\\elsewhere";
  };
  process.faults = {becomesLink};
  ExpectRefused("00001129");
}

TEST_F(PackageSnapshot, IsNamedByRandomDigits) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const std::u16string first = CopyFolder();
  const std::u16string prefix = u"C:\\Temp\\VORN-input-";
  EXPECT_TRUE(first.starts_with(prefix));
  const std::u16string digits = first.substr(prefix.size());
  EXPECT_EQ(digits.size(), 32U);
  EXPECT_EQ(digits.find_first_not_of(u"0123456789abcdef"), std::u16string::npos);
  const auto calls = CallsOf("BCryptGenRandom");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("Algorithm"), "null");
  EXPECT_EQ(calls[0].Argument("Size"), "16");
  EXPECT_EQ(calls[0].Argument("Flags"), "0x2");
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  EXPECT_NE(CopyFolder(), first);
}

TEST_F(PackageSnapshot, WritesEachRandomByteHighDigitFirst) {
  machine.randomState = 42;
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const std::u16string name = CopyFolder();
  ReleasePackageSnapshot();
  machine.randomState = 42;
  std::uint8_t random[16] = {};
  ASSERT_GE(platform::BCryptGenRandom(nullptr, random, sizeof random,
                                      platform::BCRYPT_USE_SYSTEM_PREFERRED_RNG),
            0);
  std::u16string expected = u"C:\\Temp\\VORN-input-";
  for (const std::uint8_t byte : random) {
    expected += u"0123456789abcdef"[byte / 16];
    expected += u"0123456789abcdef"[byte % 16];
  }
  EXPECT_EQ(name, expected);
}

TEST_F(PackageSnapshot, GivesTheInfByItsGuidPath) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  EXPECT_EQ(SnapshotInfPath(), kGuidRoot + CopyFolder().substr(3) + u"\\vorn_audio.inf");
  EXPECT_EQ(SnapshotInfFile().Path(), SnapshotInfPath());
  EXPECT_EQ(SnapshotInfFile().Size(), 7U);
  EXPECT_FALSE(SnapshotInfFile().IsWritable());
  EXPECT_FALSE(SnapshotInfFile().IsDeletable());
}

TEST_F(PackageSnapshot, FindsTheInfWhateverItsCaseUnderTheFoldersName) {
  ASSERT_TRUE(AcquirePackageSnapshot(u"c:\\PKG\\Driver\\VORN_AUDIO.INF"));
  EXPECT_TRUE(SnapshotInfPath().ends_with(u"\\vorn_audio.inf"));
}

TEST_F(PackageSnapshot, TakesAnInfFromADriveRoot) {
  sim::AddVolume(Files(), u'D', u"\\Device\\HarddiskVolume4",
                 u"89abcdef-89ab-cdef-0123-456789abcdef");
  sim::PutFile(Files(), u"D:\\vorn_audio.inf", "root inf");
  ASSERT_TRUE(AcquirePackageSnapshot(u"D:\\vorn_audio.inf")) << platform::GetLastError();
  EXPECT_EQ(Content(CopyFolder() + u"\\vorn_audio.inf"), "root inf");
}

TEST_F(PackageSnapshot, GuardsItsFolderAndFiles) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  for (const char16_t* name : {u"", u"\\vorn_audio.inf", u"\\x64", u"\\x64\\vorn_audio.sys"}) {
    const sim::SecurityRecord& security = sim::NodeAt(Files(), CopyFolder() + name).security;
    EXPECT_EQ(security.owner, sim::kAdministrators);
    EXPECT_TRUE(security.daclProtected);
    ASSERT_EQ(security.entries.size(), 2U);
    EXPECT_EQ(security.entries[0].sid, sim::kLocalSystem);
    EXPECT_EQ(security.entries[1].sid, sim::kAdministrators);
  }
  const auto calls = CallsOf("ConvertStringSecurityDescriptorToSecurityDescriptorW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("StringSecurityDescriptor"),
            "O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)");
  EXPECT_EQ(calls[0].Argument("StringSDRevision"), "1");
}

TEST_F(PackageSnapshot, ChecksItsFolderAndEveryFile) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  EXPECT_EQ(CallsOf("GetSecurityInfo").size(), 5U);
}

TEST_F(PackageSnapshot, DoesNotCarryTheSourcesAttributesOver) {
  sim::NodeAt(Files(), kInf).attributes =
      platform::FILE_ATTRIBUTE_READONLY | platform::FILE_ATTRIBUTE_HIDDEN;
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const std::uint32_t attributes =
      sim::NodeAt(Files(), CopyFolder() + u"\\vorn_audio.inf").attributes;
  EXPECT_EQ(attributes & (platform::FILE_ATTRIBUTE_READONLY | platform::FILE_ATTRIBUTE_HIDDEN), 0U);
}

TEST_F(PackageSnapshot, CannotBeWrittenOrDeletedByOthersWhileItLives) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const NativeApi api = LoadNativeApi();
  const auto openAs = [&](std::u16string path, std::uint32_t access, std::uint32_t kind) {
    path = u"\\Device\\HarddiskVolume3" + path.substr(2);
    const auto bytes = static_cast<std::uint16_t>(path.size() * 2);
    const platform::UNICODE_STRING name = {bytes, bytes, path.data()};
    const platform::OBJECT_ATTRIBUTES attributes = {
        sizeof attributes, nullptr, &name, platform::OBJ_CASE_INSENSITIVE, nullptr, nullptr};
    platform::HANDLE other = nullptr;
    platform::IO_STATUS_BLOCK ioStatus = {};
    return api.ntCreateFile(
        &other, access | platform::SYNCHRONIZE, &attributes, &ioStatus, nullptr, 0,
        platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE,
        platform::FILE_OPEN, kind, nullptr, 0);
  };
  for (const char16_t* name : {u"\\vorn_audio.inf", u"\\x64\\vorn_audio.sys"}) {
    for (const std::uint32_t access : {platform::FILE_WRITE_DATA, platform::DELETE}) {
      EXPECT_EQ(openAs(CopyFolder() + name, access, platform::FILE_NON_DIRECTORY_FILE),
                platform::STATUS_SHARING_VIOLATION);
    }
  }
  EXPECT_EQ(openAs(CopyFolder() + u"\\x64", platform::DELETE, platform::FILE_DIRECTORY_FILE),
            platform::STATUS_SHARING_VIOLATION);
}

TEST_F(PackageSnapshot, KeepsEveryFileUnderItsRelativePath) {
  const PrivatePackage package = PrivatePackage::Create(kInf, {}, kPackageSddl, true);
  ASSERT_TRUE(package);
  EXPECT_EQ(package.InfName(), u"vorn_audio.inf");
  std::vector<std::u16string> paths;
  for (const auto& entry : package.SharedData()->files) {
    EXPECT_TRUE(entry.file);
    EXPECT_FALSE(entry.file.IsWritable());
    paths.push_back(entry.relativePath);
  }
  EXPECT_EQ(paths, (std::vector<std::u16string>{u"vorn_audio.cat", u"vorn_audio.inf",
                                                u"x64\\vorn_audio.sys", u"x64\\deep\\notes.txt"}));
  EXPECT_EQ(package.SharedData()->directories.size(), 3U);
}

TEST_F(PackageSnapshot, CopiesTheLastListedFolderFirst) {
  sim::PutFile(Files(), u"C:\\pkg\\driver\\aaa\\1", "");
  sim::PutFile(Files(), u"C:\\pkg\\driver\\zzz\\2", "");
  const PrivatePackage package = PrivatePackage::Create(kInf, {}, kPackageSddl, true);
  ASSERT_TRUE(package);
  std::vector<std::u16string> paths;
  for (const auto& entry : package.SharedData()->files)
    paths.push_back(entry.relativePath);
  EXPECT_EQ(paths, (std::vector<std::u16string>{u"vorn_audio.cat", u"vorn_audio.inf", u"zzz\\2",
                                                u"x64\\vorn_audio.sys", u"x64\\deep\\notes.txt",
                                                u"aaa\\1"}));
}

TEST_F(PackageSnapshot, FindsNoInfInAnEmptyPackage) {
  const PrivatePackage none;
  EXPECT_FALSE(none.FindInfFile().file);
  EXPECT_EQ(none.FindInfFile().data, nullptr);
}

TEST_F(PackageSnapshot, StaysAliveWhileItsInfIsHeld) {
  PrivatePackage package = PrivatePackage::Create(kInf, {}, kPackageSddl, true);
  PrivatePackage::PackageFile inf = package.FindInfFile();
  package = {};
  EXPECT_TRUE(inf.file);
  EXPECT_TRUE(Exists(CopyFolder() + u"\\vorn_audio.inf"));
  inf = {};
  ExpectNothingLeft();
}

// ------------------------------------------------------------------------------------------------
// Removal.

TEST_F(PackageSnapshot, LeavesNothingWhenItIsReleased) {
  const sim::FileSystem before = Files();
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  platform::SetLastError(4711);
  ReleasePackageSnapshot();
  EXPECT_EQ(platform::GetLastError(), 4711U);
  ExpectNothingLeft();
  EXPECT_EQ(OpenHandles(), 0U);
  EXPECT_EQ(SnapshotInfPath(), u"");
  EXPECT_FALSE(SnapshotInfFile());
  EXPECT_TRUE(Files() == before);
}

TEST_F(PackageSnapshot, LeavesNothingEvenIfAFileOfItIsStillReferredTo) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const File kept = SnapshotInfFile();
  ReleasePackageSnapshot();
  EXPECT_FALSE(kept);
  ExpectNothingLeft();
}

TEST_F(PackageSnapshot, ReplacesAnEarlierOne) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const std::u16string first = CopyFolder();
  sim::PutFile(Files(), u"C:\\other\\other.inf", "other");
  ASSERT_TRUE(AcquirePackageSnapshot(u"C:\\other\\other.inf"));
  EXPECT_FALSE(Exists(first));
  EXPECT_EQ(Content(CopyFolder() + u"\\other.inf"), "other");
  EXPECT_FALSE(AcquirePackageSnapshot(u"C:\\missing\\x.inf"));
  ExpectNothingLeft();
  EXPECT_EQ(SnapshotInfPath(), u"");
}

TEST_F(PackageSnapshot, ReopensEachCopyForDeletion) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  process.calls.clear();
  ReleasePackageSnapshot();
  std::vector<std::string> names;
  for (const auto& call : CallsOf("NtCreateFile")) {
    EXPECT_EQ(call.Argument("DesiredAccess"), "0x80130100");
    EXPECT_EQ(call.Argument("CreateDisposition"), "1");
    names.push_back(call.Argument("ObjectName"));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"vorn_audio.cat", "vorn_audio.inf", "vorn_audio.sys",
                                             "notes.txt"}));
}

TEST_F(PackageSnapshot, RemovesACopyThatBecameReadOnly) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  sim::NodeAt(Files(), CopyFolder() + u"\\vorn_audio.inf").attributes =
      platform::FILE_ATTRIBUTE_READONLY;
  ReleasePackageSnapshot();
  ExpectNothingLeft();
}

TEST_F(PackageSnapshot, LeavesADifferentFileOfTheSameNameAlone) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const std::u16string copy = CopyFolder() + u"\\vorn_audio.inf";
  sim::MovePath(Files(), copy, u"C:\\elsewhere.inf");
  sim::PutFile(Files(), copy, "THE INF");  // as long as the copy was
  ReleasePackageSnapshot();
  EXPECT_EQ(Content(copy), "THE INF");
  EXPECT_EQ(sim::ListFolder(Files(), CopyFolder()), std::vector<std::u16string>{u"vorn_audio.inf"});
}

TEST_F(PackageSnapshot, LeavesACopyOfAnotherSizeAlone) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const std::u16string copy = CopyFolder() + u"\\vorn_audio.inf";
  sim::PutFile(Files(), copy, "shorter");
  sim::PutFile(Files(), copy, "short");
  ReleasePackageSnapshot();
  EXPECT_EQ(Content(copy), "short");
}

TEST_F(PackageSnapshot, GoesOnAfterACopyThatCannotBeRemoved) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  sim::HoldOpen(Files(), CopyFolder() + u"\\vorn_audio.cat", platform::FILE_READ_DATA,
                platform::FILE_SHARE_READ);
  ReleasePackageSnapshot();
  EXPECT_EQ(sim::ListFolder(Files(), CopyFolder()), std::vector<std::u16string>{u"vorn_audio.cat"});
  EXPECT_EQ(process.ErrorOutput(), u"");
}

// ------------------------------------------------------------------------------------------------
// Refused input.

TEST_F(PackageSnapshot, RefusesUnsafePathsBeforeAnyCall) {
  for (const char16_t* path :
       {u"", u"vorn_audio.inf", u"driver\\vorn_audio.inf", u"C:\\", u"C:/pkg/driver/vorn_audio.inf",
        u"\\\\server\\share\\x.inf", u"\\\\?\\C:\\pkg\\driver\\vorn_audio.inf",
        u"C:\\pkg\\driver\\..\\driver\\vorn_audio.inf", u"C:\\pkg\\driver\\vorn_audio.inf:stream",
        u"C:\\pkg\\aux\\x.inf", u"C:\\pkg\\driver\\"}) {
    process.calls.clear();
    ExpectRefused(path, "0000007B");
    EXPECT_EQ(process.calls.size(), 1U) << "only the line on the console";
  }
}

TEST_F(PackageSnapshot, RefusesAMissingInfOrFolder) {
  ExpectRefused(u"C:\\pkg\\driver\\none.inf", "00000002");
  ExpectRefused(u"C:\\pkg\\none\\vorn_audio.inf", "00000002");
}

TEST_F(PackageSnapshot, RefusesAnInfThatIsAFolderOrBehindAFile) {
  sim::MakeFolder(Files(), u"C:\\pkg\\driver\\folder.inf");
  ExpectRefused(u"C:\\pkg\\driver\\folder.inf", "00000005");
  ExpectRefused(u"C:\\pkg\\beside.txt\\vorn_audio.inf", "0000010B");
}

TEST_F(PackageSnapshot, RefusesAnInfOfMoreThanFourMebibytes) {
  sim::PutEmptyFile(Files(), kInf, 4194305);
  ExpectRefused("000003EE");
  sim::PutEmptyFile(Files(), kInf, 4194304);
  EXPECT_TRUE(AcquirePackageSnapshot(kInf));
}

TEST_F(PackageSnapshot, TakesAnEmptyInf) {
  sim::PutFile(Files(), kInf, "");
  EXPECT_TRUE(AcquirePackageSnapshot(kInf));
  EXPECT_EQ(SnapshotInfFile().Size(), 0U);
}

TEST_F(PackageSnapshot, RefusesHardLinks) {
  sim::AddHardLink(Files(), kInf, u"C:\\alias.inf");
  ExpectRefused("000003EE");
  sim::RemovePath(Files(), u"C:\\alias.inf");
  sim::AddHardLink(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", u"C:\\alias.sys");
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshot, RefusesAnInfThatIsALinkOrBehindOne) {
  sim::PutLink(Files(), u"C:\\pkg\\driver\\link.inf", sim::ReparseKind::SymbolicLink, kInf, false);
  ExpectRefused(u"C:\\pkg\\driver\\link.inf", "000003EE");
  sim::PutLink(Files(), u"C:\\junction", sim::ReparseKind::Junction, u"C:\\pkg", true);
  ExpectRefused(u"C:\\junction\\driver\\vorn_audio.inf", "00001129");
}

TEST_F(PackageSnapshot, RefusesALinkAnywhereInTheFolder) {
  sim::PutLink(Files(), u"C:\\pkg\\driver\\x64\\deep\\link", sim::ReparseKind::SymbolicLink,
               u"C:\\pkg\\beside.txt", false);
  ExpectRefused("000003EE");
  sim::RemovePath(Files(), u"C:\\pkg\\driver\\x64\\deep\\link");
  sim::PutLink(Files(), u"C:\\pkg\\driver\\x64\\link", sim::ReparseKind::Junction, u"C:\\pkg",
               true);
  ExpectRefused("00001129");
}

TEST_F(PackageSnapshot, RefusesAReservedNameInTheFolder) {
  sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\aux.txt", "");
  ExpectRefused("0000007B");
}

TEST_F(PackageSnapshot, RefusesAFileThatSomebodyIsWriting) {
  sim::HoldOpen(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", platform::FILE_WRITE_DATA, 7);
  ExpectRefused("00000020");
}

TEST_F(PackageSnapshot, RefusesATemporaryFolderInsideThePackage) {
  machine.files.tempFolder = u"C:\\pkg\\driver\\x64\\";
  ExpectRefused("00000020");
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\pkg\\driver\\x64").size(), 2U);
}

TEST_F(PackageSnapshot, RefusesADriveThatIsNoLocalHardDisk) {
  Files().dosDevices[u"N:"] = u"\\Device\\Mup\\server\\share";
  ExpectRefused(u"N:\\driver\\vorn_audio.inf", "000004B0");
}

TEST_F(PackageSnapshot, NeedsTheNativeFunctions) {
  process.ntdllMissing = true;
  ExpectRefused("0000007F");
}

// ------------------------------------------------------------------------------------------------
// Limits.

TEST_F(PackageSnapshot, TakesAFolderOf4096EntriesAndNoMore) {
  process.logCalls = false;
  PutMany(u"C:\\many\\", 4095);
  sim::PutFile(Files(), u"C:\\many\\x.inf", "");
  EXPECT_TRUE(AcquirePackageSnapshot(u"C:\\many\\x.inf"));
  EXPECT_EQ(sim::ListFolder(Files(), CopyFolder()).size(), 4096U);
  ReleasePackageSnapshot();
  ExpectNothingLeft();
  sim::PutFile(Files(), u"C:\\many\\one too many", "");
  ExpectRefused(u"C:\\many\\x.inf", "000003EE");
}

TEST_F(PackageSnapshot, CountsTheEntriesOfTheWholeTree) {
  process.logCalls = false;
  PutMany(u"C:\\many\\", 2000);
  PutMany(u"C:\\many\\sub\\", 2094);
  sim::PutFile(Files(), u"C:\\many\\x.inf", "");
  EXPECT_TRUE(AcquirePackageSnapshot(u"C:\\many\\x.inf"));
  sim::PutFile(Files(), u"C:\\many\\sub\\one too many", "");
  ExpectRefused(u"C:\\many\\x.inf", "000003EE");
}

TEST_F(PackageSnapshot, TakesSixteenLevelsOfFoldersAndNoMore) {
  sim::PutFile(Files(), NestedFolder(16) + u"deepest", "deep");
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  EXPECT_EQ(Content(CopyFolder() + NestedFolder(16).substr(13) + u"deepest"), "deep");
  ReleasePackageSnapshot();
  ExpectNothingLeft();
  sim::MakeFolder(Files(), NestedFolder(17));
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshot, RefusesAFileOfMoreThanHalfAGibibyte) {
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\big", 536870913);
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshot, RefusesFilesOfMoreThanHalfAGibibyteTogether) {
  // The package holds 28 bytes besides; the big file comes last in the listing.
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", 0);
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\x64\\zz", 536870912 - 18 + 1);
  ExpectRefused("000003EE");
  EXPECT_EQ(CallsOf("ReadFile").size(), 2U);
}

TEST_F(PackageSnapshot, TakesFilesOfExactlyHalfAGibibyteTogether) {
  process.logCalls = false;
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", 0);
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\x64\\zz", 536870912 - 18);
  EXPECT_TRUE(AcquirePackageSnapshot(kInf)) << platform::GetLastError();
}

// ------------------------------------------------------------------------------------------------
// The temporary folder.

TEST_F(PackageSnapshot, AsksForTheTemporaryFolderWithAWholeBuffer) {
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  ASSERT_EQ(CallsOf("GetTempPathW").size(), 1U);
  EXPECT_EQ(CallsOf("GetTempPathW")[0].Argument("nBufferLength"), "32768");
}

TEST_F(PackageSnapshot, CutsBackslashesButNotADriveRoots) {
  for (const char16_t* base : {u"C:\\Temp\\\\\\", u"C:\\Temp"}) {
    machine.files.tempFolder = base;
    EXPECT_TRUE(AcquirePackageSnapshot(kInf)) << testing::PrintToString(base);
  }
  machine.files.tempFolder = u"C:\\";
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  EXPECT_TRUE(SnapshotInfPath().starts_with(std::u16string(kGuidRoot) + u"VORN-input-"));
}

TEST_F(PackageSnapshot, TakesAnotherBaseWhenOneIsGiven) {
  sim::MakeFolder(Files(), u"C:\\base");
  const PrivatePackage package = PrivatePackage::Create(kInf, u"C:\\base\\", kPackageSddl, true);
  EXPECT_TRUE(package);
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\base").size(), 1U);
  EXPECT_TRUE(CallsOf("GetTempPathW").empty());
}

TEST_F(PackageSnapshot, RefusesATemporaryFolderThatIsALinkOrBehindOne) {
  sim::MakeFolder(Files(), u"C:\\real\\inner");
  sim::PutLink(Files(), u"C:\\linked", sim::ReparseKind::Junction, u"C:\\real", true);
  for (const char16_t* base : {u"C:\\linked\\", u"C:\\linked\\inner\\"}) {
    machine.files.tempFolder = base;
    ExpectRefused("00001129");
  }
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\real").size(), 1U);
}

TEST_F(PackageSnapshot, RefusesATemporaryFolderOnANetworkDrive) {
  Files().dosDevices[u"N:"] = u"\\Device\\Mup\\server\\share";
  machine.files.tempFolder = u"N:\\Temp\\";
  ExpectRefused("000004B0");
  machine.files.tempFolder = u"\\\\server\\share\\Temp\\";
  ExpectRefused("0000007B");
}

TEST_F(PackageSnapshot, RefusesATemporaryFolderThatIsMissingOrUnknown) {
  machine.files.tempFolder = u"C:\\none\\";
  ExpectRefused("00000002");
  machine.files.tempFolder = u"C:\\" + Repeat(u'a', 33000) + u"\\";
  ExpectRefused("000003EE");
  machine.files.tempFolder = u"C:\\Temp\\";
  FailCall("GetTempPathW", platform::ERROR_NOT_ENOUGH_MEMORY);
  ExpectRefused("00000008");
}

TEST_F(PackageSnapshot, NeverTakesAnExistingFolder) {
  const std::uint64_t random = machine.randomState;
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  const std::u16string name = CopyFolder();
  ReleasePackageSnapshot();
  machine.randomState = random;
  sim::PutFile(Files(), name + u"\\planted", "planted");
  EXPECT_FALSE(AcquirePackageSnapshot(kInf));
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: protected local package snapshot refused (error 0x000000B7)\n");
  EXPECT_EQ(sim::ListFolder(Files(), name), std::vector<std::u16string>{u"planted"});
}

TEST_F(PackageSnapshot, MustBeProtectedIndeed) {
  const auto loosen = [](sim::Machine& changed) {
    const std::u16string name = sim::ListFolder(changed.files, u"C:\\Temp").at(0);
    sim::NodeAt(changed.files, u"C:\\Temp\\" + name).security.daclProtected = false;
  };
  ChangeBefore("GetSecurityInfo", 1, loosen);
  ExpectRefused("00000005");
  const auto loosenInf = [](sim::Machine& changed) {
    const std::u16string name = sim::ListFolder(changed.files, u"C:\\Temp").at(0);
    sim::NodeAt(changed.files, u"C:\\Temp\\" + name + u"\\vorn_audio.inf").security.owner =
        sim::kOtherUser;
  };
  ChangeBefore("GetSecurityInfo", 3, loosenInf);
  ExpectRefused("00000005");
}

TEST_F(PackageSnapshot, IsNotCheckedWhenNotAsked) {
  const PrivatePackage package =
      PrivatePackage::Create(kInf, {}, u"O:BAD:(A;OICI;FA;;;BA)(A;OICI;FA;;;WD)", false);
  EXPECT_TRUE(package);
  EXPECT_TRUE(CallsOf("GetSecurityInfo").empty());
  EXPECT_FALSE(PrivatePackage::Create(kInf, {}, u"O:BAD:(A;OICI;FA;;;BA)(A;OICI;FA;;;WD)", true));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
}

TEST_F(PackageSnapshot, ReportsAMalformedDescriptor) {
  EXPECT_FALSE(PrivatePackage::Create(kInf, {}, u"nonsense", true));
  EXPECT_NE(platform::GetLastError(), 0U);
  ExpectNothingLeft();
}

TEST_F(PackageSnapshot, ReportsAFailedRandomSourceInTheDialectOfTheRest) {
  FailCall("BCryptGenRandom", static_cast<std::uint32_t>(platform::STATUS_UNSUCCESSFUL));
  ExpectRefused("0000001F");
}

// ------------------------------------------------------------------------------------------------
// A world that changes meanwhile.

TEST_F(PackageSnapshot, CopiesAGrowingFileAsItWasWhenItWasChecked) {
  ChangeBefore("ReadFile", 2,
               [](sim::Machine& changed) { sim::PutFile(changed.files, kInf, "the inf, grown"); });
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  EXPECT_EQ(Content(CopyFolder() + u"\\vorn_audio.inf"), "the inf");
}

TEST_F(PackageSnapshot, RefusesAShrinkingFile) {
  ChangeBefore("ReadFile", 2,
               [](sim::Machine& changed) { sim::PutFile(changed.files, kInf, "short"); });
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshot, CopiesTheFileThatItCheckedWhenTheNameIsTakenOver) {
  ChangeBefore("ReadFile", 2, [](sim::Machine& changed) {
    sim::MovePath(changed.files, kInf, u"C:\\moved.inf");
    sim::PutFile(changed.files, kInf, "planted");
  });
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  EXPECT_EQ(Content(CopyFolder() + u"\\vorn_audio.inf"), "the inf");
}

TEST_F(PackageSnapshot, RefusesAnInfThatIsGoneWhenTheFolderIsListed) {
  ChangeBefore("BCryptGenRandom", 1,
               [](sim::Machine& changed) { sim::RemovePath(changed.files, kInf); });
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshot, RefusesAFolderThatBecameALink) {
  // The folder was listed as one; by the time it is opened a junction has its name.
  ChangeBefore("SetFilePointerEx", 1, [](sim::Machine& changed) {
    sim::RemovePath(changed.files, u"C:\\pkg\\driver\\x64");
    sim::PutLink(changed.files, u"C:\\pkg\\driver\\x64", sim::ReparseKind::Junction, u"C:\\pkg",
                 true);
  });
  ExpectRefused("00001129");
}

TEST_F(PackageSnapshot, RefusesACopyThatWasReplacedBeforeItWasReopened) {
  // The writable copy's flush is followed by its capture, its closing and the reopening by name.
  ChangeBefore("CloseHandle", 1, [](sim::Machine& changed) {
    const std::u16string copy =
        u"C:\\Temp\\" + sim::ListFolder(changed.files, u"C:\\Temp").at(0) + u"\\vorn_audio.cat";
    sim::RemovePath(changed.files, copy);
    sim::PutFile(changed.files, copy, "planted cat");
    sim::NodeAt(changed.files, copy).security.owner = sim::kOtherUser;
  });
  process.console.clear();
  EXPECT_FALSE(AcquirePackageSnapshot(kInf));
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: protected local package snapshot refused (error 0x00000005)\n");
}

TEST_F(PackageSnapshot, RemovesACopyThatCouldNotBeReopened) {
  // Opens before the first copy's reopening: two folder walks, the snapshot's folder, the copy.
  ASSERT_TRUE(AcquirePackageSnapshot(kInf));
  std::uint32_t reopening = 0;
  const auto opens = CallsOf("NtCreateFile");
  for (std::uint32_t i = 0; i < opens.size() && reopening == 0; ++i) {
    const bool ours = opens[i].Argument("ObjectName") == "vorn_audio.cat";
    if (ours && i > 0 && opens[i - 1].Argument("CreateDisposition") == "2") reopening = i + 1;
  }
  ASSERT_NE(reopening, 0U);
  ReleasePackageSnapshot();
  FailCall("NtCreateFile", static_cast<std::uint32_t>(platform::STATUS_INSUFFICIENT_RESOURCES),
           reopening);
  ExpectRefused("000005AA");
}

}  // namespace
}  // namespace vorn::privileged_input
