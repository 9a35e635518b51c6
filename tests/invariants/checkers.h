#pragma once

// The checkers: each judges one promise of the program over one run. A run in which the process was
// killed is judged by those that hold at every moment; the others say nothing about it.

#include "tests/invariants/observation.h"

namespace vorn::tests {

/// A run ends with the final line that belongs to its status, on the right stream.
Violations CheckFinalLine(const Observation& run);

/// RESULT=OK of an installing or verifying command: the target runs, every package, image, endpoint
/// and child of it, and an update kept the endpoints' ids and the user's choices.
Violations CheckProvenActivation(const Observation& run);

/// RESULT=OK of a removal: no root, no package with the INF's bytes, no unreported owned record.
Violations CheckProvenRemoval(const Observation& run);

/// Endpoints that were visible are visible, or the program said that something is wrong; endpoints
/// that this run hid are shown again, or it said that they could not be.
Violations CheckEndpointsVisible(const Observation& run);

/// The journal is there exactly when the outcome says so.
Violations CheckJournal(const Observation& run);

/// Nothing stays open, no private snapshot is left.
Violations CheckNothingLeft(const Observation& run);

/// What is somebody else's is as it was.
Violations CheckForeignParts(const Observation& run);

/// Files change only where the command writes.
Violations CheckOwnedPlaces(const Observation& run);

/// A command that only looks changed no device, package, record or file; a refused one neither.
Violations CheckUntouched(const Observation& run);

/// No package went while a root remained.
Violations CheckPackagesAfterRoots(const Observation& run);

/// The run took no more simulated time than its waits may take together.
Violations CheckTimeBound(const Observation& run);

/// No input is opened by its path once its verified copy exists. Needs the call log.
Violations CheckOpensByPath(const Observation& run);

/// All of them; each violation is preceded by the checker's name.
Violations Judge(const Observation& run);

}  // namespace vorn::tests
