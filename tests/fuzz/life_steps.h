#pragma once

// A life as its input tells it: the machine that it begins with, and its steps. The first byte
// chooses the machine, and each further four bytes are a step, so that a part that is cut out of an
// input, or put into it, is a step more or less.

#include "tests/faults/planned_fault.h"
#include "tests/faults/scenarios.h"
#include "tests/fuzz/life_acts.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vorn::tests {

enum class LifeStepKind { Command, Fault, Act, Wait, Reboot };

/// How a command line differs from the one that makes sense.
enum class Oddity { None, OtherVersion, NoSuchInf, OtherCase, OneWordMore, RelativeInf };

struct LifeStep {
  LifeStepKind kind = LifeStepKind::Command;
  Command command = Command::Install;
  Oddity oddity = Oddity::None;
  PlannedFault fault;  // hits the next command
  const LifeAct* act = nullptr;
  std::uint8_t one = 0;  // the numbers of the act
  std::uint8_t two = 0;
  std::uint64_t milliseconds = 0;  // of a wait
};

struct Life {
  const StartingMachine* start = nullptr;
  std::vector<LifeStep> steps;
};

/// The longest life: longer ones only repeat themselves.
inline constexpr std::size_t kMostLifeSteps = 24;
inline constexpr std::size_t kMostLifeCommands = 8;

Life ParseLife(std::span<const std::uint8_t> input);

/// The words of a command on a machine: an expected version is that of the package that lies there.
std::vector<std::u16string> ArgumentsOf(const LifeStep& step,
                                        const platform::simulated::Machine& machine);

/// A step that is no command, in words: "fault NtCreateFile#12:fail=0xC0000022".
std::string InWords(const LifeStep& step);

}  // namespace vorn::tests
