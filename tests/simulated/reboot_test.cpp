// The restart of a machine: what it completes, what it ends, and what it leaves unchanged.

#include "platform/simulated/device_removal.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/neighbours.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

std::size_t CountActiveEndpoints(const Machine& machine) {
  std::size_t count = 0;
  for (const AudioEndpoint& endpoint : machine.audio.endpoints)
    count += endpoint.root == kRootId && endpoint.state == 1 ? 1u : 0u;
  return count;
}

}  // namespace

TEST(Reboot, LeavesAnInstalledMachineAsItWas) {
  Machine machine = InstalledMachine();
  const Machine before = machine;
  Reboot(machine);
  EXPECT_EQ(machine.files, before.files);
  EXPECT_EQ(machine.registry, before.registry);
  EXPECT_EQ(machine.store, before.store);
  EXPECT_EQ(machine.audio, before.audio);
  EXPECT_TRUE(IsStarted(*machine.devices.Find(kRootId)));
  EXPECT_EQ(machine.devices.Find(kRootId)->resident, before.devices.Find(kRootId)->resident);
  EXPECT_EQ(machine.devices.devices.size(), before.devices.devices.size());
  EXPECT_EQ(DescribeForeignParts(machine), DescribeForeignParts(before));
}

TEST(Reboot, LeavesTheRecordsOfADeviceThatWentToBeMarked) {
  Machine machine = InstalledMachine();
  machine.audio.recordDelay = 100'000;
  const std::u16string record = EndpointRecordPath(*FindEndpoint(machine, kRootId, {0, 0}));
  const auto state = [&] { return FindValue(machine.registry, record, u"DeviceState")->data[0]; };
  RemoveDeviceNode(machine, kRootId);
  Reboot(machine);
  EXPECT_EQ(state(), 1);
  Advance(machine, 100'000);
  EXPECT_EQ(state(), 4);
}

TEST(Reboot, ContinuesTheTickCount) {
  Machine machine = CleanMachine();
  const std::uint64_t before = machine.clock.tick;
  Reboot(machine);
  EXPECT_GT(machine.clock.tick, before);
  EXPECT_TRUE(machine.clock.events.empty());
}

TEST(Reboot, LeavesADisabledDeviceDisabled) {
  Machine machine = DisabledMachine();
  Reboot(machine);
  EXPECT_EQ(machine.devices.Find(kRootId)->problem, CM_PROB_DISABLED);
  EXPECT_EQ(CountActiveEndpoints(machine), 0u);
}

TEST(Reboot, LeavesGhostsAndDevicesWithoutDriver) {
  Machine machine = DuplicatesMachine();
  Reboot(machine);
  EXPECT_FALSE(machine.devices.Find(u"ROOT\\MEDIA\\0001")->present);
  EXPECT_EQ(machine.devices.Find(u"ROOT\\MEDIA\\0002")->problem, CM_PROB_FAILED_INSTALL);
}

TEST(Reboot, EndsLeasesAndShowsWhatWasHidden) {
  Machine machine = InstalledMachine();
  machine.devices.Find(kRootId)->leaseHeld = true;
  machine.devices.Find(kRootId)->hidden = {{3, 0}, {4, 1}};
  Reboot(machine);
  EXPECT_FALSE(machine.devices.Find(kRootId)->leaseHeld);
  EXPECT_TRUE(machine.devices.Find(kRootId)->hidden.empty());
  EXPECT_EQ(CountActiveEndpoints(machine), 20u);
}

TEST(Reboot, ClosesEveryFileAndKeepsTheFiles) {
  Machine machine = InstalledMachine();
  HoldOpen(machine.files, kSampleInf, FILE_READ_DATA, 0);
  Reboot(machine);
  EXPECT_TRUE(machine.files.opens.empty());
  EXPECT_TRUE(FindNode(machine.files, kSampleInf));
}

TEST(Reboot, RestoresWhatAQueryRemovalStopped) {
  Machine machine = InstalledMachine();
  ASSERT_EQ(QueryRemove(machine, kRootId).result, CR_SUCCESS);
  Reboot(machine);
  EXPECT_TRUE(machine.devices.Find(kRootId)->present);
  EXPECT_TRUE(IsStarted(*machine.devices.Find(kRootId)));
  EXPECT_EQ(CountActiveEndpoints(machine), 20u);
}

TEST(Reboot, CompletesRemovalsInProgress) {
  Machine machine = InstalledMachine();
  machine.devices.Find(kRootId)->temper.removeDelay = 3'600'000;
  RemoveDevice(machine, kRootId);
  ASSERT_NE(machine.devices.Find(kRootId), nullptr);
  Reboot(machine);
  EXPECT_EQ(machine.devices.Find(kRootId), nullptr);
}

TEST(Reboot, RestartsStoppedServices) {
  Machine machine = InstalledMachine();
  StopService(machine, kAudioService);
  Reboot(machine);
  EXPECT_TRUE(IsRunning(machine, kAudioService));
  EXPECT_EQ(CountActiveEndpoints(machine), 20u);
}

TEST(Reboot, LoadsTheSelectedImageEvenIfTheOlderOneRefusedToUnload) {
  Machine machine = InstalledMachine();
  DriverImage& resident = *machine.devices.Find(kRootId)->resident;
  resident.refusesUnload = true;
  resident.loadedVersion = 0x010203;
  Reboot(machine);
  EXPECT_EQ(machine.devices.Find(kRootId)->resident, SoundImage(kSampleVersion));
}

}  // namespace vorn::tests
