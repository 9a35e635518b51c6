#include "rehearsal/windows/call_log.h"

#include "base/text.h"

#include <stdexcept>
#include <windows.h>

namespace vorn::rehearsal {

namespace {

// A call holds the log for as long as it takes to read the script.
constexpr DWORD kRetryMs = 20;
constexpr int kMostTries = 500;

constexpr DWORD kLargestLog = 16U * 1024U * 1024U;

HANDLE OpenAlone(const std::filesystem::path& path) {
  for (int tries = 1;; ++tries) {
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                      OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    const bool busy = file == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_SHARING_VIOLATION;
    if (!busy || tries == kMostTries) return file;
    ::Sleep(kRetryMs);
  }
}

/// Reads the whole file, which leaves the next write at its end.
bool ReadWhole(HANDLE file, std::string& text) {
  const DWORD size = ::GetFileSize(file, nullptr);
  if (size > kLargestLog) return false;
  text.resize(size);
  DWORD read = 0;
  return ::ReadFile(file, text.data(), size, &read, nullptr) != 0 && read == size;
}

}  // namespace

CallLog::CallLog(const std::filesystem::path& path) : file_(OpenAlone(path)) {
  if (file_ != INVALID_HANDLE_VALUE && ReadWhole(file_, text_)) return;
  Close();
  throw std::runtime_error(ToUtf8(path.u16string()) + ": the log of the calls cannot be opened");
}

CallLog::~CallLog() {
  Close();
}

void CallLog::Append(std::string_view line) {
  DWORD written = 0;
  const auto size = static_cast<DWORD>(line.size());
  if (::WriteFile(file_, line.data(), size, &written, nullptr) == 0 || written != size) {
    throw std::runtime_error("the log of the calls cannot be written");
  }
}

void CallLog::Close() {
  if (file_ != INVALID_HANDLE_VALUE) ::CloseHandle(file_);
  file_ = INVALID_HANDLE_VALUE;
}

}  // namespace vorn::rehearsal
