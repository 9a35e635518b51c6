#include "platform/simulated/node_names.h"

// Documented: a device node number that was once handed out is no proof that the device exists; a
// node that has gone gives CR_NO_SUCH_DEVNODE.

namespace vorn::platform::simulated {

DEVINST NodeNames::NumberOf(std::u16string_view instanceId) {
  const auto known = numbers_.find(instanceId);
  if (known != numbers_.end()) return known->second;
  names_.emplace_back(instanceId);
  return numbers_[names_.back()] = static_cast<DEVINST>(names_.size());
}

const std::u16string* NodeNames::NameOf(DEVINST node) const {
  return node >= 1 && node <= names_.size() ? &names_[node - 1] : nullptr;
}

}  // namespace vorn::platform::simulated
