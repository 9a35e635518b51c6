#include "remove/query_removal.h"

#include "base/format.h"
#include "platform/clock.h"
#include "platform/config_manager.h"

#include <cstddef>

namespace vorn {

namespace {

constexpr std::uint32_t kRetryMs = 250;
constexpr std::uint32_t kVetoNameLength = platform::MAX_PATH;

struct QueryRemoval {
  platform::CONFIGRET result = platform::CR_SUCCESS;
  std::uint32_t vetoType = 0;
  std::u16string vetoName;
};

QueryRemoval QueryRemove(platform::DEVINST node) {
  QueryRemoval removal;
  // One unit more than the platform may fill, so that the name is always terminated.
  char16_t vetoName[kVetoNameLength + 1] = {};
  removal.result = platform::CM_Query_And_Remove_SubTreeW(
      node, &removal.vetoType, vetoName, kVetoNameLength,
      platform::CM_REMOVE_UI_NOT_OK | platform::CM_REMOVE_NO_RESTART);
  removal.vetoName = vetoName;
  return removal;
}

}  // namespace

bool QueryRemoveWithRetries(const std::u16string& instanceId, std::uint32_t budgetMs,
                            const RemovalLog& log) {
  platform::DEVINST node = 0;
  if (platform::CM_Locate_DevNodeW(&node, instanceId.c_str(), platform::CM_LOCATE_DEVNODE_NORMAL) !=
      platform::CR_SUCCESS) {
    return true;
  }
  const std::uint64_t start = platform::GetTickCount64();
  for (std::uint32_t attempt = 1;; ++attempt) {
    const QueryRemoval removal = QueryRemove(node);
    const std::uint64_t elapsed = platform::GetTickCount64() - start;
    if (removal.result == platform::CR_SUCCESS) {
      log.LogRemoval(Format(u"query-remove succeeded on attempt %u after %zu ms", attempt,
                            static_cast<std::size_t>(elapsed)));
      return true;
    }
    const bool vetoed = removal.result == platform::CR_REMOVE_VETOED;
    const bool budgetSpent = elapsed >= budgetMs;
    // Log only the first and the last of many vetoes.
    if (!vetoed || budgetSpent || attempt == 1) {
      log.LogRemoval(Format(u"query-remove attempt %u: CONFIGRET %u, veto type %u by '%ls'",
                            attempt, removal.result, removal.vetoType, removal.vetoName));
    }
    if (!vetoed) return true;
    if (budgetSpent) return false;
    platform::Sleep(kRetryMs);
  }
}

}  // namespace vorn
