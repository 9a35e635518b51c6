#pragma once

// Everything that this program says on the console goes through these operations. Success results
// and progress go to standard output; failures, deferrals and diagnostics to standard error. A line
// is written whole by one call, and a failed write never fails a command.

#include "base/format.h"

#include <cstdint>
#include <string_view>

namespace vorn {

enum class ConsoleStream { Output, Error };

/// Writes a finished text as it is.
void PrintText(ConsoleStream stream, std::u16string_view text);

/// Formats and writes to standard output.
template <class... Arguments>
void Print(FormatPattern<Arguments...> pattern, const Arguments&... arguments) {
  PrintText(ConsoleStream::Output, Format<Arguments...>(pattern, arguments...));
}

/// Formats and writes to standard error.
template <class... Arguments>
void PrintError(FormatPattern<Arguments...> pattern, const Arguments&... arguments) {
  PrintText(ConsoleStream::Error, Format<Arguments...>(pattern, arguments...));
}

/// Reports a failed platform call on standard error: "vorn_devnode: %s failed (error 0x%08lX)".
/// `call` names the call and its purpose; `error` is the last error taken right after it failed.
void ReportFailedCall(std::u16string_view call, std::uint32_t error);

/// As above with the thread's last error, which stays as it was.
void ReportFailedCall(std::u16string_view call);

}  // namespace vorn
