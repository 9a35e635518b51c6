#include "report/removal_log.h"

#include "platform/files.h"
#include "platform/simulated/file_values.h"
#include "tests/support/device_world.h"
#include "tests/support/sample.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace vorn {
namespace {

using platform::simulated::Bytes;
using tests::FailingCall;
using tests::kSampleLog;
using tests::kSampleLogFolder;

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

class RemovalLogTest : public tests::DeviceWorld {
 protected:
  RemovalLogTest() : tests::DeviceWorld(platform::simulated::CleanMachine()) {
    platform::simulated::MakeFolder(machine.files, kSampleLogFolder);
    // 2026-03-04 05:06:07.089 UTC
    machine.clock.utcAtTickZero = 1'772'600'767'089 - machine.clock.tick;
  }

  std::string LogText() const {
    const auto content = platform::simulated::ReadWholeFile(machine.files, kSampleLog);
    return content ? std::string(content->begin(), content->end()) : "no file";
  }

  std::optional<RemovalLog> log{std::in_place};
};

TEST_F(RemovalLogTest, PrintsEachMessageWithoutAFileWhenThereIsNoPath) {
  log->LogRemoval(u"first");
  log->SetRemovalLogPath(u"");
  log->LogRemoval(u"second");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\nvorn_devnode: second\n");
  EXPECT_EQ(process.Output(), u"");
  EXPECT_EQ(CountOf("_wfsopen"), 0U);
}

TEST_F(RemovalLogTest, AppendsALineWithTheTimeInUtc) {
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\n");
  EXPECT_EQ(LogText(), kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: first\r\n"));
}

TEST_F(RemovalLogTest, GivesEachMessageItsOwnTime) {
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  platform::simulated::Advance(machine, 1'234);
  log->LogRemoval(u"second");
  EXPECT_EQ(LogText(),
            kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: first\r\n"
                                         "[2026-03-04 05:06:08.323] remove: second\r\n"));
}

TEST_F(RemovalLogTest, WritesAnEmptyMessage) {
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: \n");
  EXPECT_EQ(LogText(), kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: \r\n"));
}

TEST_F(RemovalLogTest, WritesUtf8) {
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"Geräte \u03a9");
  EXPECT_EQ(LogText(),
            kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: Ger\xC3\xA4te "
                                         "\xCE\xA9\r\n"));
}

TEST_F(RemovalLogTest, AppendsToWhatAnEarlierRunWrote) {
  platform::simulated::PutFile(machine.files, kSampleLog, std::string_view("earlier\r\n"));
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"later");
  EXPECT_EQ(LogText(), "earlier\r\n[2026-03-04 05:06:07.089] remove: later\r\n");
}

TEST_F(RemovalLogTest, OpensAndClosesTheFileForEachMessage) {
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  log->LogRemoval(u"second");
  const auto opens = tests::CallsOf(process, "_wfsopen");
  ASSERT_EQ(opens.size(), 2U);
  EXPECT_EQ(opens[0].Argument("mode"), "a, ccs=UTF-8");
  EXPECT_EQ(opens[0].Argument("shflag"), "64");
  EXPECT_EQ(CountOf("fclose"), 2U);
}

TEST_F(RemovalLogTest, PrintsTheMessageBeforeItOpensTheFile) {
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  ASSERT_GE(process.calls.size(), 3U);
  EXPECT_EQ(process.calls[0].name, "fputws");
  EXPECT_EQ(process.calls[1].name, "fflush");
  EXPECT_EQ(process.calls[2].name, "_wfsopen");
}

TEST_F(RemovalLogTest, TakesTheTimeWhenTheFileIsOpen) {
  log->SetRemovalLogPath(kSampleLog);
  platform::simulated::Fault slow;
  slow.call = "_wfsopen";
  slow.kind = platform::simulated::FaultKind::TakeTime;
  slow.amount = 2'000;
  process.faults = {slow};
  log->LogRemoval(u"first");
  EXPECT_EQ(LogText(), kByteOrderMark + std::string("[2026-03-04 05:06:09.089] remove: first\r\n"));
}

TEST_F(RemovalLogTest, WritesEachFieldOfTheTimeInItsWidth) {
  // 2031-12-09 23:04:05.006 UTC, the smallest and the largest fields that need filling or do not.
  machine.clock.utcAtTickZero = 1'954'623'845'006 - machine.clock.tick;
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  EXPECT_EQ(LogText(), kByteOrderMark + std::string("[2031-12-09 23:04:05.006] remove: first\r\n"));
}

