#include "package/package_cleanup.h"

#include "base/format.h"
#include "base/text.h"
#include "package_world.h"
#include "platform/files.h"
#include "platform/simulated/driver_store.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "tests/support/console_calls.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

constexpr char16_t kNoContract[] =
    u"vorn_devnode: expected uninstall INF does not carry the exact VORN package contract\n";
constexpr char16_t kBothRemoved[] =
    u"vorn_devnode: removed authenticated driver package oem12.inf\n"
    u"vorn_devnode: removed authenticated driver package oem3.inf\n";

std::u16string Doubtful(const std::u16string& name) {
  return u"vorn_devnode: exact-hash package " + name +
         u" changed or failed structured identity validation; retaining all remaining packages\n";
}

using Names = std::vector<std::u16string>;

struct Answer {
  std::optional<Names> names;            // of a selection
  std::optional<std::uint32_t> removed;  // of a removal
  std::u16string output;
  std::u16string errorOutput;
  std::vector<CallRecord> calls;
};

template <class Operation>
Answer Do(Machine& machine, std::vector<Fault> faults, Operation operation) {
  Process process(machine);
  process.logCalls = true;
  process.faults = std::move(faults);
  Answer answer;
  operation(answer);
  answer.output = process.Output();
  answer.errorOutput = process.ErrorOutput();
  answer.calls = process.calls;
  EXPECT_TRUE(NothingIsOpen(process));
  return answer;
}

Answer Select(Machine machine, const InfIdentity& expected = SoundIdentity(),
              std::vector<Fault> faults = {}) {
  return Do(machine, std::move(faults),
            [&](Answer& answer) { answer.names = SelectExactPackages(expected); });
}

Answer Remove(Machine& machine, std::vector<Fault> faults = {}) {
  return Do(machine, std::move(faults),
            [](Answer& answer) { answer.removed = RemoveExactPackages(SoundIdentity()); });
}

Names Uninstalled(const Answer& answer) {
  Names names;
  for (const CallRecord& call : answer.calls) {
    if (call.name != "SetupUninstallOEMInfW") continue;
    const std::string name = call.Argument("InfFileName");
    names.emplace_back(name.begin(), name.end());
    EXPECT_EQ(call.Argument("Flags"), "0x0");
  }
  return names;
}

/// A machine with two copies of the product and with packages of other makers.
Machine StockedMachine() {
  Machine machine = BareMachine();
  Publish(machine, u"oem1.inf", InfWith("VORN Audio", "Others Inc."), u"other.inf", u"other.cat");
  Publish(machine, u"oem3.inf", SoundInf());
  Publish(machine, u"oem4.inf", SoundInf() + ";another build\n");
  Publish(machine, u"oem12.inf", SoundInf());
  return machine;
}

// ------------------------------------------------------------------------------------------------

TEST(SelectExactPackages, SelectsByBytesInOrdinalOrder) {
  const Answer answer = Select(StockedMachine());
  EXPECT_EQ(answer.names, (Names{u"oem12.inf", u"oem3.inf"}));
  EXPECT_EQ(answer.output + answer.errorOutput, u"");
}

TEST(SelectExactPackages, SortsWhatAVolumeListsInItsOwnOrder) {
  Machine machine = BareMachine();
  machine.files.volumes.front().scattersListings = true;
  const Names ordinal = {u"OEM9.inf",  u"oem10.INF", u"oem2.inf",
                         u"oem21.inf", u"oem3.inf",  u"oem31.inf"};
  for (const std::u16string& name : ordinal)
    Publish(machine, name, SoundInf());
  EXPECT_EQ(Select(machine).names, ordinal);
}

TEST(SelectExactPackages, ReadsOnlyPackagesOfTheExpectedSizeAndEachOnce) {
  const Answer answer = Select(StockedMachine());
  std::size_t hashes = 0;
  for (const CallRecord& call : answer.calls) {
    if (call.name == "BCryptCreateHash") ++hashes;
  }
  EXPECT_EQ(hashes, 2U) << "of oem12.inf and oem3.inf";
}

