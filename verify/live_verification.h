#pragma once

// The live verification engine: proves by seven independent observations, which must all hold at
// once, that the live root runs the target package and has exactly the expected endpoints.

#include "catalog/catalog_transition.h"
#include "journal/activation_state.h"
#include "report/exit_status.h"

namespace vorn {

enum class VerificationMode {
  Reporting,  // waits until the device and its endpoints settle, and prints the RESULT line
  Quick,      // observes once and prints nothing
};

/// Starts the audio services, waits up to 20 s for the root to start, then observes every 2 s for
/// up to 90 s until everything is proven. Returns kExitOk, kExitEndpointsMissing if an observation
/// still fails, or kExitNotStarted. `change` is None if the live root ran the target before the
/// bind, so that endpoint ids must not change.
ExitStatus RunLiveVerification(const ActivationState& state, VerificationMode mode,
                               PackageChange change = PackageChange::Possible);

}  // namespace vorn
