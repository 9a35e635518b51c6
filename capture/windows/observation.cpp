// What the capture observes beyond the program's own calls, on Windows. Every object is opened for
// reading.

#include "capture/observation.h"

#include "capture/security_fact.h"
#include "platform/owners.h"
#include "platform/windows/casts.h"

#include <aclapi.h>
#include <cstring>
#include <memory>
#include <sddl.h>
#include <type_traits>
#include <winioctl.h>

namespace vorn::capture {

namespace {

using platform::windows::As;
using platform::windows::Wide;

struct HandleCloser {
  void operator()(void* handle) const { ::CloseHandle(handle); }
};
struct ServiceCloser {
  void operator()(::SC_HANDLE handle) const { ::CloseServiceHandle(handle); }
};
struct KeyCloser {
  void operator()(::HKEY key) const { ::RegCloseKey(key); }
};
using OpenToken = std::unique_ptr<void, HandleCloser>;
using OpenService = std::unique_ptr<std::remove_pointer_t<::SC_HANDLE>, ServiceCloser>;
using OpenKey = std::unique_ptr<std::remove_pointer_t<::HKEY>, KeyCloser>;

/// GetVersionEx tells a program without a list of versions in its manifest an older build.
using RtlGetVersionFunction = LONG(WINAPI*)(RTL_OSVERSIONINFOW*);

/// What the token tells of one class, as bytes; empty on failure.
std::vector<std::uint8_t> TokenData(::HANDLE token, TOKEN_INFORMATION_CLASS informationClass) {
  DWORD size = 0;
  ::GetTokenInformation(token, informationClass, nullptr, 0, &size);
  std::vector<std::uint8_t> data(size);
  if (size == 0 || ::GetTokenInformation(token, informationClass, data.data(), size, &size) == 0) {
    return {};
  }
  return data;
}

template <class T>
const T* View(const std::vector<std::uint8_t>& data) {
  return reinterpret_cast<const T*>(data.data());
}

void NotePrivilege(const ::LUID_AND_ATTRIBUTES& privilege, const wchar_t* name, bool& holds,
                   bool& enabled) {
  ::LUID wanted = {};
  if (::LookupPrivilegeValueW(nullptr, name, &wanted) == 0 ||
      wanted.LowPart != privilege.Luid.LowPart || wanted.HighPart != privilege.Luid.HighPart) {
    return;
  }
  holds = true;
  enabled = (privilege.Attributes & SE_PRIVILEGE_ENABLED) != 0;
}

void ReadPrivileges(::HANDLE token, TokenFact& fact) {
  const std::vector<std::uint8_t> data = TokenData(token, TokenPrivileges);
  if (data.empty()) return;
  const auto* const held = View<::TOKEN_PRIVILEGES>(data);
  for (DWORD i = 0; i < held->PrivilegeCount; ++i) {
    NotePrivilege(held->Privileges[i], L"SeBackupPrivilege", fact.holdsBackup, fact.backupEnabled);
    NotePrivilege(held->Privileges[i], L"SeRestorePrivilege", fact.holdsRestore,
                  fact.restoreEnabled);
  }
}

bool IsDisabled(::SC_HANDLE service) {
  DWORD size = 0;
  ::QueryServiceConfigW(service, nullptr, 0, &size);
  if (size == 0) return false;
  std::vector<std::uint8_t> data(size);
  auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(data.data());
  return ::QueryServiceConfigW(service, config, size, &size) != 0 &&
         config->dwStartType == SERVICE_DISABLED;
}

/// The fixed part of REPARSE_DATA_BUFFER, which only a driver's headers declare.
struct LinkData {
  std::uint32_t tag;
  std::uint16_t length;
  std::uint16_t reserved;
  std::uint16_t substituteOffset;
  std::uint16_t substituteLength;
  std::uint16_t printOffset;
  std::uint16_t printLength;
};
static_assert(sizeof(LinkData) == 16);

}  // namespace

std::u16string SidText(const void* sid) {
  wchar_t* text = nullptr;
  if (::ConvertSidToStringSidW(const_cast<void*>(sid), &text) == 0) return {};
  std::u16string copy(reinterpret_cast<const char16_t*>(text));
  ::LocalFree(text);
  return copy;
}

SystemFact ObserveSystem() {
  SystemFact system;
  RTL_OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  const ::HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
  const auto rtlGetVersion =
      ntdll == nullptr ? nullptr
                       : reinterpret_cast<RtlGetVersionFunction>(
                             reinterpret_cast<void*>(::GetProcAddress(ntdll, "RtlGetVersion")));
  if (rtlGetVersion != nullptr && rtlGetVersion(&version) >= 0) {
    system.major = version.dwMajorVersion;
    system.minor = version.dwMinorVersion;
    system.build = version.dwBuildNumber;
  }
  DWORD session = 0;
  if (::ProcessIdToSessionId(::GetCurrentProcessId(), &session) != 0) system.session = session;
  // user32.dll could tell as well, but loading it makes a desktop where there is none.
  system.remoteSession = session != 0 && session != ::WTSGetActiveConsoleSessionId();
  return system;
}

std::optional<TokenFact> ObserveToken() {
  ::HANDLE raw = nullptr;
  if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &raw) == 0) return std::nullopt;
  const OpenToken token(raw);
  const std::vector<std::uint8_t> user = TokenData(raw, TokenUser);
  const std::vector<std::uint8_t> groups = TokenData(raw, TokenGroups);
  const std::vector<std::uint8_t> owner = TokenData(raw, TokenOwner);
  if (user.empty() || groups.empty() || owner.empty()) return std::nullopt;
  TokenFact fact;
  fact.sids.push_back(SidText(View<TOKEN_USER>(user)->User.Sid));
  const auto* const list = View<TOKEN_GROUPS>(groups);
  for (DWORD i = 0; i < list->GroupCount; ++i) {
    const DWORD attributes = list->Groups[i].Attributes;
    const bool counts = (attributes & SE_GROUP_ENABLED) != 0 &&
                        (attributes & (SE_GROUP_USE_FOR_DENY_ONLY | SE_GROUP_INTEGRITY)) == 0;
    if (counts) fact.sids.push_back(SidText(list->Groups[i].Sid));
  }
  fact.owner = SidText(View<TOKEN_OWNER>(owner)->Owner);
  const std::vector<std::uint8_t> elevation = TokenData(raw, TokenElevation);
  fact.elevated = !elevation.empty() && View<TOKEN_ELEVATION>(elevation)->TokenIsElevated != 0;
  ReadPrivileges(raw, fact);
  return fact;
}

