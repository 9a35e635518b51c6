#pragma once

// What an earlier run left: a journal that matches the live driver is retired, any other one blocks
// every further bind until somebody recovers or rolls back.

#include <string>

namespace vorn {

/// Looks for a journal at `statePath`. Returns true when none is in the way: there is none, or the
/// verification engine proved that the live system runs its target, and it was deleted. Otherwise
/// prints why and returns false.
bool RetireRetainedJournal(const std::u16string& statePath);

}  // namespace vorn
