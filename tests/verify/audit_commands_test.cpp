#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/judged_run.h"
#include "tests/support/run_command.h"
#include "tests/verify/engine_lines.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AddRoot;
using platform::simulated::AudioEndpoint;
using platform::simulated::CableFlow;
using platform::simulated::CleanMachine;
using platform::simulated::FindEndpoint;
using platform::simulated::InstalledMachine;
using platform::simulated::LoseEndpoint;
using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using platform::simulated::PackageRecipe;
using platform::simulated::RemoveDeviceNode;
using platform::simulated::WritePackage;
using tests::Command;
using tests::Err;
using tests::ExpectRun;
using tests::kRootId;
using tests::kSampleInf;
using tests::Out;
using tests::ProvenLine;
using tests::RunJudged;
using tests::RunOptions;
using tests::RunResult;

RunResult AuditCatalogOf(Machine& machine) {
  return RunJudged(machine, Command::AuditCatalog, {u"audit-catalog"});
}

RunResult AuditCurrentOf(Machine& machine, const std::u16string& inf = kSampleInf,
                         const RunOptions& options = {}) {
  return RunJudged(machine, Command::AuditCurrent, {u"audit-current", inf}, options);
}

const std::string kNotTheChildren =
    "ACTIVE MMDevice catalog does not match the exact problem-free started present AudioEndpoint "
    "children";

// ------------------------------------------------------------------------------------------------

TEST(AuditCatalog, AcceptsACompleteCatalog) {
  Machine machine = InstalledMachine();
  const RunResult run = AuditCatalogOf(machine);
  ExpectRun(run, kExitOk,
            {Out("vorn_devnode: catalog audit OK - catalog=20, active=20, started-present=20")});
  EXPECT_FALSE(run.Called("Sleep"));
  EXPECT_FALSE(run.Called("OpenSCManagerW"));
  EXPECT_FALSE(run.Called("DeviceIoControl"));
}

TEST(AuditCatalog, DoesNotAskForTheBoundDriver) {
  Machine machine = InstalledMachine();
  EXPECT_FALSE(AuditCatalogOf(machine).Called("SetupDiGetDevicePropertyW"));
}

TEST(AuditCatalog, CountsDisabledEndpointsOfTheCatalogOnly) {
  Machine machine = InstalledMachine();
  for (const CableFlow& cable : {CableFlow{1, 0}, CableFlow{8, 1}}) {
    SetEndpointDisabled(machine, FindEndpoint(machine, kRootId, cable)->id, true);
  }
  ExpectRun(AuditCatalogOf(machine), kExitOk,
            {Out("vorn_devnode: catalog audit OK - catalog=20, active=18, started-present=18")});
}

TEST(AuditCatalog, TellsEndpointsActiveOnesAndStartedChildrenApart) {
  Machine machine = InstalledMachine();
  tests::DisableCatalogOnly(machine);
  for (std::uint32_t cable = 0; cable < 7; ++cable) {
    RemoveDeviceNode(machine,
                     u"SWD\\MMDEVAPI\\" + FindEndpoint(machine, kRootId, CableFlow{cable, 1})->id);
  }
  ExpectRun(AuditCatalogOf(machine), kExitOk,
            {Out("vorn_devnode: catalog audit OK - catalog=20, active=0, started-present=13")});
}

TEST(AuditCatalog, NeedsALiveRoot) {
  Machine none = CleanMachine();
  ExpectRun(AuditCatalogOf(none), kExitNotStarted,
            {Err("vorn_devnode: catalog audit root failed: no present Root\\VornAudio devnode")});
  Machine two = InstalledMachine();
  AddRoot(two, u"ROOT\\MEDIA\\0001");
  ExpectRun(
      AuditCatalogOf(two), kExitNotStarted,
      {Err("vorn_devnode: catalog audit root failed: multiple present Root\\VornAudio devnodes")});
  Machine disabled = InstalledMachine();
  DisableDevice(disabled, kRootId);
  const RunResult run = AuditCatalogOf(disabled);
  ExpectRun(
      run, kExitNotStarted,
      {Err("vorn_devnode: catalog audit root failed: present VORN root is not started cleanly")});
  EXPECT_FALSE(run.Called("CoInitializeEx"));
}