TEST(SelectExactPackages, TellsPackagesOfTheSameSizeApart) {
  Machine machine = BareMachine();
  Publish(machine, u"oem2.inf", InfWith("VORN Audio Device", "Vorn Audio Device"));
  Publish(machine, u"oem3.inf", SoundInf());
  EXPECT_EQ(Select(machine).names, Names{u"oem3.inf"});
}

TEST(SelectExactPackages, FindsNothingInAnEmptyStore) {
  const Answer answer = Select(BareMachine());
  EXPECT_EQ(answer.names, Names{});
}

TEST(SelectExactPackages, KeepsTheNameAsTheFolderHasIt) {
  Machine machine = BareMachine();
  Publish(machine, u"OEM7.Inf", SoundInf());
  EXPECT_EQ(Select(machine).names, Names{u"OEM7.Inf"});
}

TEST(SelectExactPackages, SortsByCodeUnitsWhateverTheOrderOfTheListing) {
  Machine machine = BareMachine();
  for (const auto name : {u"oem12.inf", u"OEM7.Inf", u"oem5.inf"})
    Publish(machine, name, SoundInf());
  ASSERT_EQ(ListFolder(machine.files, u"C:\\Windows\\INF"),
            (Names{u"oem12.inf", u"oem5.inf", u"OEM7.Inf", u"usb.inf"}));
  EXPECT_EQ(Select(machine).names, (Names{u"OEM7.Inf", u"oem12.inf", u"oem5.inf"}));
}

TEST(SelectExactPackages, SelectsPackagesWhateverElseTheirAttributesSay) {
  for (const std::uint32_t attribute :
       {platform::FILE_ATTRIBUTE_READONLY, platform::FILE_ATTRIBUTE_HIDDEN,
        platform::FILE_ATTRIBUTE_SYSTEM, platform::FILE_ATTRIBUTE_ARCHIVE,
        ~(platform::FILE_ATTRIBUTE_DIRECTORY | platform::FILE_ATTRIBUTE_REPARSE_POINT)}) {
    SCOPED_TRACE(attribute);
    Machine machine = BareMachine();
    Publish(machine, u"oem3.inf", SoundInf());
    NodeAt(machine.files, u"C:\\Windows\\INF\\oem3.inf").attributes |= attribute;
    EXPECT_EQ(Select(machine).names, Names{u"oem3.inf"});
  }
}

TEST(SelectExactPackages, ComparesTheWholeHash) {
  InfIdentity expected = SoundIdentity();
  expected.infSha256.back() ^= 1;
  const Answer answer = Select(StockedMachine(), expected);
  EXPECT_EQ(answer.names, Names{});
  EXPECT_EQ(answer.errorOutput, u"");
}

TEST(SelectExactPackages, IgnoresTheCaseOfTheExpectedHash) {
  InfIdentity expected = SoundIdentity();
  for (char16_t& unit : expected.infSha256) {
    if (unit >= u'a') unit = static_cast<char16_t>(unit - 0x20);
  }
  EXPECT_EQ(Select(StockedMachine(), expected).names, (Names{u"oem12.inf", u"oem3.inf"}));
}

TEST(SelectExactPackages, NeedsTheIdentityOfASourceInf) {
  InfIdentity expected = SoundIdentity();
  expected.publishedInfName = u"oem3.inf";
  InfIdentity broken = SoundIdentity();
  broken.hasExactService = false;
  for (const InfIdentity& refused : {expected, broken, InfIdentity()}) {
    const Answer answer = Select(StockedMachine(), refused);
    EXPECT_FALSE(answer.names);
    EXPECT_EQ(answer.errorOutput, kNoContract);
    for (const CallRecord& call : answer.calls)
      EXPECT_TRUE(tests::IsPrinting(call.name)) << call.name << ": nothing is looked at";
  }
}

