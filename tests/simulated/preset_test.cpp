// The preset machines and the foreign parts on them.

#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/neighbours.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

#include <algorithm>

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

struct Named {
  const char* name;
  Machine machine;
};

std::vector<Named> EveryPreset() {
  return {{"clean", CleanMachine()},
          {"installed", InstalledMachine()},
          {"outdated", OutdatedMachine()},
          {"duplicates", DuplicatesMachine()},
          {"disabled", DisabledMachine()}};
}

std::size_t CountActiveEndpoints(const Machine& machine, std::u16string_view root) {
  return static_cast<std::size_t>(std::count_if(
      machine.audio.endpoints.begin(), machine.audio.endpoints.end(),
      [&](const AudioEndpoint& endpoint) { return endpoint.root == root && endpoint.state == 1; }));
}

}  // namespace

TEST(EveryPresetMachine, IsSettled) {
  for (const Named& each : EveryPreset()) {
    SCOPED_TRACE(each.name);
    EXPECT_TRUE(each.machine.clock.events.empty());
    EXPECT_TRUE(each.machine.files.opens.empty());
  }
}

TEST(EveryPresetMachine, HasWindowsFoldersAndTheSamplePackage) {
  for (const Named& each : EveryPreset()) {
    SCOPED_TRACE(each.name);
    const FileSystem& files = each.machine.files;
    for (const char16_t* path :
         {u"C:\\Windows\\INF", u"C:\\Windows\\System32\\drivers", kSampleInf,
          u"C:\\pkg\\driver\\vorn_audio.cat", u"C:\\pkg\\driver\\vorn_audio.sys"}) {
      EXPECT_TRUE(FindNode(files, path));
    }
    EXPECT_TRUE(FindNode(files, files.modulePath));
    EXPECT_TRUE(FindNode(files, files.tempFolder.substr(0, files.tempFolder.size() - 1)));
    EXPECT_EQ(ListFolder(files, u"C:\\pkg"), std::vector<std::u16string>{u"driver"});
    ASSERT_EQ(files.volumes.size(), 1u);
    EXPECT_EQ(files.volumes[0].device, u"\\Device\\HarddiskVolume3");
  }
}

TEST(EveryPresetMachine, RunsTheAudioServices) {
  for (Named& each : EveryPreset()) {
    SCOPED_TRACE(each.name);
    EXPECT_TRUE(IsRunning(each.machine, kEndpointBuilderService));
    EXPECT_TRUE(IsRunning(each.machine, kAudioService));
  }
}

TEST(EveryPresetMachine, HasTheSameNeighbours) {
  const auto expected = DescribeForeignParts(CleanMachine());
  for (const Named& each : EveryPreset()) {
    SCOPED_TRACE(each.name);
    EXPECT_EQ(DescribeForeignParts(each.machine), expected);
  }
}

TEST(EveryPresetMachine, IsTheSameEachTime) {
  EXPECT_EQ(InstalledMachine().devices, InstalledMachine(kSampleVersion).devices);
  EXPECT_EQ(OutdatedMachine().devices, InstalledMachine(u"26.8.9.4").devices);
  EXPECT_EQ(OutdatedMachine().files, InstalledMachine(u"26.8.9.4").files);
}

TEST(CleanPreset, HasNoDeviceOfOurs) {
  const Machine machine = CleanMachine();
  for (const Device& device : machine.devices.devices)
    EXPECT_EQ(device.service == u"VornAudio", false);
  EXPECT_EQ(machine.store.packages.size(), 3u);
}

TEST(InstalledPreset, RunsTheSampleWithTwentyActiveEndpoints) {
  const Machine machine = InstalledMachine();
  const Device& root = *machine.devices.Find(kRootId);
  EXPECT_TRUE(IsStarted(root));
  EXPECT_EQ(root.publishedInf, u"oem3.inf");
  EXPECT_EQ(root.resident, SoundImage(kSampleVersion));
  EXPECT_EQ(CountActiveEndpoints(machine, kRootId), 20u);
}

