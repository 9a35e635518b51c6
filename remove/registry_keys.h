#pragma once

// Lists the subkeys of an open registry key.

#include "platform/registry.h"

#include <string>
#include <vector>

namespace vorn {

struct SubkeyListing {
  std::vector<std::u16string> names;  // in the platform's order; those read before a failure
  bool complete = false;
};

/// Lists the subkeys of `key` (RegEnumKeyExW), which needs KEY_ENUMERATE_SUB_KEYS.
SubkeyListing ListSubkeys(platform::HKEY key);

}  // namespace vorn
