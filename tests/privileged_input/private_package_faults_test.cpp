// Each platform call that a snapshot makes fails, returns short data or kills the process in turn.

#include "platform/simulated/native_values.h"
#include "privileged_input/private_package.h"
#include "tests/privileged_input/input_test.h"
#include "tests/support/repeated_calls.h"
#include "tests/support/sample.h"

#include <optional>

namespace vorn::privileged_input {
namespace {

using tests::kSampleInf;

sim::Machine PackageMachine() {
  sim::Machine machine = tests::SmallMachine();
  sim::PutFile(machine.files, kSampleInf, "the inf");
  sim::PutFile(machine.files, u"C:\\pkg\\driver\\vorn_audio.cat", "the catalog");
  sim::PutFile(machine.files, u"C:\\pkg\\driver\\x64\\deep\\notes.txt", "notes");
  return machine;
}

/// One snapshot, taken and released, with one fault.
struct SnapshotRun {
  sim::Machine machine = PackageMachine();
  bool acquired = false;
  bool faithful = true;  // what was acquired equals the package
  std::uint64_t acquireCalls = 0;
  std::uint64_t allCalls = 0;
  std::string faultedCall;
  tests::MadeCalls calls;
  std::u16string errorOutput;
  std::size_t openHandles = 0;

  explicit SnapshotRun(const std::vector<sim::Fault>& faults) {
    sim::Process process(machine);
    process.logCalls = true;
    process.faults = faults;
    std::optional<PackageSnapshot> snapshot(std::in_place);
    acquired = AcquirePackageSnapshot(AbsolutePath::Parse(kSampleInf), *snapshot);
    acquireCalls = process.callCount;
    if (acquired && !process.killed) faithful = IsFaithful(snapshot->Input().path);
    snapshot.reset();
    allCalls = process.callCount;
    if (!faults.empty() && faults[0].first <= process.calls.size()) {
      faultedCall = process.calls[faults[0].first - 1].name;
    }
    calls = tests::MadeCallsOf(process.calls);
    errorOutput = process.ErrorOutput();
    for (const auto& [kind, count] : process.OpenObjects())
      openHandles += count;
  }

  bool IsFaithful(std::u16string_view infPath) const {
    const auto names = sim::ListFolder(machine.files, u"C:\\Temp");
    if (names.size() != 1) return false;
    const std::u16string copy = u"C:\\Temp\\" + names[0];
    for (const char16_t* file :
         {u"\\vorn_audio.inf", u"\\vorn_audio.cat", u"\\x64\\deep\\notes.txt"}) {
      const auto content = sim::ReadWholeFile(machine.files, copy + file);
      const auto source =
          sim::ReadWholeFile(machine.files, std::u16string(u"C:\\pkg\\driver") + file);
      if (!content || content != source) return false;
    }
    return infPath.ends_with(names[0] + u"\\vorn_audio.inf");
  }

