#pragma once

// Asking a device and everything below it to let go, before it is removed.

#include "report/removal_log.h"

#include <cstdint>
#include <string>

namespace vorn {

/// Query-removes the device's subtree (CM_Query_And_Remove_SubTreeW), trying again every 250 ms
/// while some component vetoes it. False when it is still vetoed after `budgetMs`; true otherwise:
/// also for a device that has no live node, and for any other refusal, which the removal that
/// follows exposes. Writes to `log`.
bool QueryRemoveWithRetries(const std::u16string& instanceId, std::uint32_t budgetMs,
                            const RemovalLog& log);

}  // namespace vorn
