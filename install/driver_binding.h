#pragma once

// Binding a package to the root devices through Plug and Play.

#include <string>

namespace vorn {

enum class BindOutcome {
  Rejected,         // the last error says why
  Bound,            // the device runs on the package
  WaitsForRestart,  // of the machine
};

/// Has Windows put the package of the INF at `infPath` on every device with the program's hardware
/// id, whatever is bound to it (UpdateDriverForPlugAndPlayDevicesW with INSTALLFLAG_FORCE).
BindOutcome BindDriver(const std::u16string& infPath);

}  // namespace vorn