TEST(AuditCatalog, LooksOnceForTheRoot) {
  Machine machine = CleanMachine();
  const RunResult run = tests::RunCommand(machine, {u"audit-catalog"});
  EXPECT_EQ(run.status, kExitNotStarted);
  EXPECT_EQ(run.CallsOf("SetupDiGetClassDevsW").size(), 1U);
}

TEST(AuditCatalog, RefusesNineteenConsistentEndpoints) {
  Machine machine = InstalledMachine();
  LoseEndpoint(machine, FindEndpoint(machine, kRootId, CableFlow{0, 1})->id);
  ExpectRun(
      AuditCatalogOf(machine), kExitEndpointsMissing,
      {Err("vorn_devnode: catalog audit failed:  / MMDevice catalog has the wrong VORN endpoint "
           "count")});
}

TEST(AuditCatalog, RefusesAnActiveEndpointWithoutAStartedChild) {
  Machine machine = InstalledMachine();
  RemoveDeviceNode(machine,
                   u"SWD\\MMDEVAPI\\" + FindEndpoint(machine, kRootId, CableFlow{0, 1})->id);
  const RunResult run = AuditCatalogOf(machine);
  ExpectRun(run, kExitEndpointsMissing,
            {Err("vorn_devnode: catalog audit failed: " + kNotTheChildren + " / ")});
  EXPECT_EQ(run.CallsOf("CoInitializeEx").size(), 1U) << "one snapshot";
}

TEST(AuditCatalog, NamesBothReasonsWhenBothFail) {
  Machine machine = InstalledMachine();
  AudioEndpoint doubled = *FindEndpoint(machine, kRootId, CableFlow{0, 0});
  doubled.id += u"-doubled";
  machine.audio.endpoints.push_back(doubled);
  const std::string tooMany = "MMDevice catalog has too many VORN endpoints";
  ExpectRun(AuditCatalogOf(machine), kExitEndpointsMissing,
            {Err("vorn_devnode: catalog audit failed: " + tooMany + " / " + tooMany)});
}

TEST(AuditCatalog, JudgesWhatAnIncompleteSnapshotRecorded) {
  // One endpoint cannot be read; 19 are recorded and judged.
  Machine incomplete = InstalledMachine();
  FindEndpoint(incomplete, kRootId, CableFlow{3, 0})->idError = platform::E_FAIL;
  ExpectRun(
      AuditCatalogOf(incomplete), kExitEndpointsMissing,
      {Err("vorn_devnode: catalog audit failed: MMDevice catalog enumeration was incomplete / "
           "MMDevice catalog has the wrong VORN endpoint count")});
  // The unreadable endpoint is a duplicate: what is recorded is complete without it.
  Machine whole = InstalledMachine();
  AudioEndpoint unreadable = *FindEndpoint(whole, kRootId, CableFlow{3, 0});
  unreadable.id += u"-unreadable";
  unreadable.stateError = platform::E_FAIL;
  whole.audio.endpoints.push_back(unreadable);
  ExpectRun(
      AuditCatalogOf(whole), kExitEndpointsMissing,
      {Err("vorn_devnode: catalog audit failed: MMDevice catalog enumeration was incomplete / ")});
  // Nothing could be listed at all.
  Machine nothing = InstalledMachine();
  nothing.audio.coInitializeResult = platform::E_FAIL;
  ExpectRun(AuditCatalogOf(nothing), kExitEndpointsMissing,
            {Err("vorn_devnode: catalog audit failed: COM initialization failed / MMDevice catalog "
                 "has the "
                 "wrong VORN endpoint count")});
}

TEST(AuditCatalog, AcceptsACatalogWithoutActiveEndpoints) {
  Machine machine = InstalledMachine();
  for (std::uint32_t cable = 0; cable < 10; ++cable) {
    for (std::uint32_t flow = 0; flow < 2; ++flow) {
      SetEndpointDisabled(machine, FindEndpoint(machine, kRootId, CableFlow{cable, flow})->id,
                          true);
    }
  }
  ExpectRun(AuditCatalogOf(machine), kExitOk,
            {Out("vorn_devnode: catalog audit OK - catalog=20, active=0, started-present=0")});
}

TEST(AuditCatalog, IgnoresWhatBelongsToOtherDevices) {
  Machine machine = InstalledMachine();
  AddForeignEndpoint(machine, true, u"USB\\VID_1234\\1");
  AddForeignEndpoint(machine, false, u"USB\\VID_1234\\1",
                     platform::simulated::CableProperty{platform::VT_UI4, 3});
  ExpectRun(AuditCatalogOf(machine), kExitOk,
            {Out("vorn_devnode: catalog audit OK - catalog=20, active=20, started-present=20")});
}

