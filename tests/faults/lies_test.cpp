// What the model does when a fault asks it to lie.

#include "platform/clock.h"
#include "platform/last_error.h"
#include "platform/registry.h"
#include "platform/simulated/process.h"
#include "tests/faults/other_processes.h"
#include "tests/faults/planned_fault.h"
#include "tests/faults/scenarios.h"
#include "tests/support/machine_view.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace vorn::tests {

namespace model = platform::simulated;
using model::Machine;

namespace {

constexpr char16_t kKey[] = u"SOFTWARE\\Then";
constexpr char16_t kValue[] = u"Number";

Machine WithKey(Machine machine) {
  model::PutDword(machine.registry, kKey, kValue, 7);
  return machine;
}

platform::LSTATUS OpenAndClose() {
  platform::HKEY key = {};
  const platform::LSTATUS status = platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, kKey, 0,
                                                           platform::KEY_QUERY_VALUE, &key);
  if (status == 0) platform::RegCloseKey(key);
  return status;
}

}  // namespace

TEST(Lies, AnswerFromThePastWithoutChangingThePresent) {
  Machine machine = model::InstalledMachine();
  const Machine before = machine;
  model::Process process(machine);
  process.faults = {
      ToFault(ParsePlannedFault("RegOpenKeyExW#1:stale"), WithKey(model::CleanMachine()))};
  EXPECT_EQ(OpenAndClose(), 0);
  EXPECT_EQ(OpenAndClose(), static_cast<platform::LSTATUS>(platform::ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(machine.registry, before.registry);
  EXPECT_EQ(machine.devices, before.devices);
}

TEST(Lies, AddBytesToAnAnswer) {
  Machine machine = WithKey(model::CleanMachine());
  model::Process process(machine);
  process.faults = {ToFault(ParsePlannedFault("RegGetValueW#1:long=2"), machine)};
  const auto read = [] {
    std::uint32_t number = 0;
    std::uint32_t size = sizeof number;
    return platform::RegGetValueW(platform::HKEY_LOCAL_MACHINE, kKey, kValue,
                                  platform::RRF_RT_REG_DWORD, nullptr, &number, &size);
  };
  EXPECT_EQ(read(), static_cast<platform::LSTATUS>(platform::ERROR_MORE_DATA));
  EXPECT_EQ(read(), 0);
}

TEST(Lies, TakeEffectAfterTheCall) {
  Machine machine = model::InstalledMachine();
  model::Process process(machine);
  process.faults = {ToFault(ParsePlannedFault("Sleep#2:change-after=vanishes"), machine)};
  platform::Sleep(1);
  EXPECT_NE(OnlyPresentRoot(machine), nullptr);
  platform::Sleep(1);
  EXPECT_EQ(OnlyPresentRoot(machine), nullptr);
}

TEST(Lies, WorkOnAnyMachineAndMoreThanOnce) {
  for (const StartingMachine& start : StartingMachines()) {
    for (const auto* sort : {&OtherProcesses(), &LiesBefore(), &LiesAfter()}) {
      for (const OtherProcess& lie : *sort) {
        Machine machine = start.machine;
        lie.act(machine);
        EXPECT_NO_THROW(lie.act(machine)) << lie.name << " on " << start.name;
      }
    }
  }
}

}  // namespace vorn::tests