  bool LeftSomething() const { return !sim::ListFolder(machine.files, u"C:\\Temp").empty(); }
};

sim::Fault AnyCall(std::uint64_t number, sim::FaultKind kind) {
  sim::Fault fault;
  fault.first = fault.last = static_cast<std::uint32_t>(number);
  fault.kind = kind;
  fault.error = static_cast<std::uint32_t>(platform::STATUS_INSUFFICIENT_RESOURCES);
  fault.amount = 3;
  return fault;
}

bool IsCleanUp(std::string_view call) {
  return call == "CloseHandle" || call == "LocalFree";
}

class SnapshotFaults : public ::testing::TestWithParam<sim::FaultKind> {};

TEST_P(SnapshotFaults, NeitherLeaveAFolderBehindNorAWrongPackage) {
  const SnapshotRun whole({});
  ASSERT_TRUE(whole.acquired);
  ASSERT_FALSE(whole.LeftSomething());
  ASSERT_GT(whole.acquireCalls, 50U);
  const sim::Machine before = PackageMachine();
  for (std::uint64_t number = 1; number <= whole.allCalls; ++number) {
    const SnapshotRun run({AnyCall(number, GetParam())});
    SCOPED_TRACE(std::to_string(number) + ": " + run.faultedCall);
    EXPECT_TRUE(run.faithful);
    EXPECT_EQ(run.errorOutput.empty(), run.acquired);
    EXPECT_FALSE(tests::IsMadeAgain(whole.calls, run.calls, number - 1));
    // A clean-up call that fails leaves behind what it should have cleaned up.
    if (IsCleanUp(run.faultedCall) || number > run.acquireCalls) continue;
    EXPECT_FALSE(run.LeftSomething());
    EXPECT_EQ(run.openHandles, 0U);
    EXPECT_TRUE(run.machine.files == before.files);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SnapshotFaults,
                         ::testing::Values(sim::FaultKind::Fail, sim::FaultKind::FailAfterEffect,
                                           sim::FaultKind::Short),
                         [](const auto& kind) {
                           switch (kind.param) {
                             case sim::FaultKind::Fail:
                               return "Failures";
                             case sim::FaultKind::Short:
                               return "ShortAnswers";
                             default:
                               return "FailuresInSpiteOfTheirEffect";
                           }
                         });

TEST(SnapshotFaultsOfCleanUp, LeaveNoHandleOpen) {
  const SnapshotRun whole({});
  for (std::uint64_t number = whole.acquireCalls + 1; number <= whole.allCalls; ++number) {
    const SnapshotRun run({AnyCall(number, sim::FaultKind::Fail)});
    SCOPED_TRACE(std::to_string(number) + ": " + run.faultedCall);
    if (!IsCleanUp(run.faultedCall)) {
      EXPECT_EQ(run.openHandles, 0U);
    }
  }
}

TEST(SnapshotLies, NeverYieldAWrongPackage) {
  // The calls whose effect the copy depends on claim success and do nothing.
  const SnapshotRun whole({});
  for (const char* call : {"ReadFile", "WriteFile", "SetFilePointerEx", "SetEndOfFile",
                           "GetFileInformationByHandle", "GetSecurityInfo", "BCryptGenRandom"}) {
    for (std::uint32_t number = 1; number <= 4; ++number) {
      sim::Fault fault;
      fault.call = call;
      fault.first = fault.last = number;
      fault.kind = sim::FaultKind::SucceedWithoutEffect;
      const SnapshotRun run({fault});
      EXPECT_TRUE(run.faithful) << call << " " << number;
      EXPECT_EQ(run.openHandles, 0U) << call << " " << number;
    }
  }
}

class SnapshotDeaths : public ::testing::TestWithParam<sim::FaultKind> {};

TEST_P(SnapshotDeaths, LeaveThePackageUnchanged) {
  const SnapshotRun whole({});
  for (std::uint64_t number = 1; number <= whole.allCalls; ++number) {
    const SnapshotRun run({AnyCall(number, GetParam())});
    SCOPED_TRACE(number);
    for (const char16_t* file :
         {u"\\vorn_audio.inf", u"\\vorn_audio.cat", u"\\x64\\deep\\notes.txt"}) {
      const std::u16string path = std::u16string(u"C:\\pkg\\driver") + file;
      EXPECT_EQ(sim::ReadWholeFile(run.machine.files, path),
                sim::ReadWholeFile(whole.machine.files, path));
    }
    EXPECT_EQ(sim::CountOwnOpens(run.machine.files), 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SnapshotDeaths,
                         ::testing::Values(sim::FaultKind::KillBefore, sim::FaultKind::KillAfter),
                         [](const auto& kind) {
                           return kind.param == sim::FaultKind::KillBefore ? "BeforeACall"
                                                                           : "AfterACall";
                         });

}  // namespace
}  // namespace vorn::privileged_input
