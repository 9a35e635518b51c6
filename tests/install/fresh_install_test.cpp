// The install command on a machine without a root device.

#include "base/text.h"
#include "platform/device_setup.h"
#include "platform/files.h"
#include "platform/simulated/error_values.h"
#include "tests/install/install_run.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/judged_run.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::CallRecord;
using platform::simulated::CleanMachine;
using platform::simulated::DriverImage;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::FindNode;
using platform::simulated::Machine;
using tests::Console;
using tests::Err;
using tests::ExpectRun;
using tests::ExpectTidy;
using tests::FailingCall;
using tests::Install;
using tests::InstalledRootIds;
using tests::InstallRollback;
using tests::JournalIn;
using tests::kPersisted;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::Out;
using tests::ProvenLine;
using tests::RootOf;
using tests::RunCommand;
using tests::RunResult;

const auto kInstalled = Out("vorn_devnode: Root\\VornAudio installed");

/// The index of the first call of that name in the log; there must be one.
std::size_t PlaceOf(const RunResult& run, std::string_view name) {
  const auto found = std::find_if(run.calls.begin(), run.calls.end(),
                                  [name](const CallRecord& call) { return call.name == name; });
  EXPECT_NE(found, run.calls.end()) << name << " was not called";
  return static_cast<std::size_t>(found - run.calls.begin());
}

/// The index of the last one.
std::size_t LastPlaceOf(const RunResult& run, std::string_view name) {
  const auto found = std::find_if(run.calls.rbegin(), run.calls.rend(),
                                  [name](const CallRecord& call) { return call.name == name; });
  EXPECT_NE(found, run.calls.rend()) << name << " was not called";
  return static_cast<std::size_t>(run.calls.rend() - found) - 1;
}

TEST(FreshInstall, CreatesTheDeviceAndProvesIt) {
  Machine machine = CleanMachine();
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk, {kPersisted, kInstalled, ProvenLine(machine)});
  EXPECT_EQ(InstalledRootIds(machine).size(), 1U);
  EXPECT_EQ(tests::BoundVersion(machine), "26.8.10.5");
  EXPECT_EQ(tests::ResidentVersion(machine), "26.8.10.5");
  EXPECT_EQ(tests::VisibleEndpoints(machine), 20U);
}

TEST(FreshInstall, KeepsAJournalOfTheTargetWithEmptyBaselines) {
  Machine machine = CleanMachine();
  const ActivationState expected = tests::FreshTarget(machine);
  EXPECT_EQ(Install(machine).status, kExitOk);
  EXPECT_EQ(JournalIn(machine, kSampleJournal), expected);
}

TEST(FreshInstall, TellsWindowsExactlyWhatTheDeviceIs) {
  Machine machine = CleanMachine();
  const RunResult run = Install(machine);

  const auto lists = run.CallsOf("SetupDiCreateDeviceInfoList");
  ASSERT_EQ(lists.size(), 1U);
  EXPECT_EQ(lists[0].Argument("ClassGuid"), "{4D36E96C-E325-11CE-BFC1-08002BE10318}");

  const auto names = run.CallsOf("SetupDiClassNameFromGuidW");
  ASSERT_EQ(names.size(), 1U);
  EXPECT_EQ(names[0].Argument("ClassNameSize"), "32");

  const auto devices = run.CallsOf("SetupDiCreateDeviceInfoW");
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].Argument("DeviceName"), "MEDIA");
  EXPECT_EQ(devices[0].Argument("ClassGuid"), "{4D36E96C-E325-11CE-BFC1-08002BE10318}");
  EXPECT_EQ(devices[0].Argument("DeviceDescription"), "null");
  EXPECT_EQ(devices[0].Argument("CreationFlags"), "0x1");

  const auto ids = run.CallsOf("SetupDiSetDeviceRegistryPropertyW");
  ASSERT_EQ(ids.size(), 1U);
  EXPECT_EQ(ids[0].Argument("Property"), "1");
  EXPECT_EQ(ids[0].Argument("PropertyBufferSize"), "32");
  EXPECT_EQ(RootOf(machine).hardwareIds, std::vector<std::u16string>{u"Root\\VornAudio"});

  const auto binds = run.CallsOf("UpdateDriverForPlugAndPlayDevicesW");
  ASSERT_EQ(binds.size(), 1U);
  EXPECT_EQ(binds[0].Argument("HardwareId"), "Root\\VornAudio");
  EXPECT_EQ(binds[0].Argument("InstallFlags"), "0x1");
}