ServiceFact ObserveService(const std::u16string& name, std::uint32_t* managerError) {
  ServiceFact fact;
  fact.name = name;
  *managerError = 0;
  const OpenService manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (!manager) {
    *managerError = ::GetLastError();
    return fact;
  }
  const OpenService service(::OpenServiceW(manager.get(), Wide(name.c_str()),
                                           SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG));
  if (!service) {
    fact.openError = ::GetLastError();
    return fact;
  }
  SERVICE_STATUS status = {};
  fact.running =
      ::QueryServiceStatus(service.get(), &status) != 0 && status.dwCurrentState == SERVICE_RUNNING;
  fact.disabled = IsDisabled(service.get());
  return fact;
}

std::optional<SecurityFact> ObserveKeySecurity(const std::u16string& path, std::uint32_t* error) {
  ::HKEY raw = nullptr;
  *error = static_cast<std::uint32_t>(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, Wide(path.c_str()), 0,
                                                      READ_CONTROL | KEY_WOW64_64KEY, &raw));
  if (*error != ERROR_SUCCESS) return std::nullopt;
  const OpenKey key(raw);
  PSID owner = nullptr;
  PACL dacl = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  *error = ::GetSecurityInfo(raw, SE_REGISTRY_KEY,
                             OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                             nullptr, &dacl, nullptr, &descriptor);
  if (*error != ERROR_SUCCESS || descriptor == nullptr) return std::nullopt;
  const platform::SecurityDescriptor kept(static_cast<platform::SECURITY_DESCRIPTOR*>(descriptor));
  return ToFact(kept.Get(), static_cast<const platform::SID*>(owner),
                reinterpret_cast<const platform::ACL*>(dacl));
}

std::optional<std::uint64_t> ObserveFreeBytes(char16_t letter) {
  const wchar_t root[] = {static_cast<wchar_t>(letter), L':', L'\\', L'\0'};
  ULARGE_INTEGER free = {};
  if (::GetDiskFreeSpaceExW(root, &free, nullptr, nullptr) == 0) return std::nullopt;
  return free.QuadPart;
}

std::optional<std::u16string> ObserveLinkTarget(platform::HANDLE link) {
  std::vector<std::uint8_t> buffer(MAXIMUM_REPARSE_DATA_BUFFER_SIZE);
  DWORD size = 0;
  if (::DeviceIoControl(As<void*>(link), FSCTL_GET_REPARSE_POINT, nullptr, 0, buffer.data(),
                        static_cast<DWORD>(buffer.size()), &size, nullptr) == 0) {
    return std::nullopt;
  }
  LinkData data = {};
  std::memcpy(&data, buffer.data(), sizeof data);
  // A symbolic link has a word of flags before its names.
  const std::size_t names = sizeof data + (data.tag == IO_REPARSE_TAG_SYMLINK ? 4 : 0);
  const std::size_t start = names + data.substituteOffset;
  if (start + data.substituteLength > size) return std::nullopt;
  std::u16string target(data.substituteLength / sizeof(char16_t), u'\0');
  std::memcpy(target.data(), buffer.data() + start, target.size() * sizeof(char16_t));
  constexpr std::u16string_view kNtPrefix = u"\\??\\";
  if (target.starts_with(kNtPrefix)) target.erase(0, kNtPrefix.size());
  return target;
}

}  // namespace vorn::capture
