#include "devnode/node_status.h"

#include "platform/config_manager.h"
#include "platform/simulated/config_manager_values.h"
#include "tests/support/device_world.h"

#include <optional>

namespace vorn {
namespace {

using platform::simulated::Device;
using tests::kRootId;

class StatusOfANode : public tests::DeviceWorld {
 protected:
  std::optional<NodeStatus> Read() {
    platform::DEVINST node = 0;
    EXPECT_EQ(platform::CM_Locate_DevNodeW(&node, kRootId, platform::CM_LOCATE_DEVNODE_NORMAL),
              platform::CR_SUCCESS);
    return ReadNodeStatus(node);
  }

  Device& root = tests::AddStartedRoot(machine);
};

TEST_F(StatusOfANode, IsItsStartedFlagAndItsProblem) {
  struct Row {
    std::uint32_t flags;
    std::uint32_t problem;
    bool started;
    bool cleanly;
  };
  for (const Row& row : {Row{0x8, 0, true, true}, Row{0x8, 14, true, false},
                         Row{0, 0, false, false}, Row{0, 22, false, false},
                         Row{0xFFFFFFF7, 0, false, false}, Row{0xFFFFFFFF, 0, true, true}}) {
    root.status = row.flags;
    root.problem = row.problem;
    const std::optional<NodeStatus> status = Read();
    ASSERT_TRUE(status) << row.flags;
    EXPECT_EQ(status->started, row.started) << row.flags;
    EXPECT_EQ(status->problem, row.problem) << row.flags;
    EXPECT_EQ(status->IsStartedCleanly(), row.cleanly) << row.flags;
  }
}

TEST_F(StatusOfANode, IsUnknownWhenItCannotBeRead) {
  for (const std::uint32_t error : {platform::CR_FAILURE, platform::CR_NO_SUCH_DEVNODE}) {
    root.statusError = error;
    EXPECT_FALSE(Read()) << error;
  }
}

TEST_F(StatusOfANode, IsUnknownWhenTheCallFailsAfterFillingItsOutput) {
  process.faults = {tests::FailingAfterEffect("CM_Get_DevNode_Status", platform::CR_FAILURE)};
  EXPECT_FALSE(Read());
}

}  // namespace
}  // namespace vorn
