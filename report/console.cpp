#include "report/console.h"

#include "platform/console.h"
#include "platform/kept_last_error.h"

#include <string>

namespace vorn {

void PrintText(ConsoleStream stream, std::u16string_view text) {
  const platform::KeptLastError kept;
  platform::WideStream* const target =
      stream == ConsoleStream::Output ? platform::StandardOutput() : platform::StandardError();
  platform::fputws(std::u16string(text).c_str(), target);
  // A redirected stream is buffered. Without the flush its reader would see nothing before the
  // program ends, a killed run would leave nothing, and one file for both streams would have all of
  // standard output before all of standard error.
  platform::fflush(target);
}

bool ReportFailedCall(std::u16string_view call, std::uint32_t error) {
  PrintError(u"vorn_devnode: %s failed (error 0x%08lX)\n", call, error);
  return false;
}

bool ReportFailedCall(std::u16string_view call) {
  return ReportFailedCall(call, platform::GetLastError());
}

}  // namespace vorn
