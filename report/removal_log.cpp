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

std::u16string StampedLine(const platform::SYSTEMTIME& now, std::u16string_view text) {
  const auto number = [](std::uint16_t field) { return std::uint32_t{field}; };
  return Format(u"[%04u-%02u-%02u %02u:%02u:%02u.%03u] remove: %ls\n", number(now.wYear),
                number(now.wMonth), number(now.wDay), number(now.wHour), number(now.wMinute),
                number(now.wSecond), number(now.wMilliseconds), text);
}

}  // namespace

void RemovalLog::SetRemovalLogPath(std::u16string path, LogFileGuard guard) {
  path_ = std::move(path);
  guard_ = std::move(guard);
}

void RemovalLog::LogRemoval(std::u16string_view text) const {
  PrintError(u"vorn_devnode: %ls\n", text);
  if (path_.empty()) return;
  const std::shared_ptr<const void> proven = guard_ ? guard_() : nullptr;
  if (guard_ && proven == nullptr) return;
  // Opened and closed for each message: closing flushes, so that a line is on disk even if the
  // process ends abruptly.
  const platform::LogStream file(
      platform::_wfsopen(path_.c_str(), u"a, ccs=UTF-8", platform::_SH_DENYNO));
  if (!file) return;
  platform::SYSTEMTIME now = {};
  platform::GetSystemTime(&now);
  platform::fputws(StampedLine(now, text).c_str(), file.Get());
}

}  // namespace vorn
