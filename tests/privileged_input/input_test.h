#pragma once

// A small machine for the tests of protected input: drive C: with a temporary folder, and one
// process that must leave nothing open.

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/security.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "privileged_input/absolute_path.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn {
namespace sim = platform::simulated;
}

namespace vorn::tests {

inline constexpr char16_t kGuidRoot[] = u"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\";
inline constexpr char16_t kProtectedSddl[] = u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)";

inline sim::Machine SmallMachine() {
  sim::Machine machine;
  sim::AddVolume(machine.files, u'C', u"\\Device\\HarddiskVolume3",
                 u"01234567-89ab-cdef-0123-456789abcdef");
  machine.files.tempFolder = u"C:\\Temp\\";
  sim::MakeFolder(machine.files, u"C:\\Temp");
  return machine;
}

/// One code unit, repeated.
inline std::u16string Repeat(char16_t unit, std::size_t count) {
  return std::u16string(count, unit);
}

class InputTest : public ::testing::Test {
 protected:
  InputTest() { process.logCalls = true; }

  // Not in TearDown, where the members of a derived fixture still hold handles.
  ~InputTest() override {
    for (const auto& [kind, count] : process.OpenObjects()) {
      EXPECT_EQ(count, 0U) << "objects of kind " << static_cast<int>(kind) << " were left open";
    }
  }

  sim::FileSystem& Files() { return machine.files; }

  /// Parses an absolute path, which must be valid.
  static privileged_input::AbsolutePath PathOf(std::u16string_view path) {
    return privileged_input::AbsolutePath::Parse(path).value();
  }

  std::size_t OpenHandles() const {
    const auto counts = process.OpenObjects();
    const auto handles = counts.find(sim::ObjectKind::Handle);
    return handles == counts.end() ? 0 : handles->second;
  }

  void SetSecurity(std::u16string_view path, std::u16string_view sddl) {
    sim::NodeAt(Files(), path).security = *sim::ParseSddl(sddl);
  }

  /// A file that only the system and administrators can touch.
  void PutProtectedFile(std::u16string_view path, sim::Bytes content) {
    sim::PutFile(Files(), path, std::move(content));
    SetSecurity(path, kProtectedSddl);
  }

  bool Exists(std::u16string_view path) { return sim::FindNode(Files(), path).has_value(); }

  std::vector<sim::CallRecord> CallsOf(std::string_view name) const {
    std::vector<sim::CallRecord> found;
    for (const sim::CallRecord& call : process.calls) {
      if (call.name == name) found.push_back(call);
    }
    return found;
  }

  std::vector<std::string> CallNames() const {
    std::vector<std::string> names;
    for (const sim::CallRecord& call : process.calls)
      names.push_back(call.name);
    return names;
  }

  /// The next call of that name (or the `first`-th from now) fails.
  void FailCall(std::string call, std::uint32_t error, std::uint32_t first = 1) {
    AddFault(std::move(call), sim::FaultKind::Fail, first).error = error;
  }

  /// Another process makes a change right before the `first`-th call of that name from now.
  void ChangeBefore(std::string call, std::uint32_t first,
                    std::function<void(sim::Machine&)> change) {
    AddFault(std::move(call), sim::FaultKind::Change, first).change = std::move(change);
  }

  sim::Fault& AddFault(std::string call, sim::FaultKind kind, std::uint32_t first = 1) {
    const auto made = process.callCounts.find(call);
    sim::Fault fault;
    fault.first = first + (made == process.callCounts.end() ? 0 : made->second);
    fault.last = fault.first;
    fault.call = std::move(call);
    fault.kind = kind;
    process.faults.push_back(std::move(fault));
    return process.faults.back();
  }

  sim::Machine machine = SmallMachine();
  sim::Process process{machine};
};

/// Expects the last error to be one of the platform's constants.
#define EXPECT_LAST_ERROR(code) EXPECT_EQ(platform::GetLastError(), platform::code)

}  // namespace vorn::tests