TEST(FreshInstall, WritesTheJournalBeforeItTouchesTheDevice) {
  Machine machine = CleanMachine();
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitOk);
  // The three files of the snapshot are flushed before the journal is.
  EXPECT_EQ(run.CallsOf("FlushFileBuffers").size(), 4U);
  EXPECT_LT(LastPlaceOf(run, "FlushFileBuffers"), PlaceOf(run, "SetupDiCreateDeviceInfoList"));
  EXPECT_LT(PlaceOf(run, "SetupDiSetDeviceRegistryPropertyW"),
            PlaceOf(run, "SetupDiCallClassInstaller"));
  EXPECT_LT(PlaceOf(run, "SetupDiCallClassInstaller"),
            PlaceOf(run, "UpdateDriverForPlugAndPlayDevicesW"));
}

TEST(FreshInstall, EndsWithTheStatusOfTheStepThatFailed) {
  struct Case {
    const char* call;
    const char* label;
    ExitStatus status;
  };
  const Case cases[] = {
      {"SetupDiCreateDeviceInfoList", "SetupDiCreateDeviceInfoList", 3},
      {"SetupDiClassNameFromGuidW", "SetupDiClassNameFromGuid", 4},
      {"SetupDiCreateDeviceInfoW", "SetupDiCreateDeviceInfo", 5},
      {"SetupDiSetDeviceRegistryPropertyW", "SetupDiSetDeviceRegistryProperty(HARDWAREID)", 6},
      {"SetupDiCallClassInstaller", "SetupDiCallClassInstaller(DIF_REGISTERDEVICE)", 7},
      {"UpdateDriverForPlugAndPlayDevicesW", "UpdateDriverForPlugAndPlayDevices", 8},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.call);
    Machine machine = CleanMachine();
    const RunResult run = Install(machine, {.faults = {FailingCall(row.call, 0xE0000203)}});
    ExpectRun(run, row.status,
              {kPersisted,
               Err("vorn_devnode: " + std::string(row.label) + " failed (error 0xE0000203)")});
    EXPECT_EQ(InstalledRootIds(machine).size(), 0U);
    EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  }
}

TEST(FreshInstall, RemovesTheDeviceThatNoDriverCouldBeBoundTo) {
  Machine machine = CleanMachine();
  machine.store.updateError = platform::ERROR_FILE_HASH_NOT_IN_CATALOG;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitFreshBindFailed,
            {kPersisted,
             Err("vorn_devnode: UpdateDriverForPlugAndPlayDevices failed (error 0xE000024B)")});
  const auto calls = run.CallsOf("SetupDiCallClassInstaller");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].Argument("InstallFunction"), "0x19");
  EXPECT_EQ(calls[1].Argument("InstallFunction"), "0x5");
  EXPECT_EQ(InstalledRootIds(machine).size(), 0U);
}

