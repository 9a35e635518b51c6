#include "base/text.h"
#include "platform/simulated/device_tree.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/native_values.h"
#include "remove_run.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

// ------------------------------------------------------------------------------------------------
// Success.

TEST_F(RemoveCommand, RemovesTheDeviceItsPackageAndItsRecords) {
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(OwnedRecords(before).size(), 20U);
  EXPECT_EQ(ConsoleOf(result),
            (Console{kQuiesced, kLetGo, kPackageRemoved} +
             RemovedRecordLines(OwnedRecords(before)) + Console{OkLine(1, 1, 20)}));
  EXPECT_TRUE(InstalledRootIds(machine).empty());
  EXPECT_TRUE(OwnedRecords(machine).empty());
  EXPECT_EQ(machine.store.Find(u"oem3.inf"), nullptr);
  EXPECT_EQ(Took(), 0U) << "nothing had to be waited for";
}

TEST_F(RemoveCommand, LogsWhatItDidWithTheTimeInUtcAndNotItsSuccess) {
  Root().temper.vetoes = 2;
  Root().temper.vetoName = u"player \u266b";
  EXPECT_EQ(Run().status, 0);
  EXPECT_EQ(RemovalLogText(machine),
            "[2026-03-04 05:06:07.089] remove: quiesced all endpoints of ROOT\\MEDIA\\0000\r\n"
            "[2026-03-04 05:06:07.089] remove: query-remove attempt 1: CONFIGRET 23, veto type 6 "
            "by 'player \xE2\x99\xAB'\r\n"
            "[2026-03-04 05:06:07.589] remove: query-remove succeeded on attempt 3 after 500 "
            "ms\r\n");
}

TEST_F(RemoveCommand, DoesNotListTheEndpointsInPlugAndPlay) {
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_FALSE(result.Called("CM_Get_Child"));
}

TEST_F(RemoveCommand, SucceedsWhereNothingIsInstalled) {
  machine = CleanMachine();
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result), Console{OkLine(0, 0, 0)});
  EXPECT_EQ(RemovalLogText(machine), "no file");
  EXPECT_FALSE(result.Called("Sleep"));
  EXPECT_FALSE(result.Called("CM_Query_And_Remove_SubTreeW"));
}

TEST_F(RemoveCommand, RemovesEveryRootOfAMachineWithSeveral) {
  machine = DuplicatesMachine();
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result),
            (Console{kPackageRemoved} + RemovedRecordLines(OwnedRecords(before)) +
             Console{OkLine(3, 1, 20)}));
  EXPECT_TRUE(InstalledRootIds(machine).empty());
  EXPECT_FALSE(result.Called("DeviceIoControl")) << "no single live root to quiesce";
  EXPECT_FALSE(result.Called("CM_Query_And_Remove_SubTreeW"));
}

TEST_F(RemoveCommand, CountsRootsPackagesAndRecordsSeparately) {
  machine = DuplicatesMachine();
  CopyPackage(machine, u"oem3.inf", u"oem12.inf");
  const std::u16string record = kEndpointRecordsPath + (u"\\" + OwnedRecords(machine)[4]);
  machine.registry.keys.at(*FindKey(machine.registry, record)).deleteStatus =
      platform::STATUS_ACCESS_DENIED;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(3, 2, 19, 1));
}

TEST_F(RemoveCommand, GoesThroughItsStepsInOrder) {
  const RunResult result = Run();
  // The first call of each step; the live root is found before the log gets its folder.
  const std::vector<std::string> steps = {"SetupDiGetClassDevsW",
                                          "CreateDirectoryW",
                                          "DeviceIoControl",
                                          "CM_Query_And_Remove_SubTreeW",
                                          "SetupDiCallClassInstaller",
                                          "SetupUninstallOEMInfW",
                                          "NtDeleteKey"};
  // The private copy of the INF has a folder, too: the steps begin with the live root.
  auto from = std::find_if(result.calls.begin(), result.calls.end(), [](const CallRecord& call) {
    return call.name == "SetupDiGetClassDevsW";
  });
  std::vector<std::string> order;
  for (; from != result.calls.end(); ++from) {
    const bool step = std::find(steps.begin(), steps.end(), from->name) != steps.end();
    const bool known = std::find(order.begin(), order.end(), from->name) != order.end();
    if (step && !known) order.push_back(from->name);
  }
  EXPECT_EQ(order, steps);
}

