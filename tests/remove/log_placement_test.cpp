#include "remove/log_placement.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "privileged_input/native_api.h"
#include "privileged_input/native_open.h"
#include "report/removal_log.h"
#include "tests/support/console_calls.h"
#include "tests/support/device_world.h"
#include "tests/support/sample.h"

#include <optional>
#include <string>
#include <string_view>

namespace vorn {
namespace {

using namespace platform::simulated;
using tests::ChangeBefore;
using tests::FailingCall;
using tests::kSampleInf;
using tests::kSampleLog;
using tests::kSampleLogFolder;

constexpr char16_t kTarget[] = u"C:\\Windows\\System32\\drivers\\theirs.txt";

class LogPlacement : public tests::DeviceWorld {
 protected:
  LogPlacement() : tests::DeviceWorld(CleanMachine()) {
    // 2026-03-04 05:06:07.089 UTC
    machine.clock.utcAtTickZero = 1'772'600'767'089 - machine.clock.tick;
    PutFile(machine.files, kTarget, "theirs\r\n");
  }

  // The log holds its folders, and the fixture checks what is left open before members are
  // destroyed.
  void TearDown() override {
    log.reset();
    DeviceWorld::TearDown();
  }

  /// Begins a run, whose log is placed for that INF. An earlier run is over by then.
  void Place(std::u16string_view infPath) {
    log.emplace();
    PlaceRemovalLog(infPath, *log);
  }

  /// Whether a message reaches the file. It must reach standard error in any case.
  bool LogsAMessage() {
    process.console.clear();
    log->LogRemoval(u"message");
    EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: message\n");
    return TextOf(kSampleLog).find("remove: message\r\n") != std::string::npos;
  }

  std::string TextOf(std::u16string_view path) const {
    const auto content = ReadWholeFile(machine.files, path);
    return content ? std::string(content->begin(), content->end()) : "no file";
  }

  bool Exists(std::u16string_view path) const { return FindNode(machine.files, path).has_value(); }

  /// Whether somebody else could now rename or delete what is at that path.
  bool CanBeMoved(const std::u16string& path) {
    const auto api = privileged_input::LoadNativeApi();
    const std::uint32_t all =
        platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE;
    const bool directory = NodeAt(machine.files, path).directory;
    const privileged_input::OpenRequest request = {
        platform::DELETE, platform::FILE_OPEN,
        directory ? platform::FILE_DIRECTORY_FILE : platform::FILE_NON_DIRECTORY_FILE, all};
    const auto handle = privileged_input::OpenNative(
        api, nullptr, u"\\Device\\HarddiskVolume3" + path.substr(2), request);
    if (!handle) {
      EXPECT_EQ(platform::GetLastError(), platform::ERROR_SHARING_VIOLATION);
    }
    return static_cast<bool>(handle);
  }

