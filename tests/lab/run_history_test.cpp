// What is kept of a run so that it can be drawn: its phases, the machine at each change, its lines.

#include "lab/run_history.h"

#include "base/text.h"
#include "lab/machine_report.h"
#include "lab/presets.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/driver_store.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

using Words = std::vector<std::string>;

const std::string kOldInf = ToUtf8(tests::kSampleInf);
const std::string kStateFile = ToUtf8(tests::kSampleJournal);
const std::string kNewInf = "C:\\new\\driver\\vorn_audio.inf";
constexpr const char* kBind = "UpdateDriverForPlugAndPlayDevicesW";

LabMachine MachineOf(const char* preset) {
  LabMachine lab = MakePreset(preset);
  platform::simulated::PackageRecipe recipe;
  recipe.version = u"26.9.1.1";
  recipe.image = platform::simulated::SoundImage(u"26.9.1.1");
  WritePackage(lab.machine.files, u"C:\\new\\driver", recipe);
  return lab;
}

RunHistory HistoryOf(LabMachine& lab, const Words& arguments, const Words& faults = {}) {
  std::vector<StagedFault> staged;
  for (const std::string& fault : faults)
    staged.push_back(ParseFault(fault));
  ProgramRun run;
  return RunWithHistory(lab, arguments, staged, run);
}

RunHistory HistoryOf(const char* preset, const Words& arguments, const Words& faults = {}) {
  LabMachine lab = MachineOf(preset);
  return HistoryOf(lab, arguments, faults);
}

Words TitlesOf(const RunHistory& run) {
  Words titles;
  for (const HistoryPhase& phase : run.phases)
    titles.push_back(phase.title);
  return titles;
}

// ------------------------------------------------------------------------------------------------
// Phases.

TEST(RunPhases, OfAFreshInstall) {
  EXPECT_EQ(TitlesOf(HistoryOf("clean", {"install", kOldInf})),
            (Words{"Copy the package", "Read the INF", "Look at the journal", "Count the devices",
                   "Find the device", "Write the journal", "Create the device", "Bind the package",
                   "Prove", "Clean up"}));
}

TEST(RunPhases, OfAnUpdate) {
  EXPECT_EQ(TitlesOf(HistoryOf("installed", {"install", kNewInf})),
            (Words{"Copy the package", "Read the INF", "Look at the journal", "Count the devices",
                   "Find the device", "Read the endpoints", "Write the journal",
                   "Compare with the target", "Hide the endpoints", "Bind the package", "Prove",
                   "Clean up"}));
}

TEST(RunPhases, OfADeferredUpdateOverAJournal) {
  LabMachine lab = MachineOf("clean");
  HistoryOf(lab, {"install", kOldInf});
  const Words titles =
      TitlesOf(HistoryOf(lab, {"install", kNewInf, kStateFile}, {std::string(kBind) + ":restart"}));
  EXPECT_EQ(Words(titles.begin() + 2, titles.begin() + 5),
            (Words{"Look at the journal", "Prove the old journal", "Count the devices"}));
  EXPECT_EQ(Words(titles.end() - 3, titles.end()),
            (Words{"Bind the package", "Select the old package", "Clean up"}));
}

TEST(RunPhases, OfAnInstallThatRemovesDuplicates) {
  const Words titles = TitlesOf(HistoryOf("duplicates", {"install", kOldInf}));
  EXPECT_EQ(Words(titles.begin() + 3, titles.begin() + 6),
            (Words{"Count the devices", "Remove duplicates", "Find the device"}));
}

TEST(RunPhases, OfTheCommandsOnAJournal) {
  LabMachine lab = MachineOf("clean");
  HistoryOf(lab, {"install", kOldInf});
  EXPECT_EQ(TitlesOf(HistoryOf(lab, {"verify", "26.8.10.5", "08/10/2026", kStateFile})),
            (Words{"Start", "Look at the journal", "Prove", "Clean up"}));
  EXPECT_EQ(TitlesOf(HistoryOf(lab, {"hot-activate", "26.8.10.5", "08/10/2026", kStateFile})),
            (Words{"Start", "Look at the journal", "Find the device", "Hide the endpoints",
                   "Restart the device", "Prove", "Clean up"}));
}

TEST(RunPhases, KnowTheJournalThatEachCommandIsGiven) {
  const std::string state = "C:\\pkg\\other-state";
  LabMachine lab = MachineOf("clean");
  const Words installed = TitlesOf(HistoryOf(lab, {"install", kOldInf, state}));
  EXPECT_EQ(std::count(installed.begin(), installed.end(), "Write the journal"), 1);
  for (const char* const command : {"verify", "hot-activate"}) {
    EXPECT_EQ(TitlesOf(HistoryOf(lab, {command, "26.8.10.5", "08/10/2026", state}))[1],
              "Look at the journal")
        << command;
  }
}

