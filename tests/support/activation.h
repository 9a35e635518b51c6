#pragma once

// What the tests of an activation need: activation states built from a package and a machine, the
// journal on disk, and one run of the verification engine.

#include "journal/activation_state.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "report/exit_status.h"
#include "tests/support/console_lines.h"
#include "tests/support/planned_faults.h"
#include "tests/support/sample.h"
#include "verify/live_verification.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// The activation state of a fresh install of the package at `infPath`.
ActivationState FreshTarget(platform::simulated::Machine& machine,
                            const std::u16string& infPath = kSampleInf);

/// The activation state of an update to that package, with the present endpoints as its baseline.
ActivationState UpdateTarget(platform::simulated::Machine& machine,
                             const std::u16string& infPath = kSampleInf);

/// Writes the journal as an install does.
void PutJournal(platform::simulated::Machine& machine, const ActivationState& state,
                const std::u16string& path = kSampleJournal);

/// Reads the journal at a path; nothing when there is no file. A malformed journal fails the test.
std::optional<ActivationState> JournalIn(const platform::simulated::Machine& machine,
                                         std::u16string_view path);

/// As above, but a malformed journal gives nothing too.
std::optional<ActivationState> ReadableJournalIn(const platform::simulated::Machine& machine,
                                                 std::u16string_view path);

/// The engine's final line on a machine that runs the sample package.
ConsoleLine ProvenLine(platform::simulated::Machine& machine, std::size_t active = 20,
                       std::size_t present = 20);

/// One run of the engine, in a process of its own.
struct EngineRun {
  ExitStatus status = 0;
  Console console;
  std::vector<platform::simulated::CallRecord> calls;
  platform::simulated::CallCounts callCounts;
  std::uint64_t callCount = 0;
  std::uint64_t duration = 0;  // simulated milliseconds
  std::map<platform::simulated::ObjectKind, std::size_t> openObjects;
  int apartments = 0;  // joined and not left

  /// How many calls of that name were made.
  std::uint32_t CountOf(std::string_view name) const;

  /// How many times the run slept for exactly that long.
  std::size_t Sleeps(std::uint32_t milliseconds) const;
};

EngineRun RunEngine(platform::simulated::Machine& machine, const ActivationState& state,
                    VerificationMode mode = VerificationMode::Reporting,
                    std::vector<platform::simulated::Fault> faults = {},
                    PackageChange change = PackageChange::Possible);

}  // namespace vorn::tests
