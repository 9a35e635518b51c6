#pragma once

// The activation journal on disk: a file that only the system and administrators can access, opened
// through verified handles, so that a file planted or swapped by another user is never accepted.
// Its content is the journal text in UTF-16LE without a byte-order mark.

#include "journal/activation_state.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/protected_files.h"

#include <optional>

namespace vorn {

/// Unknown if the journal could not be inspected safely.
enum class JournalPresence { Absent, Present, Unknown };

/// The journal at one path, kept open so that all operations use the same file.
class Journal {
 public:
  /// `files` keeps the file and must outlive the journal. Without a path every operation fails.
  Journal(privileged_input::ProtectedFiles& files,
          std::optional<privileged_input::AbsolutePath> path);

  /// Opens the journal if it exists.
  JournalPresence Look();

  /// Creates and writes the journal, which must not exist. Reports failures and deletes an
  /// incomplete journal.
  bool Write(const ActivationState& state);

  /// Reads the journal. Reports a missing or unsafe file; malformed content fails silently.
  std::optional<ActivationState> Read();

  /// Deletes and releases the journal. Reports failures, except that it does not exist.
  void Delete();

 private:
  privileged_input::ProtectedFiles& files_;
  std::optional<privileged_input::AbsolutePath> path_;
};

}  // namespace vorn
