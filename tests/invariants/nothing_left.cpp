// Open objects and private snapshots.

#include "base/text.h"
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

/// Calls that the removal of the snapshot is made of.
bool ExcusesSnapshot(const model::Fault& fault) {
  return fault.call == "SetFileInformationByHandle" || fault.call == "CloseHandle" ||
         (fault.call == "NtCreateFile" && fault.kind == FaultKind::FailAfterEffect);
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
      !run.Has(FaultKind::Change) && std::none_of(faults.begin(), faults.end(), ExcusesSnapshot)) {
    found.push_back("a private snapshot is left");
  }
  return found;
}

}  // namespace vorn::tests
