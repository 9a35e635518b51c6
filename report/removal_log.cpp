#include "report/removal_log.h"

#include "base/format.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/owners.h"
#include "report/console.h"

#include <cstdint>
#include <utility>

namespace vorn {

namespace {

struct RemovalLog {
  std::u16string path;
  LogFileGuard guard;
};

RemovalLog& CurrentLog() {
  static RemovalLog log;
  return log;
}

/// The line of a message in the log file.
std::u16string StampedLine(const platform::SYSTEMTIME& now, std::u16string_view text) {
  const auto number = [](std::uint16_t field) { return std::uint32_t{field}; };
  return Format(u"[%04u-%02u-%02u %02u:%02u:%02u.%03u] remove: %ls\n", number(now.wYear),
                number(now.wMonth), number(now.wDay), number(now.wHour), number(now.wMinute),
                number(now.wSecond), number(now.wMilliseconds), text);
}

}  // namespace

void SetRemovalLogPath(std::u16string path, LogFileGuard guard) {
  CurrentLog() = {std::move(path), std::move(guard)};
}

void ReleaseRemovalLog() {
  CurrentLog() = {};
}

void LogRemoval(std::u16string_view text) {
  PrintError(u"vorn_devnode: %ls\n", text);
  const auto& [path, guard] = CurrentLog();
  if (path.empty()) return;
  const std::shared_ptr<const void> proven = guard ? guard() : nullptr;
  if (guard && proven == nullptr) return;
  // Opened for each message, so that every line is on the disk even if the process ends abruptly.
  const LogStream file(platform::_wfsopen(path.c_str(), u"a, ccs=UTF-8", platform::_SH_DENYNO));
  if (!file) return;
  platform::SYSTEMTIME now = {};
  platform::GetSystemTime(&now);
  platform::fputws(StampedLine(now, text).c_str(), file.Get());
}

}  // namespace vorn
