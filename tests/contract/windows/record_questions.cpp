// Questions to the registry's endpoint records, and to a run whose output goes to a file.

#include "base/text.h"
#include "tests/contract/contract.h"
#include "tests/contract/windows/answers.h"

// clang-format off
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>
// clang-format on

#include <string>

namespace vorn::contract {

namespace {

constexpr wchar_t kEndpoints[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\";
constexpr DWORD kMostRecords = 3;  // of each flow
constexpr DWORD kKillAfterMs = 5000;

std::string Utf8(const wchar_t* text) {
  return ToUtf8(reinterpret_cast<const char16_t*>(text));
}

void EnablePrivilege(const wchar_t* name) {
  ::HANDLE token = nullptr;
  NEED(::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token) != 0);
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  const bool enabled =
      ::LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid) != 0 &&
      ::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr) != 0;
  ::CloseHandle(token);
  NEED(enabled);
}

LSTATUS Open(const std::wstring& path, DWORD options, REGSAM access) {
  ::HKEY key = nullptr;
  const LSTATUS status =
      ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), options, access | KEY_WOW64_64KEY, &key);
  if (status == 0) ::RegCloseKey(key);
  return status;
}

std::string Security(const std::wstring& path) {
  const std::wstring name = L"MACHINE\\" + path;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  constexpr SECURITY_INFORMATION kParts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  const DWORD error = ::GetNamedSecurityInfoW(name.c_str(), SE_REGISTRY_KEY, kParts, nullptr,
                                              nullptr, nullptr, nullptr, &descriptor);
  if (error != 0) return Code(error);
  wchar_t* text = nullptr;
  std::string shown = "unreadable";
  if (::ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, kParts,
                                                             &text, nullptr) != 0) {
    shown = Utf8(text);
    ::LocalFree(text);
  }
  ::LocalFree(descriptor);
  return shown;
}

/// The program's two opens: as anybody, and then with the privileges of a backup.
void SayRecord(const std::wstring& path, const std::string& flow) {
  Answer("endpoint-record", flow + ", owner and list", Security(path), Utf8(path.c_str()));
  const LSTATUS plain = Open(path, 0, DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE);
  Answer("endpoint-record", flow + ", plain open", Code(static_cast<std::uint32_t>(plain)));
  const LSTATUS backup = Open(path, REG_OPTION_BACKUP_RESTORE, 0);
  Answer("endpoint-record", flow + ", backup open", Code(static_cast<std::uint32_t>(backup)));
}

void SayRecords(const wchar_t* flow) {
  const std::wstring path = kEndpoints + std::wstring(flow);
  ::HKEY key = nullptr;
  const LSTATUS opened =
      ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &key);
  Answer("endpoint-record", Utf8(flow) + ", list of records",
         Code(static_cast<std::uint32_t>(opened)));
  if (opened != 0) return;
  for (DWORD index = 0; index < kMostRecords; ++index) {
    wchar_t name[256] = {};
    DWORD size = 256;
    if (::RegEnumKeyExW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr) != 0) break;
    SayRecord(path + L"\\" + name, Utf8(flow));
  }
  ::RegCloseKey(key);
}

std::wstring ProgramBesideThisOne() {
  std::wstring path(32768, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.rfind(L'\\') + 1) + L"vorn_devnode.exe";
}

/// Runs a command that changes nothing, its output going to a file, for at most that time.
std::string RunAndKill(const std::wstring& program, ::HANDLE output) {
  std::wstring line = L"\"" + program + L"\" audit-catalog";
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output;
  startup.hStdError = output;
  PROCESS_INFORMATION process = {};
  if (::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &startup, &process) == 0) {
    return "not started " + Code(::GetLastError());
  }
  const bool ended = ::WaitForSingleObject(process.hProcess, kKillAfterMs) == WAIT_OBJECT_0;
  if (!ended) ::TerminateProcess(process.hProcess, 1);
  ::WaitForSingleObject(process.hProcess, kKillAfterMs);
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  return ended ? "ended by itself" : "killed";
}

}  // namespace

void AskEndpointRecords(const Given&) {
  EnablePrivilege(L"SeBackupPrivilege");
  EnablePrivilege(L"SeRestorePrivilege");
  SayRecords(L"Render");
  SayRecords(L"Capture");
}

void AskKilledOutput(const Given&) {
  const std::u16string path = Scratch() + u"\\output.txt";
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  ::HANDLE output = ::CreateFileW(reinterpret_cast<const wchar_t*>(path.c_str()),
                                  GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  NEED(output != INVALID_HANDLE_VALUE);
  const std::string ended = RunAndKill(ProgramBesideThisOne(), output);
  LARGE_INTEGER size = {};
  ::GetFileSizeEx(output, &size);
  ::SetFilePointer(output, 0, nullptr, FILE_BEGIN);
  char text[512] = {};
  DWORD read = 0;
  ::ReadFile(output, text, sizeof text - 1, &read, nullptr);
  ::CloseHandle(output);
  Answer("killed-output", "run", ended);
  Answer("killed-output", "bytes", std::to_string(size.QuadPart), text);
}

}  // namespace vorn::contract
