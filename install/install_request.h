#pragma once

// InstallRequest: what the install command was asked for, as every one of its steps needs it.

#include <string>

namespace vorn {

struct InstallRequest {
  std::u16string infPath;    // the snapshot's private copy
  std::u16string statePath;  // the journal
  bool rollback = false;     // the caller goes back to a package that has run before
};

}  // namespace vorn
