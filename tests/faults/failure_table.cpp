#include "tests/faults/failure_table.h"

#include "platform/audio_endpoints.h"
#include "platform/config_manager.h"
#include "platform/crypto.h"
#include "platform/last_error.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "tests/faults/other_processes.h"

#include <algorithm>
#include <iterator>

namespace vorn::tests {

using platform::simulated::FaultKind;
using namespace platform;  // the errors' names

namespace {

struct Family {
  std::vector<std::string_view> calls;
  std::vector<std::uint32_t> errors;
  std::vector<std::uint64_t> shortTo = {};  // bytes
  bool asksRestart = false;
  std::vector<std::uint64_t> longBy = {};  // bytes
};

constexpr std::uint32_t Code(std::int32_t code) {
  return static_cast<std::uint32_t>(code);
}

const std::vector<Family>& Families() {
  static const std::vector<Family> families = {
      // Files.
      {{"NtCreateFile"},
       {Code(STATUS_OBJECT_NAME_NOT_FOUND), Code(STATUS_OBJECT_PATH_NOT_FOUND),
        Code(STATUS_OBJECT_NAME_COLLISION), Code(STATUS_ACCESS_DENIED),
        Code(STATUS_SHARING_VIOLATION), Code(STATUS_DELETE_PENDING), Code(STATUS_DISK_FULL),
        Code(STATUS_INSUFFICIENT_RESOURCES), Code(STATUS_TOO_MANY_OPENED_FILES),
        Code(STATUS_NOT_A_DIRECTORY), Code(STATUS_FILE_IS_A_DIRECTORY),
        Code(STATUS_REPARSE_POINT_ENCOUNTERED)}},
      {{"GetFileInformationByHandle"}, {ERROR_INVALID_HANDLE, ERROR_GEN_FAILURE}},
      {{"GetFileInformationByHandleEx"},
       {ERROR_NO_MORE_FILES, ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY, ERROR_BAD_LENGTH},
       {0, 8, 100}},
      {{"ReadFile"},
       {ERROR_HANDLE_EOF, ERROR_ACCESS_DENIED, ERROR_GEN_FAILURE, ERROR_OPERATION_ABORTED},
       {0, 1, 2, 63}},
      {{"WriteFile"}, {ERROR_DISK_FULL, ERROR_WRITE_PROTECT, ERROR_GEN_FAILURE}, {0, 1, 64}},
      {{"SetEndOfFile", "FlushFileBuffers"}, {ERROR_DISK_FULL, ERROR_GEN_FAILURE}},
      {{"SetFilePointerEx"}, {ERROR_INVALID_PARAMETER, ERROR_NEGATIVE_SEEK}},
      {{"SetFileInformationByHandle"},
       {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_DIR_NOT_EMPTY}},
      {{"GetFinalPathNameByHandleW", "GetFullPathNameW", "GetTempPathW", "GetWindowsDirectoryW",
        "GetModuleFileNameW"},
       {ERROR_NOT_ENOUGH_MEMORY, ERROR_PATH_NOT_FOUND, ERROR_INSUFFICIENT_BUFFER}},
      {{"QueryDosDeviceW"}, {ERROR_FILE_NOT_FOUND, ERROR_INSUFFICIENT_BUFFER}},
      {{"GetFileType"}, {ERROR_INVALID_HANDLE}},
      {{"CloseHandle"}, {ERROR_INVALID_HANDLE}},
      {{"CreateDirectoryW"},
       {ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_DISK_FULL}},
      {{"_wfsopen"}, {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION}},
      {{"fputws", "fflush", "fclose"}, {ERROR_DISK_FULL}},
      // Run-time linking.
      {{"GetModuleHandleW"}, {ERROR_MOD_NOT_FOUND}},
      {{"GetProcAddress"}, {ERROR_PROC_NOT_FOUND}},
      // Security.
      {{"GetSecurityInfo"}, {ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE, ERROR_NOT_ENOUGH_MEMORY}},
      {{"GetSecurityDescriptorControl"}, {ERROR_INVALID_SECURITY_DESCR}},
      {{"GetAce"}, {ERROR_INVALID_PARAMETER}},
      {{"IsValidAcl", "IsValidSid", "IsWellKnownSid"}, {ERROR_INVALID_PARAMETER}},
      {{"ConvertStringSecurityDescriptorToSecurityDescriptorW"},
       {ERROR_INVALID_PARAMETER, ERROR_UNKNOWN_REVISION, ERROR_NOT_ENOUGH_MEMORY}},
      {{"OpenProcessToken", "LookupPrivilegeValueW", "AdjustTokenPrivileges"},
       {ERROR_ACCESS_DENIED, ERROR_NO_SUCH_PRIVILEGE, ERROR_NOT_ALL_ASSIGNED}},
      {{"LocalFree"}, {ERROR_INVALID_HANDLE}},
      // Hashing and random bytes.
      {{"BCryptOpenAlgorithmProvider", "BCryptGetProperty", "BCryptCreateHash", "BCryptHashData",
        "BCryptFinishHash", "BCryptGenRandom"},
       {Code(STATUS_NOT_FOUND), Code(STATUS_NO_MEMORY), Code(STATUS_INVALID_PARAMETER),
        Code(STATUS_INVALID_HANDLE)}},
      {{"BCryptDestroyHash", "BCryptCloseAlgorithmProvider"}, {Code(STATUS_INVALID_HANDLE)}},
      // INF files.
      {{"SetupOpenInfFileW"},
       {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_WRONG_INF_STYLE, ERROR_GENERAL_SYNTAX}},
      {{"SetupFindFirstLineW", "SetupFindNextLine"},
       {ERROR_LINE_NOT_FOUND, ERROR_SECTION_NOT_FOUND, ERROR_INVALID_HANDLE}},
      {{"SetupGetStringFieldW"},
       {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER, ERROR_INVALID_DATA},
       {0, 2},
       false,
       {2, 8'192}},
      {{"SetupGetInfInformationW", "SetupQueryInfOriginalFileInformationW"},
       {ERROR_FILE_NOT_FOUND, ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER}},
      // Devices.
      {{"SetupDiGetClassDevsW", "SetupDiCreateDeviceInfoList"},
       {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER, ERROR_NO_SUCH_DEVICE}},
      {{"SetupDiEnumDeviceInfo", "SetupDiEnumDeviceInterfaces"},
       {ERROR_NO_MORE_ITEMS, ERROR_INVALID_HANDLE, ERROR_NOT_ENOUGH_MEMORY}},
      {{"SetupDiGetDeviceInterfaceDetailW"},
       {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_USER_BUFFER, ERROR_NO_SUCH_DEVICE_INTERFACE},
       {4, 10},
       false,
       {2, 4'096}},
      {{"SetupDiGetDeviceRegistryPropertyW"},
       {ERROR_INVALID_DATA, ERROR_INSUFFICIENT_BUFFER, ERROR_NO_SUCH_DEVINST},
       {0, 2, 9},
       false,
       {2, 4'096}},
      {{"SetupDiGetDevicePropertyW"},
       {ERROR_NOT_FOUND, ERROR_INSUFFICIENT_BUFFER, ERROR_NO_SUCH_DEVINST},
       {0, 2},
       false,
       {2, 4'096}},
      {{"SetupDiGetDeviceInstanceIdW"},
       {ERROR_INSUFFICIENT_BUFFER, ERROR_NO_SUCH_DEVINST},
       {4},
       false,
       {2, 4'096}},
      {{"SetupDiGetDeviceInstallParamsW"}, {ERROR_INVALID_USER_BUFFER, ERROR_NO_SUCH_DEVINST}},
      {{"SetupDiSetClassInstallParamsW", "SetupDiSetDeviceRegistryPropertyW"},
       {ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER, ERROR_NO_SUCH_DEVINST}},
      {{"SetupDiCallClassInstaller"},
       {ERROR_ACCESS_DENIED, ERROR_DI_DO_DEFAULT, ERROR_NO_SUCH_DEVINST, ERROR_GEN_FAILURE},
       {},
       true},
      {{"SetupDiClassNameFromGuidW"}, {ERROR_INVALID_CLASS, ERROR_INSUFFICIENT_BUFFER}},
      {{"SetupDiCreateDeviceInfoW"},
       {ERROR_ACCESS_DENIED, ERROR_DEVINST_ALREADY_EXISTS, ERROR_INVALID_DEVINST_NAME,
        ERROR_CLASS_MISMATCH}},
      {{"SetupDiDestroyDeviceInfoList", "SetupCloseInfFile"}, {ERROR_INVALID_HANDLE}},
      {{"UpdateDriverForPlugAndPlayDevicesW"},
       {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_NO_SUCH_DEVINST, ERROR_NO_MORE_ITEMS,
        ERROR_NO_CATALOG_FOR_OEM_INF, ERROR_FILE_HASH_NOT_IN_CATALOG, ERROR_NO_SYSTEM_RESOURCES},
       {},
       true},
      {{"SetupUninstallOEMInfW"},
       {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_INF_IN_USE_BY_DEVICES,
        ERROR_NOT_AN_INSTALLED_OEM_INF}},
      // Configuration manager.
      {{"CM_Locate_DevNodeW"}, {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVICE_ID, CR_OUT_OF_MEMORY}},
      {{"CM_Get_DevNode_Status"}, {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVNODE, CR_FAILURE}},
      {{"CM_Get_Child", "CM_Get_Sibling"},
       {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVNODE, CR_OUT_OF_MEMORY, CR_FAILURE}},
      {{"CM_Get_Device_IDW", "CM_Get_Device_ID_Size"},
       {CR_BUFFER_SMALL, CR_INVALID_DEVNODE, CR_OUT_OF_MEMORY},
       {0, 6},
       false,
       {2, 4'096}},
      {{"CM_Get_DevNode_Registry_PropertyW"},
       {CR_NO_SUCH_VALUE, CR_BUFFER_SMALL, CR_INVALID_DEVNODE, CR_OUT_OF_MEMORY},
       {0, 4},
       false,
       {2, 4'096}},
      {{"CM_Query_And_Remove_SubTreeW"},
       {CR_REMOVE_VETOED, CR_ACCESS_DENIED, CR_NO_SUCH_DEVNODE, CR_FAILURE}},
      // Registry.
      {{"RegOpenKeyExW"}, {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_KEY_DELETED}},
      {{"RegEnumKeyExW"},
       {ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA, ERROR_ACCESS_DENIED, ERROR_KEY_DELETED},
       {4},
       false,
       {2, 4'096}},
      {{"RegGetValueW"},
       {ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA, ERROR_UNSUPPORTED_TYPE, ERROR_ACCESS_DENIED},
       {0, 2},
       false,
       {2, 4'096}},
      {{"RegCloseKey"}, {ERROR_INVALID_HANDLE}},
      {{"NtDeleteKey"},
       {Code(STATUS_ACCESS_DENIED), Code(STATUS_CANNOT_DELETE), Code(STATUS_KEY_HAS_CHILDREN)}},
      // Services.
      {{"OpenSCManagerW", "OpenServiceW"}, {ERROR_ACCESS_DENIED, ERROR_SERVICE_DOES_NOT_EXIST}},
      {{"StartServiceW"},
       {ERROR_SERVICE_ALREADY_RUNNING, ERROR_SERVICE_DISABLED, ERROR_SERVICE_DEPENDENCY_FAIL}},
      {{"CloseServiceHandle"}, {ERROR_INVALID_HANDLE}},
      // The driver.
      {{"CreateFileW"},
       {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_NO_SUCH_DEVICE}},
      {{"DeviceIoControl"},
       {ERROR_INVALID_FUNCTION, ERROR_ACCESS_DENIED, ERROR_BUSY, ERROR_NO_SUCH_DEVICE,
        ERROR_MORE_DATA, ERROR_OPERATION_ABORTED},
       {0, 4, 15, 100},
       false,
       {4, 65'536}},
      // COM and the audio catalog.
      {{"CoInitializeEx"}, {Code(RPC_E_CHANGED_MODE), Code(E_OUTOFMEMORY), Code(E_INVALIDARG)}},
      {{"CoCreateInstance"}, {Code(REGDB_E_CLASSNOTREG), Code(E_NOINTERFACE), Code(E_POINTER)}},
      {{"IMMDeviceEnumerator::EnumAudioEndpoints", "IMMDeviceCollection::GetCount",
        "IMMDeviceCollection::Item"},
       {Code(E_OUTOFMEMORY), Code(E_INVALIDARG), Code(AUDCLNT_E_SERVICE_NOT_RUNNING)}},
      {{"IMMDevice::Activate", "IMMDevice::GetId", "IMMDevice::GetState",
        "IMMDevice::OpenPropertyStore", "IPropertyStore::GetValue", "IDeviceTopology::GetConnector",
        "IConnector::GetDeviceIdConnectedTo"},
       {Code(E_OUTOFMEMORY), Code(E_NOTFOUND), Code(AUDCLNT_E_DEVICE_INVALIDATED)}},
  };
  return families;
}

// Calls that change the machine, and whose success the program could take on trust.
constexpr std::string_view kChangingCalls[] = {
    "UpdateDriverForPlugAndPlayDevicesW",
    "SetupDiCallClassInstaller",
    "SetupDiSetClassInstallParamsW",
    "SetupDiSetDeviceRegistryPropertyW",
    "SetupDiCreateDeviceInfoW",
    "SetupUninstallOEMInfW",
    "CM_Query_And_Remove_SubTreeW",
    "DeviceIoControl",
    "NtDeleteKey",
    "NtCreateFile",
    "WriteFile",
    "SetEndOfFile",
    "FlushFileBuffers",
    "SetFileInformationByHandle",
    "StartServiceW",
    "CreateDirectoryW",
};

// Calls after which the set of devices may differ.
constexpr std::string_view kDeviceCalls[] = {"UpdateDriverForPlugAndPlayDevicesW",
                                             "SetupDiCallClassInstaller",
                                             "CM_Query_And_Remove_SubTreeW"};

constexpr std::string_view kLooks[] = {
    "SetupDiGetClassDevsW",
    "SetupDiEnumDeviceInfo",
    "SetupDiEnumDeviceInterfaces",
    "SetupDiGetDeviceInterfaceDetailW",
    "SetupDiGetDeviceRegistryPropertyW",
    "SetupDiGetDevicePropertyW",
    "SetupDiGetDeviceInstanceIdW",
    "SetupQueryInfOriginalFileInformationW",
    "CM_Locate_DevNodeW",
    "CM_Get_DevNode_Status",
    "CM_Get_Child",
    "CM_Get_Sibling",
    "CM_Get_Device_IDW",
    "CM_Get_DevNode_Registry_PropertyW",
    "RegOpenKeyExW",
    "RegEnumKeyExW",
    "RegGetValueW",
    "DeviceIoControl",
    "IMMDeviceEnumerator::EnumAudioEndpoints",
    "IMMDeviceCollection::GetCount",
    "IMMDeviceCollection::Item",
    "IMMDevice::GetState",
    "IMMDevice::OpenPropertyStore",
    "IPropertyStore::GetValue",
    "IConnector::GetDeviceIdConnectedTo",
};

constexpr std::uint64_t kSlowCallMs = 3'000;

template <std::size_t N>
bool IsOneOf(std::string_view call, const std::string_view (&names)[N]) {
  return std::find(std::begin(names), std::end(names), call) != std::end(names);
}

}  // namespace

std::vector<Way> HonestWays(std::string_view call) {
  std::vector<Way> ways;
  for (const Family& family : Families()) {
    if (std::find(family.calls.begin(), family.calls.end(), call) == family.calls.end()) continue;
    for (const std::uint32_t error : family.errors)
      ways.push_back({FaultKind::Fail, error, 0, {}});
    for (const std::uint64_t bytes : family.shortTo)
      ways.push_back({FaultKind::Short, 0, bytes, {}});
    for (const std::uint64_t bytes : family.longBy)
      ways.push_back({FaultKind::Long, 0, bytes, {}});
    if (family.asksRestart) ways.push_back({FaultKind::AskRestart, 0, 0, {}});
  }
  return ways;
}

std::vector<Way> LyingWays(std::string_view call) {
  if (!IsOneOf(call, kChangingCalls)) return {};
  std::vector<Way> ways = {{FaultKind::SucceedWithoutEffect, 0, 0, {}},
                           {FaultKind::TakeTime, 0, kSlowCallMs, {}}};
  for (const Way& honest : HonestWays(call)) {
    if (honest.kind == FaultKind::Fail) {
      ways.push_back({FaultKind::FailAfterEffect, honest.error, 0, {}});
      break;
    }
  }
  if (!IsOneOf(call, kDeviceCalls)) return ways;
  for (const OtherProcess& lie : LiesBefore())
    ways.push_back({FaultKind::Change, 0, 0, lie.name});
  for (const OtherProcess& lie : LiesAfter())
    ways.push_back({FaultKind::ChangeAfter, 0, 0, lie.name});
  return ways;
}

std::vector<Way> StaleWays(std::string_view call) {
  if (!IsOneOf(call, kLooks)) return {};
  return {{FaultKind::AnswerFromPast, 0, 0, {}}};
}

bool MayPersist(const Way& way) {
  if (way.kind == FaultKind::Change || way.kind == FaultKind::ChangeAfter) return false;
  return way.kind != FaultKind::Fail ||
         (way.error != ERROR_NO_MORE_ITEMS && way.error != ERROR_NO_MORE_FILES);
}

}  // namespace vorn::tests
