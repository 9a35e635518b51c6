// Functions that are replaced in memory. The file layer: two of Wine whose answers differ from
// Windows'.
//
//  NtCreateFile     Wine opens the root of \Device\HarddiskVolume1\ as something that is no folder;
//                   the same place is asked for as \??\C:\. Descriptors given to new files are
//                   noted.
//  GetSecurityInfo  Wine keeps no owner and no protected flag; what was noted is told.
//
// The clock, when a test wants it to run faster, so that a wait of minutes takes seconds:
//
//  Sleep, GetTickCount64  "ClockSpeed" below the supplement's key says how many times as fast.
//
// Notes and the log take longer than the calls. With VORN_MEASURED there are none, and every file
// has the descriptor of the private copy, so that the time of a run is that of the program and of
// Wine.

#include "hooks.h"

#include "state.h"

#include <aclapi.h>
#include <cstring>
#include <sddl.h>
#include <string>
#include <winternl.h>

namespace supplement {

namespace {

using NtCreateFileType = NTSTATUS(NTAPI*)(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*,
                                          IO_STATUS_BLOCK*, LARGE_INTEGER*, ULONG, ULONG, ULONG,
                                          ULONG, void*, ULONG);

NtCreateFileType realNtCreateFile = nullptr;

constexpr wchar_t kVolume[] = L"\\Device\\HarddiskVolume1\\";
constexpr std::size_t kStubBytes = 32;  // a whole system call stub of Wine's ntdll
constexpr ULONG kCreateNew = 2;         // FILE_CREATE
constexpr wchar_t kSecurityKey[] = L"Software\\VornSupplement\\Security";
#ifdef VORN_MEASURED
constexpr bool kMeasured = true;
#else
constexpr bool kMeasured = false;
#endif
constexpr wchar_t kMeasuredSecurity[] = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
constexpr wchar_t kDefaultSecurity[] = L"O:BAD:AI(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x1200a9;;;BU)";

/// Where a file is, as a name for its note.
std::wstring NoteName(HANDLE file) {
  wchar_t path[2048] = {};
  const DWORD length = GetFinalPathNameByHandleW(file, path, 2048, 0);
  if (length == 0 || length >= 2048) return {};
  std::wstring name = path;
  for (wchar_t& unit : name) {
    if (unit == L'\\') unit = L'/';
    if (unit >= L'A' && unit <= L'Z') unit = static_cast<wchar_t>(unit + 0x20);
  }
  return name;
}

void NoteSecurity(HANDLE file, PSECURITY_DESCRIPTOR descriptor) {
  const std::wstring name = NoteName(file);
  if (name.empty()) return;
  wchar_t* text = nullptr;
  if (descriptor == nullptr) {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kSecurityKey, name.c_str());
  } else if (ConvertSecurityDescriptorToStringSecurityDescriptorW(
                 descriptor, SDDL_REVISION_1,
                 OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &text, nullptr)) {
    WriteText(kSecurityKey, name.c_str(), text);
    LocalFree(text);
  }
}

NTSTATUS NTAPI HookedNtCreateFile(HANDLE* file, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                                  IO_STATUS_BLOCK* ioStatus, LARGE_INTEGER* allocation,
                                  ULONG fileAttributes, ULONG share, ULONG disposition,
                                  ULONG options, void* ea, ULONG eaLength) {
  OBJECT_ATTRIBUTES mapped = *attributes;
  UNICODE_STRING name = {};
  std::wstring text;
  if (mapped.ObjectName != nullptr && mapped.ObjectName->Buffer != nullptr) {
    text.assign(mapped.ObjectName->Buffer, mapped.ObjectName->Length / sizeof(wchar_t));
  }
  const bool volumePath = mapped.RootDirectory == nullptr && text.rfind(kVolume, 0) == 0;
  if (volumePath) {
    Log("NtCreateFile(volume root)");
    text = L"\\??\\C:\\" + text.substr(std::wcslen(kVolume));
    name.Buffer = text.data();
    name.Length = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    name.MaximumLength = name.Length;
    mapped.ObjectName = &name;
  }
  const NTSTATUS status =
      realNtCreateFile(file, access, &mapped, ioStatus, allocation, fileAttributes, share,
                       disposition, options, ea, eaLength);
  if (!kMeasured && status >= 0 && disposition == kCreateNew && mapped.RootDirectory != nullptr) {
    NoteSecurity(*file, mapped.SecurityDescriptor);
  }
  return status;
}

DWORD WINAPI HookedGetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID* owner,
                                   PSID*, PACL* dacl, PACL*, PSECURITY_DESCRIPTOR* descriptor) {
  std::wstring text = kMeasuredSecurity;
  if (!kMeasured) {
    Log("GetSecurityInfo");
    text = ReadText(kSecurityKey, NoteName(handle).c_str());
  }
  if (text.empty()) text = kDefaultSecurity;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                            descriptor, nullptr)) {
    return GetLastError();
  }
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  if (owner != nullptr) GetSecurityDescriptorOwner(*descriptor, owner, &defaulted);
  if (dacl != nullptr) GetSecurityDescriptorDacl(*descriptor, &present, dacl, &defaulted);
  return ERROR_SUCCESS;
}

