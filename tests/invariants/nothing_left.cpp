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

namespace {

// What gives an object back: when it fails or only pretends, the object stays, and nobody can help
// it.
constexpr std::string_view kClosingCalls[] = {"CloseHandle",
                                              "SetupDiDestroyDeviceInfoList",
                                              "SetupCloseInfFile",
                                              "RegCloseKey",
                                              "CloseServiceHandle",
                                              "BCryptDestroyHash",
                                              "BCryptCloseAlgorithmProvider",
                                              "LocalFree",
                                              "CoTaskMemFree",
                                              "fclose",
                                              "CoUninitialize"};

// What opens an object: one that came to be although the call said that it failed is nobody's.
constexpr std::string_view kOpeningCalls[] = {
    "NtCreateFile",
    "OpenSCManagerW",
    "OpenServiceW",
    "RegOpenKeyExW",
    "OpenProcessToken",
    "GetSecurityInfo",
    "ConvertStringSecurityDescriptorToSecurityDescriptorW",
    "SetupOpenInfFileW",
    "BCryptOpenAlgorithmProvider",
    "BCryptCreateHash",
    "CoInitializeEx",
    "CoCreateInstance",
    "IMMDeviceEnumerator::EnumAudioEndpoints",
    "IMMDeviceCollection::Item",
    "IMMDevice::Activate",
    "IMMDevice::GetId",
    "IMMDevice::OpenPropertyStore",
    "IPropertyStore::GetValue",
    "IDeviceTopology::GetConnector",
    "IConnector::GetDeviceIdConnectedTo",
    "_wfsopen"};

template <std::size_t N>
bool IsOneOf(std::string_view call, const std::string_view (&names)[N]) {
  return std::find(std::begin(names), std::end(names), call) != std::end(names);
}

bool ExcusesOpenObjects(const model::Fault& fault) {
  if (IsOneOf(fault.call, kClosingCalls)) return true;
  return fault.kind == FaultKind::FailAfterEffect && IsOneOf(fault.call, kOpeningCalls);
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
    return fault.call == "SetFileInformationByHandle" || fault.call == "CloseHandle" ||
           (fault.call == "NtCreateFile" && fault.kind == FaultKind::FailAfterEffect) ||
           HitsFrom(start, run.run.calls, fault);
  });
}

}  // namespace

Violations CheckNothingLeft(const Observation& run) {
  if (run.run.killed) return {};
  Violations found;
  const auto& faults = run.faults;
  if (!run.run.openObjects.empty() &&
      std::none_of(faults.begin(), faults.end(), ExcusesOpenObjects)) {
    for (const auto& [kind, count] : run.run.openObjects) {
      found.push_back(std::to_string(count) + " object(s) of kind " +
                      std::to_string(static_cast<int>(kind)) + " stay open");
    }
  }
  if (SnapshotFolders(run.after).size() > SnapshotFolders(run.before).size() &&
      !run.Has(FaultKind::Change) && !IsSnapshotExcused(run)) {
    found.push_back("a private snapshot is left");
  }
  return found;
}

}  // namespace vorn::tests