TEST(InstalledPreset, AcceptsAnyVersion) {
  const Machine machine = InstalledMachine(u"1.2.3.4");
  const Device& root = *machine.devices.Find(kRootId);
  EXPECT_EQ(StringProperty(root, kDriverVersionKey), u"1.2.3.4");
  EXPECT_EQ(root.resident, SoundImage(u"1.2.3.4"));
  EXPECT_EQ(CountActiveEndpoints(machine, kRootId), 20u);
}

TEST(OutdatedPreset, RunsAnOlderPackageThanTheSample) {
  const Machine machine = OutdatedMachine();
  EXPECT_EQ(StringProperty(*machine.devices.Find(kRootId), kDriverVersionKey), u"26.8.9.4");
  EXPECT_NE(ReadWholeFile(machine.files, u"C:\\Windows\\INF\\oem3.inf"),
            ReadWholeFile(machine.files, kSampleInf));
}

TEST(DuplicatesPreset, HasAGhostAndASecondPresentRoot) {
  const Machine machine = DuplicatesMachine();
  EXPECT_TRUE(IsStarted(*machine.devices.Find(kRootId)));
  EXPECT_FALSE(machine.devices.Find(u"ROOT\\MEDIA\\0001")->present);
  EXPECT_TRUE(machine.devices.Find(u"ROOT\\MEDIA\\0002")->present);
  EXPECT_EQ(CountActiveEndpoints(machine, kRootId), 20u);
}

TEST(DisabledPreset, IsDisabledWithItsPackageSelected) {
  const Machine machine = DisabledMachine();
  const Device& root = *machine.devices.Find(kRootId);
  EXPECT_EQ(root.problem, CM_PROB_DISABLED);
  EXPECT_EQ(root.publishedInf, u"oem3.inf");
  EXPECT_FALSE(root.resident.has_value());
  EXPECT_EQ(CountActiveEndpoints(machine, kRootId), 0u);
}

TEST(PresetNeighbours, AreDevicesPackagesEndpointsAndRecords) {
  const auto parts = DescribeForeignParts(CleanMachine());
  const auto count = [&](std::u16string_view kind) {
    return std::count_if(parts.begin(), parts.end(),
                         [&](const std::u16string& part) { return part.starts_with(kind); });
  };
  EXPECT_EQ(count(u"device|"), 4) << "a bus, an audio device and its two endpoints";
  EXPECT_EQ(count(u"package|"), 3);
  EXPECT_EQ(count(u"endpoint|"), 2);
  EXPECT_GE(count(u"key|"), 2);
}

TEST(PresetNeighbours, DifferWhenAnyOfThemChanged) {
  const Machine clean = CleanMachine();
  const auto before = DescribeForeignParts(clean);
  struct Change {
    const char* what;
    void (*apply)(Machine&);
  };
  const Change changes[] = {
      {"a device is gone",
       [](Machine& machine) { RemoveDeviceNode(machine, u"ROOT\\SYSTEM\\0000"); }},
      {"a device stopped",
       [](Machine& machine) { machine.devices.Find(u"ROOT\\SYSTEM\\0000")->status = 0; }},
      {"an INF was written to",
       [](Machine& machine) { PutFile(machine.files, u"C:\\Windows\\INF\\oem1.inf", "other"); }},
      {"a package is gone", [](Machine& machine) { UninstallPackage(machine, u"oem0.inf", 0); }},
      {"an endpoint vanished", [](Machine& machine) { machine.audio.endpoints.front().state = 4; }},
      {"a record is gone",
       [](Machine& machine) {
         RemoveKeyTree(machine.registry, EndpointRecordPath(machine.audio.endpoints.front()));
       }},
  };
  for (const Change& change : changes) {
    SCOPED_TRACE(change.what);
    Machine machine = clean;
    change.apply(machine);
    EXPECT_NE(DescribeForeignParts(machine), before);
  }
}

}  // namespace vorn::tests
