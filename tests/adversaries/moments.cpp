#include "tests/adversaries/moments.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <set>
#include <string_view>

namespace vorn::tests {

namespace {

constexpr std::size_t kSpread = 8;

// Devices, registry, services, audio, cryptography, clock, token, and memory of the process.
constexpr std::string_view kBlind[] = {"AdjustTokenPrivileges",
                                       "BCrypt",
                                       "CM_Get_",
                                       "CM_Locate_",
                                       "CloseServiceHandle",
                                       "Co",
                                       "GetAce",
                                       "GetFileType",
                                       "GetModule",
                                       "GetProcAddress",
                                       "GetSecurityDescriptorControl",
                                       "GetSystemTime",
                                       "GetTickCount64",
                                       "IConnector::",
                                       "IDeviceTopology::",
                                       "IMMDevice",
                                       "IPropertyStore::",
                                       "IsValid",
                                       "IsWellKnownSid",
                                       "LocalFree",
                                       "LookupPrivilegeValueW",
                                       "NtDeleteKey",
                                       "OpenProcessToken",
                                       "OpenSCManagerW",
                                       "OpenServiceW",
                                       "PropVariantClear",
                                       "QueryService",
                                       "Reg",
                                       "RtlNtStatusToDosError",
                                       "SetFilePointerEx",
                                       "SetupDiEnum",
                                       "SetupDiGet",
                                       "SetupDiDestroy",
                                       "SetupDiCreateDeviceInfoList",
                                       "SetupFind",
                                       "SetupGetStringFieldW"};

}  // namespace

bool IsBlindToFiles(const std::string& call) {
  return std::any_of(std::begin(kBlind), std::end(kBlind),
                     [&](std::string_view prefix) { return call.starts_with(prefix); });
}

std::vector<std::uint64_t> EveryMoment(const std::vector<std::string>& calls) {
  std::vector<std::uint64_t> moments(calls.size());
  std::iota(moments.begin(), moments.end(), 1);
  return moments;
}

std::vector<std::uint64_t> SelectedMoments(const std::vector<std::string>& calls) {
  std::set<std::uint64_t> chosen = {1};
  std::set<std::string> names;
  std::vector<std::uint64_t> others;
  for (const std::uint64_t moment : EveryMoment(calls)) {
    const std::string& name = calls[moment - 1];
    if (IsBlindToFiles(name)) continue;
    if (names.insert(name).second) {
      chosen.insert(moment);
    } else {
      others.push_back(moment);
    }
  }
  for (std::size_t i = 0; i < kSpread && !others.empty(); ++i)
    chosen.insert(others[i * others.size() / kSpread]);
  return {chosen.begin(), chosen.end()};
}

}  // namespace vorn::tests
