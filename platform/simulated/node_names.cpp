#include "platform/simulated/node_names.h"

#include "base/text.h"
#include "platform/simulated/upper_case.h"

// Documented: a device node number that was once handed out is no proof that the device exists; a
// node that has gone gives CR_NO_SUCH_DEVNODE.

namespace vorn::platform::simulated {

DEVINST NodeNames::NumberOf(std::u16string_view instanceId) {
  const auto next = static_cast<DEVINST>(names_.size() + 1);
  const auto [entry, isNew] = numbers_.try_emplace(ToUpperName(instanceId), next);
  if (isNew) names_.emplace_back(instanceId);
  return entry->second;
}

const std::u16string* NodeNames::NameOf(DEVINST node) const {
  return node >= 1 && node <= names_.size() ? &names_[node - 1] : nullptr;
}

}  // namespace vorn::platform::simulated