TEST(SelectExactPackages, ReportsAWindowsFolderThatIsUnknown) {
  Fault fault;
  fault.call = "GetWindowsDirectoryW";
  fault.error = 0x1234;
  const Answer answer = Select(StockedMachine(), SoundIdentity(), {fault});
  EXPECT_FALSE(answer.names);
  EXPECT_EQ(answer.errorOutput,
            u"vorn_devnode: GetWindowsDirectory(package cleanup) failed (error 0x00001234)\n");
}

TEST(SelectExactPackages, FailsSilentlyWithoutTheInfFolder) {
  Machine machine = StockedMachine();
  RemovePath(machine.files, u"C:\\Windows\\INF");
  const Answer answer = Select(machine);
  EXPECT_FALSE(answer.names);
  EXPECT_EQ(answer.output + answer.errorOutput, u"");
}

TEST(SelectExactPackages, DoesNotFollowALinkToTheInfFolder) {
  Machine machine = StockedMachine();
  MovePath(machine.files, u"C:\\Windows\\INF", u"C:\\Elsewhere");
  PutLink(machine.files, u"C:\\Windows\\INF", ReparseKind::Junction, u"\\??\\C:\\Elsewhere", true);
  EXPECT_FALSE(Select(machine).names);
}

TEST(SelectExactPackages, NeverOpensWhatIsNotAPublishedInf) {
  Machine machine = BareMachine();
  const std::u16string folder = kInfFolder;
  for (const char16_t* name :
       {u"oem.inf", u"oem7.pnf", u"oemx1.inf", u"vorn_audio.inf", u"oem8.inf.bak"}) {
    PutFile(machine.files, folder + name, SoundInf());
  }
  MakeFolder(machine.files, folder + u"oem5.inf");
  PutFile(machine.files, u"C:\\real.inf", SoundInf());
  PutLink(machine.files, folder + u"oem6.inf", ReparseKind::SymbolicLink, u"\\??\\C:\\real.inf",
          false);
  const Answer answer = Select(machine);
  EXPECT_EQ(answer.names, Names{});
  for (const CallRecord& call : answer.calls) {
    if (call.name == "NtCreateFile") {
      EXPECT_EQ(call.Argument("ObjectName").find("oem"), std::string::npos);
    }
  }
}

