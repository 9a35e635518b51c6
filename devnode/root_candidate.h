#pragma once

// Which of several installed roots to keep: a pure function of what was read of each.

#include "platform/device_setup.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

/// One installed root, present or ghost.
struct RootCandidate {
  std::u16string instanceId;
  bool located = false;                   // the configuration manager has a live node for it
  bool started = false;                   // DN_STARTED
  std::uint32_t problem = 0;              // CM_PROB_ code
  platform::SP_DEVINFO_DATA device = {};  // in the list that it was read from
};

/// Index of the candidate to keep: one started without a problem before one that is located, then
/// the lower instance id, ignoring case. Nothing if none is located.
std::optional<std::size_t> ChooseRootToKeep(const std::vector<RootCandidate>& candidates);

}  // namespace vorn
