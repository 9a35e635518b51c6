// The diagrams of docs/integration.md, followed from every row of the table of decisions: whatever
// happened, the user has a driver that runs, or what was there before.

#include "tests/integration/diagram_installer.h"
#include "tests/integration/rehearsal.h"
#include "tests/support/machine_view.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <ostream>

namespace vorn::tests {
namespace {

using platform::simulated::Machine;

constexpr char16_t kOldVersion[] = u"26.8.10.5";
constexpr char16_t kNewVersion[] = u"26.9.1.1";

bool Has(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

/// The rows of a command with an INF; a rollback is what the diagrams themselves call.
std::vector<Decision> RowsOf(const std::string& command) {
  std::vector<Decision> rows;
  std::copy_if(DecisionTable::Get().Rows().begin(), DecisionTable::Get().Rows().end(),
               std::back_inserter(rows), [&command](const Decision& row) {
                 const auto& words = row.staging.words;
                 return Has(words, command) && words.back() != "--rollback";
               });
  return rows;
}

/// Whether one of the two versions runs, whole.
bool IsWhole(const Machine& machine) {
  return !WhyNotRunning(machine, kOldVersion) || !WhyNotRunning(machine, kNewVersion);
}

/// A row, and what an installer made of it.
struct Followed {
  bool repairs = false;  // the row installs the version that is there
  bool wasWhole = false;
  MachinePicture before;
  int code = 0;
  std::string story;
  Machine machine;
  MachinePicture after;
};

Followed FollowInstallation(const Decision& row) {
  StagedMachine machine(row.staging.machine);
  machine.TakeAll(row.staging.prepare);
  Followed followed;
  followed.repairs = Has(row.staging.words, Named("INF1"));
  followed.wasWhole = IsWhole(machine.Load());
  followed.before = machine.Look();
  std::optional<std::string> old;
  if (!followed.before.roots.empty()) old = Named("INF1");
  DiagramInstaller installer(machine, old, Named(followed.repairs ? "INF1" : "INF2"));
  followed.code = installer.Install(row.staging.words);
  followed.story = installer.Story() + "installer's code " + std::to_string(followed.code);
  // Whoever plays sound starts the audio services, if another program has stopped them.
  machine.Run({"audit-current", Named("INF1")});
  followed.machine = machine.Load();
  followed.after = machine.Look();
  return followed;
}

class DiagramInstallerTest : public testing::TestWithParam<Decision> {
 protected:
  /// Each row is followed once.
  static const Followed& Seen() {
    static std::map<std::string, Followed> all;
    const auto known = all.find(GetParam().id);
    if (known != all.end()) return known->second;
    return all[GetParam().id] = FollowInstallation(GetParam());
  }
};

TEST_P(DiagramInstallerTest, LeavesADriverThatRunsOrNone) {
  const Followed& seen = Seen();
  SCOPED_TRACE(seen.story);
  if (seen.before.roots.empty()) {
    EXPECT_EQ(IsWhole(seen.machine), seen.code == 0);
    if (seen.code != 0) {
      EXPECT_TRUE(seen.after.roots.empty());
      EXPECT_EQ(seen.after.packages, seen.before.packages);
    }
    return;
  }
  EXPECT_GE(seen.after.endpoints, seen.before.endpoints);
  if (!seen.wasWhole) return;
  EXPECT_TRUE(IsWhole(seen.machine));
  EXPECT_EQ(seen.after.endpointIds, seen.before.endpointIds);
}

// Success is claimed for what runs, and for nothing else. A repair may fail on a driver that runs.
TEST_P(DiagramInstallerTest, ReportsSuccessForTheNewDriverOnly) {
  const Followed& seen = Seen();
  SCOPED_TRACE(seen.story);
  const bool isNew = !WhyNotRunning(seen.machine, seen.repairs ? kOldVersion : kNewVersion);
  const bool ranBefore = seen.repairs && seen.wasWhole;
  EXPECT_TRUE(seen.code == 0 || seen.code == 1603);
  EXPECT_TRUE((seen.code == 0) == isNew || (isNew && ranBefore)) << seen.code;
}

class DiagramUninstallerTest : public testing::TestWithParam<Decision> {};

TEST_P(DiagramUninstallerTest, LeavesNothingOrADriverThatRuns) {
  const Staging& staging = GetParam().staging;
  StagedMachine machine(staging.machine);
  machine.TakeAll(staging.prepare);
  DiagramInstaller installer(machine, std::nullopt,
                             Named(Has(staging.words, Named("INF2")) ? "INF2" : "INF1"));
  const int code = installer.Uninstall(staging.words, {Named("INF1")});
  SCOPED_TRACE(installer.Story() + "installer's code " + std::to_string(code));

  const MachinePicture after = machine.Look();
  if (code == 0 || code == 3010) {
    EXPECT_TRUE(after.roots.empty());
    EXPECT_TRUE(after.packages.empty());
    EXPECT_EQ(after.journal, "none");
  }
  if (after.roots.empty()) return;
  EXPECT_TRUE(code == 1603 || code == 1618);
  machine.Take(lab::Json(lab::Json::List{"reboot"}));
  EXPECT_TRUE(IsWhole(machine.Load()));
}

// ------------------------------------------------------------------------------------------------
// Crashes at other places than the table has.

struct Crash {
  const char* machine;
  std::string fault;
  bool restarted;  // a power cut
};

std::ostream& operator<<(std::ostream& stream, const Crash& crash) {
  return stream << crash.machine << " " << crash.fault << (crash.restarted ? ", restarted" : "");
}

std::vector<Crash> Crashes() {
  std::vector<Crash> crashes;
  for (const char* const machine : {"clean", "installed"}) {
    for (const char* const call : {"ConvertStringSecurityDescriptorToSecurityDescriptorW#2",
                                   "WriteFile#4", "SetupDiCallClassInstaller", "DeviceIoControl#12",
                                   "UpdateDriverForPlugAndPlayDevicesW", "StartServiceW#3"}) {
      for (const char* const kind : {":kill", ":kill-after"}) {
        for (const bool restarted : {false, true})
          crashes.push_back({machine, std::string(call) + kind, restarted});
      }
    }
  }
  return crashes;
}

class CrashedInstallation : public testing::TestWithParam<Crash> {};

TEST_P(CrashedInstallation, IsCompletedByTheDiagrams) {
  StagedMachine machine(GetParam().machine);
  const MachinePicture before = machine.Look();
  std::optional<std::string> old;
  if (!before.roots.empty()) old = Named("INF1");
  DiagramInstaller installer(machine, old, Named("INF2"));
  std::vector<std::string> first = {"--fault", GetParam().fault, "install", Named("INF2"),
                                    Named("STATE")};
  if (GetParam().restarted) {
    machine.Run(first);
    machine.Take(lab::Json(lab::Json::List{"reboot"}));
    first.erase(first.begin(), first.begin() + 2);
  }
  const int code = installer.Install(first);
  SCOPED_TRACE(installer.Story());
  EXPECT_EQ(code, 0);
  EXPECT_FALSE(WhyNotRunning(machine.Load(), kNewVersion));
  if (old) {
    EXPECT_EQ(machine.Look().endpointIds, before.endpointIds);
  }
}

INSTANTIATE_TEST_SUITE_P(Places, CrashedInstallation, testing::ValuesIn(Crashes()));

INSTANTIATE_TEST_SUITE_P(Rows, DiagramInstallerTest, testing::ValuesIn(RowsOf("install")),
                         TestNameOf);
INSTANTIATE_TEST_SUITE_P(Rows, DiagramUninstallerTest, testing::ValuesIn(RowsOf("remove")),
                         TestNameOf);

}  // namespace
}  // namespace vorn::tests
