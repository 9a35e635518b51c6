#pragma once

// The removal log: what a removal did, on standard error and, time-stamped, in a file. Whoever
// places the file decides that the place is safe, and may leave here what keeps it so.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vorn {

/// Proves the log file, makes it when it is missing, and keeps it from being replaced as long as
/// the result lives; null when the file must not be written to.
using LogFileGuard = std::function<std::shared_ptr<const void>()>;

/// The file that later messages are appended to, for the rest of the run; empty means no file.
/// `guard`, where there is one, is asked before each message and given up when the path is replaced
/// or released; what it owns (folders that stay open, for example) is held until then.
void SetRemovalLogPath(std::u16string path, LogFileGuard guard = nullptr);

/// Forgets the path and gives back what its guard owns.
void ReleaseRemovalLog();

/// Prints "vorn_devnode: " and the text to standard error and appends it to the file, if there is
/// one, as a line of UTF-8 with the time in UTC. A file that cannot be proven or opened loses the
/// line and nothing else.
void LogRemoval(std::u16string_view text);

}  // namespace vorn
