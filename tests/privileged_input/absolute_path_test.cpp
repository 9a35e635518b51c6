#include "privileged_input/absolute_path.h"

#include "platform/last_error.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace vorn::privileged_input {
namespace {

using Names = std::vector<std::u16string>;

class AbsolutePathTest : public ::testing::Test {
 protected:
  platform::simulated::Machine machine;
  platform::simulated::Process process{machine};
};

TEST_F(AbsolutePathTest, IsADriveLetterAndSafeNamesJoinedByBackslashes) {
  for (const char16_t* text : {u"C:\\pkg\\driver\\vorn_audio.inf", u"z:\\x", u"C:\\"}) {
    const std::optional<AbsolutePath> path = AbsolutePath::Parse(text);
    ASSERT_TRUE(path) << testing::PrintToString(text);
    EXPECT_EQ(path->Text(), text);
  }
}

TEST_F(AbsolutePathTest, IsSplitIntoItsDriveLetterAndItsNamesAsTyped) {
  const std::optional<AbsolutePath> path = AbsolutePath::Parse(u"c:\\Pkg\\driver\\VORN_audio.inf");
  ASSERT_TRUE(path);
  EXPECT_EQ(path->DriveLetter(), u'c');
  EXPECT_EQ(path->Components(), (Names{u"Pkg", u"driver", u"VORN_audio.inf"}));
  EXPECT_EQ(path->Name(), u"VORN_audio.inf");
}

TEST_F(AbsolutePathTest, HasNoNamesAtADriveRoot) {
  const std::optional<AbsolutePath> root = AbsolutePath::Parse(u"C:\\");
  ASSERT_TRUE(root);
  EXPECT_EQ(root->DriveLetter(), u'C');
  EXPECT_TRUE(root->Components().empty());
  EXPECT_EQ(root->Name(), u"");
}

TEST_F(AbsolutePathTest, KnowsTheFolderThatHoldsIt) {
  struct {
    const char16_t* path;
    const char16_t* folder;
    Names components;
  } const rows[] = {
      {u"C:\\pkg\\driver\\a.inf", u"C:\\pkg\\driver", {u"pkg", u"driver"}},
      {u"C:\\a\\b", u"C:\\a", {u"a"}},
      {u"C:\\a.inf", u"C:\\", {}},
      {u"C:\\", u"C:\\", {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.path));
    const std::optional<AbsolutePath> path = AbsolutePath::Parse(row.path);
    ASSERT_TRUE(path);
    const AbsolutePath folder = path->Folder();
    EXPECT_EQ(folder.Text(), row.folder);
    EXPECT_EQ(folder.DriveLetter(), u'C');
    EXPECT_EQ(folder.Components(), row.components);
  }
}

TEST_F(AbsolutePathTest, RefusesEverythingElseAsAnInvalidName) {
  for (const std::u16string text :
       {u"", u"C:", u"relative\\vorn_audio.inf", u"C:/a/vorn_audio.inf", u"C:\\a/b",
        u"\\\\server\\share\\x", u"\\\\?\\C:\\x", u"\\\\.\\C:", u"\\??\\C:\\x", u"1:\\x",
        u"C:\\a\\", u"C:\\a\\\\b", u"C:\\..\\x", u"C:\\nul", u"C:\\a:b", u"C:\\a*"}) {
    platform::SetLastError(0);
    EXPECT_FALSE(AbsolutePath::Parse(text)) << testing::PrintToString(text);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_NAME)
        << testing::PrintToString(text);
  }
}

TEST_F(AbsolutePathTest, MayHave32760UnitsAndNoMore) {
  std::u16string text = u"C:";
  while (text.size() < 32760) {
    text += u"\\" + std::u16string(std::min<std::size_t>(200, 32760 - text.size() - 1), u'a');
  }
  ASSERT_EQ(text.size(), 32760U);
  EXPECT_TRUE(AbsolutePath::Parse(text));
  EXPECT_FALSE(AbsolutePath::Parse(text + u"a"));
}

TEST_F(AbsolutePathTest, MakesNoPlatformCall) {
  const std::optional<AbsolutePath> path = AbsolutePath::Parse(u"C:\\pkg\\vorn_audio.inf");
  ASSERT_TRUE(path);
  EXPECT_EQ(path->Folder().Name(), u"pkg");
  EXPECT_EQ(process.callCount, 0U);
}

}  // namespace
}  // namespace vorn::privileged_input
