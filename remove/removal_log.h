#pragma once

// The removal log: what a removal did, on standard error and, time-stamped, in a file. Whoever
// places the file decides that the place is safe, and may leave here what keeps it so.

#include <memory>
#include <string>
#include <string_view>

namespace vorn {

/// The file that later messages are appended to, for the rest of the run; empty means no file.
/// `hold` keeps the file's place as it was checked (folders that stay open, for example) and is
/// given back when the path is replaced or released.
void SetRemovalLogPath(std::u16string path, std::shared_ptr<const void> hold = nullptr);

/// Forgets the path and gives back what was held for it.
void ReleaseRemovalLog();

/// Prints "vorn_devnode: " and the text to standard error and appends it to the file, if there is
/// one, as a line of UTF-8 with the time in UTC. A file that cannot be opened loses the line and
/// nothing else.
void LogRemoval(std::u16string_view text);

}  // namespace vorn
