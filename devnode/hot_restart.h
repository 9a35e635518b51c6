#pragma once

// Restarts the one present root in place, to prove that its driver can be activated without a
// machine restart.

namespace vorn {

struct HotRestartResult {
  bool passed = false;            // the root was restarted and started without a problem
  bool restartRequested = false;  // Plug and Play requires a machine restart
};

/// Restarts the only present root (DIF_PROPERTYCHANGE) and waits up to 30 s for it to start. Both
/// flags are false if the restart failed. Prints success and failures.
HotRestartResult RunHotRestartPreflight();

}  // namespace vorn