TEST_F(RemovalLogTest, DropsTheLineWhenTheFileCannotBeOpened) {
  log->SetRemovalLogPath(kSampleLog);
  process.faults = {FailingCall("_wfsopen", 5)};
  log->LogRemoval(u"first");
  log->LogRemoval(u"second");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\nvorn_devnode: second\n");
  EXPECT_EQ(LogText(),
            kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: second\r\n"));
  EXPECT_EQ(CountOf("GetSystemTime"), 1U);
  EXPECT_EQ(CountOf("fclose"), 1U);
  EXPECT_EQ(CountOf("GetSystemTime"), 1U) << "none is written without a file";
}

TEST_F(RemovalLogTest, DropsTheLineWhenTheFileIsReadOnly) {
  platform::simulated::PutFile(machine.files, kSampleLog, std::string_view("old\r\n"));
  platform::simulated::NodeAt(machine.files, kSampleLog).attributes |=
      platform::FILE_ATTRIBUTE_READONLY;
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\n");
  EXPECT_EQ(LogText(), "old\r\n");
}

TEST_F(RemovalLogTest, DropsTheLineWhenTheFileIsLocked) {
  platform::simulated::PutFile(machine.files, kSampleLog, std::string_view("old\r\n"));
  platform::simulated::HoldOpen(machine.files, kSampleLog, platform::FILE_READ_DATA, 0);
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\n");
  EXPECT_EQ(LogText(), "old\r\n");
}

TEST_F(RemovalLogTest, LetsOthersReadAndWriteTheFile) {
  platform::simulated::PutFile(machine.files, kSampleLog, std::string_view("old\r\n"));
  platform::simulated::HoldOpen(machine.files, kSampleLog,
                                platform::FILE_READ_DATA | platform::FILE_WRITE_DATA,
                                platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  EXPECT_EQ(LogText(), "old\r\n[2026-03-04 05:06:07.089] remove: first\r\n");
}

TEST_F(RemovalLogTest, DoesNotFailWhenTheLineCannotBeWritten) {
  log->SetRemovalLogPath(kSampleLog);
  process.faults = {FailingCall("fputws", 112, 2)};
  log->LogRemoval(u"first");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: first\n");
  EXPECT_EQ(CountOf("fclose"), 1U);
}

TEST_F(RemovalLogTest, DoesNotWriteToTheFileOfAnotherLog) {
  log->SetRemovalLogPath(kSampleLog);
  RemovalLog().LogRemoval(u"meanwhile");
  log.emplace();
  log->LogRemoval(u"afterwards");
  EXPECT_EQ(LogText(), "no file");
}

/// A guard that holds `owned` and approves the file while `*sound` is true.
LogFileGuard Guard(std::shared_ptr<int> owned, const bool* sound) {
  return [owned, sound]() -> std::shared_ptr<const void> {
    return *sound ? std::make_shared<int>(0) : nullptr;
  };
}

TEST_F(RemovalLogTest, HoldsWhatItsGuardOwnsUntilThePathIsReplacedOrTheLogEnds) {
  const bool sound = true;
  auto first = std::make_shared<int>(1);
  auto second = std::make_shared<int>(2);
  const std::weak_ptr<int> firstHeld = first;
  const std::weak_ptr<int> secondHeld = second;
  log->SetRemovalLogPath(kSampleLog, Guard(std::move(first), &sound));
  log->LogRemoval(u"first");
  EXPECT_FALSE(firstHeld.expired());
  log->SetRemovalLogPath(kSampleLog, Guard(std::move(second), &sound));
  EXPECT_TRUE(firstHeld.expired());
  EXPECT_FALSE(secondHeld.expired());
  log.reset();
  EXPECT_TRUE(secondHeld.expired());
}

TEST_F(RemovalLogTest, KeepsTheProofOfItsGuardUntilTheLineIsWritten) {
  std::weak_ptr<const void> proof;
  log->SetRemovalLogPath(kSampleLog, [&proof] {
    const auto made = std::make_shared<const int>(0);
    proof = made;
    return made;
  });
  bool held = false;
  process.faults = {tests::ChangeBefore("fclose", 1, [&](auto&) { held = !proof.expired(); })};
  log->LogRemoval(u"first");
  EXPECT_TRUE(held);
  EXPECT_TRUE(proof.expired());
}

TEST_F(RemovalLogTest, WritesToTheLatestPathOrToNone) {
  log->SetRemovalLogPath(u"C:\\pkg\\logs\\earlier.log");
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  log->SetRemovalLogPath(u"");
  log->LogRemoval(u"second");
  const auto opened = tests::CallsOf(process, "_wfsopen");
  ASSERT_EQ(opened.size(), 1U);
  EXPECT_EQ(opened[0].Argument("filename"), "C:\\pkg\\logs\\vorn_devnode.log");
}

TEST_F(RemovalLogTest, NeedsNoGuardAfterAPathWithoutOne) {
  const bool sound = false;
  log->SetRemovalLogPath(kSampleLog, Guard(nullptr, &sound));
  log->SetRemovalLogPath(kSampleLog);
  log->LogRemoval(u"first");
  EXPECT_EQ(LogText(), kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: first\r\n"));
}

TEST_F(RemovalLogTest, AsksItsGuardBeforeEachMessage) {
  bool sound = false;
  log->SetRemovalLogPath(kSampleLog, Guard(nullptr, &sound));
  log->LogRemoval(u"first");
  EXPECT_EQ(CountOf("_wfsopen"), 0U);
  sound = true;
  log->LogRemoval(u"second");
  sound = false;
  log->LogRemoval(u"third");
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: first\nvorn_devnode: second\nvorn_devnode: third\n");
  EXPECT_EQ(LogText(),
            kByteOrderMark + std::string("[2026-03-04 05:06:07.089] remove: second\r\n"));
}

}  // namespace
}  // namespace vorn
