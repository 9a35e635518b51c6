#pragma once

// The activation journal on disk: one file that only the system and administrators can touch,
// reached through verified handles alone, so that a file planted or swapped by another user is
// never taken for the journal. Its content is the journal text in UTF-16 little-endian code units,
// without byte-order mark.

#include "journal/activation_state.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/protected_files.h"

#include <optional>

namespace vorn {

/// Whether there is a journal; unknown when it could not be inspected safely.
enum class JournalPresence { Absent, Present, Unknown };

/// The journal at one path. The file that it opens stays open among the protected files, so that
/// all operations work on the same file.
class Journal {
 public:
  /// `files` keeps the open file and must outlive the journal. Without a path nothing can be opened
  /// or written.
  Journal(privileged_input::ProtectedFiles& files,
          std::optional<privileged_input::AbsolutePath> path);

  /// Whether the journal is there. No reference to the file outlives this but that of the protected
  /// files, so that a deletion can take effect.
  JournalPresence Look();

  /// Writes a new journal, which must not exist yet. Reports its own failures; a journal that could
  /// not be written whole is deleted again.
  bool Write(const ActivationState& state);

  /// What the journal says. Reports a missing or unsafe file; a malformed content fails silently.
  std::optional<ActivationState> Read();

  /// Deletes the journal and lets go of it. One that does not exist is fine; other failures are
  /// reported.
  void Delete();

 private:
  privileged_input::ProtectedFiles& files_;
  std::optional<privileged_input::AbsolutePath> path_;
};

}  // namespace vorn
