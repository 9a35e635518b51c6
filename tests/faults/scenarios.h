#pragma once

// The scenarios: every command on every starting machine.

#include "platform/simulated/machine.h"
#include "tests/invariants/observation.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// A named machine to start from.
struct StartingMachine {
  std::string name;
  platform::simulated::Machine machine;
};

/// All starting machines, built once.
const std::vector<StartingMachine>& StartingMachines();

/// A command as an operator types it.
struct CommandLine {
  std::string name;
  Command command = Command::Install;
  std::vector<std::u16string> arguments;
};

const std::vector<CommandLine>& CommandLines();

/// The command line of that command.
const CommandLine& LineOf(Command command);

/// One command on one machine, as in "install@clean".
struct Scenario {
  const CommandLine* line = nullptr;
  const StartingMachine* start = nullptr;

  std::string Name() const { return line->name + "@" + start->name; }
};

/// The scenario of that name; throws std::invalid_argument when there is none.
Scenario FindScenario(std::string_view name);

}  // namespace vorn::tests
