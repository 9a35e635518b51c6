#include "tests/verify/journalled_machines.h"

#include "base/text.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/machine.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::tests {

using platform::simulated::BindPackage;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using platform::simulated::PublishPackage;

std::vector<std::u16string> WithIdentity(const std::u16string& word, const std::u16string& version,
                                         const std::u16string& date) {
  return {word, version, date, kSampleJournal};
}

RunResult Perform(Machine& machine, const std::vector<std::u16string>& line,
                  const RunOptions& options) {
  const bool verify = EqualsIgnoringCase(line[0], u"verify");
  return RunJudged(machine, verify ? Command::Verify : Command::HotActivate, line, options);
}

Machine JournalledMachine() {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  return machine;
}

Machine SelectedMachine() {
  Machine machine = OutdatedMachine();
  PutJournal(machine, UpdateTarget(machine));
  const auto published = PublishPackage(machine, kSampleInf, u"Root\\VornAudio");
  EXPECT_TRUE(published.has_value());
  BindPackage(machine, kRootId, *published);
  EXPECT_EQ(RootOf(machine).resident->loadedVersion, 0x1A0809u);
  return machine;
}

std::vector<std::string> VisibilityRequests(const RunResult& run) {
  std::vector<std::string> requests;
  for (const auto& call : run.CallsOf("DeviceIoControl")) {
    if (call.Argument("controlCode") != "0x22A01C") continue;
    const std::string input = call.Argument("input");  // three little-endian words, in hexadecimal
    EXPECT_EQ(input.size(), 24u);
    requests.push_back((input[17] == '0' ? "hide " : "show ") + input.substr(1, 1) +
                       (input[9] == '0' ? " render" : " capture"));
  }
  return requests;
}

std::size_t ControlRequests(const RunResult& run, const std::string& code) {
  const auto calls = run.CallsOf("DeviceIoControl");
  return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [&](const auto& call) {
    return call.Argument("controlCode") == code;
  }));
}

}  // namespace vorn::tests
