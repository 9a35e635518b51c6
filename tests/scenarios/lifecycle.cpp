#include "tests/scenarios/lifecycle.h"

#include "base/text.h"
#include "tests/support/judged_run.h"
#include "tests/support/machine_view.h"
#include "tests/support/world.h"

#include <gtest/gtest.h>

namespace vorn::tests {

using platform::simulated::Advance;
using platform::simulated::CleanMachine;
using platform::simulated::DriverImage;
using platform::simulated::Machine;
using platform::simulated::Reboot;
using platform::simulated::RemovePath;

namespace {

constexpr std::uint64_t kSettleMs = 60'000;

struct Version {
  const char* version;
  const char* date;
  const char16_t* folder;
};
constexpr Version kVersions[] = {
    {kFirst, "08/10/2026", u"C:\\v1\\driver"},
    {kSecond, "08/20/2026", u"C:\\v2\\driver"},
    {kThird, "08/30/2026", u"C:\\v3\\driver"},
};

std::string JournalVersion(const Machine& machine) {
  if (!HasFile(machine, kSampleJournal)) return "none";
  const auto journal = ReadableJournalIn(machine, kSampleJournal);
  return journal ? ToUtf8(journal->target.version) : "unreadable";
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Picture& picture) {
  return stream << "journal " << picture.journal << ", bound " << picture.bound << ", runs "
                << picture.runs << ", visible " << picture.visible << ", pending "
                << picture.pending;
}

Picture PictureOf(const Machine& machine) {
  return {JournalVersion(machine), BoundVersion(machine), ResidentVersion(machine),
          VisibleEndpoints(machine), PendingPackage(machine)};
}

Lifecycle::Lifecycle(Machine machine) : machine_(std::move(machine)) {}

RunResult Lifecycle::Run(const std::vector<std::u16string>& arguments, const RunOptions& options) {
  const Machine before = machine_;
  RunResult run = RunCommand(machine_, arguments, options);
  EXPECT_TRUE(run.openObjects.empty());
  EXPECT_EQ(CountOwnOpens(machine_.files), 0U);
  if (!run.killed) ExpectTidy(before, machine_);
  return run;
}

RunResult Lifecycle::Install(const std::u16string& inf, const RunOptions& options) {
  return Run({u"install", inf, kSampleJournal}, options);
}

RunResult Lifecycle::Rollback(const std::u16string& inf, const RunOptions& options) {
  return Run({u"install", inf, kSampleJournal, u"--rollback"}, options);
}

RunResult Lifecycle::Verify(const std::u16string& version, const std::u16string& date) {
  return Run({u"verify", version, date, kSampleJournal});
}

void Lifecycle::Restart() {
  Reboot(machine_);
  Advance(machine_, kSettleMs);
}

void Lifecycle::DeleteJournal() {
  RemovePath(machine_.files, kSampleJournal);
}

Machine MachineWithPackages(const std::function<void(DriverImage&)>& shapeSecond,
                            const std::function<void(DriverImage&)>& shapeThird) {
  Machine machine = CleanMachine();
  for (const Version& row : kVersions) {
    const bool isSecond = row.version == std::string_view(kSecond);
    const bool isThird = row.version == std::string_view(kThird);
    AddPackage(machine, row.folder, ToUtf16(row.version), ToUtf16(row.date),
               isSecond  ? shapeSecond
               : isThird ? shapeThird
                         : nullptr);
  }
  return machine;
}

ConsoleLine ProvenVersion(const std::string& version, const std::string& publishedInf,
                          std::size_t active) {
  std::string date;
  for (const Version& row : kVersions) {
    if (row.version == version) date = row.date;
  }
  return Out("vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, package=" + date + " " + version +
             " (" + publishedInf + "), catalog=20, active=" + std::to_string(active) +
             ", present-pnp=" + std::to_string(active) + ", kernel=20");
}

}  // namespace vorn::tests
