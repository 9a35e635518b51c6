#pragma once

// Places the removal log: "logs\vorn_devnode.log" beside the folder of the INF on the command line.
//
// An elevated program writes the file where other users may have access. So the folders on its path
// are opened through verified handles and stay open while the command runs, and the file is checked
// before each message and cannot be replaced during it. If that fails there is no log file; logging
// never fails a removal.

#include "report/removal_log.h"

#include <string>
#include <string_view>

namespace vorn {

/// Sets the path of `log` and creates the folder "logs" if it is missing; the first message creates
/// the file. Sets no path if the INF's folder has no parent or a folder cannot be used.
void PlaceRemovalLog(std::u16string_view commandLineInfPath, RemovalLog& log);

}  // namespace vorn
