// Open objects and private snapshots.

#include "base/text.h"
#include "platform/files.h"
#include "tests/invariants/checkers.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

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

// The calls that close an object. When one fails or only pretends, the object stays open, whatever
// the program does.
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

// The calls that open an object. When one fails after its effect, nobody holds the object it
// created.
constexpr ObjectCall kOpeningCalls[] = {
    {"NtCreateFile", ObjectKind::Handle},
    {"CreateFileW", ObjectKind::Handle},
    {"SetupDiCreateDeviceInfoList", ObjectKind::DeviceInfoList},
    {"SetupOpenInfFileW", ObjectKind::Inf},
    {"RegOpenKeyExW", ObjectKind::Key},
    {"OpenSCManagerW", ObjectKind::Service},
    {"OpenServiceW", ObjectKind::Service},
};

/// How many objects of that kind the faults kept open.
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

/// The index in the log at which the removal of the snapshot begins, which is where the first copy
/// is reopened for deletion; the size of the log when it never begins.
std::size_t StartOfSnapshotRemoval(const std::vector<model::CallRecord>& calls) {
  std::size_t start = 0;
  for (; start < calls.size(); ++start) {
    const model::CallRecord& call = calls[start];
    if (call.name != "NtCreateFile" || call.Argument("CreateDisposition") != "1") continue;
    const std::uint64_t access = std::stoull(call.Argument("DesiredAccess"), nullptr, 16);
    const bool journal = ToUtf8(kSampleJournal).ends_with(call.Argument("ObjectName"));
    if ((access & platform::DELETE) != 0 && !journal) break;
  }
  return start;
}

/// Whether the fault hits a call from that index on.
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

/// Whether a fault hit the removal of the snapshot. Without a call log that is unknown, and nothing
/// is excused.
bool IsSnapshotExcused(const Observation& run) {
  const std::size_t start = StartOfSnapshotRemoval(run.run.calls);
  return std::any_of(run.faults.begin(), run.faults.end(), [&](const model::Fault& fault) {
    // A copy cannot be deleted while its handle stays open, or when the deletion itself fails.
    const bool opens = fault.call == "CloseHandle" ||
                       (fault.call == "NtCreateFile" && fault.kind == FaultKind::FailAfterEffect);
    return (opens && run.run.openObjects.contains(ObjectKind::Handle)) ||
           (fault.call == "SetFileInformationByHandle" && run.CountHits(fault) > 0) ||
           HitsFrom(start, run.run.calls, fault);
  });
}

/// The private snapshots that are there now and were not before the run.
std::vector<std::u16string> NewSnapshots(const Observation& run) {
  const auto before = SnapshotFolders(run.before);
  auto folders = SnapshotFolders(run.after);
  std::erase_if(folders, [&](const std::u16string& folder) {
    return std::find(before.begin(), before.end(), folder) != before.end();
  });
  return folders;
}

/// Whether every file below a folder is deleted and only kept by whoever has it open.
bool HoldsOnlyDeletedFiles(const model::FileSystem& files, const model::Node& folder) {
  return std::all_of(folder.entries.begin(), folder.entries.end(), [&](const auto& entry) {
    if (entry.second.deletePending) return true;
    const model::Node& node = files.nodes.at(entry.second.node);
    return node.directory && HoldsOnlyDeletedFiles(files, node);
  });
}

/// Whether a scanner is all that keeps the new snapshots: every file in them is deleted and goes
/// when it closes. The program deletes each once and does not wait.
bool IsSnapshotScanned(const Observation& run) {
  const model::FileSystem& files = run.after.files;
  if (files.scanMs == 0) return false;
  const auto folders = NewSnapshots(run);
  return std::all_of(folders.begin(), folders.end(), [&](const std::u16string& folder) {
    return HoldsOnlyDeletedFiles(files, model::NodeAt(files, files.tempFolder + folder));
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
  if (!NewSnapshots(run).empty() && !IsSnapshotScanned(run) && !IsSnapshotExcused(run)) {
    found.push_back("a private snapshot is left");
  }
  return found;
}

}  // namespace vorn::tests
