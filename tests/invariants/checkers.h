#pragma once

// The checkers. Each judges one promise of the program over one run. Only the promises that hold at
// every moment are judged when the process was killed; the other checkers then find nothing.

#include "tests/invariants/observation.h"

namespace vorn::tests {

/// The run ends with the final line that belongs to its status, on the right stream.
Violations CheckFinalLine(const Observation& run);

/// Every line is one of those that the program prints, on its stream.
Violations CheckKnownLines(const Observation& run);

/// After RESULT=OK of an installing or verifying command the target runs: its package, its image,
/// every endpoint and every child. An update kept the endpoints' ids and the user's choices.
Violations CheckProvenActivation(const Observation& run);

/// After RESULT=OK of a removal there is no root, no package with the INF's bytes, and no owned
/// record that was not reported.
Violations CheckProvenRemoval(const Observation& run);

/// Endpoints that were visible stay visible, or the program reports that something is wrong.
/// Endpoints that this run hid are shown again, or it reports that they could not be.
Violations CheckEndpointsVisible(const Observation& run);

/// The journal exists exactly when the outcome requires it.
Violations CheckJournal(const Observation& run);

/// Nothing is left open, and no private snapshot is left behind.
Violations CheckNothingLeft(const Observation& run);

/// Foreign devices, packages, records and files are unchanged.
Violations CheckForeignParts(const Observation& run);

/// Files change only where the command writes.
Violations CheckOwnedPlaces(const Observation& run);

/// A read-only or refused command changed no device, package, record or file.
Violations CheckUntouched(const Observation& run);

/// No package was uninstalled while a root remained.
Violations CheckPackagesAfterRoots(const Observation& run);

/// The run took no longer, in simulated time, than the sum of its wait budgets.
Violations CheckTimeBound(const Observation& run);

/// No input is opened by its path once its verified copy exists. Needs the call log.
Violations CheckOpensByPath(const Observation& run);

/// Runs all of them. Each violation starts with the checker's name.
Violations Judge(const Observation& run);

}  // namespace vorn::tests
