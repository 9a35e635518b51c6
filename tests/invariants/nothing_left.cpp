// Open objects and private snapshots.

#include "base/text.h"
#include "platform/files.h"
#include "tests/invariants/checkers.h"
#include "tests/invariants/machine_view.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vorn::tests {

namespace model = platform::simulated;
using model::FaultKind;
using model::ObjectKind;

namespace {

struct ObjectCall {
  std::string_view name;
  ObjectKind kind;
};

// What gives an object back: when it fails or only pretends, the object stays, and nobody can help
// it.
constexpr ObjectCall kClosingCalls[] = {
    {"CloseHandle", ObjectKind::Handle},
    {"SetupDiDestroyDeviceInfoList", ObjectKind::DeviceInfoList},
    {"SetupCloseInfFile", ObjectKind::Inf},
    {"RegCloseKey", ObjectKind::Key},
    {"CloseServiceHandle", ObjectKind::Service},
    {"BCryptDestroyHash", ObjectKind::Hash},
    {"BCryptCloseAlgorithmProvider", ObjectKind::Hash},
    {"LocalFree", ObjectKind::Memory},
    {"CoTaskMemFree", ObjectKind::Memory},
    {"PropVariantClear", ObjectKind::Memory},
    {"fclose", ObjectKind::Stream},
    {"CoUninitialize", ObjectKind::Com}};

// What opens an object: one that came to be although the call said that it failed is nobody's.
constexpr ObjectCall kOpeningCalls[] = {
    {"NtCreateFile", ObjectKind::Handle},
    {"CreateFileW", ObjectKind::Handle},
    {"SetupDiCreateDeviceInfoList", ObjectKind::DeviceInfoList},
    {"SetupOpenInfFileW", ObjectKind::Inf},
    {"RegOpenKeyExW", ObjectKind::Key},
    {"OpenSCManagerW", ObjectKind::Service},
    {"OpenServiceW", ObjectKind::Service},
};

/// How many objects of that kind stay open because of the faults.
std::size_t CountExcused(const Observation& run, ObjectKind kind) {
  std::size_t excused = 0;
  for (const model::Fault& fault : run.faults) {
    const auto opensOrCloses = [&](const ObjectCall& call) {
      return call.name == fault.call && call.kind == kind;
    };
    const bool closes =
        std::any_of(std::begin(kClosingCalls), std::end(kClosingCalls), opensOrCloses);
    const bool opens =
        fault.kind == FaultKind::FailAfterEffect &&
        std::any_of(std::begin(kOpeningCalls), std::end(kOpeningCalls), opensOrCloses);
    if (closes || opens) excused += run.CountHits(fault);
  }
  return excused;
}

/// Where in the log the removal of the snapshot begins: it reopens each copy in order to delete it.
/// The end of the log when it does not begin.
std::size_t StartOfSnapshotRemoval(const std::vector<model::CallRecord>& calls) {
  std::size_t start = 0;
  for (; start < calls.size(); ++start) {
    const model::CallRecord& call = calls[start];
    if (call.name != "NtCreateFile" || call.Argument("CreateDisposition") != "1") continue;
    const std::uint64_t access = std::stoull(call.Argument("DesiredAccess"), nullptr, 16);
    const bool journal = ToUtf8(kJournal).ends_with(call.Argument("ObjectName"));
    if ((access & platform::DELETE) != 0 && !journal) break;
  }
  return start;
}

/// Whether a fault hits a call from there on.
bool HitsFrom(std::size_t start, const std::vector<model::CallRecord>& calls,
              const model::Fault& fault) {
  std::uint32_t nth = 0;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (calls[i].name != fault.call) continue;
    ++nth;
    if (i >= start && nth >= fault.first && nth <= fault.last) return true;
  }
  return false;
}

/// Whether the removal of the snapshot was itself made to go wrong. Without a call log this cannot
/// be told, and is not excused.
bool IsSnapshotExcused(const Observation& run) {
  const std::size_t start = StartOfSnapshotRemoval(run.run.calls);
  return std::any_of(run.faults.begin(), run.faults.end(), [&](const model::Fault& fault) {
    // A copy whose handle stays open cannot be deleted, nor one whose deletion itself goes wrong.
    const bool opens = fault.call == "CloseHandle" ||
                       (fault.call == "NtCreateFile" && fault.kind == FaultKind::FailAfterEffect);
    return (opens && run.run.openObjects.contains(ObjectKind::Handle)) ||
           (fault.call == "SetFileInformationByHandle" && run.CountHits(fault) > 0) ||
           HitsFrom(start, run.run.calls, fault);
  });
}

}  // namespace

Violations CheckNothingLeft(const Observation& run) {
  if (run.run.killed) return {};
  Violations found;
  for (const auto& [kind, count] : run.run.openObjects) {
    if (count > CountExcused(run, kind)) {
      found.push_back(std::to_string(count) + " object(s) of kind " +
                      std::to_string(static_cast<int>(kind)) + " stay open");
    }
  }
  if (SnapshotFolders(run.after).size() > SnapshotFolders(run.before).size() &&
      !IsSnapshotExcused(run)) {
    found.push_back("a private snapshot is left");
  }
  return found;
}

}  // namespace vorn::tests
