#pragma once

// JournalGuard: deletes the journal of this run when it ends, unless the run decided that it stays.
// Armed right after the journal was written, so that no failure leaves one behind.

#include "journal/activation_storage.h"

#include <string>
#include <utility>

namespace vorn {

class JournalGuard {
 public:
  /// `statePath` names the journal that this run has written.
  explicit JournalGuard(std::u16string statePath) : statePath_(std::move(statePath)) {}
  ~JournalGuard() {
    if (!kept_) DeleteActivationState(statePath_);
  }
  JournalGuard(const JournalGuard&) = delete;
  JournalGuard& operator=(const JournalGuard&) = delete;

  /// The journal stays.
  void Keep() { kept_ = true; }

 private:
  std::u16string statePath_;
  bool kept_ = false;
};

}  // namespace vorn
