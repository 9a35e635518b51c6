#pragma once

// What a process's device node numbers mean. As in the configuration manager's client, a number
// stands for an instance id for the life of the process, and does not tell whether the device
// exists: every call looks that up in the tree.

#include "platform/simulated/devices.h"
#include "platform/types.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vorn::platform::simulated {

class NodeNames {
 public:
  /// The number of an instance id, in any case; never 0.
  DEVINST NumberOf(std::u16string_view instanceId);

  /// The instance id of a number that was handed out; null for any other.
  const std::u16string* NameOf(DEVINST node) const;

 private:
  std::vector<std::u16string> names_;  // index 0 is number 1
  std::unordered_map<std::u16string, DEVINST, DeviceIdHash, DeviceIdEqual> numbers_;
};

}  // namespace vorn::platform::simulated
