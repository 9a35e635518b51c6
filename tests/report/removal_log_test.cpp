#include "report/removal_log.h"

#include "platform/files.h"
#include "tests/support/device_world.h"

#include <memory>
#include <string>

namespace vorn {
namespace {

using platform::simulated::Bytes;
using tests::FailingCall;

constexpr char16_t kLogPath[] = u"C:\\pkg\\logs\\vorn_devnode.log";
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

class RemovalLog : public tests::DeviceWorld {
 protected:
  RemovalLog() : tests::DeviceWorld(platform::simulated::CleanMachine()) {
    platform::simulated::MakeFolder(machine.files, u"C:\\pkg\\logs");
    // 2026-03-04 05:06:07.089 UTC
    machine.clock.utcAtTickZero = 1'772'600'767'089 - machine.clock.tick;
  }
  ~RemovalLog() override { ReleaseRemovalLog(); }

  std::string LogText() const {
    const auto content = platform::simulated::ReadWholeFile(machine.files, kLogPath);
    return content ? std::string(content->begin(), content->end()) : "no file";
  }
};

TEST_F(RemovalLog, PrintsEachMessageWithoutAFileWhenThereIsNoPath) {
  LogRemoval(u"first");
  SetRemovalLogPath(u"");
  LogRemoval(u"second");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\nvorn_devnode: second\n");
  EXPECT_EQ(process.Output(), u"");
  EXPECT_EQ(CountOf("_wfsopen"), 0U);
}

TEST_F(RemovalLog, AppendsALineWithTheTimeInUtc) {
  SetRemovalLogPath(kLogPath);
  LogRemoval(u"first");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\n");
  EXPECT_EQ(LogText(), kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: first\r\n"));
}

TEST_F(RemovalLog, GivesEachMessageItsOwnTime) {
  SetRemovalLogPath(kLogPath);
  LogRemoval(u"first");
  platform::simulated::Advance(machine, 1'234);
  LogRemoval(u"second");
  EXPECT_EQ(LogText(),
            kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: first\r\n"
                                         "[2026-03-04 05:06:08.323] remove: second\r\n"));
}

TEST_F(RemovalLog, WritesUtf8) {
  SetRemovalLogPath(kLogPath);
  LogRemoval(u"Geräte \u03a9");
  EXPECT_EQ(LogText(),
            kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: Ger\xC3\xA4te "
                                         "\xCE\xA9\r\n"));
}

TEST_F(RemovalLog, AppendsToWhatAnEarlierRunWrote) {
  platform::simulated::PutFile(machine.files, kLogPath, std::string_view("earlier\r\n"));
  SetRemovalLogPath(kLogPath);
  LogRemoval(u"later");
  EXPECT_EQ(LogText(), "earlier\r\n[2026-03-04 05:06:07.089] remove: later\r\n");
}

TEST_F(RemovalLog, OpensAndClosesTheFileForEachMessage) {
  SetRemovalLogPath(kLogPath);
  LogRemoval(u"first");
  LogRemoval(u"second");
  const auto opens = tests::CallsOf(process, "_wfsopen");
  ASSERT_EQ(opens.size(), 2U);
  EXPECT_EQ(opens[0].Argument("mode"), "a, ccs=UTF-8");
  EXPECT_EQ(opens[0].Argument("shflag"), "64");
  EXPECT_EQ(CountOf("fclose"), 2U);
}

TEST_F(RemovalLog, LosesTheLineOfAFileThatCannotBeOpened) {
  SetRemovalLogPath(kLogPath);
  process.faults = {FailingCall("_wfsopen", 5)};
  LogRemoval(u"first");
  LogRemoval(u"second");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\nvorn_devnode: second\n");
  EXPECT_EQ(LogText(),
            kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: second\r\n"));
  EXPECT_EQ(CountOf("fclose"), 1U);
}

TEST_F(RemovalLog, LosesTheLineOfAReadOnlyFile) {
  platform::simulated::PutFile(machine.files, kLogPath, std::string_view("old\r\n"));
  platform::simulated::NodeAt(machine.files, kLogPath).attributes |=
      platform::FILE_ATTRIBUTE_READONLY;
  SetRemovalLogPath(kLogPath);
  LogRemoval(u"first");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\n");
  EXPECT_EQ(LogText(), "old\r\n");
}

TEST_F(RemovalLog, LosesTheLineOfALockedFile) {
  platform::simulated::PutFile(machine.files, kLogPath, std::string_view("old\r\n"));
  platform::simulated::HoldOpen(machine.files, kLogPath, platform::FILE_READ_DATA, 0);
  SetRemovalLogPath(kLogPath);
  LogRemoval(u"first");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\n");
  EXPECT_EQ(LogText(), "old\r\n");
}

TEST_F(RemovalLog, LetsOthersReadAndWriteTheFile) {
  platform::simulated::PutFile(machine.files, kLogPath, std::string_view("old\r\n"));
  platform::simulated::HoldOpen(machine.files, kLogPath,
                                platform::FILE_READ_DATA | platform::FILE_WRITE_DATA,
                                platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
  SetRemovalLogPath(kLogPath);
  LogRemoval(u"first");
  EXPECT_EQ(LogText(), "old\r\n[2026-03-04 05:06:07.089] remove: first\r\n");
}

TEST_F(RemovalLog, DoesNotFailWhenTheLineCannotBeWritten) {
  SetRemovalLogPath(kLogPath);
  process.faults = {FailingCall("fputws", 112, 2)};
  LogRemoval(u"first");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\n");
  EXPECT_EQ(CountOf("fclose"), 1U);
}

TEST_F(RemovalLog, UsesNoFileOnceItIsReleased) {
  SetRemovalLogPath(kLogPath);
  ReleaseRemovalLog();
  LogRemoval(u"first");
  EXPECT_EQ(LogText(), "no file");
}

/// A guard that owns `owned` and finds the file sound as long as `*sound` says so.
LogFileGuard Guard(std::shared_ptr<int> owned, const bool* sound) {
  return [owned, sound]() -> std::shared_ptr<const void> {
    return *sound ? std::make_shared<int>(0) : nullptr;
  };
}

TEST_F(RemovalLog, HoldsWhatItsGuardOwnsUntilItIsReplacedOrReleased) {
  const bool sound = true;
  auto first = std::make_shared<int>(1);
  auto second = std::make_shared<int>(2);
  const std::weak_ptr<int> firstHeld = first;
  const std::weak_ptr<int> secondHeld = second;
  SetRemovalLogPath(kLogPath, Guard(std::move(first), &sound));
  LogRemoval(u"first");
  EXPECT_FALSE(firstHeld.expired());
  SetRemovalLogPath(kLogPath, Guard(std::move(second), &sound));
  EXPECT_TRUE(firstHeld.expired());
  EXPECT_FALSE(secondHeld.expired());
  ReleaseRemovalLog();
  EXPECT_TRUE(secondHeld.expired());
}

TEST_F(RemovalLog, AsksItsGuardBeforeEachMessage) {
  bool sound = false;
  SetRemovalLogPath(kLogPath, Guard(nullptr, &sound));
  LogRemoval(u"first");
  EXPECT_EQ(CountOf("_wfsopen"), 0U);
  sound = true;
  LogRemoval(u"second");
  sound = false;
  LogRemoval(u"third");
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: first\nvorn_devnode: second\nvorn_devnode: third\n");
  EXPECT_EQ(LogText(),
            kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: second\r\n"));
}

}  // namespace
}  // namespace vorn
