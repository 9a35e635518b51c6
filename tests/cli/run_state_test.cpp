#include "cli/run_state.h"

#include "platform/simulated/file_tree.h"
#include "tests/support/planned_faults.h"
#include "tests/support/run_command.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>
#include <string>

namespace vorn {
namespace {

using platform::simulated::CleanMachine;
using platform::simulated::Fault;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using tests::ChangeBefore;
using tests::kSampleInf;
using tests::RunCommand;

/// Notes whether anybody has the path open just before the first call of that name.
Fault NoteWhetherOpen(std::string_view call, const char16_t* path, bool& open) {
  return ChangeBefore(call, 1, [path, &open](Machine& world) {
    open = IsOpen(world.files, *FindNode(world.files, path));
  });
}

// Neither of these commands deletes any file but those of the snapshot.

TEST(RunState, ReleasesTheLogsFolderBeforeTheSnapshotIsDeleted) {
  Machine machine = InstalledMachine();
  bool openDuringTheRun = false;
  bool openAtTheEnd = true;
  const Fault faults[] = {
      NoteWhetherOpen("SetupUninstallOEMInfW", tests::kSampleLogFolder, openDuringTheRun),
      NoteWhetherOpen("SetFileInformationByHandle", tests::kSampleLogFolder, openAtTheEnd)};
  RunCommand(machine, {u"remove", kSampleInf}, {.faults = {faults[0], faults[1]}});
  EXPECT_TRUE(openDuringTheRun);
  EXPECT_FALSE(openAtTheEnd);
}

TEST(RunState, ReleasesTheJournalBeforeTheSnapshotIsDeleted) {
  Machine machine = CleanMachine();
  bool openDuringTheRun = false;
  bool openAtTheEnd = true;
  const Fault faults[] = {
      NoteWhetherOpen("UpdateDriverForPlugAndPlayDevicesW", tests::kSampleJournal,
                      openDuringTheRun),
      NoteWhetherOpen("SetFileInformationByHandle", tests::kSampleJournal, openAtTheEnd)};
  RunCommand(machine, {u"install", kSampleInf}, {.faults = {faults[0], faults[1]}});
  EXPECT_TRUE(openDuringTheRun);
  EXPECT_FALSE(openAtTheEnd);
}

}  // namespace
}  // namespace vorn
