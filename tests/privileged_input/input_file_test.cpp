#include "privileged_input/input_file.h"

#include "tests/privileged_input/package_snapshot.h"
#include "tests/support/sample.h"

namespace vorn::privileged_input {
namespace {

using tests::kGuidRoot;
using tests::kSampleInf;

class InputFile : public tests::InputTest {
 protected:
  void ExpectRefused(const std::u16string& path, std::uint32_t error) {
    platform::SetLastError(0);
    EXPECT_FALSE(OpenInputFile(path)) << testing::PrintToString(path);
    EXPECT_EQ(platform::GetLastError(), error) << testing::PrintToString(path);
  }
};

TEST_F(InputFile, IsOpenedForReadingUpToFourMebibytes) {
  sim::PutEmptyFile(Files(), u"C:\\a.inf", 4194304);
  const File file = OpenInputFile(u"C:\\a.inf");
  EXPECT_EQ(file.Size(), 4194304U);
  EXPECT_FALSE(file.IsDeletable());
  EXPECT_EQ(file.Path(), std::u16string(kGuidRoot) + u"a.inf");
  sim::PutEmptyFile(Files(), u"C:\\b.inf", 4194305);
  ExpectRefused(u"C:\\b.inf", platform::ERROR_FILE_INVALID);
}

TEST_F(InputFile, NeedsNoProtection) {
  sim::PutFile(Files(), u"C:\\a.inf", "x");
  SetSecurity(u"C:\\a.inf", u"O:BUD:(A;;FA;;;WD)");
  EXPECT_TRUE(OpenInputFile(u"C:\\a.inf"));
}

TEST_F(InputFile, MustLieOnAnAbsolutePath) {
  for (const char16_t* path : {u"", u"a.inf", u"C:a.inf", u"C:/a.inf", u"\\\\server\\share\\a"}) {
    ExpectRefused(path, platform::ERROR_INVALID_NAME);
  }
}

TEST_F(InputFile, MustBeAPlainFileWithOneNameOnAPathWithoutLinks) {
  sim::PutFile(Files(), u"C:\\dir\\a.inf", "x");
  sim::PutLink(Files(), u"C:\\link.inf", sim::ReparseKind::SymbolicLink, u"C:\\dir\\a.inf", false);
  sim::PutLink(Files(), u"C:\\linked", sim::ReparseKind::Junction, u"C:\\dir", true);
  ExpectRefused(u"C:\\dir\\none.inf", platform::ERROR_FILE_NOT_FOUND);
  ExpectRefused(u"C:\\dir", platform::ERROR_ACCESS_DENIED);
  ExpectRefused(u"C:\\link.inf", platform::ERROR_FILE_INVALID);
  ExpectRefused(u"C:\\linked\\a.inf", platform::ERROR_REPARSE_TAG_INVALID);
  sim::AddHardLink(Files(), u"C:\\dir\\a.inf", u"C:\\alias.inf");
  ExpectRefused(u"C:\\dir\\a.inf", platform::ERROR_FILE_INVALID);
}

// The copy is known by its open handle. Its path cannot be opened as an input file, and opening the
// original does not return the copy.
TEST_F(PackageSnapshotTest, IsNoInputFileByItsPath) {
  ASSERT_TRUE(Acquire());
  const std::u16string path = snapshot->Input().path;
  platform::SetLastError(0);
  EXPECT_FALSE(OpenInputFile(path));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);

  const File source = OpenInputFile(kSampleInf);
  ASSERT_TRUE(source);
  EXPECT_NE(source.Handle(), snapshot->Input().file.Handle());

  Release();
  platform::SetLastError(0);
  EXPECT_FALSE(OpenInputFile(path));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

}  // namespace
}  // namespace vorn::privileged_input
