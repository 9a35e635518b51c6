// Tests of the checkers: each must object to a machine that breaks its promise.

#include "tests/invariants/checkers.h"

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "tests/faults/planned_fault.h"
#include "tests/faults/scenarios.h"
#include "tests/support/activation.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <functional>
#include <gtest/gtest.h>

namespace vorn::tests {

namespace model = platform::simulated;
using model::Machine;

namespace {

/// A run that succeeded, for the tests to spoil.
struct Episode {
  explicit Episode(std::string_view name) : scenario(FindScenario(name)) {
    after = scenario.start->machine;
    result = RunCommand(after, scenario.line->arguments);
  }

  Violations By(Violations (*checker)(const Observation&)) const {
    return checker({scenario.line->command, scenario.start->machine, after, result, faults});
  }
  Violations ByAll() const { return By(&Judge); }

  Scenario scenario;
  Machine after;
  RunResult result;
  std::vector<model::Fault> faults;
};

}  // namespace

TEST(Checkers, AcceptAnUndisturbedRun) {
  for (const CommandLine& line : CommandLines()) {
    for (const StartingMachine& start : StartingMachines()) {
      const Episode run(line.name + "@" + start.name);
      EXPECT_TRUE(run.ByAll().empty())
          << run.scenario.Name() << ": " << testing::PrintToString(run.ByAll());
    }
  }
}

TEST(Checkers, ObjectToAStatusWithoutItsLine) {
  Episode run("install@outdated");
  run.result.status = 11;
  EXPECT_FALSE(run.By(&CheckFinalLine).empty());
  run.result.status = 0;
  EXPECT_TRUE(run.By(&CheckFinalLine).empty());
  for (auto& write : run.result.console)
    write.error = true;
  EXPECT_FALSE(run.By(&CheckFinalLine).empty());
  run.result.console.clear();
  EXPECT_FALSE(run.By(&CheckFinalLine).empty());
}

TEST(Checkers, ObjectToALineThatNobodyKnows) {
  const std::vector<model::ConsoleWrite> spoilers = {
      {true, u"vorn_devnode: something else\n"},
      {true, u"Root\\VornAudio installed\n"},
      {true, u"vorn_devnode: Root\\VornAudio installed\n"},
      {false, u"vorn_devnode: INF not found: a\n"},
      {false, u"vorn_devnode: Root\\VornAudio installed"},
      {true, u"vorn_devnode: SetupDiGetClassDevs failed (error 0x5)\n"},
      {true, u"vorn_devnode: SetupDiGetClassDevs failed (error 0x0000000a)\n"},
      {true, u"vorn_devnode: SetupDiAnything failed (error 0x00000005)\n"},
      {true, u"vorn_devnode: could not hide cable 4 render (error 0x00000005\n"},
  };
  for (const model::ConsoleWrite& write : spoilers) {
    Episode run("install@outdated");
    ASSERT_TRUE(run.By(&CheckKnownLines).empty());
    run.result.console.push_back(write);
    EXPECT_FALSE(run.By(&CheckKnownLines).empty()) << ToUtf8(write.text);
  }
  Episode run("install@outdated");
  run.result.console.push_back(
      {true, u"vorn_devnode: SetupDiGetClassDevs failed (error 0x0000000A)\n"});
  EXPECT_TRUE(run.By(&CheckKnownLines).empty());
}

TEST(Checkers, ObjectToAClaimThatTheWorldContradicts) {
  const std::pair<const char*, std::function<void(Machine&)>> spoilers[] = {
      {"not started", [](Machine& m) { RootOf(m).problem = model::CM_PROB_FAILED_START; }},
      {"another image", [](Machine& m) { RootOf(m).resident = model::SoundImage(u"26.8.9.4"); }},
      {"a smaller pool", [](Machine& m) { RootOf(m).resident->pool.pop_back(); }},
      {"another interface level", [](Machine& m) { RootOf(m).resident->lifecycleAbi = 2; }},
      {"another service", [](Machine& m) { RootOf(m).service = u"Other"; }},
      {"another INF", [](Machine& m) { RootOf(m).publishedInf = u"oem1.inf"; }},
      {"a lost endpoint",
       [](Machine& m) { model::LoseEndpoint(m, *ActiveEndpointIds(m).begin()); }},
      {"a second root", [](Machine& m) { model::AddRoot(m, u"ROOT\\MEDIA\\0007"); }},
      {"new ids",
       [](Machine& m) {
         m.audio.remembered.at(kRootId).at({3, 1}).id += u"x";
       }},
      {"a lost choice",
       [](Machine& m) {
         m.audio.remembered.at(kRootId).at({3, 0}).disabledByUser = true;
       }},
  };
  for (const auto& [name, spoil] : spoilers) {
    Episode run("install@outdated");
    ASSERT_TRUE(run.By(&CheckProvenActivation).empty());
    spoil(run.after);
    EXPECT_FALSE(run.By(&CheckProvenActivation).empty()) << name;
  }
}

TEST(Checkers, ObjectToAProofOfAnotherPackageThanTheJournalNames) {
  Episode run("verify@activated");
  ASSERT_TRUE(run.By(&CheckProvenActivation).empty());
  const std::u16string published =
      model::PublishedInfPath(run.after, RootOf(run.after).publishedInf);
  model::Bytes inf = *model::ReadWholeFile(run.after.files, published);
  inf.push_back(';');
  model::PutFile(run.after.files, published, inf);
  EXPECT_FALSE(run.By(&CheckProvenActivation).empty());
}

TEST(Checkers, ObjectToNewEndpointsOnlyWhereTheFormerOnesAreKnown) {
  const auto spoil = [](Episode& run) {
    run.after.audio.remembered.at(kRootId).at({3, 1}).id += u"x";
    model::LoseEndpoint(run.after, *ActiveEndpointIds(run.after).begin());
  };
  Episode known("hot-activate@activated");
  ASSERT_EQ(known.result.status, 0);
  spoil(known);
  EXPECT_FALSE(known.By(&CheckEndpointsVisible).empty());
  Episode fresh("hot-activate@freshly-activated");
  ASSERT_EQ(fresh.result.status, 0);
  spoil(fresh);
  EXPECT_TRUE(fresh.By(&CheckEndpointsVisible).empty());
}

TEST(Checkers, ObjectToARemovalThatLeavesSomething) {
  const Machine installed = model::InstalledMachine();
  Episode root("remove@installed");
  root.after.devices = installed.devices;
  EXPECT_FALSE(root.By(&CheckProvenRemoval).empty());
  Episode package("remove@installed");
  package.after.store = installed.store;
  package.after.files = installed.files;
  EXPECT_FALSE(package.By(&CheckProvenRemoval).empty());
  Episode records("remove@installed");
  records.after.registry = installed.registry;
  EXPECT_FALSE(records.By(&CheckProvenRemoval).empty());
  Episode early("remove@installed");
  early.after.devices = installed.devices;
  EXPECT_FALSE(early.By(&CheckPackagesAfterRoots).empty());
}

TEST(Checkers, ObjectToEndpointsThatVanishSilently) {
  Episode run("install@outdated");
  model::ChangeEndpointVisibility(run.after, kRootId, {4, 0}, false);
  RootOf(run.after).hidden.insert({4, 0});
  EXPECT_EQ(run.By(&CheckEndpointsVisible).size(), 2U);
  run.result.console.push_back(
      {true, u"vorn_devnode: could not re-show cable 4 render (error 0x00000005)\n"});
  EXPECT_EQ(run.By(&CheckEndpointsVisible).size(), 1U);
}

TEST(Checkers, ExcuseTheEndpointsOfADuplicateThatWasRemoved) {
  Episode run("install@duplicates");
  model::AudioEndpoint ofDuplicate = run.scenario.start->machine.audio.endpoints.front();
  ofDuplicate.id += u"x";
  ofDuplicate.root = u"ROOT\\MEDIA\\0002";
  Machine before = run.scenario.start->machine;
  before.audio.endpoints.push_back(ofDuplicate);
  const auto found = [&] {
    return CheckEndpointsVisible(
        {run.scenario.line->command, before, run.after, run.result, run.faults});
  };
  EXPECT_TRUE(found().empty());
  before.audio.endpoints.back().root = kRootId;
  EXPECT_FALSE(found().empty());
}

TEST(Checkers, ObjectToAJournalInTheWrongPlace) {
  Episode gone("install@outdated");
  model::RemovePath(gone.after.files, kSampleJournal);
  EXPECT_FALSE(gone.By(&CheckJournal).empty());
  Episode other("install@outdated");
  model::PutFile(other.after.files, kSampleJournal, "something");
  EXPECT_FALSE(other.By(&CheckJournal).empty());
  Episode left("install@disabled");
  ASSERT_EQ(left.result.status, 16);
  model::PutFile(left.after.files, kSampleJournal, "something");
  EXPECT_FALSE(left.By(&CheckJournal).empty());
  Episode verified("verify@activated");
  model::RemovePath(verified.after.files, kSampleJournal);
  EXPECT_FALSE(verified.By(&CheckJournal).empty());
}

TEST(Checkers, ObjectToOpenObjectsAndLeftSnapshots) {
  Episode open("audit-catalog@installed");
  open.result.openObjects[model::ObjectKind::Handle] = 1;
  EXPECT_FALSE(open.By(&CheckNothingLeft).empty());
  Episode snapshot("install@outdated");
  model::MakeFolder(snapshot.after.files, snapshot.after.files.tempFolder +
                                              u"VORN-input-00112233445566778899aabbccddeeff");
  EXPECT_FALSE(snapshot.By(&CheckNothingLeft).empty());
}

TEST(Checkers, ExcuseAPrivateCopyOnlyForFilesThatAScannerHolds) {
  Episode run("audit-current@scanned");
  const std::u16string left =
      run.after.files.tempFolder + u"VORN-input-00112233445566778899aabbccddeeff\\below\\one.txt";
  model::PutFile(run.after.files, left, "x");
  EXPECT_FALSE(run.By(&CheckNothingLeft).empty());
  model::HoldOpen(run.after.files, left, platform::FILE_READ_DATA, platform::FILE_SHARE_DELETE);
  model::MarkDeletePending(run.after.files, left);
  EXPECT_TRUE(run.By(&CheckNothingLeft).empty());
}

TEST(Checkers, ObjectToAChangedNeighbour) {
  Episode changed("remove@installed");
  changed.after.devices.Find(u"ROOT\\SYSTEM\\0000")->status = 0;
  EXPECT_FALSE(changed.By(&CheckForeignParts).empty());
  Episode gone("remove@installed");
  std::erase_if(gone.after.store.packages, [](const auto& package) { return package.foreign; });
  EXPECT_FALSE(gone.By(&CheckForeignParts).empty());
  Episode record("remove@odd-records");
  ASSERT_TRUE(record.By(&CheckForeignParts).empty());
  model::RemoveKeyTree(record.after.registry,
                       model::kEndpointRecordsPath + std::u16string(u"\\Render\\{odd-1}"));
  EXPECT_FALSE(record.By(&CheckForeignParts).empty());
  Episode added("verify@activated");
  model::AddForeignEndpoint(added.after, false, u"ROOT\\SYSTEM\\0000");
  EXPECT_FALSE(added.By(&CheckForeignParts).empty());
}

TEST(Checkers, ObjectToFilesWrittenElsewhere) {
  for (const char* name : {"install@outdated", "remove@installed", "verify@activated"}) {
    Episode file(name);
    model::PutFile(file.after.files, u"C:\\Windows\\INF\\notes.txt", "x");
    EXPECT_FALSE(file.By(&CheckOwnedPlaces).empty()) << name;
    Episode content(name);
    model::PutFile(content.after.files, kSampleInf, "x");
    EXPECT_FALSE(content.By(&CheckOwnedPlaces).empty()) << name;
    Episode removed(name);
    model::RemovePath(removed.after.files, u"C:\\pkg\\driver\\vorn_audio.cat");
    EXPECT_FALSE(removed.By(&CheckOwnedPlaces).empty()) << name;
  }
}

TEST(Checkers, ObjectToChangedRegistryKeysOutsideTheRecords) {
  for (const char* name : {"install@clean", "remove@installed", "verify@activated"}) {
    Episode added(name);
    ASSERT_TRUE(added.By(&CheckOwnedPlaces).empty()) << name;
    model::PutDword(added.after.registry, u"SOFTWARE\\VORN\\Audio", u"Left", 1);
    EXPECT_FALSE(added.By(&CheckOwnedPlaces).empty()) << name;
    Episode beside(name);
    model::PutDword(beside.after.registry, u"SOFTWARE\\Microsoft", u"Left", 1);
    EXPECT_FALSE(beside.By(&CheckOwnedPlaces).empty()) << name;
  }
}

TEST(Checkers, ObjectToASecondFinalLine) {
  Episode run("install@outdated");
  run.result.console.push_back({false, u"vorn_devnode: RESULT=OK - once more\n"});
  EXPECT_FALSE(run.By(&CheckFinalLine).empty());
}

TEST(Checkers, ExcuseOnlyWhatAFaultCanExplain) {
  // One failed close excuses one object of its kind.
  Episode open("verify@activated");
  model::Fault close;
  close.call = "CloseHandle";
  open.faults = {close};
  open.result.openObjects[model::ObjectKind::Handle] = 1;
  EXPECT_TRUE(open.By(&CheckNothingLeft).empty());
  open.result.openObjects[model::ObjectKind::Handle] = 2;
  EXPECT_FALSE(open.By(&CheckNothingLeft).empty());
  open.result.openObjects = {{model::ObjectKind::DeviceInfoList, 1}};
  EXPECT_FALSE(open.By(&CheckNothingLeft).empty());
  // One feigned deletion excuses one record without a warning.
  Episode record("remove@installed");
  model::Fault feigned;
  feigned.call = "NtDeleteKey";
  feigned.kind = model::FaultKind::SucceedWithoutEffect;
  record.faults = {feigned};
  record.after.registry = model::InstalledMachine().registry;
  EXPECT_FALSE(record.By(&CheckProvenRemoval).empty());
  // Another process's act on the INF excuses no change elsewhere.
  Episode swapped("install@outdated");
  model::Fault swap;
  swap.kind = model::FaultKind::Change;
  swap.changeName = "swap-inf";
  swapped.faults = {swap};
  model::PutFile(swapped.after.files, u"C:\\Windows\\notes.txt", "x");
  EXPECT_FALSE(swapped.By(&CheckOwnedPlaces).empty());
  // Two acts excuse what each of them changes.
  Episode both("install@outdated");
  model::Fault plant = swap;
  plant.changeName = "plant-journal";
  model::PutFile(both.after.files, kSampleInf, "other");
  both.faults = {plant};
  EXPECT_FALSE(both.By(&CheckOwnedPlaces).empty());
  both.faults = {plant, swap};
  EXPECT_TRUE(both.By(&CheckOwnedPlaces).empty());
}

TEST(Checkers, FindInTheLogWhatAFailingConsoleSwallowed) {
  Episode run("install@outdated");
  model::Fault swallowed;
  swallowed.call = "fputws";
  swallowed.last = model::kEveryLaterCall;
  run.faults = {swallowed};
  run.result.console.clear();
  EXPECT_TRUE(run.By(&CheckFinalLine).empty());
  run.result.calls.clear();  // nothing is excused without the log
  EXPECT_FALSE(run.By(&CheckFinalLine).empty());
}

TEST(Checkers, ObjectToAReadOnlyCommandThatChangesSomething) {
  Episode run("verify@activated");
  RootOf(run.after).hidden.insert({0, 0});
  EXPECT_FALSE(run.By(&CheckUntouched).empty());
  Episode store("audit-current@installed");
  store.after.store.packages.pop_back();
  EXPECT_FALSE(store.By(&CheckUntouched).empty());
}

TEST(Checkers, ObjectToAWaitBeyondTheBudget) {
  Episode run("verify@activated");
  run.after.clock.tick += 600'000;
  EXPECT_FALSE(run.By(&CheckTimeBound).empty());
}

TEST(Checkers, ObjectToAnInputThatIsOpenedByPath) {
  Episode run("install@outdated");
  model::CallRecord call;
  call.name = "SetupOpenInfFileW";
  call.arguments = {{"FileName", "C:\\pkg\\driver\\vorn_audio.inf"}};
  run.result.calls.push_back(call);
  EXPECT_FALSE(run.By(&CheckOpensByPath).empty());
}

TEST(ReplayText, SurvivesARoundTrip) {
  for (const char* text :
       {"NtCreateFile#12:fail=0xC0000022", "DeviceIoControl#3+:short=4",
        "UpdateDriverForPlugAndPlayDevicesW#1:restart", "ReadFile#7:change=swap-inf",
        "IMMDevice::GetId#2:fail=0x8007000E", "Sleep#1:kill-before", "WriteFile#1+:lie",
        "NtDeleteKey#5:effect-then-fail=0xC0000022", "NtCreateFile#1:take=3000",
        "CloseHandle#9:kill-after", "CloseHandle#9:hang=resume", "RegGetValueW#3:long=4096",
        "CM_Get_Child#4+:stale", "CloseHandle#2:kill-before=rollback",
        "SetupDiCallClassInstaller#1:change-after=vanishes"}) {
    EXPECT_EQ(ToText(ParsePlannedFault(text)), text);
  }
  EXPECT_THROW(ParsePlannedFault("nonsense"), std::invalid_argument);
  EXPECT_THROW(ParsePlannedFault("Sleep#1:dance"), std::invalid_argument);
  EXPECT_THROW(FindScenario("install@nowhere"), std::invalid_argument);
}

}  // namespace vorn::tests
