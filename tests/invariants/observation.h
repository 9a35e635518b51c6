#pragma once

// One run of a command as the checkers see it: what it was given, what it left, what it wrote.

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

/// One run: the machine before and after, what it wrote, and the injected faults. The caller owns
/// all of it and keeps it alive.
struct Observation {
  Command command = Command::Install;
  const platform::simulated::Machine& before;
  const platform::simulated::Machine& after;
  const RunResult& run;
  const std::vector<platform::simulated::Fault>& faults;

  /// Whether a fault is planned for that call; for any kind, or for that kind only.
  bool IsFaulted(std::string_view call) const;
  bool IsFaulted(std::string_view call, platform::simulated::FaultKind kind) const;

  /// Whether another process acted between two calls, in an act whose name ends so; any act for "".
  bool OthersDid(std::string_view nameEnd) const;

  /// How many calls of the run the fault hit.
  std::size_t CountHits(const platform::simulated::Fault& fault) const;

  /// The calls of that name that were hit by a fault of that kind, or of any kind. Empty without a
  /// call log; the harness then repeats the run with a log before it reports a violation.
  std::vector<const platform::simulated::CallRecord*> Hits(
      std::string_view call,
      std::optional<platform::simulated::FaultKind> kind = std::nullopt) const;

  /// How often reading hardware ids failed or the device enumeration broke off: the program cannot
  /// recognise such a device as its root. Needs the call log.
  std::size_t CountUnseenRoots() const;

  /// Whether so many looks at the roots failed that a removal could not see those that remain. A
  /// removal looks twice, so it recovers from one failure; but while a device is still going away,
  /// the first look that finds no root ends the wait.
  bool AreRootsOverlooked() const;

  /// What the program wrote, in order. With a call log this includes what a failing console
  /// swallowed.
  std::vector<platform::simulated::ConsoleWrite> Console() const;

  /// Whether one of the console writes contains that text.
  bool Said(std::u16string_view text) const;
};

/// A removal looks at everything twice, so it recovers from one failed look.
inline constexpr std::size_t kLooksOfRemoval = 2;

/// Whether the command installs, with or without rollback.
bool IsInstall(Command command);

/// Whether the command changes no device, package, record or journal.
bool IsReadOnly(Command command);

/// What a checker found, one sentence each; empty when the run keeps the promise.
using Violations = std::vector<std::string>;

}  // namespace vorn::tests
