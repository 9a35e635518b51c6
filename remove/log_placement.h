#pragma once

// Where the removal log goes: "logs\vorn_devnode.log" beside the folder of the INF that was typed.
//
// The file lies among files of other users and is written by an elevated program, so the way to it
// is opened through verified handles and held: no folder on it can become a link, and the file that
// is there cannot be replaced by another, while the command runs. Where that cannot be had, there
// is no log file; logging never fails a removal.

#include <string>
#include <string_view>

namespace vorn {

/// Places the removal log for this run (SetRemovalLogPath), creating the folder "logs" and the file
/// where they are missing. Leaves no path when the INF has no folder above its own, or when the
/// place cannot be used.
void PlaceRemovalLog(std::u16string_view commandLineInfPath);

}  // namespace vorn
