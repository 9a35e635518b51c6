#pragma once

// Listing the subkeys of an open registry key.

#include "platform/registry.h"

#include <string>
#include <vector>

namespace vorn {

struct SubkeyListing {
  std::vector<std::u16string> names;  // in the platform's order; those read before a failure
  bool complete = false;              // the listing ended as a listing should
};

/// Names of the subkeys of `key`, which needs KEY_ENUMERATE_SUB_KEYS. (RegEnumKeyExW)
SubkeyListing ListSubkeys(platform::HKEY key);

}  // namespace vorn