TEST(FreshInstall, KeepsTheStatusOfTheBindWhenTheDeviceCannotBeRemoved) {
  Machine machine = CleanMachine();
  machine.store.updateError = platform::ERROR_ACCESS_DENIED;
  const RunResult run =
      Install(machine, {.faults = {FailingCall("SetupDiCallClassInstaller", 31, 2)}});
  ExpectRun(run, kExitFreshBindFailed,
            {kPersisted,
             Err("vorn_devnode: UpdateDriverForPlugAndPlayDevices failed (error 0x00000005)")});
  EXPECT_EQ(InstalledRootIds(machine).size(), 1U);
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(FreshInstall, LeavesItToWindowsToRejectAPackageThatDoesNotMatchItsCatalog) {
  Machine machine = CleanMachine();
  platform::simulated::WritePackage(machine.files, u"C:\\pkg\\driver", {.brokenCatalog = true});
  ExpectRun(Install(machine), kExitFreshBindFailed,
            {kPersisted,
             Err("vorn_devnode: UpdateDriverForPlugAndPlayDevices failed (error 0xE000024B)")});
  EXPECT_EQ(InstalledRootIds(machine).size(), 0U);
}

/// What a run did from the creation of the device list to the first deletion of a file, which is
/// the journal's when the journal does not stay. A line on the console is "say".
std::vector<std::string> StepsOfTheDevice(const RunResult& run) {
  std::vector<std::string> steps;
  std::string list;
  for (const CallRecord& call : run.calls) {
    if (call.name == "SetupDiCreateDeviceInfoList") {
      list = call.result;
      steps = {"create list"};
    }
    if (call.name == "SetupDiCallClassInstaller") {
      steps.push_back(call.Argument("InstallFunction") == "0x5" ? "remove" : "register");
    }
    if (call.name == "UpdateDriverForPlugAndPlayDevicesW") steps.emplace_back("bind");
    if (call.name == "fputws") steps.emplace_back("say");
    if (call.name == "SetupDiDestroyDeviceInfoList" && call.Argument("DeviceInfoSet") == list) {
      steps.emplace_back("destroy list");
    }
    if (call.name == "SetFileInformationByHandle") {
      steps.emplace_back("delete");
      break;
    }
  }
  return steps;
}

using Steps = std::vector<std::string>;

TEST(FreshInstall, ReportsAFailureBeforeItUndoesAnythingAndDropsTheJournalLast) {
  struct Case {
    const char* call;
    Steps steps;
  };
  const Case cases[] = {
      {"SetupDiCreateDeviceInfoList", {"create list", "say", "delete"}},
      {"SetupDiClassNameFromGuidW", {"create list", "say", "destroy list", "delete"}},
      {"SetupDiCreateDeviceInfoW", {"create list", "say", "destroy list", "delete"}},
      {"SetupDiSetDeviceRegistryPropertyW", {"create list", "say", "destroy list", "delete"}},
      {"SetupDiCallClassInstaller", {"create list", "register", "say", "destroy list", "delete"}},
      {"UpdateDriverForPlugAndPlayDevicesW",
       {"create list", "register", "bind", "say", "remove", "destroy list", "delete"}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.call);
    Machine machine = CleanMachine();
    EXPECT_EQ(StepsOfTheDevice(Install(machine, {.faults = {FailingCall(row.call, 31)}})),
              row.steps);
  }
}

TEST(FreshInstall, DestroysTheDeviceListBeforeItSaysThatTheDeviceIsInstalled) {
  Machine machine = CleanMachine();
  const Steps steps = StepsOfTheDevice(Install(machine));
  ASSERT_GE(steps.size(), 5U);
  EXPECT_EQ(Steps(steps.begin(), steps.begin() + 5),
            (Steps{"create list", "register", "bind", "destroy list", "say"}));
}

TEST(FreshInstall, NamesTheDeviceAfterTheSetupClassAsWindowsNamesIt) {
  Machine machine = CleanMachine();
  machine.classNames[u"{4D36E96C-E325-11CE-BFC1-08002BE10318}"] = u"MEDIEN";
  const auto devices = Install(machine).CallsOf("SetupDiCreateDeviceInfoW");
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].Argument("DeviceName"), "MEDIEN");
}

TEST(FreshInstall, BindsTheSnapshotsCopyOfTheInf) {
  Machine machine = CleanMachine();
  const auto binds = Install(machine).CallsOf("UpdateDriverForPlugAndPlayDevicesW");
  ASSERT_EQ(binds.size(), 1U);
  EXPECT_NE(binds[0].Argument("FullInfPath").find("\\VORN-input-"), std::string::npos)
      << binds[0].Argument("FullInfPath");
}

