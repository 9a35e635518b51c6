#include "privileged_input/private_package.h"

#include "base/text.h"
#include "platform/native.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "tests/privileged_input/package_snapshot.h"
#include "tests/support/sample.h"

namespace vorn::privileged_input {
namespace {

using tests::kGuidRoot;
using tests::kSampleInf;

TEST_F(PackageSnapshotTest, CopiesTheWholeFolderOfTheInfAndNothingElse) {
  ASSERT_TRUE(Acquire()) << platform::GetLastError();
  const std::u16string copy = CopyFolder();
  EXPECT_EQ(Content(copy + u"\\vorn_audio.inf"), "the inf");
  EXPECT_EQ(Content(copy + u"\\vorn_audio.cat"), "the catalog");
  EXPECT_EQ(Content(copy + u"\\x64\\vorn_audio.sys"), "the driver");
  EXPECT_EQ(Content(copy + u"\\x64\\deep\\notes.txt"), "");
  EXPECT_EQ(sim::ListFolder(Files(), copy).size(), 3U);
  EXPECT_EQ(sim::ListFolder(Files(), copy + u"\\x64").size(), 2U);
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(PackageSnapshotTest, IsNamedByRandomDigits) {
  ASSERT_TRUE(Acquire());
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
  ASSERT_TRUE(Acquire());
  EXPECT_NE(CopyFolder(), first);
}

TEST_F(PackageSnapshotTest, WritesTheHighDigitOfEachRandomByteFirst) {
  machine.randomState = 42;
  ASSERT_TRUE(Acquire());
  const std::u16string name = CopyFolder();
  Release();
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

TEST_F(PackageSnapshotTest, ChecksEachStepBeforeItTakesTheNext) {
  sim::RemovePath(Files(), u"C:\\pkg\\driver\\x64\\deep");
  process.calls.clear();
  ASSERT_TRUE(Acquire());
  EXPECT_EQ(Steps(), (std::vector<std::string>{
                         "QueryDosDeviceW",
                         "NtCreateFile \\Device\\HarddiskVolume3\\ 0x1200A1 1",
                         "NtCreateFile pkg 0x1200A1 1",
                         "NtCreateFile driver 0x1200A1 1",
                         "NtCreateFile vorn_audio.inf 0x80120000 1",
                         "GetTempPathW",
                         "QueryDosDeviceW",
                         "NtCreateFile \\Device\\HarddiskVolume3\\ 0x1200A1 1",
                         "NtCreateFile Temp 0x1200A1 1",
                         "ConvertStringSecurityDescriptorToSecurityDescriptorW",
                         "BCryptGenRandom",
                         "NtCreateFile VORN-input 0x1300A1 2",
                         "GetSecurityInfo",
                         "NtCreateFile vorn_audio.cat 0x80120000 1",
                         "NtCreateFile vorn_audio.cat 0xC0130000 2",
                         "FlushFileBuffers",
                         "NtCreateFile vorn_audio.cat 0x80120000 1",
                         "GetSecurityInfo",
                         "NtCreateFile vorn_audio.inf 0x80120000 1",
                         "NtCreateFile vorn_audio.inf 0xC0130000 2",
                         "FlushFileBuffers",
                         "NtCreateFile vorn_audio.inf 0x80120000 1",
                         "GetSecurityInfo",
                         "NtCreateFile x64 0x1200A1 1",
                         "NtCreateFile x64 0x1300A1 2",
                         "NtCreateFile vorn_audio.sys 0x80120000 1",
                         "NtCreateFile vorn_audio.sys 0xC0130000 2",
                         "FlushFileBuffers",
                         "NtCreateFile vorn_audio.sys 0x80120000 1",
                         "GetSecurityInfo",
                     }));
}

TEST_F(PackageSnapshotTest, ReturnsTheVolumeGuidPathOfItsInf) {
  ASSERT_TRUE(Acquire());
  EXPECT_EQ(snapshot->Input().path, kGuidRoot + CopyFolder().substr(3) + u"\\vorn_audio.inf");
  EXPECT_EQ(snapshot->Input().file.Path(), snapshot->Input().path);
  EXPECT_EQ(snapshot->Input().file.Size(), 7U);
  EXPECT_FALSE(snapshot->Input().file.IsWritable());
  EXPECT_FALSE(snapshot->Input().file.IsDeletable());
}

TEST_F(PackageSnapshotTest, ReturnsItsInfWithoutAPlatformCall) {
  ASSERT_TRUE(Acquire());
  process.calls.clear();
  const InputInf inf = snapshot->Input();
  EXPECT_EQ(inf.file.Handle(), snapshot->inf.file.Handle());
  EXPECT_EQ(inf.path, inf.file.Path());
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(PackageSnapshotTest, FindsTheInfInAnyCaseAndKeepsTheNameOnDisk) {
  ASSERT_TRUE(Acquire(u"c:\\PKG\\Driver\\VORN_AUDIO.INF"));
  EXPECT_TRUE(snapshot->Input().path.ends_with(u"\\vorn_audio.inf"));
}

TEST_F(PackageSnapshotTest, AcceptsAnInfInADriveRoot) {
  sim::AddVolume(Files(), u'D', u"\\Device\\HarddiskVolume4",
                 u"89abcdef-89ab-cdef-0123-456789abcdef");
  sim::PutFile(Files(), u"D:\\vorn_audio.inf", "root inf");
  ASSERT_TRUE(Acquire(u"D:\\vorn_audio.inf")) << platform::GetLastError();
  EXPECT_EQ(Content(CopyFolder() + u"\\vorn_audio.inf"), "root inf");
}

TEST_F(PackageSnapshotTest, ProtectsItsFolderAndFiles) {
  ASSERT_TRUE(Acquire());
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

TEST_F(PackageSnapshotTest, VerifiesTheProtectionOfItsFolderAndEveryFile) {
  ASSERT_TRUE(Acquire());
  EXPECT_EQ(CallsOf("GetSecurityInfo").size(), 5U);
}

TEST_F(PackageSnapshotTest, DoesNotCopyAttributes) {
  sim::NodeAt(Files(), kSampleInf).attributes =
      platform::FILE_ATTRIBUTE_READONLY | platform::FILE_ATTRIBUTE_HIDDEN;
  ASSERT_TRUE(Acquire());
  const std::uint32_t attributes =
      sim::NodeAt(Files(), CopyFolder() + u"\\vorn_audio.inf").attributes;
  EXPECT_EQ(attributes & (platform::FILE_ATTRIBUTE_READONLY | platform::FILE_ATTRIBUTE_HIDDEN), 0U);
}

TEST_F(PackageSnapshotTest, CannotBeWrittenOrDeletedByOthersWhileItIsHeld) {
  ASSERT_TRUE(Acquire());
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

TEST_F(PackageSnapshotTest, KeepsEveryFileUnderItsRelativePath) {
  const PrivatePackage package = CreatePackage();
  ASSERT_TRUE(package);
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

TEST_F(PackageSnapshotTest, CopiesTheLastListedFolderFirst) {
  sim::PutFile(Files(), u"C:\\pkg\\driver\\aaa\\1", "");
  sim::PutFile(Files(), u"C:\\pkg\\driver\\zzz\\2", "");
  const PrivatePackage package = CreatePackage();
  ASSERT_TRUE(package);
  std::vector<std::u16string> paths;
  for (const auto& entry : package.SharedData()->files)
    paths.push_back(entry.relativePath);
  EXPECT_EQ(paths, (std::vector<std::u16string>{u"vorn_audio.cat", u"vorn_audio.inf", u"zzz\\2",
                                                u"x64\\vorn_audio.sys", u"x64\\deep\\notes.txt",
                                                u"aaa\\1"}));
}

TEST_F(PackageSnapshotTest, FindsNoInfInAnEmptyPackage) {
  const PrivatePackage none;
  EXPECT_FALSE(none.FindInfFile().file);
  EXPECT_EQ(none.FindInfFile().data, nullptr);
}

TEST_F(PackageSnapshotTest, StaysAliveWhileItsInfIsHeld) {
  PrivatePackage package = CreatePackage();
  PrivatePackage::PackageFile inf = package.FindInfFile();
  package = {};
  EXPECT_TRUE(inf.file);
  EXPECT_TRUE(Exists(CopyFolder() + u"\\vorn_audio.inf"));
  inf = {};
  ExpectNothingLeft();
}

// ------------------------------------------------------------------------------------------------
// Removal.

TEST_F(PackageSnapshotTest, LeavesNothingWhenItIsReleased) {
  const sim::FileSystem before = Files();
  ASSERT_TRUE(Acquire());
  platform::SetLastError(4711);
  Release();
  EXPECT_EQ(platform::GetLastError(), 4711U);
  ExpectNothingLeft();
  EXPECT_EQ(OpenHandles(), 0U);
  EXPECT_TRUE(Files() == before);
}

TEST_F(PackageSnapshotTest, LeavesNothingEvenIfOneOfItsFilesIsStillReferredTo) {
  ASSERT_TRUE(Acquire());
  const File kept = snapshot->Input().file;
  Release();
  EXPECT_FALSE(kept);
  ExpectNothingLeft();
}

TEST_F(PackageSnapshotTest, ReplacesAnEarlierOne) {
  ASSERT_TRUE(Acquire());
  const std::u16string first = CopyFolder();
  sim::PutFile(Files(), u"C:\\other\\other.inf", "other");
  ASSERT_TRUE(Acquire(u"C:\\other\\other.inf"));
  EXPECT_FALSE(Exists(first));
  EXPECT_EQ(Content(CopyFolder() + u"\\other.inf"), "other");
  EXPECT_FALSE(Acquire(u"C:\\missing\\x.inf"));
  ExpectNothingLeft();
  EXPECT_EQ(snapshot->Input().path, u"");
}

TEST_F(PackageSnapshotTest, IsRemovedEvenIfTheNextHasNoValidPath) {
  ASSERT_TRUE(Acquire());
  ExpectRefused(u"vorn_audio.inf", "0000007B");
}

TEST_F(PackageSnapshotTest, IsRemovedWithItsOwnRunOnly) {
  ASSERT_TRUE(Acquire());
  const std::u16string first = CopyFolder();
  {
    PackageSnapshot another;
    ASSERT_TRUE(AcquirePackageSnapshot(PathOf(kSampleInf), another));
    EXPECT_NE(another.Input().path, snapshot->Input().path);
    EXPECT_EQ(sim::ListFolder(Files(), u"C:\\Temp").size(), 2U);
  }
  EXPECT_EQ(CopyFolder(), first);
  EXPECT_TRUE(snapshot->Input().file);
}

TEST_F(PackageSnapshotTest, ReopensEachCopyForDeletion) {
  ASSERT_TRUE(Acquire());
  process.calls.clear();
  Release();
  std::vector<std::string> names;
  for (const auto& call : CallsOf("NtCreateFile")) {
    EXPECT_EQ(call.Argument("DesiredAccess"), "0x80130100");
    EXPECT_EQ(call.Argument("CreateDisposition"), "1");
    names.push_back(call.Argument("ObjectName"));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"vorn_audio.cat", "vorn_audio.inf", "vorn_audio.sys",
                                             "notes.txt"}));
}

TEST_F(PackageSnapshotTest, DeletesEachOfItsFilesAndFoldersOnce) {
  ASSERT_TRUE(Acquire());
  Release();
  EXPECT_EQ(CallsOf("SetFileInformationByHandle").size(), 4U + 3U);
}

TEST_F(PackageSnapshotTest, DeletesAnUnfinishedCopyOnce) {
  FailCall("FlushFileBuffers", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(CallsOf("SetFileInformationByHandle").size(), 2U) << "the copy and the folder";
}

TEST_F(PackageSnapshotTest, RemovesACopyThatBecameReadOnly) {
  ASSERT_TRUE(Acquire());
  sim::NodeAt(Files(), CopyFolder() + u"\\vorn_audio.inf").attributes =
      platform::FILE_ATTRIBUTE_READONLY;
  Release();
  ExpectNothingLeft();
}

TEST_F(PackageSnapshotTest, RemovesAnUnfinishedCopyThatBecameReadOnly) {
  ChangeBefore("SetEndOfFile", 1, [](sim::Machine& world) {
    const std::u16string folder = u"C:\\Temp\\" + sim::ListFolder(world.files, u"C:\\Temp").front();
    for (const std::u16string& name : sim::ListFolder(world.files, folder)) {
      sim::NodeAt(world.files, folder + u"\\" + name).attributes =
          platform::FILE_ATTRIBUTE_READONLY;
    }
  });
  FailCall("FlushFileBuffers", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(Acquire());
  ExpectNothingLeft();
}

TEST_F(PackageSnapshotTest, LeavesADifferentFileOfTheSameNameAlone) {
  ASSERT_TRUE(Acquire());
  const std::u16string copy = CopyFolder() + u"\\vorn_audio.inf";
  sim::MovePath(Files(), copy, u"C:\\elsewhere.inf");
  sim::PutFile(Files(), copy, "THE INF");  // as long as the copy was
  Release();
  EXPECT_EQ(Content(copy), "THE INF");
  EXPECT_EQ(sim::ListFolder(Files(), CopyFolder()), std::vector<std::u16string>{u"vorn_audio.inf"});
}

TEST_F(PackageSnapshotTest, LeavesACopyOfAnotherSizeAlone) {
  ASSERT_TRUE(Acquire());
  const std::u16string copy = CopyFolder() + u"\\vorn_audio.inf";
  sim::PutFile(Files(), copy, "shorter");
  sim::PutFile(Files(), copy, "short");
  Release();
  EXPECT_EQ(Content(copy), "short");
}

TEST_F(PackageSnapshotTest, LeavesACopyThatGrewAlone) {
  ASSERT_TRUE(Acquire());
  const std::u16string copy = CopyFolder() + u"\\vorn_audio.inf";
  sim::PutFile(Files(), copy, "the inf!");
  Release();
  EXPECT_EQ(Content(copy), "the inf!");
}

TEST_F(PackageSnapshotTest, LeavesFilesOfAnotherVolumeAlone) {
  ASSERT_TRUE(Acquire());
  Files().volumes[0].serial += 1;
  Release();
  EXPECT_EQ(sim::ListFolder(Files(), CopyFolder()),
            (std::vector<std::u16string>{u"vorn_audio.cat", u"vorn_audio.inf", u"x64"}));
}

TEST_F(PackageSnapshotTest, GoesOnAfterACopyThatCannotBeRemoved) {
  ASSERT_TRUE(Acquire());
  sim::HoldOpen(Files(), CopyFolder() + u"\\vorn_audio.cat", platform::FILE_READ_DATA,
                platform::FILE_SHARE_READ);
  Release();
  EXPECT_EQ(sim::ListFolder(Files(), CopyFolder()), std::vector<std::u16string>{u"vorn_audio.cat"});
  EXPECT_EQ(process.ErrorOutput(), u"");
}

}  // namespace
}  // namespace vorn::privileged_input