TEST(RunPhases, OfTheAuditsAndTheRecovery) {
  EXPECT_EQ(TitlesOf(HistoryOf("installed", {"audit-current", kOldInf})),
            (Words{"Copy the package", "Read the INF", "Prove", "Clean up"}));
  EXPECT_EQ(TitlesOf(HistoryOf("installed", {"audit-catalog"})),
            (Words{"Find the device", "Read the endpoints"}));
  EXPECT_EQ(TitlesOf(HistoryOf("installed", {"resume-endpoints"})),
            (Words{"Find the device", "Show the endpoints"}));
}

TEST(RunPhases, OfARemoval) {
  EXPECT_EQ(TitlesOf(HistoryOf("installed", {"remove", kOldInf})),
            (Words{"Copy the package", "Read the INF", "Find the device", "Hide the endpoints",
                   "Ask for the device", "Remove the device", "Remove the packages",
                   "Remove the records", "Clean up"}));
}

TEST(RunPhases, EndWhereSomethingEndedTheProcess) {
  const RunHistory run =
      HistoryOf("installed", {"install", kNewInf}, {std::string(kBind) + ":hang"});
  EXPECT_EQ(run.phases.back().title, "Bind the package");
  EXPECT_EQ(run.phases.back().Milliseconds(), 3'600'000U);
  EXPECT_EQ(run.callNames.back(), kBind);
  EXPECT_EQ(run.status, std::nullopt);
}

TEST(RunPhases, OfARecoveryThatDiesBeforeItsFirstEndpoint) {
  const RunHistory run = HistoryOf("installed", {"resume-endpoints"}, {"DeviceIoControl#2:kill"});
  EXPECT_EQ(TitlesOf(run), (Words{"Find the device", "Show the endpoints"}));
}

TEST(RunPhases, TakeEveryCallAndAllTheTime) {
  const RunHistory run = HistoryOf("installed", {"install", kNewInf});
  std::size_t calls = 0;
  std::uint64_t now = 0;
  for (const HistoryPhase& phase : run.phases) {
    EXPECT_EQ(phase.firstCall, calls) << phase.title;
    EXPECT_EQ(phase.begins, now) << phase.title;
    calls += phase.calls;
    now = phase.ends;
  }
  EXPECT_EQ(calls, run.callNames.size());
  EXPECT_EQ(now, run.milliseconds);
}

TEST(RunPhases, OfTheJournalBeginOnTheWayToIt) {
  const RunHistory run = HistoryOf("installed", {"install", kNewInf});
  for (const HistoryPhase& phase : run.phases) {
    if (!phase.title.ends_with("the journal")) continue;
    EXPECT_EQ(run.callNames[phase.firstCall], "QueryDosDeviceW") << phase.title;
  }
}

TEST(RunPhases, OfNothingButTheUsage) {
  EXPECT_EQ(TitlesOf(HistoryOf("clean", {"install"})), Words{"Start"});
}

// ------------------------------------------------------------------------------------------------
// The machine.

/// The states that something goes through, in order.
template <class StateOf>
Words StatesOf(const RunHistory& run, StateOf stateOf) {
  Words states;
  for (const HistoryMoment& moment : run.moments) {
    const std::string state = stateOf(moment.machine);
    if (states.empty() || states.back() != state) states.push_back(state);
  }
  return states;
}

TEST(RunHistoryOfAnUpdate, HasTheLifeOfTheDevice) {
  const RunHistory run = HistoryOf("installed", {"install", kNewInf});
  EXPECT_EQ(
      StatesOf(run,
               [](const MachineGlance& machine) {
                 const DeviceGlance& device = machine.devices.at(0);
                 return device.state + " " + device.package + " " + device.image;
               }),
      (Words{"started oem3.inf 26.8.10.5", "stopped oem4.inf ", "started oem4.inf 26.9.1.1"}));
}

TEST(RunHistoryOfAnUpdate, HasTheLifeOfAnEndpoint) {
  const RunHistory run = HistoryOf("installed", {"install", kNewInf});
  EXPECT_EQ(
      StatesOf(run, [](const MachineGlance& machine) { return NameOf(machine.endpoints[1][9]); }),
      (Words{"active", "not present", "active"}));
}

TEST(RunHistoryOfAnUpdate, HasTheLifeOfTheJournal) {
  const RunHistory run = HistoryOf("installed", {"install", kNewInf, kStateFile});
  EXPECT_EQ(StatesOf(run,
                     [](const MachineGlance& machine) {
                       return machine.journals.empty() ? "none" : machine.journals[0].about;
                     }),
            (Words{"none", "empty", "names 26.9.1.1"}));
  EXPECT_EQ(run.moments.back().machine.journals[0].path, kStateFile);
}

TEST(RunHistoryOfAnUpdate, HasThePublishedPackages) {
  const RunHistory run = HistoryOf("installed", {"install", kNewInf});
  EXPECT_EQ(run.moments.front().machine.packages,
            (std::vector<PackageGlance>{{"oem3.inf", "26.8.10.5"}}));
  EXPECT_EQ(run.moments.back().machine.packages,
            (std::vector<PackageGlance>{{"oem3.inf", "26.8.10.5"}, {"oem4.inf", "26.9.1.1"}}));
}

