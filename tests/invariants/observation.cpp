#include "tests/invariants/observation.h"

#include <algorithm>

namespace vorn::tests {

using platform::simulated::Fault;
using platform::simulated::FaultKind;

bool Observation::IsFaulted(std::string_view call) const {
  return std::any_of(faults.begin(), faults.end(),
                     [call](const Fault& fault) { return fault.call == call; });
}

bool Observation::IsFaulted(std::string_view call, FaultKind kind) const {
  return std::any_of(faults.begin(), faults.end(),
                     [&](const Fault& fault) { return fault.call == call && fault.kind == kind; });
}

bool Observation::Has(FaultKind kind) const {
  return std::any_of(faults.begin(), faults.end(),
                     [kind](const Fault& fault) { return fault.kind == kind; });
}

bool Observation::Said(std::u16string_view text) const {
  return run.output.find(text) != std::u16string::npos ||
         run.errorOutput.find(text) != std::u16string::npos;
}

bool IsInstall(Command command) {
  return command == Command::Install || command == Command::InstallRollback;
}

bool IsReadOnly(Command command) {
  return command == Command::Verify || command == Command::AuditCurrent ||
         command == Command::AuditCatalog;
}

}  // namespace vorn::tests
