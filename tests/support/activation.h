#pragma once

// What the proofs of an activation need: records of what a package and a machine look like, a
// journal in its place, and one run of the verification engine.

#include "journal/activation_state.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "report/exit_status.h"
#include "tests/support/planned_faults.h"
#include "tests/support/sample.h"
#include "verify/live_verification.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// The present root device of the machine; it must have one.
platform::simulated::Device& RootOf(platform::simulated::Machine& machine);

/// The record of a fresh install of the package at `infPath`.
ActivationState FreshTarget(platform::simulated::Machine& machine,
                            const std::u16string& infPath = kSampleInf);

/// The record of an update to that package, with the endpoints as they are now for a baseline.
ActivationState UpdateTarget(platform::simulated::Machine& machine,
                             const std::u16string& infPath = kSampleInf);

/// Writes the journal as an install does.
void PutJournal(platform::simulated::Machine& machine, const ActivationState& state,
                const std::u16string& path = kSampleJournal);

/// The engine's final line on a machine that runs the sample package as it should.
std::string ProvenLine(platform::simulated::Machine& machine, std::size_t active = 20,
                       std::size_t present = 20);

/// One run of the engine as a process of its own.
struct EngineRun {
  ExitStatus status = 0;
  std::u16string output;
  std::u16string errorOutput;
  std::vector<platform::simulated::CallRecord> calls;
  std::map<std::string, std::uint32_t, std::less<>> callCounts;
  std::uint64_t callCount = 0;
  std::uint64_t duration = 0;  // simulated milliseconds
  std::map<platform::simulated::ObjectKind, std::size_t> openObjects;
  int apartments = 0;  // joined and not left

  /// How many calls of that name were made.
  std::uint32_t CountOf(std::string_view name) const;

  /// How many times the run slept for so long.
  std::size_t Sleeps(std::uint32_t milliseconds) const;
};

EngineRun RunEngine(platform::simulated::Machine& machine, const ActivationState& state,
                    VerificationMode mode = VerificationMode::Reporting,
                    std::vector<platform::simulated::Fault> faults = {},
                    PackageChange change = PackageChange::Possible);

}  // namespace vorn::tests
