#include "base/path_text.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

TEST(CutLastComponent, KeepsWhatPrecedesTheLastSeparatorOfEitherKind) {
  EXPECT_EQ(CutLastComponent(u"C:\\pkg\\driver\\vorn_audio.inf"), u"C:\\pkg\\driver");
  EXPECT_EQ(CutLastComponent(u"C:\\pkg\\driver"), u"C:\\pkg");
  EXPECT_EQ(CutLastComponent(u"C:/pkg/vorn_audio.inf"), u"C:/pkg");
  EXPECT_EQ(CutLastComponent(u"C:\\pkg/vorn_audio.inf"), u"C:\\pkg");
  EXPECT_EQ(CutLastComponent(u"C:\\pkg\\"), u"C:\\pkg");
  EXPECT_EQ(CutLastComponent(u"C:\\PROGRA~1\\x~y"), u"C:\\PROGRA~1");
  EXPECT_EQ(CutLastComponent(u"C:\\vorn_audio.inf"), u"C:");
}

TEST(CutLastComponent, ReturnsNothingWithoutASeparator) {
  EXPECT_EQ(CutLastComponent(u"C:"), u"");
  EXPECT_EQ(CutLastComponent(u"vorn_audio.inf"), u"");
  EXPECT_EQ(CutLastComponent(u""), u"");
}

TEST(FileNameComponent, IsWhatFollowsTheLastSeparator) {
  EXPECT_EQ(FileNameComponent(u"C:\\a/b\\vorn~1.inf"), u"vorn~1.inf");
  EXPECT_EQ(FileNameComponent(u"C:\\a\\b/x.inf"), u"x.inf");
  EXPECT_EQ(FileNameComponent(u"x.inf"), u"x.inf");
  EXPECT_EQ(FileNameComponent(u"C:\\"), u"");
  EXPECT_EQ(FileNameComponent(u""), u"");
}

TEST(JoinPath, PutsOneBackslashBetweenFolderAndName) {
  EXPECT_EQ(JoinPath(u"C:\\pkg", u"logs"), u"C:\\pkg\\logs");
  EXPECT_EQ(JoinPath(u"C:\\pkg\\logs", u"vorn_devnode.log"), u"C:\\pkg\\logs\\vorn_devnode.log");
}

TEST(JoinPath, AddsNoBackslashToARootThatHasOne) {
  EXPECT_EQ(JoinPath(u"C:\\", u"logs"), u"C:\\logs");
  EXPECT_EQ(JoinPath(u"\\\\?\\Volume{0}\\", u"logs"), u"\\\\?\\Volume{0}\\logs");
}

}  // namespace
}  // namespace vorn
