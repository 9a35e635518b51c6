#pragma once

// Binding a package to the root devices through Plug and Play.

#include <string>

namespace vorn {

/// Has Windows put the package of the INF at `infPath` on every device with the program's hardware
/// id, whatever is bound to it (UpdateDriverForPlugAndPlayDevicesW with INSTALLFLAG_FORCE).
/// `restartRequired` tells whether the switch waits for a restart of the machine. Returns false,
/// with the last error, when Windows rejects the package.
bool BindDriver(const std::u16string& infPath, bool& restartRequired);

}  // namespace vorn
