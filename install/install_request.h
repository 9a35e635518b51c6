#pragma once

// InstallRequest: the arguments of the install command.

#include "journal/activation_storage.h"
#include "privileged_input/input_file.h"

namespace vorn {

struct InstallRequest {
  privileged_input::InputInf inf;  // the snapshot's private copy
  Journal& journal;
  bool rollback = false;  // to a package that has run before
};

}  // namespace vorn
