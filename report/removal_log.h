#pragma once

// RemovalLog: reports what a removal does on standard error and, time-stamped, in a file. The log
// trusts its file path; whoever sets it proves that it is safe, or passes a guard that does.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vorn {

/// Checks the log file, creating it if it is missing, and prevents its replacement for as long as
/// the result lives. Null when the file must not be written to.
using LogFileGuard = std::function<std::shared_ptr<const void>()>;

class RemovalLog {
 public:
  /// Sets the file that later messages are appended to; an empty path, the default, means none.
  /// `guard` is called before each message and kept, with everything that it owns, until the path
  /// is replaced or the log is destroyed.
  void SetRemovalLogPath(std::u16string path, LogFileGuard guard = nullptr);

  /// Prints the text to standard error and appends it to the file, as a line of UTF-8 with the time
  /// in UTC. If the file fails its check or does not open, it only misses that line.
  void LogRemoval(std::u16string_view text) const;

 private:
  std::u16string path_;
  LogFileGuard guard_;
};

}  // namespace vorn