TEST(SelectExactPackages, SkipsAPackageThatCannotBeOpened) {
  Machine machine = StockedMachine();
  HoldOpen(machine.files, u"C:\\Windows\\INF\\oem3.inf", platform::GENERIC_WRITE,
           platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
  const Answer answer = Select(machine);
  EXPECT_EQ(answer.names, Names{u"oem12.inf"});
}

TEST(SelectExactPackages, SelectsAPackageOf4MiBAndSkipsALargerOne) {
  for (const std::size_t size : {std::size_t{4194304}, std::size_t{4194305}}) {
    SCOPED_TRACE(size);
    std::string text = SoundInf() + ";";
    text.resize(size, 'x');
    Machine machine = BareMachine();
    Publish(machine, u"oem3.inf", text);
    InfIdentity expected = SoundIdentity();
    SetContent(expected, text);
    const Answer answer = Select(machine, expected);
    EXPECT_EQ(answer.names, size == 4194304 ? Names{u"oem3.inf"} : Names{});
    EXPECT_EQ(answer.output + answer.errorOutput, u"");
  }
}

TEST(SelectExactPackages, SkipsAPackageThatCannotBeHashed) {
  Fault fault;
  fault.call = "ReadFile";
  fault.first = 1;
  fault.last = kEveryLaterCall;
  const Answer answer = Select(StockedMachine(), SoundIdentity(), {fault});
  EXPECT_EQ(answer.names, Names{});
}

TEST(SelectExactPackages, SelectsNothingBesideADoubtfulPackage) {
  Machine machine = StockedMachine();
  // In listing order after oem12.inf and oem3.inf, which are exact.
  Publish(machine, u"oem9.inf", SoundInf(), u"vorn_audio.inf", u"other.cat");
  const Answer answer = Select(machine);
  EXPECT_FALSE(answer.names);
  EXPECT_EQ(answer.errorOutput, Doubtful(u"oem9.inf"));
}

TEST(SelectExactPackages, EndsAtTheFirstDoubtfulPackageOfTheListing) {
  Machine machine = StockedMachine();
  Publish(machine, u"oem2.inf", SoundInf(), u"other.inf", u"vorn_audio.cat");
  Publish(machine, u"oem9.inf", SoundInf(), u"vorn_audio.inf", u"other.cat");
  EXPECT_EQ(Select(machine).errorOutput, Doubtful(u"oem2.inf"));
}

TEST(SelectExactPackages, ComparesDateAndVersionWithoutRegardToCase) {
  const std::string text = InfWith("08/10/2026,26.8.10.5", "10.aug.2026,26.8.10.5b");
  Machine machine = BareMachine();
  Publish(machine, u"oem2.inf", text);
  InfIdentity expected = SoundIdentity();
  expected.driverDate = u"10.AUG.2026";
  expected.driverVersion = u"26.8.10.5B";
  SetContent(expected, text);
  EXPECT_EQ(Select(machine, expected).names, Names{u"oem2.inf"});
}

TEST(SelectExactPackages, DoubtsEveryOtherIdentityOfTheSameBytes) {
  struct Row {
    const char16_t* originalInf;
    const char16_t* originalCatalog;
  };
  for (const Row& row : {Row{u"other.inf", u"vorn_audio.cat"}, Row{u"vorn_audio.inf", u"x.cat"},
                         Row{u"", u"vorn_audio.cat"}, Row{u"vorn_audio.inf", u""},
                         Row{u"vorn_audio.inf ", u"vorn_audio.cat"}}) {
    Machine machine = BareMachine();
    Publish(machine, u"oem2.inf", SoundInf(), row.originalInf, row.originalCatalog);
    const Answer answer = Select(machine);
    EXPECT_FALSE(answer.names);
    EXPECT_EQ(answer.errorOutput, Doubtful(u"oem2.inf"));
  }
}

TEST(SelectExactPackages, ComparesOriginalNamesWithoutRegardToCase) {
  Machine machine = BareMachine();
  Publish(machine, u"oem2.inf", SoundInf(), u"VORN_AUDIO.INF", u"Vorn_Audio.Cat");
  EXPECT_EQ(Select(machine).names, Names{u"oem2.inf"});
}

TEST(SelectExactPackages, DoubtsWhatDiffersFromTheExpectedIdentityInAnyField) {
  // These identities satisfy the contract, but differ from what the published INF says.
  std::vector<InfIdentity> others(2, SoundIdentity());
  others[0].driverDate = u"01/01/2020";
  others[1].driverVersion = u"1.2.3.4";
  for (const InfIdentity& expected : others) {
    ASSERT_TRUE(HasExactPackageContract(expected));
    const Answer answer = Select(StockedMachine(), expected);
    EXPECT_FALSE(answer.names);
    EXPECT_EQ(answer.errorOutput, Doubtful(u"oem12.inf"));
  }
}

TEST(SelectExactPackages, DoubtsAPackageThatChangesAfterItsHash) {
  // The file is hashed, but its identity can no longer be read.
  Fault fault;
  fault.call = "SetupOpenInfFileW";
  const Answer answer = Select(StockedMachine(), SoundIdentity(), {fault});
  EXPECT_FALSE(answer.names);
  EXPECT_EQ(answer.errorOutput, Doubtful(u"oem12.inf"));
}

TEST(SelectExactPackages, HoldsAFileOpenWhileItIsJudgedAndNoLonger) {
  const Answer answer = Select(StockedMachine());
  int open = 0;
  int most = 0;
  for (const CallRecord& call : answer.calls) {
    if (call.name == "NtCreateFile") ++open;
    if (call.name == "CloseHandle") --open;
    most = std::max(most, open);
  }
  EXPECT_EQ(open, 0);
  EXPECT_EQ(most, 4) << "the volume's root, two folders and one file";
}

TEST(SelectExactPackages, NeverSelectsAnotherPackageWhicheverCallFails) {
  FailEachCall(StockedMachine(), [](Process&, const std::string& failing) {
    const Names names = SelectExactPackages(SoundIdentity()).value_or(Names());
    for (const std::u16string& name : names)
      EXPECT_TRUE(name == u"oem3.inf" || name == u"oem12.inf");
    if (failing.empty()) {
      EXPECT_EQ(names.size(), 2U);
    }
  });
}

TEST(SelectExactPackages, BelievesNoAnswerOfACallThatFailed) {
  Machine machine = BareMachine();
  Publish(machine, u"oem3.inf", SoundInf());
  FailEachCallAfterItsEffect(machine, [](Process&, const std::string& failing) {
    const Names names = SelectExactPackages(SoundIdentity()).value_or(Names());
    EXPECT_EQ(names, failing.empty() || IsRelease(failing) ? Names{u"oem3.inf"} : Names{});
  });
}

// ------------------------------------------------------------------------------------------------

/// Fills the INF folder up to `count` entries; those that are added are all names of one file.
void Crowd(Machine& machine, std::size_t count) {
  const std::u16string first = std::u16string(kInfFolder) + u"crowd.pnf";
  PutFile(machine.files, first, "");
  const NodeId file = *FindNode(machine.files, first);
  Node& folder = NodeAt(machine.files, u"C:\\Windows\\INF");
  for (std::size_t i = 0; folder.entries.size() < count; ++i) {
    const std::string number = "P" + std::to_string(i);
    const std::u16string name(number.begin(), number.end());
    folder.entries[name] = Entry{name, u"", file};
  }
}

TEST(SelectExactPackages, ListsUpTo200000Entries) {
  Machine machine = StockedMachine();
  Crowd(machine, 200000);
  ASSERT_EQ(ListFolder(machine.files, u"C:\\Windows\\INF").size(), 200000U);
  const Answer answer = Select(machine);
  EXPECT_EQ(answer.names, (Names{u"oem12.inf", u"oem3.inf"}));

  PutFile(machine.files, std::u16string(kInfFolder) + u"one_more.pnf", "");
  const Answer crowded = Select(machine);
  EXPECT_FALSE(crowded.names);
  EXPECT_EQ(crowded.output + crowded.errorOutput, u"");
}

// ------------------------------------------------------------------------------------------------

TEST(RemoveExactPackages, SucceedsWhenThereIsNothingToRemove) {
  Machine machine = BareMachine();
  const Answer answer = Remove(machine);
  EXPECT_EQ(answer.removed, 0U);
  EXPECT_EQ(answer.output + answer.errorOutput, u"");
  EXPECT_EQ(Uninstalled(answer), Names{});
  const auto asksForTheFolder = [](const CallRecord& call) {
    return call.name == "GetWindowsDirectoryW";
  };
  EXPECT_EQ(std::count_if(answer.calls.begin(), answer.calls.end(), asksForTheFolder), 2)
      << "it selects again to prove that nothing is left";
}

TEST(RemoveExactPackages, RemovesEveryCopyInOrdinalOrderAndNothingElse) {
  Machine machine = StockedMachine();
  const Machine before = machine;
  const Answer answer = Remove(machine);
  EXPECT_EQ(answer.removed, 2U);
  EXPECT_EQ(Uninstalled(answer), (Names{u"oem12.inf", u"oem3.inf"}));
  EXPECT_EQ(answer.output, kBothRemoved);
  EXPECT_EQ(answer.errorOutput, u"");
  EXPECT_EQ(machine.store.Find(u"oem3.inf"), nullptr);
  for (const char16_t* kept : {u"oem1.inf", u"oem4.inf"}) {
    ASSERT_NE(machine.store.Find(kept), nullptr);
    EXPECT_EQ(*machine.store.Find(kept), *before.store.Find(kept));
    const std::u16string path = kInfFolder + std::u16string(kept);
    EXPECT_EQ(ReadWholeFile(machine.files, path), ReadWholeFile(before.files, path));
  }
}

TEST(RemoveExactPackages, UninstallsNothingBesideADoubtfulPackage) {
  Machine machine = StockedMachine();
  Publish(machine, u"oem9.inf", SoundInf(), u"vorn_audio.inf", u"other.cat");
  const Answer answer = Remove(machine);
  EXPECT_FALSE(answer.removed);
  EXPECT_EQ(answer.output, u"");
  EXPECT_EQ(answer.errorOutput, Doubtful(u"oem9.inf"));
  EXPECT_EQ(Uninstalled(answer), Names{});
  EXPECT_NE(machine.store.Find(u"oem3.inf"), nullptr);
}

TEST(RemoveExactPackages, NamesAPackageAsItsFileIsNamed) {
  Machine machine = BareMachine();
  Publish(machine, u"OEM3.Inf", SoundInf());
  const Answer answer = Remove(machine);
  EXPECT_EQ(Uninstalled(answer), Names{u"OEM3.Inf"});
  EXPECT_EQ(answer.output, u"vorn_devnode: removed authenticated driver package OEM3.Inf\n");
}

TEST(RemoveExactPackages, TreatsAPackageThatVanishesAsGone) {
  Machine machine = StockedMachine();
  Fault fault;
  fault.call = "SetupUninstallOEMInfW";
  fault.kind = FaultKind::Change;
  fault.change = [](Machine& world) { EXPECT_EQ(UninstallPackage(world, u"oem12.inf", 0), 0U); };
  const Answer answer = Remove(machine, {fault});
  EXPECT_EQ(answer.removed, 1U);
  EXPECT_EQ(answer.output, u"vorn_devnode: removed authenticated driver package oem3.inf\n");
  EXPECT_EQ(answer.errorOutput, u"");
}

TEST(RemoveExactPackages, StopsAtThePackageThatCannotBeUninstalled) {
  Machine machine = StockedMachine();
  machine.store.Find(u"oem12.inf")->uninstallError = platform::ERROR_ACCESS_DENIED;
  const Answer answer = Remove(machine);
  EXPECT_FALSE(answer.removed);
  EXPECT_EQ(answer.output, u"");
  EXPECT_EQ(answer.errorOutput,
            u"vorn_devnode: SetupUninstallOEMInf(exact VORN package) failed (error 0x00000005)\n");
  EXPECT_EQ(Uninstalled(answer), Names{u"oem12.inf"});
  EXPECT_NE(machine.store.Find(u"oem3.inf"), nullptr);
}

TEST(RemoveExactPackages, TreatsOnlyFileNotFoundAsAPackageThatVanished) {
  for (const std::uint32_t error : {1U, 3U, 18U, 1168U, 0xE0000102U}) {
    SCOPED_TRACE(error);
    Machine machine = StockedMachine();
    machine.store.Find(u"oem12.inf")->uninstallError = error;
    const Answer answer = Remove(machine);
    EXPECT_FALSE(answer.removed);
    EXPECT_EQ(answer.errorOutput,
              Format(u"vorn_devnode: SetupUninstallOEMInf(exact VORN package) failed (error "
                     u"0x%08lX)\n",
                     error));
    EXPECT_EQ(Uninstalled(answer), Names{u"oem12.inf"});
  }
}

TEST(RemoveExactPackages, ReportsWhatWasRemovedBeforeAFailure) {
  Machine machine = StockedMachine();
  machine.store.Find(u"oem3.inf")->uninstallError = platform::ERROR_INF_IN_USE_BY_DEVICES;
  const Answer answer = Remove(machine);
  EXPECT_FALSE(answer.removed);
  EXPECT_EQ(answer.output, u"vorn_devnode: removed authenticated driver package oem12.inf\n");
  EXPECT_EQ(answer.errorOutput,
            u"vorn_devnode: SetupUninstallOEMInf(exact VORN package) failed (error 0xE000023D)\n");
}

TEST(RemoveExactPackages, DoesNotBelieveAnUninstallationThatLeavesTheInf) {
  Machine machine = StockedMachine();
  machine.store.Find(u"oem3.inf")->uninstallKeepsFile = true;
  machine.store.Find(u"oem12.inf")->uninstallKeepsFile = true;
  const Answer answer = Remove(machine);
  EXPECT_FALSE(answer.removed);
  EXPECT_EQ(answer.output, kBothRemoved);
  // What stays behind has lost its package: its identity cannot be confirmed any more, or it can
  // and is still there. Either way nothing is called clean.
  EXPECT_TRUE(answer.errorOutput == Doubtful(u"oem12.inf") ||
              answer.errorOutput ==
                  u"vorn_devnode: 2 authenticated VORN package(s) remain after cleanup\n")
      << std::string(answer.errorOutput.begin(), answer.errorOutput.end());
}

TEST(RemoveExactPackages, ReportsPackagesThatRemain) {
  Machine machine = StockedMachine();
  Fault fault;
  fault.call = "SetupUninstallOEMInfW";
  fault.kind = FaultKind::SucceedWithoutEffect;
  const Answer answer = Remove(machine, {fault});
  EXPECT_FALSE(answer.removed);
  EXPECT_EQ(answer.output, kBothRemoved);
  EXPECT_EQ(answer.errorOutput,
            u"vorn_devnode: 1 authenticated VORN package(s) remain after cleanup\n");
}

TEST(RemoveExactPackages, FailsWhenTheSecondSelectionFails) {
  Machine machine = StockedMachine();
  Fault fault;
  fault.call = "GetWindowsDirectoryW";
  fault.first = fault.last = 2;
  const Answer answer = Remove(machine, {fault});
  EXPECT_FALSE(answer.removed);
  EXPECT_EQ(answer.output, kBothRemoved);
  EXPECT_EQ(answer.errorOutput,
            u"vorn_devnode: GetWindowsDirectory(package cleanup) failed (error 0x0000001F)\n");
}

TEST(RemoveExactPackages, ClosesEveryCandidateBeforeItUninstalls) {
  Machine machine = StockedMachine();
  Process process(machine);
  Fault fault;
  fault.call = "SetupUninstallOEMInfW";
  fault.last = kEveryLaterCall;
  fault.kind = FaultKind::Change;
  fault.change = [&process](Machine& world) {
    EXPECT_TRUE(NothingIsOpen(process));
    EXPECT_EQ(CountOwnOpens(world.files), 0U);
  };
  process.faults.push_back(fault);
  EXPECT_EQ(RemoveExactPackages(SoundIdentity()), 2U);
}

TEST(RemoveExactPackages, NeverUninstallsAnotherPackageWhicheverCallFails) {
  FailEachCall(StockedMachine(), [](Process& process, const std::string& failing) {
    const std::optional<std::uint32_t> removed = RemoveExactPackages(SoundIdentity());
    const Machine& machine = process.TheMachine();
    EXPECT_NE(machine.store.Find(u"oem1.inf"), nullptr);
    EXPECT_NE(machine.store.Find(u"oem4.inf"), nullptr);
    EXPECT_LE(removed.value_or(0), 2U);
    if (failing.empty()) {
      EXPECT_EQ(removed, 2U);
    }
  });
}

}  // namespace
}  // namespace vorn