/// A fault at the first hardware ids that are read in the list that the roots are removed by: the
/// second of a run without a live root.
Fault FirstRootIsNotRecognised(Machine machine) {
  std::uint32_t reads = 0;
  std::size_t lists = 0;
  for (const CallRecord& call : Remove(machine).calls) {
    if (call.name == "SetupDiGetClassDevsW") ++lists;
    if (call.name == "SetupDiGetDeviceRegistryPropertyW" && lists < 2) ++reads;
  }
  return FailingCall("SetupDiGetDeviceRegistryPropertyW", 13, reads + 1);
}

TEST_F(RemoveCommand, WaitsForARootToGoThatItDidNotRecognise) {
  machine = DisabledMachine();
  const RunResult result = Run({FirstRootIsNotRecognised(machine)});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result), Console{Remain("REMOVE_FAILED", 1)});
  EXPECT_EQ(Took(), 30'000U);
}

TEST_F(RemoveCommand, SkipsADeviceWhoseHardwareIdsCannotBeRead) {
  machine = DuplicatesMachine();
  const RunResult result = Run({FirstRootIsNotRecognised(machine)});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result), Console{Remain("REMOVE_FAILED", 1)});
  EXPECT_EQ(InstalledRootIds(machine), std::vector<std::u16string>{kRootId});
}

TEST_F(RemoveCommand, RemovesARootThatIsNotStartedWithoutAskingIt) {
  machine = DisabledMachine();
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
  EXPECT_FALSE(result.Called("DeviceIoControl"));
  EXPECT_FALSE(result.Called("CM_Query_And_Remove_SubTreeW"));
}

TEST_F(RemoveCommand, RemovesAGhost) {
  Root().present = false;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
  EXPECT_FALSE(result.Called("DeviceIoControl"));
}

TEST_F(RemoveCommand, ShowsNothingAgainOnARootThatVanishedByItself) {
  const RunResult result = Run({ChangeBefore(
      "SetupDiGetClassDevsW", 3, [](Machine& changed) { RemoveDeviceNode(changed, kRootId); })});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result),
            (Console{kQuiesced, kLetGo, kPackageRemoved} +
             RemovedRecordLines(OwnedRecords(before)) + Console{OkLine(0, 1, 20)}));
}

TEST_F(RemoveCommand, FindsItsRootsByAnyOfTheirHardwareIdsInAnyCase) {
  Device& other = AddRoot(machine, u"ROOT\\MEDIA\\0007");
  other.hardwareIds = {u"Root\\First", u"ROOT\\VORNaudio"};
  Device& longer = AddRoot(machine, u"ROOT\\MEDIA\\0008");
  longer.hardwareIds = {u"Root\\VornAudio2"};
  longer.foreign = true;
  const RunResult result = Run();
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(2, 1, 20));
  EXPECT_NE(machine.devices.Find(u"ROOT\\MEDIA\\0008"), nullptr);
}

TEST_F(RemoveCommand, AcceptsItsNameInAnyCaseAndOneArgument) {
  Machine first = machine;
  EXPECT_EQ(RunCommand(first, {u"REMOVE", kSampleInf}).status, 0);
  const RunResult extra = RunCommand(machine, {u"remove", kSampleInf, u"more"});
  EXPECT_EQ(extra.status, 1);
  EXPECT_EQ(InstalledRootIds(machine).size(), 1U);
}

TEST_F(RemoveCommand, RemovesWithParametersForAllHardwareProfiles) {
  const RunResult result = Run();
  const auto set = result.CallsOf("SetupDiSetClassInstallParamsW");
  ASSERT_EQ(set.size(), 1U);
  EXPECT_EQ(set[0].Argument("ClassInstallParamsSize"), "16");
  const auto called = result.CallsOf("SetupDiCallClassInstaller");
  ASSERT_EQ(called.size(), 1U);
  EXPECT_EQ(called[0].Argument("InstallFunction"), "0x5");
}

// ------------------------------------------------------------------------------------------------
// Refusal.

