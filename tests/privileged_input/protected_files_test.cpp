#include "privileged_input/protected_files.h"

#include "tests/privileged_input/input_test.h"

namespace vorn::privileged_input {
namespace {

using tests::kGuidRoot;
using tests::kProtectedSddl;

class ProtectedFile : public tests::InputTest {
 protected:
  ProtectedFile() { PutProtectedFile(u"C:\\state\\journal", {1, 2, 3}); }

  void ExpectRefused(const std::u16string& path, std::uint32_t error) {
    platform::SetLastError(0);
    EXPECT_FALSE(OpenProtectedFile(path)) << testing::PrintToString(path);
    EXPECT_EQ(platform::GetLastError(), error) << testing::PrintToString(path);
    EXPECT_EQ(OpenHandles(), 0U);
  }

  static constexpr char16_t kPath[] = u"C:\\state\\journal";
};

TEST_F(ProtectedFile, IsOpenedForDeletionWithinItsLimit) {
  const File file = OpenProtectedFile(kPath);
  ASSERT_TRUE(file);
  EXPECT_EQ(file.Size(), 3U);
  EXPECT_TRUE(file.IsDeletable());
  EXPECT_FALSE(file.IsWritable());
  EXPECT_EQ(CallsOf("NtCreateFile").back().Argument("DesiredAccess"), "0x80130100");
}

TEST_F(ProtectedFile, IsMissingWithErrorTwo) {
  ExpectRefused(u"C:\\state\\none", platform::ERROR_FILE_NOT_FOUND);
  ExpectRefused(u"C:\\none\\journal", platform::ERROR_FILE_NOT_FOUND);
}

TEST_F(ProtectedFile, IsRefusedWithAnyOtherErrorWhenUnsafe) {
  sim::MakeFolder(Files(), u"C:\\state\\folder");
  sim::PutLink(Files(), u"C:\\state\\link", sim::ReparseKind::SymbolicLink, kPath, false);
  sim::PutLink(Files(), u"C:\\linked", sim::ReparseKind::Junction, u"C:\\state", true);
  ExpectRefused(u"C:\\state\\folder", platform::ERROR_ACCESS_DENIED);
  ExpectRefused(u"C:\\state\\link", platform::ERROR_FILE_INVALID);
  ExpectRefused(u"C:\\linked\\journal", platform::ERROR_REPARSE_TAG_INVALID);
  ExpectRefused(u"C:\\state\\journal\\x", platform::ERROR_DIRECTORY);
  ExpectRefused(u"journal", platform::ERROR_INVALID_NAME);
  sim::AddHardLink(Files(), kPath, u"C:\\alias");
  ExpectRefused(kPath, platform::ERROR_FILE_INVALID);
}

TEST_F(ProtectedFile, MustBeOwnedAndGuardedByTheSystem) {
  for (const char16_t* sddl :
       {u"O:BUD:P(A;;FA;;;SY)(A;;FA;;;BA)",
        u"O:S-1-5-21-1000000000-2000000000-3000000000-1002D:P(A;;FA;;;SY)(A;;FA;;;BA)",
        u"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)", u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FW;;;BU)"}) {
    SetSecurity(kPath, sddl);
    ExpectRefused(kPath, platform::ERROR_ACCESS_DENIED);
  }
  SetSecurity(kPath, kProtectedSddl);
  EXPECT_TRUE(OpenProtectedFile(kPath));
}

TEST_F(ProtectedFile, MayHave65536BytesAndNoMore) {
  PutProtectedFile(kPath, sim::Bytes(65537));
  ExpectRefused(kPath, platform::ERROR_FILE_INVALID);
  PutProtectedFile(kPath, sim::Bytes(65536));
  EXPECT_EQ(OpenProtectedFile(kPath).Size(), 65536U);
}

TEST_F(ProtectedFile, IsGivenAgainFromTheCacheWithoutAnotherLook) {
  const File first = OpenProtectedFile(kPath);
  SetSecurity(kPath, u"O:BUD:(A;;FA;;;WD)");
  process.calls.clear();
  const File second = OpenProtectedFile(kPath);
  EXPECT_EQ(second.Handle(), first.Handle());
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(ProtectedFile, StaysOpenUntilItIsReleased) {
  OpenProtectedFile(kPath);
  EXPECT_EQ(OpenHandles(), 3U);
  platform::SetLastError(4711);
  ReleaseProtectedFiles();
  EXPECT_EQ(OpenHandles(), 0U);
  EXPECT_EQ(platform::GetLastError(), 4711U);
}

TEST_F(ProtectedFile, IsCachedUnderItsExactPath) {
  const File first = OpenProtectedFile(kPath);
  // Another spelling is looked up anew, and meets the handle that the cache holds.
  EXPECT_FALSE(OpenProtectedFile(u"c:\\state\\journal"));
  EXPECT_LAST_ERROR(ERROR_SHARING_VIOLATION);
}

TEST_F(ProtectedFile, IsNotCachedWhenRefused) {
  SetSecurity(kPath, u"O:BUD:(A;;FA;;;WD)");
  ExpectRefused(kPath, platform::ERROR_ACCESS_DENIED);
  SetSecurity(kPath, kProtectedSddl);
  EXPECT_TRUE(OpenProtectedFile(kPath));
}

TEST_F(ProtectedFile, CanBePutIntoTheCacheAndTakenOut) {
  File file = File::OpenAbsolute(kPath, LoadNativeApi(), 100, FileMode::ReadOnly);
  CacheProtectedFile(u"any key", file);
  EXPECT_EQ(OpenProtectedFile(u"any key").Handle(), file.Handle());
  ForgetProtectedFile(u"any key");
  ForgetProtectedFile(u"never there");
  EXPECT_FALSE(OpenProtectedFile(u"any key"));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

class InputFile : public tests::InputTest {};

TEST_F(InputFile, IsOpenedForReadingUpToFourMebibytes) {
  sim::PutEmptyFile(Files(), u"C:\\a.inf", 4194304);
  const File file = OpenInputFile(u"C:\\a.inf");
  EXPECT_EQ(file.Size(), 4194304U);
  EXPECT_FALSE(file.IsDeletable());
  EXPECT_EQ(file.Path(), std::u16string(kGuidRoot) + u"a.inf");
  sim::PutEmptyFile(Files(), u"C:\\b.inf", 4194305);
  EXPECT_FALSE(OpenInputFile(u"C:\\b.inf"));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(InputFile, NeedsNoProtection) {
  sim::PutFile(Files(), u"C:\\a.inf", "x");
  SetSecurity(u"C:\\a.inf", u"O:BUD:(A;;FA;;;WD)");
  EXPECT_TRUE(OpenInputFile(u"C:\\a.inf"));
}

TEST_F(InputFile, IsTheSnapshotsOwnUnderTheSnapshotsExactPath) {
  sim::PutFile(Files(), u"C:\\pkg\\driver\\vorn_audio.inf", "inf");
  ASSERT_TRUE(AcquirePackageSnapshot(u"C:\\pkg\\driver\\vorn_audio.inf"));
  const std::u16string path = SnapshotInfPath();
  process.calls.clear();
  EXPECT_EQ(OpenInputFile(path).Handle(), SnapshotInfFile().Handle());
  EXPECT_TRUE(process.calls.empty());

  std::u16string otherCase = path;
  otherCase.back() = u'F';
  EXPECT_FALSE(OpenInputFile(otherCase));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
  EXPECT_NE(OpenInputFile(u"C:\\pkg\\driver\\vorn_audio.inf").Handle(), SnapshotInfFile().Handle());
}

TEST_F(InputFile, DoesNotKnowASnapshotThatIsGone) {
  sim::PutFile(Files(), u"C:\\pkg\\driver\\vorn_audio.inf", "inf");
  ASSERT_TRUE(AcquirePackageSnapshot(u"C:\\pkg\\driver\\vorn_audio.inf"));
  const std::u16string path = SnapshotInfPath();
  ReleasePackageSnapshot();
  EXPECT_FALSE(OpenInputFile(path));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

}  // namespace
}  // namespace vorn::privileged_input
