#pragma once

// The live verification engine: proves, from seven independent observations that must all hold at
// once, that the live root runs the target package and shows exactly the expected endpoints. Every
// command rests its claim of success on it.

#include "catalog/catalog_transition.h"
#include "journal/activation_state.h"
#include "report/exit_status.h"

namespace vorn {

enum class VerificationMode {
  Reporting,  // waits for the device and its endpoints to settle, and prints the final line
  Quick,      // looks once and prints nothing; the caller reports
};

/// Starts the audio services, waits up to 20 s for the root to start, then observes every 2 s for
/// up to 90 s until everything is proven. Returns kExitOk, kExitEndpointsMissing when an
/// observation still fails at the deadline, or kExitNotStarted. In the reporting mode the one
/// RESULT line goes to standard output when it is OK, else to standard error. `change` is None when
/// the live root ran the target before the bind, so that no endpoint id may have been minted anew.
ExitStatus RunLiveVerification(const ActivationState& state, VerificationMode mode,
                               PackageChange change = PackageChange::Possible);

}  // namespace vorn
