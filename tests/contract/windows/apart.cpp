#include "tests/contract/apart.h"

#include "tests/contract/windows/clean_up.h"

#include <windows.h>

#include <cstdio>
#include <shellapi.h>
#include <string>

namespace vorn::contract {

namespace {

std::wstring Widened(const std::string& text) {
  std::wstring wide(text.size() + 1, L'\0');
  const int length = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                           wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(length));
  return wide;
}

std::string Narrowed(const wchar_t* text) {
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), size, nullptr, nullptr);
  narrow.resize(narrow.empty() ? 0 : narrow.size() - 1);
  return narrow;
}

/// An argument as CommandLineToArgvW reads it back: backslashes count only before a quote.
std::wstring Quoted(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t unit : argument) {
    if (unit == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    quoted += unit;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

std::wstring ThisProgram() {
  std::wstring path(32768, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

Ending WaitFor(const PROCESS_INFORMATION& process, std::uint32_t seconds) {
  Ending ending;
  ending.inTime = ::WaitForSingleObject(process.hProcess, seconds * 1000) == WAIT_OBJECT_0;
  if (!ending.inTime) {
    ::TerminateProcess(process.hProcess, 1);
    ::WaitForSingleObject(process.hProcess, 10'000);
  }
  DWORD status = 0;
  ::GetExitCodeProcess(process.hProcess, &status);
  ending.status = status;
  return ending;
}

}  // namespace

std::string Ending::Text() const {
  char text[64];
  std::snprintf(text, sizeof text, inTime ? "ended with %08lX" : "did not end in time",
                static_cast<unsigned long>(status));
  return text;
}

std::optional<Ending> RunApart(const std::vector<std::string>& arguments, std::uint32_t seconds) {
  const std::wstring program = ThisProgram();
  std::wstring line = Quoted(program);
  for (const std::string& argument : arguments)
    line += L' ' + Quoted(Widened(argument));
  // A crash ends the process; nobody is there to answer a dialog.
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  std::fflush(stdout);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = ::GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process = {};
  if (::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &startup, &process) == 0) {
    return Ending{true, ::GetLastError() | 0xC0070000};
  }
  const Ending ending = WaitFor(process, seconds);
  if (!ending.inTime || ending.status > 2) CleanUpAfter(process.dwProcessId);
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  return ending;
}

std::vector<std::string> Arguments(int, char**) {
  // The C runtime's own are in the machine's code page, which lacks most letters of a path.
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** values = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  for (int i = 1; i < count; ++i)
    arguments.push_back(Narrowed(values[i]));
  ::LocalFree(values);
  return arguments;
}

}  // namespace vorn::contract
