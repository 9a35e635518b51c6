#include "privileged_input/protected_files.h"

#include "platform/simulated/error_values.h"
#include "privileged_input/native_api.h"
#include "tests/privileged_input/input_test.h"

#include <optional>

namespace vorn::privileged_input {
namespace {

using tests::kProtectedSddl;

class ProtectedFile : public tests::InputTest {
 protected:
  ProtectedFile() { PutProtectedFile(u"C:\\state\\journal", {1, 2, 3}); }

  File Open(const std::u16string& path = kPath) {
    const std::optional<AbsolutePath> parsed = AbsolutePath::Parse(path);
    platform::SetLastError(0);
    return protectedFiles->OpenProtectedFile(parsed);
  }
  void ExpectRefused(const std::u16string& path, std::uint32_t error) {
    EXPECT_FALSE(Open(path)) << testing::PrintToString(path);
    EXPECT_EQ(platform::GetLastError(), error) << testing::PrintToString(path);
    EXPECT_EQ(OpenHandles(), 0U);
  }

  static constexpr char16_t kPath[] = u"C:\\state\\journal";

  std::optional<ProtectedFiles> protectedFiles{
      std::in_place};  // reset by the tests of its destruction
};

TEST_F(ProtectedFile, IsOpenedForDeletionWithinItsLimit) {
  const File file = Open();
  ASSERT_TRUE(file);
  EXPECT_EQ(file.Size(), 3U);
  EXPECT_TRUE(file.IsDeletable());
  EXPECT_FALSE(file.IsWritable());
  EXPECT_EQ(CallsOf("NtCreateFile").back().Argument("DesiredAccess"), "0x80130100");
}

TEST_F(ProtectedFile, ReportsFileNotFoundIfItIsMissing) {
  ExpectRefused(u"C:\\state\\none", platform::ERROR_FILE_NOT_FOUND);
  ExpectRefused(u"C:\\none\\journal", platform::ERROR_FILE_NOT_FOUND);
}

TEST_F(ProtectedFile, ReportsAnotherErrorIfItIsUnsafe) {
  sim::MakeFolder(Files(), u"C:\\state\\folder");
  sim::PutLink(Files(), u"C:\\state\\link", sim::ReparseKind::SymbolicLink, kPath, false);
  sim::PutLink(Files(), u"C:\\linked", sim::ReparseKind::Junction, u"C:\\state", true);
  ExpectRefused(u"C:\\state\\folder", platform::ERROR_ACCESS_DENIED);
  ExpectRefused(u"C:\\state\\link", platform::ERROR_FILE_INVALID);
  ExpectRefused(u"C:\\linked\\journal", platform::ERROR_REPARSE_TAG_INVALID);
  ExpectRefused(u"C:\\state\\journal\\x", platform::ERROR_DIRECTORY);
  sim::AddHardLink(Files(), kPath, u"C:\\alias");
  ExpectRefused(kPath, platform::ERROR_FILE_INVALID);
}

TEST_F(ProtectedFile, NeedsAnAbsolutePath) {
  ExpectRefused(u"journal", platform::ERROR_INVALID_NAME);
  ExpectRefused(u"C:\\", platform::ERROR_INVALID_NAME);
  platform::SetLastError(0);
  EXPECT_FALSE(protectedFiles->OpenProtectedFile(std::nullopt));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
  EXPECT_TRUE(CallsOf("NtCreateFile").empty());
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
  EXPECT_TRUE(Open());
}

TEST_F(ProtectedFile, MayHave65536BytesAndNoMore) {
  PutProtectedFile(kPath, sim::Bytes(65537));
  ExpectRefused(kPath, platform::ERROR_FILE_INVALID);
  PutProtectedFile(kPath, sim::Bytes(65536));
  EXPECT_EQ(Open().Size(), 65536U);
}

TEST_F(ProtectedFile, IsReturnedAgainUnchecked) {
  const File first = Open();
  SetSecurity(kPath, u"O:BUD:(A;;FA;;;WD)");
  process.calls.clear();
  const File second = Open();
  EXPECT_EQ(second.Handle(), first.Handle());
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(ProtectedFile, IsStillKeptWhenAnotherIsOpened) {
  PutProtectedFile(u"C:\\state\\other", {4});
  const platform::HANDLE first = Open().Handle();
  const platform::HANDLE second = Open(u"C:\\state\\other").Handle();
  process.calls.clear();
  EXPECT_EQ(Open().Handle(), first);
  EXPECT_EQ(Open(u"C:\\state\\other").Handle(), second);
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(ProtectedFile, StaysOpenUntilWhatKeepsItEnds) {
  Open();
  EXPECT_EQ(OpenHandles(), 3U);
  platform::SetLastError(4711);
  protectedFiles.reset();
  EXPECT_EQ(OpenHandles(), 0U);
  EXPECT_EQ(platform::GetLastError(), 4711U);
}

TEST_F(ProtectedFile, IsNotKnownToTheNextRun) {
  Open();
  protectedFiles.emplace();
  SetSecurity(kPath, u"O:BUD:(A;;FA;;;WD)");
  ExpectRefused(kPath, platform::ERROR_ACCESS_DENIED);
}

TEST_F(ProtectedFile, IsKeptUnderItsExactPath) {
  const File first = Open();
  // Another spelling is opened anew and collides with the handle that is kept.
  EXPECT_FALSE(Open(u"c:\\state\\journal"));
  EXPECT_LAST_ERROR(ERROR_SHARING_VIOLATION);
}

TEST_F(ProtectedFile, IsKeptUnderItsExactPathWhereWindowsFoldsMoreThanAscii) {
  PutProtectedFile(u"C:\\state\\journal\u00E4", {1});
  const File first = Open(u"C:\\state\\journal\u00E4");
  ASSERT_TRUE(first);
  EXPECT_FALSE(Open(u"C:\\state\\journal\u00C4"));
  EXPECT_LAST_ERROR(ERROR_SHARING_VIOLATION);
}

TEST_F(ProtectedFile, IsKeptApartFromFilesOfAlmostTheSamePath) {
  const std::u16string paths[] = {u"C:\\state\\journal\u00E4", u"C:\\state\\journala\u0308",
                                  u"C:\\state\\journalx", u"C:\\state\\journaly"};
  for (const std::u16string& path : paths) {
    process.calls.clear();
    Open(path);
    EXPECT_FALSE(CallsOf("NtCreateFile").empty()) << testing::PrintToString(path);
    PutProtectedFile(path, {1});
    const File file = Open(path);
    ASSERT_TRUE(file) << testing::PrintToString(path);
    EXPECT_EQ(file.Path(), tests::kGuidRoot + path.substr(3));
  }
}

TEST_F(ProtectedFile, IsCheckedOnceWhenRefused) {
  FailCall("GetSecurityInfo", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(Open());
  EXPECT_EQ(CallsOf("GetSecurityInfo").size(), 1U);
}

TEST_F(ProtectedFile, IsNotKeptWhenRefused) {
  SetSecurity(kPath, u"O:BUD:(A;;FA;;;WD)");
  ExpectRefused(kPath, platform::ERROR_ACCESS_DENIED);
  SetSecurity(kPath, kProtectedSddl);
  EXPECT_TRUE(Open());
}

TEST_F(ProtectedFile, CanBeKeptUnderAnotherPathAndForgotten) {
  const std::u16string text = u"C:\\state\\any path";
  const AbsolutePath path = PathOf(text);
  File file = File::OpenAbsolute(kPath, LoadNativeApi(), 100, FileMode::ReadOnly);
  protectedFiles->Keep(path, file);
  EXPECT_EQ(Open(text).Handle(), file.Handle());
  protectedFiles->Forget(PathOf(u"C:\\state\\never there"));
  EXPECT_EQ(Open(text).Handle(), file.Handle());
  protectedFiles->Forget(path);
  EXPECT_FALSE(Open(text));
  EXPECT_LAST_ERROR(ERROR_FILE_NOT_FOUND);
}

TEST_F(ProtectedFile, ReplacesTheOneThatWasKeptBefore) {
  PutProtectedFile(u"C:\\state\\newer", {4, 5});
  Open();
  const File newer =
      File::OpenAbsolute(u"C:\\state\\newer", LoadNativeApi(), 100, FileMode::ReadOnly);
  protectedFiles->Keep(PathOf(kPath), newer);
  EXPECT_EQ(Open().Handle(), newer.Handle());
  EXPECT_EQ(OpenHandles(), 3U) << "the earlier one is closed";
}

}  // namespace
}  // namespace vorn::privileged_input
