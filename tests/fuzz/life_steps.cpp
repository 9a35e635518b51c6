#include "tests/fuzz/life_steps.h"

#include "base/text.h"
#include "lab/call_names.h"
#include "tests/faults/other_processes.h"
#include "tests/fuzz/fuzz.h"
#include "tests/invariants/target.h"
#include "tests/support/sample.h"

#include <utility>

namespace vorn::tests {

using platform::simulated::FaultKind;
using platform::simulated::Machine;

namespace life_steps {
namespace {

/// Every way in which a call goes wrong, honest or lying.
std::vector<Way> WaysOf(std::string_view call) {
  std::vector<Way> ways = HonestWays(call);
  for (const std::vector<Way>& more : {LyingWays(call), StaleWays(call)})
    ways.insert(ways.end(), more.begin(), more.end());
  return ways;
}

struct CallWays {
  std::string call;
  std::vector<Way> ways;
};

/// The calls that can go wrong.
const std::vector<CallWays>& Calls() {
  static const std::vector<CallWays> calls = [] {
    std::vector<CallWays> list;
    for (const std::string_view call : lab::CallNames()) {
      std::vector<Way> ways = WaysOf(call);
      if (!ways.empty()) list.push_back({std::string(call), std::move(ways)});
    }
    return list;
  }();
  return calls;
}

LifeStep FaultOf(std::uint8_t call, std::uint8_t nth, std::uint8_t way) {
  constexpr std::uint8_t kPersists = 0x80;
  const CallWays& chosen = Calls()[call % Calls().size()];
  LifeStep step;
  step.kind = LifeStepKind::Fault;
  step.fault.call = chosen.call;
  step.fault.nth = 1U + nth;
  step.fault.way = chosen.ways[(way & ~kPersists) % chosen.ways.size()];
  step.fault.persists = (way & kPersists) != 0 && MayPersist(step.fault.way);
  return step;
}

/// Something that happens at a call, whichever it is.
LifeStep FaultAt(std::uint8_t high, std::uint8_t low, Way way) {
  constexpr std::uint32_t kMostCalls = 4'096;  // in which most commands end
  LifeStep step;
  step.kind = LifeStepKind::Fault;
  step.fault.call = "*";
  step.fault.nth = 1 + (high * 256U + low) % kMostCalls;
  step.fault.way = std::move(way);
  return step;
}

LifeStep CrashOf(std::uint8_t high, std::uint8_t low, std::uint8_t kind) {
  Way way;
  way.kind = kind % 2 == 0 ? FaultKind::KillBefore : FaultKind::KillAfter;
  return FaultAt(high, low, std::move(way));
}

LifeStep MeddlingOf(std::uint8_t high, std::uint8_t low, std::uint8_t which) {
  Way way;
  way.kind = FaultKind::Change;
  way.change = OtherProcesses()[which % OtherProcesses().size()].name;
  return FaultAt(high, low, std::move(way));
}

LifeStep CommandOf(std::uint8_t command, std::uint8_t oddity) {
  constexpr std::uint8_t kFirstOdd = 216;  // most command lines make sense
  LifeStep step;
  step.command = CommandLines()[command % CommandLines().size()].command;
  if (oddity >= kFirstOdd) step.oddity = static_cast<Oddity>(1 + oddity % 5);
  return step;
}

LifeStep ActOf(std::uint8_t act, std::uint8_t one, std::uint8_t two) {
  LifeStep step;
  step.kind = LifeStepKind::Act;
  step.act = &LifeActs()[act % LifeActs().size()];
  step.one = one;
  step.two = two;
  return step;
}

LifeStep WaitOf(std::uint8_t time) {
  LifeStep step;
  step.kind = LifeStepKind::Wait;
  step.milliseconds = std::uint64_t{time} * time * 4;  // up to four minutes
  return step;
}

LifeStep StepOf(std::span<const std::uint8_t, 4> bytes) {
  const std::uint8_t one = bytes[1];
  const std::uint8_t two = bytes[2];
  const std::uint8_t three = bytes[3];
  switch (bytes[0] % 16) {
    case 6:
    case 7:
    case 8:
      return FaultOf(one, two, three);
    case 9:
      return CrashOf(one, two, three);
    case 10:
      return MeddlingOf(one, two, three);
    case 11: {
      LifeStep step;
      step.kind = LifeStepKind::Reboot;
      return step;
    }
    case 12:
      return WaitOf(one);
    case 13:
    case 14:
    case 15:
      return ActOf(one, two, three);
    default:
      return CommandOf(one, two);
  }
}

/// The version and the date of the package that lies in the sample folder.
DriverVerWords WordsOf(const Machine& machine) {
  const auto inf = platform::simulated::ReadWholeFile(machine.files, kSampleInf);
  return inf ? DriverVerOf(*inf) : DriverVerWords{};
}

}  // namespace
}  // namespace life_steps

Life ParseLife(std::span<const std::uint8_t> input) {
  Life life;
  InputReader reader(input);
  life.start = &StartingMachines()[reader.Byte() % StartingMachines().size()];
  std::size_t commands = 0;
  while (life.steps.size() < kMostLifeSteps && commands < kMostLifeCommands) {
    const std::span<const std::uint8_t> bytes = reader.Take(4);
    if (bytes.size() < 4) break;
    life.steps.push_back(life_steps::StepOf(bytes.first<4>()));
    if (life.steps.back().kind == LifeStepKind::Command) ++commands;
  }
  return life;
}

std::vector<std::u16string> ArgumentsOf(const LifeStep& step, const Machine& machine) {
  std::vector<std::u16string> words = LineOf(step.command).arguments;
  const bool namesVersion = step.command == Command::Verify || step.command == Command::HotActivate;
  const bool namesInf = words.size() > 1 && !namesVersion;
  const DriverVerWords lies = life_steps::WordsOf(machine);
  if (namesVersion && !lies.version.empty()) {
    words[1] = lies.version;
    words[2] = lies.date;
  }
  switch (step.oddity) {
    case Oddity::None:
      break;
    case Oddity::OtherVersion:
      if (namesVersion) words[1] += u"1";
      break;
    case Oddity::NoSuchInf:
      if (namesInf) words[1] = u"C:\\pkg\\driver\\nothing.inf";
      break;
    case Oddity::OtherCase:
      words[0] = ToUpperAscii(words[0]);
      break;
    case Oddity::OneWordMore:
      words.emplace_back(u"more");
      break;
    case Oddity::RelativeInf:
      if (namesInf) words[1] = u"vorn_audio.inf";
      break;
  }
  return words;
}

std::string InWords(const LifeStep& step) {
  switch (step.kind) {
    case LifeStepKind::Command:
      return LineOf(step.command).name;
    case LifeStepKind::Fault:
      return "fault " + ToText(step.fault);
    case LifeStepKind::Act:
      return std::string(step.act->name) + " " + std::to_string(step.one) + " " +
             std::to_string(step.two);
    case LifeStepKind::Wait:
      return "wait " + std::to_string(step.milliseconds);
    case LifeStepKind::Reboot:
      return "reboot";
  }
  return {};
}

}  // namespace vorn::tests
