#include "tests/invariants/observation.h"

#include "base/text.h"
#include "tests/support/machine_view.h"

#include <algorithm>

namespace vorn::tests {

using platform::simulated::CallRecord;
using platform::simulated::ConsoleWrite;
using platform::simulated::Device;
using platform::simulated::Event;
using platform::simulated::EventKind;
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

bool Observation::OthersDid(std::string_view nameEnd) const {
  return std::any_of(faults.begin(), faults.end(), [nameEnd](const Fault& fault) {
    return !fault.changeName.empty() && fault.changeName.ends_with(nameEnd);
  });
}

std::size_t Observation::CountHits(const Fault& fault) const {
  const auto count = run.callCounts.find(fault.call);
  if (count == run.callCounts.end() || count->second < fault.first) return 0;
  return std::min(count->second, fault.last) - fault.first + 1;
}

std::vector<const CallRecord*> Observation::Hits(std::string_view call,
                                                 std::optional<FaultKind> kind) const {
  std::vector<const CallRecord*> hits;
  std::uint32_t nth = 0;
  for (const CallRecord& record : run.calls) {
    if (record.name != call) continue;
    ++nth;
    const bool hit = std::any_of(faults.begin(), faults.end(), [&](const Fault& fault) {
      return fault.call == call && fault.kind == kind.value_or(fault.kind) && nth >= fault.first &&
             nth <= fault.last;
    });
    if (hit) hits.push_back(&record);
  }
  return hits;
}

std::size_t Observation::CountUnseenRoots() const {
  constexpr char kHardwareIds[] = "1";  // SPDRP_HARDWAREID
  std::size_t unseen = 0;
  for (const CallRecord* call : Hits("SetupDiGetDeviceRegistryPropertyW")) {
    if (call->Argument("Property") == kHardwareIds) ++unseen;
  }
  return unseen + Hits("SetupDiEnumDeviceInfo").size() +
         Hits("SetupDiGetClassDevsW", FaultKind::AnswerFromPast).size();
}

bool Observation::AreRootsOverlooked() const {
  const std::vector<const Device*> roots = InstalledRoots(after);
  const bool going = std::all_of(roots.begin(), roots.end(), [this](const Device* root) {
    const auto& events = after.clock.events;
    return std::any_of(events.begin(), events.end(), [root](const Event& event) {
      return event.kind == EventKind::RemoveDevice &&
             EqualsIgnoringCase(event.subject, root->instanceId);
    });
  });
  return CountUnseenRoots() >= (going ? 1 : kLooksOfRemoval);
}

std::vector<ConsoleWrite> Observation::Console() const {
  if ((!IsFaulted("fputws") && !IsFaulted("fflush")) || run.calls.empty()) return run.console;
  std::vector<ConsoleWrite> console;
  for (const CallRecord& record : run.calls) {
    const std::string stream = record.name == "fputws" ? record.Argument("stream") : "";
    if (stream != "stdout" && stream != "stderr") continue;
    console.push_back({stream == "stderr", ToUtf16(record.Argument("text"))});
  }
  return console;
}

bool Observation::Said(std::u16string_view text) const {
  if (text.empty()) return true;
  const std::vector<ConsoleWrite> console = Console();
  return std::any_of(console.begin(), console.end(), [text](const ConsoleWrite& write) {
    return write.text.find(text) != std::u16string::npos;
  });
}

bool IsInstall(Command command) {
  return command == Command::Install || command == Command::InstallRollback;
}

bool IsReadOnly(Command command) {
  return command == Command::Verify || command == Command::AuditCurrent ||
         command == Command::AuditCatalog;
}

}  // namespace vorn::tests
