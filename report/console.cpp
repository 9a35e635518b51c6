#include "report/console.h"

#include "platform/console.h"
#include "platform/kept_last_error.h"

#include <string>

namespace vorn {

void PrintText(ConsoleStream stream, std::u16string_view text) {
  const platform::KeptLastError kept;
  platform::fputws(std::u16string(text).c_str(), stream == ConsoleStream::Output
                                                     ? platform::StandardOutput()
                                                     : platform::StandardError());
}

bool ReportFailedCall(std::u16string_view call, std::uint32_t error) {
  PrintError(u"vorn_devnode: %s failed (error 0x%08lX)\n", call, error);
  return false;
}

bool ReportFailedCall(std::u16string_view call) {
  return ReportFailedCall(call, platform::GetLastError());
}

}  // namespace vorn
