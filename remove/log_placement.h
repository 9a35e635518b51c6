#pragma once

// Where the removal log goes: "logs\vorn_devnode.log" beside the folder of the INF that was typed.
//
// The file lies among files of other users and is written by an elevated program, so the folders on
// the way to it are opened through verified handles and held while the command runs: none of them
// can become a link. The file itself is proven before each message, and cannot be replaced while
// the message is written. Where that cannot be had, there is no log file; logging never fails a
// removal.

#include "report/removal_log.h"

#include <string>
#include <string_view>

namespace vorn {

/// Gives `log`, which has no path yet, its place for this run, creating the folder "logs" when it
/// is missing; the file is made by the first message. Leaves no path when the INF has no folder
/// above its own, or when the folders cannot be used.
void PlaceRemovalLog(std::u16string_view commandLineInfPath, RemovalLog& log);

}  // namespace vorn
