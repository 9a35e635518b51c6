#include "remove/log_placement.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "privileged_input/native_api.h"
#include "privileged_input/native_open.h"
#include "report/removal_log.h"
#include "tests/support/device_world.h"

#include <optional>
#include <string>
#include <string_view>

namespace vorn {
namespace {

using namespace platform::simulated;
using tests::ChangeBefore;
using tests::FailingCall;

constexpr char16_t kInf[] = u"C:\\pkg\\driver\\vorn_audio.inf";
constexpr char16_t kLogFolder[] = u"C:\\pkg\\logs";
constexpr char16_t kLogPath[] = u"C:\\pkg\\logs\\vorn_devnode.log";
constexpr char16_t kTarget[] = u"C:\\Windows\\System32\\drivers\\theirs.txt";

class LogPlacement : public tests::DeviceWorld {
 protected:
  LogPlacement() : tests::DeviceWorld(CleanMachine()) {
    // 2026-03-04 05:06:07.089 UTC
    machine.clock.utcAtTickZero = 1'772'600'767'089 - machine.clock.tick;
    PutFile(machine.files, kTarget, "theirs\r\n");
  }

  // The log holds its folders; the fixture's check of what is left open comes before members go.
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
    return TextOf(kLogPath).find("remove: message\r\n") != std::string::npos;
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
  Place(kInf);
  EXPECT_TRUE(Exists(kLogFolder));
  EXPECT_FALSE(Exists(kLogPath)) << "a run that logs nothing leaves no file";
  EXPECT_TRUE(LogsAMessage());
  EXPECT_EQ(TextOf(kLogPath), "\xEF\xBB\xBF[2026-03-04 05:06:07.089] remove: message\r\n");
  EXPECT_TRUE(process.Output().empty());
}

TEST_F(LogPlacement, AppendsToTheLogOfEarlierRuns) {
  PutFile(machine.files, kLogPath, "\xEF\xBB\xBFold\r\n");
  Place(kInf);
  EXPECT_TRUE(LogsAMessage());
  EXPECT_EQ(TextOf(kLogPath), "\xEF\xBB\xBFold\r\n[2026-03-04 05:06:07.089] remove: message\r\n");
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

TEST_F(LogPlacement, DoesNotKnowThePlaceOfAnEarlierRun) {
  Place(kInf);
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
  MakeFolder(machine.files, kLogFolder);
  PutFile(machine.files, u"C:\\pkg\\logs\\other.log", "other");
  Place(kInf);
  EXPECT_TRUE(LogsAMessage());
  EXPECT_EQ(TextOf(u"C:\\pkg\\logs\\other.log"), "other");
}

TEST_F(LogPlacement, LeavesTheNewFileTheSecurityOfItsFolder) {
  Place(kInf);
  EXPECT_TRUE(LogsAMessage());
  const SecurityRecord& folder = NodeAt(machine.files, kLogFolder).security;
  EXPECT_EQ(ToSddl(NodeAt(machine.files, kLogPath).security),
            ToSddl(InheritFrom(folder, false, kAdministrators)));
}

// ------------------------------------------------------------------------------------------------
// Places that are not what they should be.

TEST_F(LogPlacement, CannotHaveAFileInPlaceOfItsFolder) {
  PutFile(machine.files, kLogFolder, "a file");
  Place(kInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(TextOf(kLogFolder), "a file");
}

TEST_F(LogPlacement, CannotHaveAFolderInPlaceOfItsFile) {
  MakeFolder(machine.files, kLogPath);
  Place(kInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_TRUE(NodeAt(machine.files, kLogPath).entries.empty());
}

TEST_F(LogPlacement, DoesNotFollowALinkInPlaceOfItsFolder) {
  MakeFolder(machine.files, u"C:\\elsewhere");
  for (const ReparseKind kind : {ReparseKind::Junction, ReparseKind::SymbolicLink}) {
    PutLink(machine.files, kLogFolder, kind, u"C:\\elsewhere", true);
    Place(kInf);
    EXPECT_FALSE(LogsAMessage());
    EXPECT_TRUE(ListFolder(machine.files, u"C:\\elsewhere").empty());
    RemovePath(machine.files, kLogFolder);
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
  MakeFolder(machine.files, kLogFolder);
  for (const char16_t* target : {kTarget, u"C:\\pkg\\new.txt"}) {
    PutLink(machine.files, kLogPath, ReparseKind::SymbolicLink, target, false);
    Place(kInf);
    log->LogRemoval(u"message");
    EXPECT_EQ(CountOf("_wfsopen"), 0U);
    EXPECT_EQ(TextOf(kTarget), "theirs\r\n");
    EXPECT_FALSE(Exists(u"C:\\pkg\\new.txt"));
    RemovePath(machine.files, kLogPath);
  }
}

TEST_F(LogPlacement, DoesNotWriteToAFileThatHasASecondName) {
  MakeFolder(machine.files, kLogFolder);
  AddHardLink(machine.files, kTarget, kLogPath);
  Place(kInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(TextOf(kTarget), "theirs\r\n");
}

TEST_F(LogPlacement, DoesNotWriteToWhatIsNoFileOnADisk) {
  PutFile(machine.files, kLogPath, "");
  NodeAt(machine.files, kLogPath).reportedType = platform::FILE_TYPE_DISK + 1;
  Place(kInf);
  EXPECT_FALSE(LogsAMessage());
}

TEST_F(LogPlacement, LosesMessagesToAReadOnlyFile) {
  PutFile(machine.files, kLogPath, "old\r\n");
  NodeAt(machine.files, kLogPath).attributes |= platform::FILE_ATTRIBUTE_READONLY;
  Place(kInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(TextOf(kLogPath), "old\r\n");
}

TEST_F(LogPlacement, LosesMessagesOnlyAsLongAsTheFileIsLocked) {
  PutFile(machine.files, kLogPath, "old\r\n");
  const auto hold = HoldOpen(machine.files, kLogPath, platform::FILE_WRITE_DATA, 0);
  Place(kInf);
  EXPECT_FALSE(LogsAMessage());
  ReleaseHold(machine.files, hold);
  EXPECT_TRUE(LogsAMessage());
}

TEST_F(LogPlacement, IsHeldForReadingWhileOthersReadAndWrite) {
  Place(kInf);
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
  PutFile(machine.files, kLogPath, "old\r\n");
  HoldOpen(machine.files, kLogPath, platform::FILE_READ_DATA | platform::FILE_APPEND_DATA,
           platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
  Place(kInf);
  EXPECT_TRUE(LogsAMessage());
}

TEST_F(LogPlacement, IsGivenUpWhereTheFolderCannotBeMade) {
  for (const std::uint32_t error : {3U, 5U, 19U, 39U, 112U}) {
    process.faults = {FailingCall("CreateDirectoryW", error)};
    process.callCounts.clear();
    Place(kInf);
    EXPECT_FALSE(LogsAMessage()) << error;
    EXPECT_FALSE(Exists(kLogFolder));
  }
}

TEST_F(LogPlacement, IsGivenUpInAFolderThatDeniesNewFiles) {
  MakeFolder(machine.files, kLogFolder);
  NodeAt(machine.files, kLogFolder).security =
      *ParseSddl(u"O:SYD:P(A;OICI;FA;;;SY)(A;OICI;0x1200a9;;;BA)");
  Place(kInf);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_TRUE(ListFolder(machine.files, kLogFolder).empty());
}

TEST_F(LogPlacement, IsGivenUpOnADriveThatIsNoDisk) {
  machine.files.dosDevices[u"X:"] = u"\\Device\\LanmanRedirector\\;X:0\\server\\share";
  Place(u"X:\\pkg\\driver\\vorn_audio.inf");
  log->LogRemoval(u"message");
  EXPECT_EQ(CountOf("CreateDirectoryW"), 0U);
  EXPECT_EQ(CountOf("_wfsopen"), 0U);
}

// ------------------------------------------------------------------------------------------------
// The place stays what it was found to be.

TEST_F(LogPlacement, HoldsItsFoldersUntilTheLogEnds) {
  Place(kInf);
  EXPECT_FALSE(CanBeMoved(u"C:\\pkg"));
  EXPECT_FALSE(CanBeMoved(kLogFolder));
  log->LogRemoval(u"message");
  EXPECT_FALSE(CanBeMoved(kLogFolder));
  EXPECT_TRUE(CanBeMoved(kLogPath)) << "between messages the file is free";
  log.reset();
  EXPECT_TRUE(CanBeMoved(u"C:\\pkg"));
  EXPECT_TRUE(CanBeMoved(kLogFolder));
  EXPECT_EQ(CountOwnOpens(machine.files), 0U);
}

TEST_F(LogPlacement, HoldsTheFileWhileAMessageIsWritten) {
  Place(kInf);
  bool asked = false;
  process.faults = {ChangeBefore("_wfsopen", 1, [&asked](Machine& world) {
    asked = true;
    const NodeId file = *FindNode(world.files, kLogPath);
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
  Place(kInf);
  Node& folder = NodeAt(machine.files, kLogFolder);
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
  Place(kInf);
  EXPECT_TRUE(LogsAMessage());
  RemovePath(machine.files, kLogPath);
  AddHardLink(machine.files, kTarget, kLogPath);
  EXPECT_FALSE(LogsAMessage());
  RemovePath(machine.files, kLogPath);
  PutLink(machine.files, kLogPath, ReparseKind::SymbolicLink, kTarget, false);
  EXPECT_FALSE(LogsAMessage());
  EXPECT_EQ(TextOf(kTarget), "theirs\r\n");
  RemovePath(machine.files, kLogPath);
  EXPECT_TRUE(LogsAMessage());
}

TEST_F(LogPlacement, NeverWritesElsewhereWhateverCallFails) {
  const Machine start = machine;
  Place(kInf);
  log->LogRemoval(u"message");
  log.reset();
  const std::vector<CallRecord> calls = process.calls;
  for (std::uint32_t nth = 1; nth <= calls.size(); ++nth) {
    const std::string& name = calls[nth - 1].name;
    // What cannot be closed stays open; what the console does is not looked at here.
    if (name == "CloseHandle" || name == "fputws" || name == "fclose") continue;
    SCOPED_TRACE(std::to_string(nth) + ": " + name);
    machine = start;
    process.callCount = 0;
    process.callCounts.clear();
    process.console.clear();
    Fault fault = FailingCall("*", platform::ERROR_ACCESS_DENIED, nth);
    process.faults = {fault};
    Place(kInf);
    log->LogRemoval(u"message");
    log.reset();
    process.faults.clear();
    EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: message\n");
    EXPECT_EQ(CountOwnOpens(machine.files), 0U);
    RemovePath(machine.files, kLogFolder);
    EXPECT_EQ(machine.files, start.files);
  }
}

}  // namespace
}  // namespace vorn
