#include "privileged_input/absolute_path.h"

#include "platform/last_error.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

namespace vorn {
namespace {

class AbsolutePath : public ::testing::Test {
 protected:
  platform::simulated::Machine machine;
  platform::simulated::Process process{machine};
};

TEST_F(AbsolutePath, IsADriveLetterAndSafeNamesJoinedByBackslashes) {
  EXPECT_TRUE(IsAbsolutePath(u"C:\\pkg\\driver\\vorn_audio.inf"));
  EXPECT_TRUE(IsAbsolutePath(u"z:\\x"));
  EXPECT_TRUE(IsAbsolutePath(u"C:\\"));
}

TEST_F(AbsolutePath, RefusesEverythingElseAsAnInvalidName) {
  for (const std::u16string path :
       {u"", u"C:", u"relative\\vorn_audio.inf", u"C:/a/vorn_audio.inf", u"C:\\a/b",
        u"\\\\server\\share\\x", u"\\\\?\\C:\\x", u"\\\\.\\C:", u"\\??\\C:\\x", u"1:\\x",
        u"C:\\a\\", u"C:\\a\\\\b", u"C:\\..\\x", u"C:\\nul", u"C:\\a:b", u"C:\\a*"}) {
    platform::SetLastError(0);
    EXPECT_FALSE(IsAbsolutePath(path)) << testing::PrintToString(path);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_NAME)
        << testing::PrintToString(path);
  }
}

TEST_F(AbsolutePath, MayHave32760UnitsAndNoMore) {
  std::u16string path = u"C:";
  while (path.size() < 32760) {
    path += u"\\" + std::u16string(std::min<std::size_t>(200, 32760 - path.size() - 1), u'a');
  }
  ASSERT_EQ(path.size(), 32760U);
  EXPECT_TRUE(IsAbsolutePath(path));
  EXPECT_FALSE(IsAbsolutePath(path + u"a"));
}

TEST_F(AbsolutePath, MakesNoPlatformCall) {
  IsAbsolutePath(u"C:\\pkg\\vorn_audio.inf");
  EXPECT_EQ(process.callCount, 0U);
}

TEST(CutLastComponent, KeepsWhatStandsBeforeTheLastSeparatorOfEitherKind) {
  EXPECT_EQ(CutLastComponent(u"C:\\pkg\\driver\\vorn_audio.inf"), u"C:\\pkg\\driver");
  EXPECT_EQ(CutLastComponent(u"C:\\pkg\\driver"), u"C:\\pkg");
  EXPECT_EQ(CutLastComponent(u"C:/pkg/vorn_audio.inf"), u"C:/pkg");
  EXPECT_EQ(CutLastComponent(u"C:\\pkg/vorn_audio.inf"), u"C:\\pkg");
  EXPECT_EQ(CutLastComponent(u"C:\\pkg\\"), u"C:\\pkg");
  EXPECT_EQ(CutLastComponent(u"C:\\PROGRA~1\\x~y"), u"C:\\PROGRA~1");
  EXPECT_EQ(CutLastComponent(u"C:\\vorn_audio.inf"), u"C:");
}

TEST(CutLastComponent, LeavesNothingWithoutASeparator) {
  EXPECT_EQ(CutLastComponent(u"C:"), u"");
  EXPECT_EQ(CutLastComponent(u"vorn_audio.inf"), u"");
  EXPECT_EQ(CutLastComponent(u""), u"");
}

}  // namespace
}  // namespace vorn
