#pragma once

// The restart of the one present root in place, which proves that a driver can be activated without
// a restart of the machine.

namespace vorn {

struct HotRestartResult {
  bool passed = false;            // the root was restarted and is started cleanly
  bool restartRequested = false;  // Plug and Play wants the machine restarted
};

/// Restarts the only present root and waits up to 30 s for it to start. Both flags are false when
/// the restart could not be tried. Reports failures, and that the restart passed.
HotRestartResult RunHotRestartPreflight();

}  // namespace vorn
