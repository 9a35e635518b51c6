#include "platform/simulated/driver_image.h"

#include <gtest/gtest.h>
#include <set>

namespace vorn::platform::simulated {
namespace {

DriverImage Parse(std::string_view text) {
  return ParseImage(Bytes(text.begin(), text.end()));
}

/// An image that differs from every sound one in every field.
DriverImage UnsoundImage() {
  DriverImage image;
  image.loadedVersion = 0xFF1A080A;
  image.revision = 0xFFFFFFFF;
  image.lifecycleAbi = 2;
  image.sharedMemoryAbi = 4;
  image.capabilities = 0xFFFFFFFE;
  image.statusBytes = 100;
  image.pool = {{3, 7, u"One"}, {12, 0, u""}};
  image.poolCount = 21;
  image.poolBytes = 4;
  image.leaseBytes = 8;
  image.failures = {{0x226020, 31}, {0x22A01C, 5}};
  image.delays = {{0x226010, 5'000'000'000}};
  image.replies = {{0x226000, {}}, {0x226010, {0x00, 0xFF, 0x1A}}};
  image.refusesToHide = {{{4, 0}, 170}, {{9, 1}, 31}};
  image.refusesToShow = {{{0, 1}, 1}};
  image.startProblem = 10;
  image.startDelay = 25'000;
  image.refusesUnload = true;
  image.needsRestart = true;
  image.registersControlInterface = false;
  image.registersAudioInterface = false;
  return image;
}

TEST(DriverImage, PacksThreePartsOfItsVersionAndKeepsTheFourthApart) {
  const DriverImage image = SoundImage(u"26.8.10.5");
  EXPECT_EQ(image.loadedVersion, 0x1A080Au);
  EXPECT_EQ(image.revision, 5u);
}

TEST(DriverImage, ReadsMissingPartsOfAVersionAsZero) {
  const DriverImage image = SoundImage(u"3.x");
  EXPECT_EQ(image.loadedVersion, 0x030000u);
  EXPECT_EQ(image.revision, 0u);
}

TEST(DriverImage, HasEachOfTwentyCablesOnceWhenItIsSound) {
  const DriverImage image = SoundImage(u"26.8.10.5");
  ASSERT_EQ(image.pool.size(), 20u);
  std::set<CableFlow> cables;
  for (const PoolEntry& entry : image.pool)
    cables.insert({entry.cable, entry.flow});
  EXPECT_EQ(cables.size(), 20u);
  EXPECT_EQ(image.pool.front(), (PoolEntry{0, 0, u"VORN Cable 1 Render"}));
  EXPECT_EQ(image.pool.back(), (PoolEntry{9, 1, u"VORN Cable 10 Capture"}));
}

TEST(DriverImage, IsOneLineOfTextWhenItIsSound) {
  EXPECT_EQ(ToImageText(SoundImage(u"26.8.10.5")), "version=26.8.10.5\n");
  EXPECT_EQ(Parse("version=26.8.10.5"), SoundImage(u"26.8.10.5"));
}

TEST(DriverImage, SurvivesItsTextFormWithEveryField) {
  const DriverImage image = UnsoundImage();
  const std::string text = ToImageText(image);
  EXPECT_EQ(Parse(text), image) << text;
}

TEST(DriverImage, SurvivesItsTextFormWithAnEmptyPool) {
  DriverImage image = SoundImage(u"1.2.3.4");
  image.pool.clear();
  EXPECT_EQ(Parse(ToImageText(image)), image);
}

TEST(DriverImage, SurvivesItsTextFormWithEveryNameThatADriverMayReport) {
  const std::u16string names[] = {u"",
                                  u"none",
                                  u" blanks ",
                                  u"a,b=c",
                                  u"back\\slash\\u0041",
                                  u"line\nbreak\r",
                                  u"Kabel \u00E4 \u4E2D",
                                  std::u16string(1, char16_t{0xD800}),
                                  std::u16string(u"a\0b", 3),
                                  std::u16string(64, u'x')};
  for (const std::u16string& name : names) {
    DriverImage image = SoundImage(u"26.8.10.5");
    image.pool[3].name = name;
    const std::string text = ToImageText(image);
    EXPECT_EQ(Parse(text), image) << text;
  }
}

TEST(DriverImage, IsChangedByTheLinesAfterItsVersion) {
  const DriverImage image = Parse(
      "version=26.8.10.5\r\n"
      "revision=6\r\n"
      "pool=none\r\n"
      "pool=3,1,Only one\r\n"
      "refusesToHide=4,0,0x1F");
  EXPECT_EQ(image.loadedVersion, 0x1A080Au);
  EXPECT_EQ(image.revision, 6u);
  EXPECT_EQ(image.pool, (std::vector<PoolEntry>{{3, 1, u"Only one"}}));
  EXPECT_EQ(image.refusesToHide, (std::map<CableFlow, std::uint32_t>{{{4, 0}, 31}}));
}

TEST(DriverImage, IgnoresUnknownLines) {
  const char* lines[] = {"",
                         "=",
                         "revision",
                         "revision=",
                         "revision=-1",
                         "revision=4294967296",
                         "revision=0x",
                         "revision=5 ",
                         "Revision=7",
                         "refusesUnload=true",
                         "startDelay=soon",
                         "pool=",
                         "pool=x,0,Name",
                         "pool=1",
                         "failure=0x226020",
                         "delay=0x226020,",
                         "reply=0x226020,0",
                         "reply=0x226020,zz",
                         "refusesToHide=1,0",
                         "refusesToShow=,,",
                         "\xFF\xFE\x00garbage"};
  for (const char* line : lines) {
    EXPECT_EQ(Parse("version=26.8.10.5\n" + std::string(line) + "\n"), SoundImage(u"26.8.10.5"))
        << line;
  }
}

TEST(DriverImage, IsAbsentFromAFileOfAnotherFormat) {
  EXPECT_EQ(Parse("MZ\x90"), DriverImage{});
  EXPECT_TRUE(Parse("").pool.empty());
}

}  // namespace
}  // namespace vorn::platform::simulated
