#pragma once

// The activation journal on disk: one file that only the system and administrators can touch,
// reached through verified handles alone, so that a file planted or swapped by another user is
// never taken for the journal. Its content is the journal text in UTF-16 little-endian code units,
// without byte-order mark.

#include "journal/activation_state.h"

#include <string>

namespace vorn {

/// Writes a new journal, which must not exist yet, and keeps it open for this process. Reports its
/// own failures; a journal that could not be written whole is deleted again.
bool WriteActivationState(const std::u16string& statePath, const ActivationState& state);

/// Reads the journal into `state`, which stays as it was on failure. Reports a missing or unsafe
/// file; a malformed content fails silently.
bool ReadActivationState(const std::u16string& statePath, ActivationState& state);

/// Deletes the journal and lets go of it. One that does not exist is fine; other failures are
/// reported.
void DeleteActivationState(const std::u16string& statePath);

}  // namespace vorn
