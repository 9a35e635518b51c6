// Each command when any one of its platform calls fails: the call is not made again.

#include "base/text.h"
#include "tests/support/console_calls.h"
#include "tests/support/planned_faults.h"
#include "tests/support/repeated_calls.h"
#include "tests/support/run_command.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Fault;
using platform::simulated::Machine;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::RunCommand;
using tests::RunResult;

using Arguments = std::vector<std::u16string>;

RunResult RunOn(Machine machine, const Arguments& arguments, std::vector<Fault> faults = {}) {
  tests::RunOptions options;
  options.faults = std::move(faults);
  return RunCommand(machine, arguments, options);
}

bool Contains(const std::string& text, const std::vector<std::string>& parts) {
  return std::any_of(parts.begin(), parts.end(), [&text](const std::string& part) {
    return text.find(part) != std::string::npos;
  });
}

/// Lets each call of a command fail in a run of its own.
class EachCall {
 public:
  /// Of equal calls, here or in an earlier command, only the first fails. Those with a text of
  /// `again` may be made once more for something else.
  void IsNotMadeAgainBy(const Machine& machine, const Arguments& arguments,
                        const std::vector<std::string>& again = {}) {
    const RunResult undisturbed = RunOn(machine, arguments);
    const tests::MadeCalls made = tests::MadeCallsOf(undisturbed.calls);
    std::map<std::string, std::uint32_t> times;
    for (std::size_t i = 0; i < undisturbed.calls.size(); ++i) {
      const std::string& name = undisturbed.calls[i].name;
      const std::string text = tests::TextOf(undisturbed.calls[i]);
      const std::uint32_t nth = ++times[name];
      if (tests::IsPrinting(name) || Contains(text, again) || !tried_.insert(made.hashes[i]).second)
        continue;
      const Fault fault = tests::FailingCall(name, platform::ERROR_GEN_FAILURE, nth);
      const RunResult disturbed = RunOn(machine, arguments, {fault});
      EXPECT_FALSE(tests::IsMadeAgain(made, tests::MadeCallsOf(disturbed.calls), i))
          << ToUtf8(arguments.front()) << ", " << nth << ": " << text;
    }
  }

 private:
  std::set<std::size_t> tried_;
};

TEST(AFailedCall, IsNotMadeAgainByAnInstall) {
  EachCall each;
  each.IsNotMadeAgainBy(platform::simulated::OutdatedMachine(), {u"install", kSampleInf});
  each.IsNotMadeAgainBy(platform::simulated::DuplicatesMachine(), {u"install", kSampleInf});
  each.IsNotMadeAgainBy(platform::simulated::CleanMachine(), {u"install", kSampleInf});
}

TEST(AFailedCall, IsNotMadeAgainByAnyOtherCommand) {
  EachCall each;
  const Machine installed = platform::simulated::InstalledMachine();
  each.IsNotMadeAgainBy(installed, {u"resume-endpoints"});
  each.IsNotMadeAgainBy(installed, {u"audit-catalog"});
  each.IsNotMadeAgainBy(installed, {u"audit-current", kSampleInf});
  // Every message opens the log or creates it, the deletion of every record asks for what it lacks,
  // and the packages are selected twice.
  each.IsNotMadeAgainBy(
      installed, {u"remove", kSampleInf},
      {"vorn_devnode.log", "oem3.inf", "OpenProcessToken", "LookupPrivilegeValueW",
       "AdjustTokenPrivileges", "GetProcAddress", "RtlNtStatusToDosError"});

  Machine updated = platform::simulated::OutdatedMachine();
  RunCommand(updated, {u"install", kSampleInf});
  each.IsNotMadeAgainBy(
      updated, {u"hot-activate", tests::kSampleVersion, tests::kSampleDate, kSampleJournal});
}

}  // namespace
}  // namespace vorn