  std::optional<RemovalLog> log;
};

// ------------------------------------------------------------------------------------------------
// Where it goes.

TEST_F(LogPlacement, IsBesideTheFolderOfTheInf) {
  Place(kSampleInf);
  EXPECT_TRUE(Exists(kSampleLogFolder));
  EXPECT_FALSE(Exists(kSampleLog)) << "a run that logs nothing leaves no file";
  EXPECT_TRUE(LogsAMessage());
  EXPECT_EQ(TextOf(kSampleLog), "\xEF\xBB\xBF[2026-03-04 05:06:07.089] remove: message\r\n");
  EXPECT_TRUE(process.Output().empty());
}

TEST_F(LogPlacement, AppendsToTheLogOfEarlierRuns) {
  PutFile(machine.files, kSampleLog, "\xEF\xBB\xBFold\r\n");
  Place(kSampleInf);
  EXPECT_TRUE(LogsAMessage());
  EXPECT_EQ(TextOf(kSampleLog), "\xEF\xBB\xBFold\r\n[2026-03-04 05:06:07.089] remove: message\r\n");
}

TEST_F(LogPlacement, NeedsAFolderAboveTheInfsOwn) {
  for (const auto path : {u"", u"vorn_audio.inf", u"C:\\vorn_audio.inf", u"driver\\vorn_audio.inf",
                          u"C:vorn_audio.inf", u"\\vorn_audio.inf"}) {
    SCOPED_TRACE(std::string(path, path + std::char_traits<char16_t>::length(path)));
    const FileSystem before = machine.files;
    Place(path);
    process.console.clear();
    log->LogRemoval(u"message");
    EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: message\n");
    EXPECT_EQ(machine.files, before);
    EXPECT_EQ(CountOf("CreateDirectoryW"), 0U);
  }
}

TEST_F(LogPlacement, CanBeInTheRootOfADrive) {
  Place(u"C:\\driver\\vorn_audio.inf");
  log->LogRemoval(u"message");
  EXPECT_EQ(TextOf(u"C:\\logs\\vorn_devnode.log"),
            "\xEF\xBB\xBF[2026-03-04 05:06:07.089] remove: message\r\n");
}

TEST_F(LogPlacement, IsNotThatOfAnEarlierRun) {
  Place(kSampleInf);
  Place(u"vorn_audio.inf");
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(CountOwnOpens(machine.files), 0U);
}

TEST_F(LogPlacement, CreatesOneFolderAndNoMore) {
  Place(u"C:\\new\\driver\\vorn_audio.inf");
  EXPECT_FALSE(Exists(u"C:\\new"));
  EXPECT_FALSE(LogsAMessage());
}

TEST_F(LogPlacement, UsesAFolderThatExists) {
  MakeFolder(machine.files, kSampleLogFolder);
  PutFile(machine.files, u"C:\\pkg\\logs\\other.log", "other");
  Place(kSampleInf);
  EXPECT_TRUE(LogsAMessage());
  EXPECT_EQ(TextOf(u"C:\\pkg\\logs\\other.log"), "other");
}

TEST_F(LogPlacement, LeavesTheNewFileTheSecurityOfItsFolder) {
  Place(kSampleInf);
  EXPECT_TRUE(LogsAMessage());
  const SecurityRecord& folder = NodeAt(machine.files, kSampleLogFolder).security;
  EXPECT_EQ(ToSddl(NodeAt(machine.files, kSampleLog).security),
            ToSddl(InheritFrom(folder, false, kAdministrators)));
}

// ------------------------------------------------------------------------------------------------
// Places that are not what they should be.

TEST_F(LogPlacement, CannotHaveAFileInPlaceOfItsFolder) {
  PutFile(machine.files, kSampleLogFolder, "a file");
  Place(kSampleInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(TextOf(kSampleLogFolder), "a file");
}

TEST_F(LogPlacement, CannotHaveAFolderInPlaceOfItsFile) {
  MakeFolder(machine.files, kSampleLog);
  Place(kSampleInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_TRUE(NodeAt(machine.files, kSampleLog).entries.empty());
}

TEST_F(LogPlacement, DoesNotFollowALinkInPlaceOfItsFolder) {
  MakeFolder(machine.files, u"C:\\elsewhere");
  for (const ReparseKind kind : {ReparseKind::Junction, ReparseKind::SymbolicLink}) {
    PutLink(machine.files, kSampleLogFolder, kind, u"C:\\elsewhere", true);
    Place(kSampleInf);
    EXPECT_FALSE(LogsAMessage());
    EXPECT_TRUE(ListFolder(machine.files, u"C:\\elsewhere").empty());
    RemovePath(machine.files, kSampleLogFolder);
  }
}

TEST_F(LogPlacement, DoesNotFollowALinkAboveItsFolder) {
  MakeFolder(machine.files, u"C:\\elsewhere\\driver");
  PutLink(machine.files, u"C:\\link", ReparseKind::Junction, u"C:\\elsewhere", true);
  Place(u"C:\\link\\driver\\vorn_audio.inf");
  log->LogRemoval(u"message");
  EXPECT_EQ(ListFolder(machine.files, u"C:\\elsewhere"), std::vector<std::u16string>{u"driver"});
  EXPECT_EQ(CountOf("CreateDirectoryW"), 0U);
}

TEST_F(LogPlacement, DoesNotFollowALinkInPlaceOfItsFile) {
  MakeFolder(machine.files, kSampleLogFolder);
  for (const char16_t* target : {kTarget, u"C:\\pkg\\new.txt"}) {
    PutLink(machine.files, kSampleLog, ReparseKind::SymbolicLink, target, false);
    Place(kSampleInf);
    log->LogRemoval(u"message");
    EXPECT_EQ(CountOf("_wfsopen"), 0U);
    EXPECT_EQ(TextOf(kTarget), "theirs\r\n");
    EXPECT_FALSE(Exists(u"C:\\pkg\\new.txt"));
    RemovePath(machine.files, kSampleLog);
  }
}

TEST_F(LogPlacement, DoesNotWriteToAFileThatHasASecondName) {
  MakeFolder(machine.files, kSampleLogFolder);
  AddHardLink(machine.files, kTarget, kSampleLog);
  Place(kSampleInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(TextOf(kTarget), "theirs\r\n");
}

TEST_F(LogPlacement, DoesNotWriteToWhatIsNotAFileOnADisk) {
  PutFile(machine.files, kSampleLog, "");
  NodeAt(machine.files, kSampleLog).reportedType = platform::FILE_TYPE_DISK + 1;
  Place(kSampleInf);
  EXPECT_FALSE(LogsAMessage());
}

TEST_F(LogPlacement, ChecksItsFileOnceForEachMessage) {
  for (const auto call :
       {"GetFileType", "GetFileInformationByHandle", "GetFileInformationByHandleEx"}) {
    Place(kSampleInf);
    process.faults = {tests::AlwaysFailingCall(call, 5)};
    process.calls.clear();
    EXPECT_FALSE(LogsAMessage());
    process.faults.clear();
    EXPECT_EQ(CountOf(call), 1U) << call;
  }
}

TEST_F(LogPlacement, DoesNotBelieveAFailedCheck) {
  Place(kSampleInf);
  process.faults = {tests::FailingAfterEffect("GetFileInformationByHandle", 5)};
  EXPECT_FALSE(LogsAMessage());
}

TEST_F(LogPlacement, ChecksItsFolderOnceForEachMessage) {
  Place(kSampleInf);
  ASSERT_TRUE(LogsAMessage());
  process.calls.clear();
  // The first check is that of the file.
  process.callCounts.clear();
  process.faults = {FailingCall("GetFileType", 5, 2)};
  LogsAMessage();
  process.faults.clear();
  EXPECT_EQ(CountOf("GetFileType"), 2U);
}

TEST_F(LogPlacement, LosesMessagesToAReadOnlyFile) {
  PutFile(machine.files, kSampleLog, "old\r\n");
  NodeAt(machine.files, kSampleLog).attributes |= platform::FILE_ATTRIBUTE_READONLY;
  Place(kSampleInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(TextOf(kSampleLog), "old\r\n");
}

TEST_F(LogPlacement, LosesMessagesOnlyAsLongAsTheFileIsLocked) {
  PutFile(machine.files, kSampleLog, "old\r\n");
  const auto hold = HoldOpen(machine.files, kSampleLog, platform::FILE_WRITE_DATA, 0);
  Place(kSampleInf);
  EXPECT_FALSE(LogsAMessage());
  ReleaseHold(machine.files, hold);
  EXPECT_TRUE(LogsAMessage());
}

TEST_F(LogPlacement, IsHeldForReadingWhileOthersReadAndWrite) {
  Place(kSampleInf);
  process.logCalls = true;
  EXPECT_TRUE(LogsAMessage());
  int opens = 0;
  for (const CallRecord& call : tests::CallsOf(process, "NtCreateFile")) {
    if (call.Argument("ObjectName") != "vorn_devnode.log") continue;
    ++opens;
    EXPECT_EQ(call.Argument("DesiredAccess"), "0x80120000");
    EXPECT_EQ(call.Argument("ShareAccess"), "0x3");
  }
  EXPECT_GT(opens, 0);
}

TEST_F(LogPlacement, LetsOthersReadAndAppendMeanwhile) {
  PutFile(machine.files, kSampleLog, "old\r\n");
  HoldOpen(machine.files, kSampleLog, platform::FILE_READ_DATA | platform::FILE_APPEND_DATA,
           platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
  Place(kSampleInf);
  EXPECT_TRUE(LogsAMessage());
}

TEST_F(LogPlacement, IsGivenUpWhereTheFolderCannotBeMade) {
  for (const std::uint32_t error : {3U, 5U, 19U, 39U, 112U}) {
    process.faults = {FailingCall("CreateDirectoryW", error)};
    process.callCounts.clear();
    Place(kSampleInf);
    EXPECT_FALSE(LogsAMessage()) << error;
    EXPECT_FALSE(Exists(kSampleLogFolder));
  }
}

TEST_F(LogPlacement, IsGivenUpInAFolderThatExistsButDoesNotSaySo) {
  MakeFolder(machine.files, kSampleLogFolder);
  for (const std::uint32_t error : {2U, 3U, 5U, 19U, 32U, 80U, 112U}) {
    SCOPED_TRACE(error);
    process.callCounts.clear();
    process.faults = {FailingCall("CreateDirectoryW", error)};
    Place(kSampleInf);
    EXPECT_FALSE(LogsAMessage());
    EXPECT_TRUE(ListFolder(machine.files, kSampleLogFolder).empty());
  }
}

TEST_F(LogPlacement, IsNotCreatedWhenItCannotBeOpenedForAnotherReasonThanItsAbsence) {
  Place(kSampleInf);
  for (const platform::NTSTATUS status :
       {platform::STATUS_OBJECT_PATH_NOT_FOUND, platform::STATUS_ACCESS_DENIED,
        platform::STATUS_SHARING_VIOLATION, platform::STATUS_OBJECT_NAME_INVALID}) {
    SCOPED_TRACE(status);
    process.calls.clear();
    process.callCounts.clear();
    process.faults = {FailingCall("NtCreateFile", static_cast<std::uint32_t>(status))};
    EXPECT_FALSE(LogsAMessage());
    EXPECT_EQ(CountOf("NtCreateFile"), 1U);
    EXPECT_TRUE(ListFolder(machine.files, kSampleLogFolder).empty());
  }
}

TEST_F(LogPlacement, IsGivenUpInAFolderThatDeniesNewFiles) {
  MakeFolder(machine.files, kSampleLogFolder);
  NodeAt(machine.files, kSampleLogFolder).security =
      *ParseSddl(u"O:SYD:P(A;OICI;FA;;;SY)(A;OICI;0x1200a9;;;BA)");
  Place(kSampleInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_TRUE(ListFolder(machine.files, kSampleLogFolder).empty());
}

TEST_F(LogPlacement, IsGivenUpOnADriveThatIsNoDisk) {
  machine.files.dosDevices[u"X:"] = u"\\Device\\LanmanRedirector\\;X:0\\server\\share";
  Place(u"X:\\pkg\\driver\\vorn_audio.inf");
  log->LogRemoval(u"message");
  EXPECT_EQ(CountOf("CreateDirectoryW"), 0U);
  EXPECT_EQ(CountOf("_wfsopen"), 0U);
}

// ------------------------------------------------------------------------------------------------
// The place cannot change afterwards.

TEST_F(LogPlacement, HoldsItsFoldersUntilTheLogEnds) {
  Place(kSampleInf);
  EXPECT_FALSE(CanBeMoved(u"C:\\pkg"));
  EXPECT_FALSE(CanBeMoved(kSampleLogFolder));
  log->LogRemoval(u"message");
  EXPECT_FALSE(CanBeMoved(kSampleLogFolder));
  EXPECT_TRUE(CanBeMoved(kSampleLog)) << "between messages the file is free";
  log.reset();
  EXPECT_TRUE(CanBeMoved(u"C:\\pkg"));
  EXPECT_TRUE(CanBeMoved(kSampleLogFolder));
  EXPECT_EQ(CountOwnOpens(machine.files), 0U);
}

TEST_F(LogPlacement, HoldsTheFileWhileAMessageIsWritten) {
  Place(kSampleInf);
  bool asked = false;
  process.faults = {ChangeBefore("_wfsopen", 1, [&asked](Machine& world) {
    asked = true;
    const NodeId file = *FindNode(world.files, kSampleLog);
    bool held = false;
    for (const auto& [key, open] : world.files.opens) {
      held |= key.node == file && (open.share & platform::FILE_SHARE_DELETE) == 0;
    }
    EXPECT_TRUE(held);
  })};
  EXPECT_TRUE(LogsAMessage());
  EXPECT_TRUE(asked);
}

TEST_F(LogPlacement, IsNotUsedWhenItsHeldFolderBecomesALink) {
  Place(kSampleInf);
  Node& folder = NodeAt(machine.files, kSampleLogFolder);
  folder.reparse = ReparseKind::Junction;
  folder.reparseTarget = u"C:\\Windows";
  log->LogRemoval(u"message");
  EXPECT_FALSE(Exists(u"C:\\Windows\\vorn_devnode.log"));
}

TEST_F(LogPlacement, StaysOnTheVolumeWhoseLetterItWasGiven) {
  machine.files.dosDevices[u"P:"] = u"\\Device\\HarddiskVolume3";
  Place(u"P:\\pkg\\driver\\vorn_audio.inf");
  machine.files.dosDevices[u"P:"] = u"\\??\\C:\\Windows";
  EXPECT_TRUE(LogsAMessage());
}

TEST_F(LogPlacement, ProvesTheFileAnewForEachMessage) {
  Place(kSampleInf);
  EXPECT_TRUE(LogsAMessage());
  RemovePath(machine.files, kSampleLog);
  AddHardLink(machine.files, kTarget, kSampleLog);
  EXPECT_FALSE(LogsAMessage());
  RemovePath(machine.files, kSampleLog);
  PutLink(machine.files, kSampleLog, ReparseKind::SymbolicLink, kTarget, false);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(TextOf(kTarget), "theirs\r\n");
  RemovePath(machine.files, kSampleLog);
  EXPECT_TRUE(LogsAMessage());
}

TEST_F(LogPlacement, NeverWritesElsewhereWhicheverCallFails) {
  const Machine start = machine;
  Place(kSampleInf);
  log->LogRemoval(u"message");
  log.reset();
  const std::vector<CallRecord> calls = process.calls;
  for (std::uint32_t nth = 1; nth <= calls.size(); ++nth) {
    const std::string& name = calls[nth - 1].name;
    // What cannot be closed stays open; the console is of no interest here.
    if (name == "CloseHandle" || tests::IsPrinting(name) || name == "fclose") continue;
    SCOPED_TRACE(std::to_string(nth) + ": " + name);
    machine = start;
    process.callCount = 0;
    process.callCounts.clear();
    process.console.clear();
    Fault fault = FailingCall("*", platform::ERROR_ACCESS_DENIED, nth);
    process.faults = {fault};
    Place(kSampleInf);
    log->LogRemoval(u"message");
    log.reset();
    process.faults.clear();
    EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: message\n");
    EXPECT_EQ(CountOwnOpens(machine.files), 0U);
    RemovePath(machine.files, kSampleLogFolder);
    EXPECT_EQ(machine.files, start.files);
  }
}

}  // namespace
}  // namespace vorn
