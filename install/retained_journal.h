#pragma once

// What an earlier run left: a journal that matches the live driver is retired, any other one blocks
// every further bind until somebody recovers or rolls back.

#include "journal/activation_storage.h"

namespace vorn {

/// Returns true when no journal is in the way: there is none, or the verification engine proved
/// that the live system runs its target, and it was deleted. Otherwise prints why and returns
/// false.
bool RetireRetainedJournal(Journal& journal);

}  // namespace vorn
