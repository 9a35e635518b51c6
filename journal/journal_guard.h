#pragma once

// JournalGuard: deletes the journal that this run has written, unless the run decides to keep it,
// so that no failure leaves one behind.

#include "journal/activation_storage.h"

namespace vorn {

class JournalGuard {
 public:
  explicit JournalGuard(Journal& journal) : journal_(journal) {}
  ~JournalGuard() {
    if (!kept_) journal_.Delete();
  }
  JournalGuard(const JournalGuard&) = delete;
  JournalGuard& operator=(const JournalGuard&) = delete;

  void Keep() { kept_ = true; }

 private:
  Journal& journal_;
  bool kept_ = false;
};

}  // namespace vorn
