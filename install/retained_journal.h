#pragma once

// The journal of an earlier run: if it matches the live driver it is deleted, otherwise it blocks
// every bind until the operator recovers or rolls back.

#include "journal/activation_storage.h"

namespace vorn {

/// Returns true if there is no journal, or if RunLiveVerification proved its target and it was
/// deleted. Otherwise prints why and returns false.
bool RetireRetainedJournal(Journal& journal);

}  // namespace vorn