TEST_F(RemoveCommand, TouchesNothingWithoutADriverVersion) {
  std::string text = InfText(PackageRecipe{});
  const std::size_t line = text.find("DriverVer");
  ASSERT_NE(line, std::string::npos);
  text.erase(line, text.find('\n', line) - line + 1);
  PutFile(machine.files, kSampleInf, text);
  const RunResult result = Run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(ConsoleOf(result), Console{kRefused});
  EXPECT_EQ(machine.files, before.files) << "not even a folder for the log";
  EXPECT_EQ(machine.devices, before.devices);
  EXPECT_EQ(machine.registry, before.registry);
  EXPECT_EQ(machine.store, before.store);
  EXPECT_FALSE(result.Called("SetupDiGetClassDevsW"));
  EXPECT_FALSE(result.Called("CreateDirectoryW"));
}

TEST_F(RemoveCommand, TouchesNothingWhenGivenAnotherPackage) {
  PackageRecipe recipe;
  recipe.providerName = u"VORN Audio GmbH";
  WritePackage(machine.files, u"C:\\pkg\\driver", recipe);
  const RunResult result = Run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(ConsoleOf(result), Console{kRefused});
  EXPECT_EQ(machine.devices, before.devices);
}

TEST_F(RemoveCommand, TouchesNothingWithoutASnapshot) {
  for (const std::u16string path : {u"C:\\pkg\\driver\\missing.inf", u"vorn_audio.inf"}) {
    const RunResult result = Run({}, path);
    EXPECT_EQ(result.status, 3);
    const std::string error = path.starts_with(u"C:") ? "0x00000002" : "0x0000007B";
    EXPECT_EQ(ConsoleOf(result), Console{Err("vorn_devnode: protected local package snapshot "
                                             "refused (error " +
                                             error + ")")});
    EXPECT_EQ(machine.devices, before.devices);
    EXPECT_EQ(machine.files, before.files);
  }
}

// ------------------------------------------------------------------------------------------------
// Where the log goes.

TEST_F(RemoveCommand, LogsBesideTheFolderOfTheInfOnItsOwnDrive) {
  AddVolume(machine.files, u'D', u"\\Device\\HarddiskVolume4",
            u"5a17c0de-0000-4000-8000-000000000004");
  WritePackage(machine.files, u"D:\\driver", PackageRecipe{});
  const RunResult result = Run({}, u"D:\\driver\\vorn_audio.inf");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.CallsOf("CreateDirectoryW").size(), 1U);
  EXPECT_EQ(ListFolder(machine.files, u"D:\\logs"),
            std::vector<std::u16string>{u"vorn_devnode.log"});
}

TEST_F(RemoveCommand, HasNoLogFileForAnInfInTheRootOfADrive) {
  AddVolume(machine.files, u'D', u"\\Device\\HarddiskVolume4",
            u"5a17c0de-0000-4000-8000-000000000004");
  WritePackage(machine.files, u"D:\\", PackageRecipe{});
  const RunResult result = Run({}, u"D:\\vorn_audio.inf");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result)[0], kQuiesced);
  EXPECT_FALSE(result.Called("_wfsopen"));
  EXPECT_EQ(ListFolder(machine.files, u"D:\\"), ListFolder(before.files, u"D:\\"));
}

TEST_F(RemoveCommand, HoldsTheFoldersOfItsLogWhileItRuns) {
  bool asked = false;
  const RunResult result =
      Run({ChangeBefore("SetupDiCallClassInstaller", 1, [&asked](Machine& world) {
        asked = true;
        for (const auto path : {u"C:\\pkg", kSampleLogFolder}) {
          const NodeId folder = *FindNode(world.files, path);
          bool held = false;
          for (const auto& [key, open] : world.files.opens)
            held |= key.node == folder && !open.foreign && open.share == 1;
          EXPECT_TRUE(held) << ToUtf8(path);
        }
      })});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(asked);
  EXPECT_EQ(CountOwnOpens(machine.files), 0U);
}

TEST_F(RemoveCommand, DoesNotFailBecauseOfItsLog) {
  MakeFolder(machine.files, u"C:\\elsewhere");
  PutLink(machine.files, kSampleLogFolder, ReparseKind::Junction, u"C:\\elsewhere", true);
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result)[0], kQuiesced);
  EXPECT_TRUE(ListFolder(machine.files, u"C:\\elsewhere").empty());
}

}  // namespace
}  // namespace vorn
