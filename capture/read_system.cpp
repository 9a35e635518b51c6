#include "base/path_text.h"
#include "capture/observation.h"
#include "capture/readers.h"
#include "package/windows_inf_folder.h"
#include "platform/clock.h"
#include "platform/device_setup.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/native.h"
#include "privileged_input/path_buffer.h"
#include "privileged_input/path_rules.h"
#include "product/product.h"

namespace vorn::capture {

namespace {

using privileged_input::kPathBufferLength;

constexpr const char* kNativeCalls[] = {"NtCreateFile", "NtDeleteKey", "RtlNtStatusToDosError"};
constexpr const char16_t* kServices[] = {u"AudioEndpointBuilder", u"Audiosrv"};
constexpr std::uint32_t ERROR_SERVICE_DOES_NOT_EXIST = 1060;
constexpr std::u16string_view kProgramName = u"vorn_devnode.exe";
constexpr std::uint32_t kClassNameUnits = 32;  // as much as the program has room for

/// Days from 1970-01-01 in the Gregorian calendar.
std::int64_t DaysOf(const platform::SYSTEMTIME& time) {
  const std::int64_t shifted = time.wMonth > 2 ? time.wYear : time.wYear - 1;  // from March on
  const std::int64_t era = shifted / 400;
  const std::int64_t year = shifted - era * 400;
  const std::int64_t month = time.wMonth > 2 ? time.wMonth - 3 : time.wMonth + 9;
  const std::int64_t day = (153 * month + 2) / 5 + time.wDay - 1;
  return era * 146097 + year * 365 + year / 4 - year / 100 + day - 719468;
}

std::uint64_t UtcMilliseconds() {
  platform::SYSTEMTIME time = {};
  platform::GetSystemTime(&time);
  const std::int64_t seconds =
      ((DaysOf(time) * 24 + time.wHour) * 60 + time.wMinute) * 60 + time.wSecond;
  return static_cast<std::uint64_t>(seconds * 1000 + time.wMilliseconds);
}

void ReadNativeCalls(CapturedMachine& machine) {
  const platform::HMODULE ntdll = platform::GetModuleHandleW(u"ntdll.dll");
  machine.ntdllMissing = ntdll == nullptr;
  for (const char* const name : kNativeCalls) {
    const bool missing = ntdll != nullptr && platform::GetProcAddress(ntdll, name) == nullptr;
    if (missing) machine.missingExports.emplace_back(name);
  }
}

void ReadServices(CapturedMachine& machine) {
  for (const char16_t* const name : kServices) {
    ServiceFact service = ObserveService(name, &machine.serviceManagerError);
    if (machine.serviceManagerError != 0) {
      machine.Miss(u"services", "OpenSCManagerW", machine.serviceManagerError);
      return;
    }
    if (service.openError == ERROR_SERVICE_DOES_NOT_EXIST) continue;
    if (service.openError != 0) {
      machine.Miss(u"service " + service.name, "OpenServiceW", service.openError);
    }
    machine.services.push_back(std::move(service));
  }
}

void ReadClassName(CapturedMachine& machine) {
  char16_t name[kClassNameUnits] = {};
  if (platform::SetupDiClassNameFromGuidW(&kSetupClass, name, kClassNameUnits, nullptr)) {
    machine.mediaClassName = name;
  } else {
    machine.Miss(u"class name", "SetupDiClassNameFromGuidW", platform::GetLastError());
  }
}

/// What a call that returns the length of a path has stored; empty, and an error, on failure.
std::u16string KeepPath(std::u16string buffer, std::uint32_t length, std::u16string_view fact,
                        std::string_view call, CapturedMachine& machine) {
  if (length == 0 || length >= kPathBufferLength) {
    machine.Miss(fact, call, length == 0 ? platform::GetLastError() : 0);
    return {};
  }
  buffer.resize(length);
  return buffer;
}

void ReadFolders(CapturedMachine& machine) {
  const std::optional<std::u16string> windows = ReadWindowsFolder();
  if (!windows) machine.Miss(u"windows folder", "GetWindowsDirectoryW", platform::GetLastError());
  machine.windowsFolder = windows.value_or(u"");

  std::u16string buffer(kPathBufferLength, u'\0');
  std::uint32_t length = platform::GetTempPathW(kPathBufferLength, buffer.data());
  machine.temporaryFolder = KeepPath(buffer, length, u"temporary folder", "GetTempPathW", machine);

  length = platform::GetModuleFileNameW(nullptr, buffer.data(), kPathBufferLength);
  machine.modulePath = KeepPath(buffer, length, u"program", "GetModuleFileNameW", machine);
  // This program lies beside the one that it captures for.
  if (!machine.modulePath.empty()) {
    machine.modulePath = JoinPath(CutLastComponent(machine.modulePath), kProgramName);
  }

  length = platform::GetFullPathNameW(u".", kPathBufferLength, buffer.data(), nullptr);
  machine.currentFolder = KeepPath(buffer, length, u"current folder", "GetFullPathNameW", machine);
}

}  // namespace

void ReadSystem(CapturedMachine& machine) {
  machine.system = ObserveSystem();
  machine.system.tick = platform::GetTickCount64();
  machine.system.utc = UtcMilliseconds();
  machine.token = ObserveToken();
  if (!machine.token) machine.Miss(u"token", "GetTokenInformation", platform::GetLastError());
  ReadNativeCalls(machine);
  ReadServices(machine);
  ReadClassName(machine);
  ReadFolders(machine);
}

}  // namespace vorn::capture
