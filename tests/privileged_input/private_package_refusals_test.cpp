// Packages of which no snapshot is taken, and the limits of a snapshot.

#include "tests/privileged_input/package_snapshot.h"
#include "tests/support/sample.h"

namespace vorn::privileged_input {
namespace {

using tests::kSampleInf;

TEST_F(PackageSnapshotTest, RefusesUnsafePathsBeforeAnyCall) {
  for (const char16_t* path :
       {u"", u"vorn_audio.inf", u"driver\\vorn_audio.inf", u"C:\\", u"C:/pkg/driver/vorn_audio.inf",
        u"\\\\server\\share\\x.inf", u"\\\\?\\C:\\pkg\\driver\\vorn_audio.inf",
        u"C:\\pkg\\driver\\..\\driver\\vorn_audio.inf", u"C:\\pkg\\driver\\vorn_audio.inf:stream",
        u"C:\\pkg\\aux\\x.inf", u"C:\\pkg\\driver\\"}) {
    process.calls.clear();
    ExpectRefused(path, "0000007B");
    EXPECT_EQ(process.calls.size(), 2U) << "only the line on the console";
  }
}

TEST_F(PackageSnapshotTest, RefusesAMissingInfOrFolder) {
  ExpectRefused(u"C:\\pkg\\driver\\none.inf", "00000002");
  ExpectRefused(u"C:\\pkg\\none\\vorn_audio.inf", "00000002");
}

TEST_F(PackageSnapshotTest, RefusesAnInfThatIsAFolderOrBehindAFile) {
  sim::MakeFolder(Files(), u"C:\\pkg\\driver\\folder.inf");
  ExpectRefused(u"C:\\pkg\\driver\\folder.inf", "00000005");
  ExpectRefused(u"C:\\pkg\\beside.txt\\vorn_audio.inf", "0000010B");
}

TEST_F(PackageSnapshotTest, RefusesAnInfOfMoreThanFourMebibytes) {
  sim::PutEmptyFile(Files(), kSampleInf, 4194305);
  ExpectRefused("000003EE");
  sim::PutEmptyFile(Files(), kSampleInf, 4194304);
  EXPECT_TRUE(Acquire());
}

TEST_F(PackageSnapshotTest, AcceptsAnEmptyInf) {
  sim::PutFile(Files(), kSampleInf, "");
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(snapshot->Input().file.Size(), 0U);
}

TEST_F(PackageSnapshotTest, RefusesHardLinks) {
  sim::AddHardLink(Files(), kSampleInf, u"C:\\alias.inf");
  ExpectRefused("000003EE");
  sim::RemovePath(Files(), u"C:\\alias.inf");
  sim::AddHardLink(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", u"C:\\alias.sys");
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshotTest, RefusesAnInfThatIsALinkOrBehindOne) {
  sim::PutLink(Files(), u"C:\\pkg\\driver\\link.inf", sim::ReparseKind::SymbolicLink, kSampleInf,
               false);
  ExpectRefused(u"C:\\pkg\\driver\\link.inf", "000003EE");
  sim::PutLink(Files(), u"C:\\junction", sim::ReparseKind::Junction, u"C:\\pkg", true);
  ExpectRefused(u"C:\\junction\\driver\\vorn_audio.inf", "00001129");
}

TEST_F(PackageSnapshotTest, RefusesALinkAnywhereInTheFolder) {
  sim::PutLink(Files(), u"C:\\pkg\\driver\\x64\\deep\\link", sim::ReparseKind::SymbolicLink,
               u"C:\\pkg\\beside.txt", false);
  ExpectRefused("000003EE");
  sim::RemovePath(Files(), u"C:\\pkg\\driver\\x64\\deep\\link");
  sim::PutLink(Files(), u"C:\\pkg\\driver\\x64\\link", sim::ReparseKind::Junction, u"C:\\pkg",
               true);
  ExpectRefused("00001129");
  for (const auto& call : CallsOf("NtCreateFile"))
    EXPECT_NE(call.Argument("ObjectName"), "link") << "the listing already shows that it is a link";
}

TEST_F(PackageSnapshotTest, RefusesAReservedNameInTheFolder) {
  sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\aux.txt", "");
  ExpectRefused("0000007B");
}

TEST_F(PackageSnapshotTest, RefusesAFileThatSomebodyIsWriting) {
  sim::HoldOpen(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", platform::FILE_WRITE_DATA, 7);
  ExpectRefused("00000020");
}

TEST_F(PackageSnapshotTest, RefusesATemporaryFolderInsideThePackage) {
  machine.files.tempFolder = u"C:\\pkg\\driver\\x64\\";
  ExpectRefused("00000020");
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\pkg\\driver\\x64").size(), 2U);
}

TEST_F(PackageSnapshotTest, RefusesADriveThatIsNoLocalHardDisk) {
  Files().dosDevices[u"N:"] = u"\\Device\\Mup\\server\\share";
  ExpectRefused(u"N:\\driver\\vorn_audio.inf", "000004B0");
}

TEST_F(PackageSnapshotTest, NeedsTheNativeFunctions) {
  process.ntdllMissing = true;
  ExpectRefused("0000007F");
}

// ------------------------------------------------------------------------------------------------
// Limits.

TEST_F(PackageSnapshotTest, AcceptsAFolderOf4096EntriesAndNoMore) {
  process.logCalls = false;
  PutMany(u"C:\\many\\", 4095);
  sim::PutFile(Files(), u"C:\\many\\x.inf", "");
  EXPECT_TRUE(Acquire(u"C:\\many\\x.inf"));
  EXPECT_EQ(sim::ListFolder(Files(), CopyFolder()).size(), 4096U);
  Release();
  ExpectNothingLeft();
  sim::PutFile(Files(), u"C:\\many\\one too many", "");
  ExpectRefused(u"C:\\many\\x.inf", "000003EE");
}

TEST_F(PackageSnapshotTest, CountsTheEntriesOfTheWholeTree) {
  process.logCalls = false;
  PutMany(u"C:\\many\\", 2000);
  PutMany(u"C:\\many\\sub\\", 2094);
  sim::PutFile(Files(), u"C:\\many\\x.inf", "");
  EXPECT_TRUE(Acquire(u"C:\\many\\x.inf"));
  sim::PutFile(Files(), u"C:\\many\\sub\\one too many", "");
  ExpectRefused(u"C:\\many\\x.inf", "000003EE");
}

TEST_F(PackageSnapshotTest, AcceptsSixteenLevelsOfFoldersAndNoMore) {
  sim::PutFile(Files(), NestedFolder(16) + u"deepest", "deep");
  ASSERT_TRUE(Acquire());
  EXPECT_EQ(Content(CopyFolder() + NestedFolder(16).substr(13) + u"deepest"), "deep");
  Release();
  ExpectNothingLeft();
  sim::MakeFolder(Files(), NestedFolder(17));
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshotTest, RefusesTheSeventeenthLevelWithoutListingIt) {
  sim::PutFile(Files(), NestedFolder(17) + u"aux.txt", "");
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshotTest, RefusesAFileOfMoreThanHalfAGibibyte) {
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\big", 536870913);
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshotTest, RefusesFilesOfMoreThanHalfAGibibyteTogether) {
  // The other files have 18 bytes; the large file is copied last.
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", 0);
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\x64\\zz", 536870912 - 18 + 1);
  ExpectRefused("000003EE");
  EXPECT_EQ(CallsOf("ReadFile").size(), 2U);
}

TEST_F(PackageSnapshotTest, AcceptsFilesOfExactlyHalfAGibibyteTogether) {
  process.logCalls = false;
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", 0);
  sim::PutEmptyFile(Files(), u"C:\\pkg\\driver\\x64\\zz", 536870912 - 18);
  EXPECT_TRUE(Acquire()) << platform::GetLastError();
}

}  // namespace
}  // namespace vorn::privileged_input
