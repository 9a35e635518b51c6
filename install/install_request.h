#pragma once

// InstallRequest: what the install command was asked for, as every one of its steps needs it.

#include "journal/activation_storage.h"
#include "privileged_input/input_file.h"

namespace vorn {

struct InstallRequest {
  privileged_input::InputInf inf;  // the snapshot's private copy
  Journal& journal;
  bool rollback = false;  // the caller goes back to a package that has run before
};

}  // namespace vorn
