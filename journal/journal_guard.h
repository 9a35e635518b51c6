#pragma once

// JournalGuard: deletes the journal of this run when it ends, unless the run decided that it stays.
// Armed right after the journal was written, so that no failure leaves one behind.

#include "journal/activation_storage.h"

namespace vorn {

class JournalGuard {
 public:
  /// `journal` is the one that this run has written.
  explicit JournalGuard(Journal& journal) : journal_(journal) {}
  ~JournalGuard() {
    if (!kept_) journal_.Delete();
  }
  JournalGuard(const JournalGuard&) = delete;
  JournalGuard& operator=(const JournalGuard&) = delete;

  /// The journal stays.
  void Keep() { kept_ = true; }

 private:
  Journal& journal_;
  bool kept_ = false;
};

}  // namespace vorn
