// What the author of an installer finds out by accident, unless docs/integration.md tells it.

#include "lab/json_text.h"
#include "platform/simulated/machine.h"
#include "tests/integration/rehearsal.h"
#include "tests/support/machine_view.h"
#include "tests/support/planned_faults.h"
#include "tests/support/run_command.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <utility>

namespace vorn::tests {
namespace {

using lab::Json;
using lab::LabResult;
using platform::simulated::Machine;

std::string OldInf() {
  return Named("INF1");
}
std::string NewInf() {
  return Named("INF2");
}
std::string State() {
  return Named("STATE");
}

Json NewPackageWithImage(const std::string& image) {
  return {"package", Named("FOLDER2"), "--version", Named("VERSION2"),
          "--date",  Named("DATE2"),   "--image",   image};
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(InstallersAuthor, SeesTheSuccessOfTheOldPackageBeforeAFailure) {
  StagedMachine machine("installed");
  machine.Take(NewPackageWithImage(R"({"version":"26.9.1.1","revision":7})"));
  const LabResult update = machine.Run({"install", NewInf(), State()});
  EXPECT_EQ(update.status, 11);
  EXPECT_TRUE(Contains(update.Output(), "RESULT=OK"));
  EXPECT_TRUE(Contains(update.ErrorOutput(), "RESULT=ENDPOINTS_MISSING"));
}

TEST(InstallersAuthor, LosesAWorkingDriverByAnsweringEvery11ByRemove) {
  StagedMachine machine("installed");
  machine.Take({"delete", State()});
  const LabResult update =
      machine.Run({"--fault", "*#1:stop-service=Audiosrv", "install", NewInf(), State()});
  EXPECT_EQ(update.status, 11);
  machine.Take({"run", "audit-current", OldInf(), 0});  // the old driver runs
  machine.Run({"remove", NewInf()});
  EXPECT_TRUE(machine.Look().roots.empty());
}

TEST(InstallersAuthor, Meets9AfterAChangeInDeviceManager) {
  StagedMachine machine("installed");
  machine.Take({"run", "--fault", "*#1:disable=" + Named("ROOT"), "audit-catalog", 12});
  EXPECT_EQ(machine.Run({"install", NewInf(), State()}).status, 9);
}

TEST(InstallersAuthor, Meets9AfterAProductWithAStatePathOfItsOwn) {
  StagedMachine machine("installed");
  machine.Take({"run", "install", NewInf(), Named("PROGRAM") + "\\other-state", 0});
  EXPECT_EQ(machine.Run({"install", OldInf(), State()}).status, 9);
}

TEST(InstallersAuthor, GetsAJournalForEachVersionWithoutAStatePath) {
  StagedMachine machine("installed");
  machine.Take({"delete", State()});
  machine.Take({"run", "install", OldInf(), 0});
  machine.Take({"run", "install", NewInf(), 0});
  for (const char* version : {"VERSION1", "VERSION2"}) {
    const std::string path =
        Named("PROGRAM") + "\\" + Named(version) + "\\.vorn-driver-activation-state";
    EXPECT_TRUE(HasFile(machine.Load(), std::u16string(path.begin(), path.end()))) << path;
  }
  EXPECT_EQ(machine.Run({"install", OldInf()}).status, 9);
}

TEST(InstallersAuthor, RemovesThePackagesOfAllVersionsOneByOne) {
  StagedMachine machine("updated");
  EXPECT_EQ(machine.Look().packages.size(), 2U);
  machine.Take({"run", "remove", NewInf(), 0});
  EXPECT_EQ(machine.Look().packages.size(), 1U);
  machine.Take({"run", "remove", OldInf(), 0});
  EXPECT_TRUE(machine.Look().packages.empty());
}

// The other run makes its device between this one's look and its own device.
TEST(InstallersAuthor, GetsTwoDevicesFromTwoRunsAtATime) {
  Machine machine = platform::simulated::CleanMachine();
  platform::simulated::Fault other;
  other.call = "SetupDiCreateDeviceInfoList";
  other.kind = platform::simulated::FaultKind::Change;
  other.change = [](Machine& shared) {
    const auto published =
        platform::simulated::PublishPackage(shared, kSampleInf, kSampleHardwareId);
    platform::simulated::AddRoot(shared, kRootId);
    platform::simulated::BindPackage(shared, kRootId, *published);
    platform::simulated::RestartDevice(shared, kRootId);
  };
  const RunResult run =
      RunCommand(machine, {u"install", kSampleInf, u"C:\\pkg\\mine"}, {.faults = {other}});
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_EQ(InstalledRoots(machine).size(), 2U);
  // What the other run asks in the end.
  const RunResult proof = RunCommand(machine, {u"audit-current", kSampleInf});
  EXPECT_EQ(proof.status, kExitEndpointsMissing);
}

TEST(InstallersAuthor, CanAskWhetherThisSessionSeesEndpoints) {
  StagedMachine machine("installed");
  machine.Take({"set", "audio/redirected", true});
  const std::uint64_t start = machine.Look().tick;
  EXPECT_EQ(machine.Run({"audit-catalog"}).status, 11);
  EXPECT_EQ(machine.Look().tick, start);
  machine.Take({"delete", State()});
  EXPECT_EQ(machine.Run({"install", NewInf(), State()}).status, 11);
  EXPECT_GE(machine.Look().tick, start + 90'000);
}

TEST(InstallersAuthor, NeedsMoreThan1023CharactersForARemoval) {
  StagedMachine machine("installed");
  const LabResult removal = machine.Run({"remove", OldInf()});
  EXPECT_GT(removal.Output().size(), 1023U);
}

TEST(InstallersAuthor, NeedsAPlainFolderForTheJournal) {
  StagedMachine machine("installed");
  machine.Take({"run", "--fault", "*#1:junction=C:\\link|C:\\pkg", "audit-catalog", 0});
  for (const char* path : {"C:\\missing\\state", "C:\\link\\state"})
    EXPECT_EQ(machine.Run({"install", NewInf(), path}).status, 9) << path;
  EXPECT_FALSE(WhyNotRunning(machine.Load(), u"26.8.10.5"));
}

TEST(InstallersAuthor, FindsThePrivateCopyOfAKilledRun) {
  StagedMachine machine("installed");
  machine.Run({"--fault", "UpdateDriverForPlugAndPlayDevicesW:kill", "install", NewInf(), State()});
  EXPECT_EQ(SnapshotFolders(machine.Load()).size(), 1U);
}

TEST(InstallersAuthor, FindsTheFailureOfARemovalInItsLog) {
  StagedMachine machine("installed");
  machine.Take({"set", "devices/" + Named("ROOT") + "/temper", Json{{"vetoUntil", 1'000'000'000}}});
  machine.Take({"run", "remove", OldInf(), 17});
  const std::string log = Named("PROGRAM") + "\\" + Named("VERSION1") + "\\logs\\vorn_devnode.log";
  EXPECT_TRUE(Contains(TextOf(machine.Load(), std::u16string(log.begin(), log.end())),
                       "RESULT=REMOVE_BUSY"));
}

TEST(InstallersAuthor, GetsNoLineForAPathThatInstallRefuses) {
  StagedMachine machine("installed");
  std::string slashes = NewInf();
  std::replace(slashes.begin(), slashes.end(), '\\', '/');
  const std::vector<std::vector<std::string>> calls = {
      {"install", slashes, State()},         {"install", "vorn_audio.inf", State()},
      {"install", NewInf() + " ", State()},  {"install", NewInf(), "state"},
      {"install", "C:\\vorn_audio.inf"},     {"install", "\\\\server\\vorn_audio.inf", State()},
      {"install", NewInf() + ":x", State()}, {"install", "C:\\aux\\vorn_audio.inf", State()},
  };
  for (const auto& call : calls) {
    const LabResult result = machine.Run(call);
    EXPECT_EQ(result.status, 2) << call[1];
    EXPECT_EQ(result.Output() + result.ErrorOutput(), "") << call[1];
  }
}

// The device is on its way out, and its endpoints are out of sight.
TEST(InstallersAuthor, Gets11FromAnInstallBetweenARemovalAndItsRestart) {
  StagedMachine machine("installed");
  const Json::Object temper = {{"removeNeedsRestart", true}, {"removeKeepsNodeUntilRestart", true}};
  machine.Take({"set", "devices/" + Named("ROOT") + "/temper", Json(temper)});
  machine.Take({"run", "remove", OldInf(), 10});
  machine.Take({"delete", State()});
  EXPECT_EQ(machine.Run({"install", NewInf(), State()}).status, 11);
}

TEST(InstallersAuthor, Meets11And12And16BothWithAndWithoutTheJournalsLine) {
  std::set<std::pair<int, bool>> seen;
  for (const Decision& row : DecisionTable::Get().Rows())
    seen.insert({row.staging.status, AnyHasForm(RehearsalOf(row).lines, kPersisted)});
  for (const int status : {11, 12, 16}) {
    EXPECT_TRUE(seen.contains({status, true})) << status;
    EXPECT_TRUE(seen.contains({status, false})) << status;
  }
}

// ------------------------------------------------------------------------------------------------
// Waits, in milliseconds of the machine's time.

std::uint64_t TimeOf(StagedMachine& machine, const std::vector<std::string>& words, int status) {
  const std::uint64_t start = machine.Look().tick;
  const LabResult result = machine.Run(words);
  EXPECT_EQ(result.status, status) << result.Output() << result.ErrorOutput();
  return machine.Look().tick - start;
}

TEST(Waits, OfAProofEndAfter110Seconds) {
  StagedMachine machine("clean");
  machine.Take(NewPackageWithImage(R"({"version":"26.9.1.1","revision":7,"startDelay":19900})"));
  const std::uint64_t time = TimeOf(machine, {"install", NewInf(), State()}, 11);
  EXPECT_GT(time, 109'000U);
  EXPECT_LE(time, 110'000U + 2'000U);  // the last pause between two looks
}

TEST(Waits, ForAHotRestartEndAfter30Seconds) {
  StagedMachine machine("installed");
  machine.Take({"set", "devices/" + Named("ROOT") + "/temper", Json{{"restartProblem", 10}}});
  const auto words = {std::string("hot-activate"), Named("VERSION1"), Named("DATE1"), State()};
  EXPECT_EQ(TimeOf(machine, words, 15), 30'000U);
}

TEST(Waits, ForLeftOverDevicesEndAfter30Seconds) {
  EXPECT_EQ(DecisionTable::Get().Row("install-cleanup").seconds, 30U);
}

TEST(Waits, ForProgramsThatHoldTheDeviceEndAfter10Seconds) {
  EXPECT_EQ(DecisionTable::Get().Row("remove-busy").seconds, 10U);
}

TEST(Waits, ForADeviceThatStaysEndAfter30Seconds) {
  EXPECT_EQ(DecisionTable::Get().Row("remove-root-stays").seconds, 30U);
}

TEST(Waits, ForEndpointRecordsEndAfter10Seconds) {
  StagedMachine machine("installed");
  machine.Take({"set", "audio/recordsStayActive", true});
  const std::vector<std::string> words = {"--fault", "DeviceIoControl:fail=5", "remove", OldInf()};
  EXPECT_EQ(TimeOf(machine, words, 0), 10'000U);
}

TEST(Waits, AreNoneInAuditCatalogAndResumeEndpoints) {
  for (const Decision& row : DecisionTable::Get().Rows()) {
    const std::string& command = row.staging.words.back();
    if (command == "audit-catalog" || command == "resume-endpoints") {
      EXPECT_EQ(row.seconds, 0U) << row.id;
    }
  }
}

}  // namespace
}  // namespace vorn::tests
