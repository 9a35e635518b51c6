#pragma once

// All console output of the program. Results and progress go to standard output; failures,
// deferrals and diagnostics to standard error. Each line is one write, which is flushed at once; a
// failed write never fails a command.

#include "base/format.h"

#include <cstdint>
#include <string_view>

namespace vorn {

enum class ConsoleStream { Output, Error };

/// Writes and flushes a text unformatted and preserves the last error, as do all functions below.
void PrintText(ConsoleStream stream, std::u16string_view text);

template <class... Arguments>
void Print(FormatPattern<Arguments...> pattern, const Arguments&... arguments) {
  PrintText(ConsoleStream::Output, Format<Arguments...>(pattern, arguments...));
}

template <class... Arguments>
void PrintError(FormatPattern<Arguments...> pattern, const Arguments&... arguments) {
  PrintText(ConsoleStream::Error, Format<Arguments...>(pattern, arguments...));
}

/// Reports a failed platform call on standard error: its name, with its purpose where that helps,
/// and the error, which is the thread's last error if not given. Returns false.
bool ReportFailedCall(std::u16string_view call, std::uint32_t error);
bool ReportFailedCall(std::u16string_view call);

}  // namespace vorn
