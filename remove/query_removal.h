#pragma once

// Asks applications to release a device and its children before it is removed.

#include "report/removal_log.h"

#include <cstdint>
#include <string>

namespace vorn {

/// Query-removes the device's subtree (CM_Query_And_Remove_SubTreeW), retrying every 250 ms while
/// it is vetoed. Returns false if it is still vetoed after `budgetMs`. Any other failure, or a
/// device without a live node, returns true: the actual removal decides. Writes to `log`.
bool QueryRemoveWithRetries(const std::u16string& instanceId, std::uint32_t budgetMs,
                            const RemovalLog& log);

}  // namespace vorn
