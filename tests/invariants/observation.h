#pragma once

// What one run of a command was and left, for checkers that judge it without asking the program.

#include "platform/simulated/machine.h"
#include "tests/support/run_command.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

enum class Command {
  Install,
  InstallRollback,
  Remove,
  Verify,
  HotActivate,
  AuditCurrent,
  AuditCatalog,
  ResumeEndpoints
};

/// One run: the machine before it and after it, what it said, and what was made to go wrong. All of
/// it belongs to the caller and must outlive the observation.
struct Observation {
  Command command = Command::Install;
  const platform::simulated::Machine& before;
  const platform::simulated::Machine& after;
  const RunResult& run;
  const std::vector<platform::simulated::Fault>& faults;

  /// Whether a fault is planned for that call; for any kind, or for that kind only.
  bool IsFaulted(std::string_view call) const;
  bool IsFaulted(std::string_view call, platform::simulated::FaultKind kind) const;

  /// Whether somebody else did that, by the name's end, between two calls; anything for "".
  bool OthersDid(std::string_view nameEnd) const;

  /// How many calls of the run a fault has hit.
  std::size_t CountHits(const platform::simulated::Fault& fault) const;

  /// The calls of that name that a fault of that kind, or of any, hit. None without a call log: who
  /// excuses something by them is asked again with one.
  std::vector<const platform::simulated::CallRecord*> Hits(
      std::string_view call,
      std::optional<platform::simulated::FaultKind> kind = std::nullopt) const;

  /// How often the hardware ids of a device failed to be read, or the listing of devices broke off:
  /// such a device is nobody's root. Needs the call log.
  std::size_t CountUnseenRoots() const;

  /// Whether so many looks at the roots failed that a removal could not see those that are left. It
  /// looks twice, so that one failure is caught; but when the device takes its time to go, the
  /// first look that finds none ends the wait for it.
  bool AreRootsOverlooked() const;

  /// What the program wrote to its console, in order; with a call log also what a failing console
  /// swallowed.
  std::vector<platform::simulated::ConsoleWrite> Console() const;

  /// Whether one of the writes to the console holds that text.
  bool Said(std::u16string_view text) const;
};

/// A removal looks twice at everything: one failure to see it is caught by the other look.
inline constexpr std::size_t kLooksOfRemoval = 2;

/// Whether the command installs, with or without rollback.
bool IsInstall(Command command);

/// Whether the command changes no device, package, record or journal.
bool IsReadOnly(Command command);

/// What a checker found wrong, one sentence each; empty when the run keeps the promise.
using Violations = std::vector<std::string>;

}  // namespace vorn::tests