/// How many times as fast the clock of this process runs, and what it showed when that began.
DWORD clockSpeed = 1;
ULONGLONG firstTicks = 0;
DWORD firstRealTicks = 0;

ULONGLONG WINAPI HookedGetTickCount64() {
  const DWORD passed = GetTickCount() - firstRealTicks;
  return firstTicks + ULONGLONG{passed} * clockSpeed;
}

void WINAPI HookedSleep(DWORD milliseconds) {
  SleepEx(milliseconds == INFINITE ? INFINITE : milliseconds / clockSpeed, FALSE);
}

/// A copy of a function's first bytes that can be called.
void* CopyCode(void* function) {
  void* copy = VirtualAlloc(nullptr, kStubBytes, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
  std::memcpy(copy, function, kStubBytes);
  return copy;
}

/// Makes a function jump to another at once: jmp [rip+0], and the address.
void Redirect(void* function, void* target) {
  DWORD protection = 0;
  VirtualProtect(function, kStubBytes, PAGE_EXECUTE_READWRITE, &protection);
  auto* code = static_cast<unsigned char*>(function);
  const unsigned char jump[6] = {0xFF, 0x25, 0, 0, 0, 0};
  std::memcpy(code, jump, sizeof jump);
  std::memcpy(code + sizeof jump, &target, sizeof target);
  VirtualProtect(function, kStubBytes, protection, &protection);
}

void* Exported(const wchar_t* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(module), name));
}

void SpeedUpClock() {
  clockSpeed = ReadDword(kKey, L"ClockSpeed").value_or(1);
  if (clockSpeed <= 1) return;
  firstTicks = GetTickCount64();
  firstRealTicks = GetTickCount();
  Redirect(Exported(L"kernel32.dll", "GetTickCount64"),
           reinterpret_cast<void*>(HookedGetTickCount64));
  // That of kernel32 is a jump to this one.
  Redirect(Exported(L"kernelbase.dll", "Sleep"), reinterpret_cast<void*>(HookedSleep));
}

}  // namespace

void InstallHooks() {
  void* ntCreateFile = Exported(L"ntdll.dll", "NtCreateFile");
  realNtCreateFile = reinterpret_cast<NtCreateFileType>(CopyCode(ntCreateFile));
  Redirect(ntCreateFile, reinterpret_cast<void*>(HookedNtCreateFile));
  Redirect(Exported(L"advapi32.dll", "GetSecurityInfo"),
           reinterpret_cast<void*>(HookedGetSecurityInfo));
  SpeedUpClock();
}

}  // namespace supplement
