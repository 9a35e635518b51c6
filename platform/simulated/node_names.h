#pragma once

// What a process's device node numbers mean. As in the configuration manager's client, a number
// stands for an instance id, the same one for the life of the process, and says nothing about
// whether the device exists: that is asked of the tree at every call (documented: a node that went
// away gives CR_NO_SUCH_DEVNODE).

#include "platform/types.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vorn::platform::simulated {

class NodeNames {
 public:
  /// The number of an instance id, without regard to ASCII case; never 0.
  DEVINST NumberOf(std::u16string_view instanceId);

  /// The instance id of a number that was handed out; null for any other.
  const std::u16string* NameOf(DEVINST node) const;

 private:
  std::vector<std::u16string> names_;                    // of the numbers from 1 on
  std::unordered_map<std::u16string, DEVINST> numbers_;  // by upper-cased name
};

}  // namespace vorn::platform::simulated
