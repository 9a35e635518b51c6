// Arbitrary command lines on a machine without the device: the status is a documented one, and
// nothing is left open or behind.

#include "base/text.h"
#include "cli/dispatch.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"
#include "tests/support/machine_view.h"

#include <set>
#include <string_view>
#include <vector>

namespace vorn::tests {

namespace command_line {
namespace {

using platform::simulated::Machine;
using platform::simulated::Process;

/// The input's lines are the arguments.
std::vector<std::u16string> ArgumentsOf(std::string_view input) {
  std::vector<std::u16string> arguments = {u"vorn_devnode.exe"};
  while (!input.empty() && arguments.size() < 8) {
    const std::size_t end = std::min(input.find('\n'), input.size());
    arguments.push_back(ToUtf16(input.substr(0, end)));
    input.remove_prefix(std::min(end + 1, input.size()));
  }
  return arguments;
}

bool IsCommandWord(const std::u16string& word) {
  static const std::set<std::u16string> kWords = {
      u"install",       u"verify", u"hot-activate",    u"audit-current",
      u"audit-catalog", u"remove", u"resume-endpoints"};
  return kWords.contains(ToLowerAscii(word));
}

bool HasSnapshotFolder(const Machine& machine) {
  for (const char16_t* folder : {u"C:\\Windows\\Temp", u"C:\\pkg", u"C:\\"}) {
    if (!SnapshotFolders(machine, folder).empty()) return true;
  }
  return false;
}

void Check(const std::vector<std::u16string>& arguments) {
  static const Machine kStart = platform::simulated::CleanMachine();
  Machine machine = kStart;
  Process process(machine);
  const ExitStatus status = cli::Run(arguments);

  static const std::set<ExitStatus> kStatuses = {0, 1,  2,  3,  4,  5,  6,  7, 8,
                                                 9, 10, 11, 12, 13, 15, 16, 17};
  Require(kStatuses.contains(status), "the status is a documented one");
  for (const auto& [kind, count] : process.OpenObjects())
    Require(count == 0, "nothing is left open");
  Require(!HasSnapshotFolder(machine), "no private copy is left behind");
  Require(machine.clock.tick - kStart.clock.tick < 600'000, "the run ends in ten minutes");

  const std::u16string output = process.Output();
  const bool isUsage = output.starts_with(u"Usage:");
  Require(isUsage == (status == 1), "usage and its status go together");
  const bool unknown = arguments.size() < 2 || !IsCommandWord(arguments[1]);
  Require(!unknown || isUsage, "an unknown command gets the usage");
  if (isUsage || status == 2) {
    Require(machine.registry == kStart.registry && machine.files == kStart.files,
            "a refused command line changes nothing");
  }
}

}  // namespace
}  // namespace command_line

void FuzzCommandLine(std::span<const std::uint8_t> input) {
  command_line::Check(
      command_line::ArgumentsOf({reinterpret_cast<const char*>(input.data()), input.size()}));
}

}  // namespace vorn::tests
