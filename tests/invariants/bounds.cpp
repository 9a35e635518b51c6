// How long a run may take, and what it may open by path.

#include "base/text.h"
#include "tests/invariants/checkers.h"

#include <algorithm>

namespace vorn::tests {

namespace model = platform::simulated;
using model::FaultKind;

namespace {

// The waits, in milliseconds of simulated time.
constexpr std::uint64_t kEngineMs = 20'000 + 90'000 + 2'000;
constexpr std::uint64_t kPruningMs = 30'000 + 500;
constexpr std::uint64_t kHotRestartMs = 30'000 + 500;
constexpr std::uint64_t kQueryRemoveMs = 10'000 + 250;
constexpr std::uint64_t kZeroRootsMs = 30'000 + 500;
constexpr std::uint64_t kRecordsMs = 10'000 + 250;
constexpr std::uint64_t kCallsMs = 5'000;  // the calls themselves

std::uint64_t BudgetOf(Command command) {
  switch (command) {
    case Command::Install:
    case Command::InstallRollback:
      return 2 * kEngineMs + kPruningMs + kCallsMs;
    case Command::Remove:
      return kQueryRemoveMs + kZeroRootsMs + kRecordsMs + kCallsMs;
    case Command::Verify:
    case Command::AuditCurrent:
      return kEngineMs + kCallsMs;
    case Command::HotActivate:
      return kHotRestartMs + kEngineMs + kCallsMs;
    case Command::AuditCatalog:
    case Command::ResumeEndpoints:
      return kCallsMs;
  }
  return 0;
}

/// Whether a path is that of a device interface, or a cut one that the platform returned.
bool IsDevicePath(std::string_view path) {
  constexpr std::string_view kStart = "\\\\?\\root#";
  return path.starts_with(kStart) || kStart.starts_with(path);
}

}  // namespace

Violations CheckTimeBound(const Observation& run) {
  if (run.run.killed) return {};
  std::uint64_t budget = BudgetOf(run.command);
  for (const model::Fault& fault : run.faults) {
    if (fault.kind == FaultKind::TakeTime) budget += fault.amount * run.CountHits(fault);
  }
  const std::uint64_t took = run.after.clock.tick - run.before.clock.tick;
  if (took <= budget) return {};
  return {"took " + std::to_string(took) + " ms of " + std::to_string(budget)};
}

Violations CheckOpensByPath(const Observation& run) {
  for (const model::CallRecord& call : run.run.calls) {
    if (call.name == "CreateFileW" && !IsDevicePath(call.Argument("path"))) {
      return {"CreateFileW opened " + call.Argument("path")};
    }
    if (call.name == "_wfsopen" &&
        call.Argument("filename").find("vorn_devnode.log") == std::string::npos) {
      return {"_wfsopen opened " + call.Argument("filename")};
    }
    if (call.name != "SetupOpenInfFileW" && call.name != "UpdateDriverForPlugAndPlayDevicesW") {
      continue;
    }
    for (const auto& [name, text] : call.arguments) {
      if (text.find("\\pkg\\driver\\") != std::string::npos) {
        return {call.name + " was given the unverified path " + text};
      }
    }
  }
  return {};
}

}  // namespace vorn::tests
