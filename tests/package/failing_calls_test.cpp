// The selection of packages when any one platform call fails.

#include "package/package_cleanup.h"
#include "package_world.h"
#include "tests/support/each_call.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;

using Names = std::vector<std::u16string>;

/// Another maker's package, the product's, and another build of the product's.
Machine MachineWithThreePackages() {
  Machine machine = tests::BareMachine();
  tests::Publish(machine, u"oem1.inf", tests::InfWith("VORN Audio", "Others Inc."), u"other.inf",
                 u"other.cat");
  tests::Publish(machine, u"oem3.inf", tests::SoundInf());
  tests::Publish(machine, u"oem4.inf", tests::SoundInf() + ";another build\n");
  return machine;
}

TEST(AFailingCall, NeverMakesSelectionTakeAnotherPackage) {
  tests::WithEachCallGoingWrong(
      MachineWithThreePackages(), FaultKind::Fail,
      [] { return SelectExactPackages(tests::SoundIdentity()); },
      [](const Process&, const Machine&, const std::optional<Names>& selected) {
        if (selected && !selected->empty()) {
          EXPECT_EQ(*selected, Names{u"oem3.inf"});
        }
      });
}

}  // namespace
}  // namespace vorn