// ------------------------------------------------------------------------------------------------

TEST(AuditCurrent, ProvesTheMachineAgainstTheInf) {
  Machine machine = InstalledMachine();
  const RunResult run = AuditCurrentOf(machine);
  ExpectRun(run, kExitOk, {ProvenLine(machine)});
  EXPECT_FALSE(run.Called("Sleep"));
}

TEST(AuditCurrent, AcceptsAnyCompleteCatalogAndAnyChildrenUpToTwenty) {
  Machine machine = InstalledMachine();
  SetEndpointDisabled(machine, FindEndpoint(machine, kRootId, CableFlow{1, 0})->id, true);
  ExpectRun(AuditCurrentOf(machine), kExitOk, {ProvenLine(machine, 19, 19)});
}

TEST(AuditCurrent, EndsInTheStartWaitWithoutALiveRoot) {
  Machine machine = CleanMachine();
  ExpectRun(
      AuditCurrentOf(machine), kExitNotStarted,
      {Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=0)")});
}

TEST(AuditCurrent, FindsAnotherPackage) {
  Machine machine = OutdatedMachine();
  ExpectRun(
      AuditCurrentOf(machine), kExitEndpointsMissing,
      {Err(
          "vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=live root is bound to "
          "the "
          "wrong driver version; kernel=; resident=RESIDENT IMAGE MISMATCH: driver reports 26.8.9 "
          "(0x001A0809) but the package being activated is 26.8.10.5. PnP metadata is not proof -- "
          "the devnode restart did not load the new image.; catalog=healthy; mapping=; present= "
          "(catalog=20, active=20, present-pnp=20)")});
}

TEST(AuditCurrent, FindsAnInfThatDiffersInItsBytesOnly) {
  Machine machine = InstalledMachine();
  PackageRecipe recipe;
  recipe.extraInfText = "; another build\r\n";
  const std::u16string inf = WritePackage(machine.files, u"C:\\pkg\\other", recipe);
  const RunResult run = AuditCurrentOf(machine, inf);
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_NE(ToUtf8(run.errorOutput)
                .find("package=live root is bound to a different signed INF package; kernel=; "
                      "resident=proven;"),
            std::string::npos)
      << ToUtf8(run.errorOutput);
}

TEST(AuditCurrent, SaysThatAnInfHasNoDriverVerAndGivesNoResult) {
  Machine machine = InstalledMachine();
  PutFile(machine.files, u"C:\\pkg\\driver\\other.inf",
          "[Version]\r\nSignature = \"$Windows NT$\"\r\nClass = MEDIA\r\n");
  const RunResult run = AuditCurrentOf(machine, u"C:\\pkg\\driver\\other.inf");
  ExpectRun(run, kExitInputRefused, {Err("vorn_devnode: INF has no valid DriverVer date/version")});
  EXPECT_FALSE(run.Called("OpenSCManagerW"));
}

TEST(AuditCurrent, RefusesAnInfThatCannotBeHashed) {
  Machine machine = InstalledMachine();
  platform::simulated::Fault fault;
  fault.call = "BCryptOpenAlgorithmProvider";
  fault.error = 0xC0000225;
  RunOptions options;
  options.faults = {fault};
  const RunResult run = AuditCurrentOf(machine, kSampleInf, options);
  EXPECT_EQ(run.status, kExitInputRefused);
  EXPECT_EQ(ToUtf8(run.output), "");
  EXPECT_EQ(ToUtf8(run.errorOutput), "");
  EXPECT_TRUE(run.openObjects.empty());
}

TEST(AuditCurrent, ChangesNoDeviceDriverOrEndpoint) {
  Machine machine = InstalledMachine();
  const auto endpoints = machine.audio;
  const auto store = machine.store;
  const RunResult run = AuditCurrentOf(machine);
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(machine.audio, endpoints);
  EXPECT_EQ(machine.store, store);
  for (const char* call : {"SetupDiCallClassInstaller", "UpdateDriverForPlugAndPlayDevicesW",
                           "SetupUninstallOEMInfW", "CM_Query_And_Remove_SubTreeW"}) {
    EXPECT_FALSE(run.Called(call)) << call;
  }
}

}  // namespace
}  // namespace vorn
