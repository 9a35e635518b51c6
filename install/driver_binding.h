#pragma once

// Binds a package to the root devices through Plug and Play.

#include <string>

namespace vorn {

enum class BindOutcome {
  Rejected,  // with the last error set
  Bound,
  WaitsForRestart,  // bound, but takes effect with a machine restart
};

/// Binds the package of the INF at `infPath` to every device with the program's hardware id, even
/// over a better match (UpdateDriverForPlugAndPlayDevicesW with INSTALLFLAG_FORCE).
BindOutcome BindDriver(const std::u16string& infPath);

}  // namespace vorn