TEST(RunHistoryOfAnUpdate, HasWhatHappensDuringAWaitAtItsOwnTime) {
  const RunHistory run = HistoryOf("installed", {"install", kNewInf});
  const auto shown =
      std::find_if(run.moments.begin(), run.moments.end(), [](const HistoryMoment& moment) {
        return moment.machine.devices[0].image == "26.9.1.1" &&
               moment.machine.endpoints[0][0] == EndpointGlance::Active;
      });
  ASSERT_NE(shown, run.moments.end());
  EXPECT_EQ(run.callNames[shown->at.call], "Sleep");
  EXPECT_GT(shown->at.milliseconds, run.BeginOf(shown->at.call));
  EXPECT_LT(shown->at.milliseconds, run.callEnds[shown->at.call]);
}

TEST(RunHistory, LeavesTheMachineAsTheRunDoes) {
  LabMachine watched = MachineOf("installed");
  LabMachine other = MachineOf("installed");
  const RunHistory history = HistoryOf(watched, {"install", kNewInf});
  const ProgramRun run = RunProgram(other, {"install", kNewInf}, {}, false);
  EXPECT_EQ(history.status, run.result.status);
  EXPECT_EQ(ReportText(Examine(watched.machine)), ReportText(Examine(other.machine)));
}

TEST(RunHistory, OfAnAuditHasOneMoment) {
  EXPECT_EQ(HistoryOf("installed", {"audit-catalog"}).moments.size(), 1U);
}

TEST(RunHistory, OfARemovalEndsWithoutADevice) {
  const RunHistory run = HistoryOf("installed", {"remove", kOldInf});
  EXPECT_EQ(run.moments.front().machine.devices.size(), 1U);
  EXPECT_TRUE(run.moments.back().machine.devices.empty());
  EXPECT_TRUE(run.moments.back().machine.packages.empty());
}

// The handles of a process that is ended are closed, which changes the machine after its last call:
// here the journal goes, whose deletion waited for that.
TEST(RunHistory, EndsWithTheMachineAsItIs) {
  const RunHistory run =
      HistoryOf("installed", {"install", kNewInf, kStateFile},
                {std::string(kBind) + ":fail", "SetFileInformationByHandle:kill-after"});
  EXPECT_EQ(run.status, std::nullopt);
  EXPECT_TRUE(run.moments.back().machine.journals.empty());
}

TEST(MachineGlance, CountsTheBetterOfTwoEndpointsOfACable) {
  LabMachine lab = MachineOf("installed");
  auto& endpoints = lab.machine.audio.endpoints;
  const auto first = std::find_if(endpoints.begin(), endpoints.end(), [](const auto& endpoint) {
    return endpoint.builtFor.has_value();
  });
  ASSERT_NE(first, endpoints.end());
  const auto [cable, capture] = *first->builtFor;
  auto second = *first;
  second.state = platform::DEVICE_STATE_NOTPRESENT;
  endpoints.push_back(second);
  GlanceTaker taker(u"none");
  EXPECT_EQ(taker.Take(lab.machine).endpoints[capture == 0 ? 0 : 1][cable], EndpointGlance::Active);
}

// ------------------------------------------------------------------------------------------------
// Lines.

TEST(RunHistory, HasEachLineAtTheCallThatWroteIt) {
  const RunHistory run = HistoryOf("installed", {"install", kNewInf});
  ASSERT_EQ(run.lines.size(), 3U);
  for (const HistoryLine& line : run.lines)
    EXPECT_EQ(run.callNames[line.at.call], "fflush") << line.text;
  EXPECT_EQ(run.lines[0].text, "vorn_devnode: persisted protected pre-bind activation state");
  EXPECT_EQ(run.lines[2].at.milliseconds, 2500U);
}

TEST(RunHistory, HasAFaultAtTheCallThatItHit) {
  const std::string fault = "CM_Get_Sibling#3:fail";
  const RunHistory run = HistoryOf("installed", {"audit-catalog"}, {fault});
  const auto line = std::find_if(run.lines.begin(), run.lines.end(), [](const HistoryLine& each) {
    return each.kind == HistoryLine::Kind::Fault;
  });
  ASSERT_NE(line, run.lines.end());
  EXPECT_EQ(line->text, fault);
  const auto name = run.callNames.begin() + static_cast<std::ptrdiff_t>(line->at.call);
  EXPECT_EQ(*name, "CM_Get_Sibling");
  EXPECT_EQ(std::count(run.callNames.begin(), name, "CM_Get_Sibling"), 2);
}

TEST(RunHistory, HasAFaultBeforeTheLinesOfLaterCalls) {
  const RunHistory run = HistoryOf("clean", {"install", kOldInf}, {"GetTempPathW:time=0"});
  ASSERT_EQ(run.lines.size(), 4U);
  EXPECT_EQ(run.lines[0].kind, HistoryLine::Kind::Fault);
}

TEST(RunHistory, HasNoFaultThatWasNeverReached) {
  const RunHistory run = HistoryOf("installed", {"audit-catalog"}, {"NtDeleteKey:fail"});
  for (const HistoryLine& line : run.lines)
    EXPECT_NE(line.kind, HistoryLine::Kind::Fault);
}

}  // namespace
}  // namespace vorn::lab