TEST(FreshInstall, KeepsTheStatusOfTheBindWhenTheJournalCannotBeDeleted) {
  Machine machine = CleanMachine();
  machine.store.updateError = platform::ERROR_ACCESS_DENIED;
  // The journal is the first file that is deleted.
  ExpectRun(
      Install(machine, {.faults = {FailingCall("SetFileInformationByHandle", 31)}}),
      kExitFreshBindFailed,
      {kPersisted, Err("vorn_devnode: UpdateDriverForPlugAndPlayDevices failed (error 0x00000005)"),
       Err("vorn_devnode: delete handle(activation state) failed (error 0x0000001F)")});
}

// ------------------------------------------------------------------------------------------------
// Restarts.

TEST(FreshInstall, ProvesNothingBeforeTheRestartThatWindowsNeeds) {
  for (const bool rollback : {false, true}) {
    SCOPED_TRACE(rollback ? "rollback" : "install");
    Machine machine = CleanMachine();
    machine.store.updateNeedsRestart = true;
    const RunResult run = rollback ? InstallRollback(machine) : Install(machine);
    EXPECT_FALSE(run.Called("OpenSCManagerW")) << "the engine starts the audio services first";
  }
}

TEST(FreshInstall, AsksForARollbackWhenWindowsNeedsARestart) {
  Machine machine = CleanMachine();
  machine.store.updateNeedsRestart = true;
  ExpectRun(
      Install(machine), kExitNotStarted,
      {kPersisted, kInstalled,
       Err("vorn_devnode: RESULT=NOT_STARTED - Windows requested a restart; candidate must be "
           "rolled back")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  EXPECT_EQ(InstalledRootIds(machine).size(), 1U);
}

TEST(FreshInstall, KeepsTheJournalOfARollbackThatWaitsForTheRestart) {
  Machine machine = CleanMachine();
  machine.store.updateNeedsRestart = true;
  ExpectRun(InstallRollback(machine), kExitRebootRequired,
            {kPersisted, kInstalled,
             Err("vorn_devnode: RESULT=REBOOT_REQUIRED - rollback package bound; Windows starts it "
                 "at the next restart")});
  EXPECT_TRUE(JournalIn(machine, kSampleJournal).has_value());
}

TEST(FreshInstall, ProvesARollbackThatNeedsNoRestart) {
  Machine machine = CleanMachine();
  const RunResult run = InstallRollback(machine);
  ExpectRun(run, kExitOk, {kPersisted, kInstalled, ProvenLine(machine)});
}

// ------------------------------------------------------------------------------------------------
// The engine's verdict.

TEST(FreshInstall, DropsTheJournalOfADeviceThatDoesNotStart) {
  Machine machine = CleanMachine();
  DriverImage image = platform::simulated::SoundImage(u"26.8.10.5");
  image.startProblem = 10;
  platform::simulated::WritePackage(machine.files, u"C:\\pkg\\driver", {.image = image});
  ExpectRun(
      Install(machine), kExitNotStarted,
      {kPersisted, kInstalled,
       Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=10)")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(FreshInstall, DropsTheJournalWhenAnObservationFails) {
  Machine machine = CleanMachine();
  machine.audio.neverPublished.insert({4, 0});
  ExpectRun(
      Install(machine), kExitEndpointsMissing,
      {kPersisted, kInstalled,
       Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
           "resident=proven; catalog=healthy; mapping=MMDevice catalog has the wrong VORN endpoint "
           "count; present= (catalog=19, active=19, present-pnp=19)")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  EXPECT_EQ(InstalledRootIds(machine).size(), 1U);
}

TEST(FreshInstall, WaitsForEndpointsThatAppearLate) {
  Machine machine = CleanMachine();
  machine.audio.buildDelay = 60'000;
  const std::uint64_t start = machine.clock.tick;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk, {kPersisted, kInstalled, ProvenLine(machine)});
  EXPECT_GE(machine.clock.tick - start, 60'000U);
}

TEST(FreshInstall, StartsTheAudioServices) {
  Machine machine = CleanMachine();
  for (auto& [name, service] : machine.services)
    service.running = false;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk, {kPersisted, kInstalled, ProvenLine(machine)});
  EXPECT_TRUE(machine.services.at(u"AudioEndpointBuilder").running);
  EXPECT_TRUE(machine.services.at(u"Audiosrv").running);
}

// ------------------------------------------------------------------------------------------------
// The journal cannot be written.

struct BadJournalPlace {
  const char* name;
  void (*shape)(Machine& machine);
  const char16_t* statePath;
  std::vector<Fault> faults;
  std::string line;
};

/// Leaves room for the snapshot of the package and for little else.
void FillVolume(Machine& machine) {
  std::uint64_t size = 0;
  for (const std::u16string& name : ListFolder(machine.files, u"C:\\pkg\\driver"))
    size += ReadWholeFile(machine.files, u"C:\\pkg\\driver\\" + name)->size();
  machine.files.volumes[0].freeBytes = size + 1;  // so that the journal can be created
}

void AddReadOnlyVolume(Machine& machine) {
  AddVolume(machine.files, u'D', u"\\Device\\HarddiskVolume4",
            u"5a17c0de-0000-4000-8000-000000000004");
  machine.files.volumes[1].readOnly = true;
}

TEST(FreshInstall, TouchesNoDeviceWhenTheJournalCannotBeWritten) {
  const auto nothing = [](Machine&) {};
  const std::string create = "vorn_devnode: safe create(activation state) failed (error ";
  const std::string write = "vorn_devnode: WriteFile(activation state) failed (error ";
  // The three files of the snapshot are truncated and flushed before the journal is.
  const BadJournalPlace cases[] = {
      {"missing folder", nothing, u"C:\\missing\\state", {}, create + "0x00000002)"},
      {"read-only volume", AddReadOnlyVolume, u"D:\\state", {}, create + "0x00000013)"},
      {"no such volume", nothing, u"E:\\state", {}, create + "0x00000002)"},
      {"full disk", FillVolume, kSampleJournal, {}, write + "0x00000070)"},
      {"end of file",
       nothing,
       kSampleJournal,
       {FailingCall("SetEndOfFile", 112, 4)},
       write + "0x00000070)"},
      {"flush",
       nothing,
       kSampleJournal,
       {FailingCall("FlushFileBuffers", 1117, 4)},
       write + "0x0000045D)"},
  };
  for (const BadJournalPlace& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = CleanMachine();
    row.shape(machine);
    const Machine before = machine;
    const RunResult run =
        RunCommand(machine, {u"install", kSampleInf, row.statePath}, {.faults = row.faults});
    ExpectRun(run, kExitActivationStateBlocks, {Err(row.line)});
    EXPECT_EQ(InstalledRootIds(machine).size(), 0U);
    EXPECT_FALSE(tests::HasFile(machine, row.statePath));
    ExpectTidy(before, machine);
  }
}

TEST(FreshInstall, TouchesNoDeviceWhenAnotherProcessTakesTheJournalsName) {
  Machine machine = CleanMachine();
  // The name is free when the journal is looked for and taken when it is created.
  const auto take = [](Machine& world) { PutFile(world.files, kSampleJournal, "mine"); };
  Fault fault =
      tests::ChangeBefore("ConvertStringSecurityDescriptorToSecurityDescriptorW", 2, take);
  fault.changeName = "journal";
  ExpectRun(Install(machine, {.faults = {fault}}), kExitActivationStateBlocks,
            {Err("vorn_devnode: safe create(activation state) failed (error 0x000000B7)")});
  EXPECT_EQ(InstalledRootIds(machine).size(), 0U);
  const auto content = ReadWholeFile(machine.files, kSampleJournal);
  ASSERT_TRUE(content.has_value()) << "not ours to delete";
  EXPECT_EQ(std::string(content->begin(), content->end()), "mine");
}

}  // namespace
}  // namespace vorn
