#pragma once

// RemovalLog: what a removal did, on standard error and, time-stamped, in a file. Whoever places
// the file decides that the place is safe, and may leave here what keeps it so.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vorn {

/// Proves the log file, makes it when it is missing, and keeps it from being replaced as long as
/// the result lives; null when the file must not be written to.
using LogFileGuard = std::function<std::shared_ptr<const void>()>;

class RemovalLog {
 public:
  /// The file that later messages are appended to; empty, as at first, means no file. `guard`,
  /// where there is one, is asked before each message; what it owns (folders that stay open, for
  /// example) is held until the path is replaced or the log ends.
  void SetRemovalLogPath(std::u16string path, LogFileGuard guard = nullptr);

  /// Prints "vorn_devnode: " and the text to standard error and appends it to the file, if there is
  /// one, as a line of UTF-8 with the time in UTC. A file that cannot be proven or opened loses the
  /// line and nothing else.
  void LogRemoval(std::u16string_view text) const;

 private:
  std::u16string path_;
  LogFileGuard guard_;
};

}  // namespace vorn
