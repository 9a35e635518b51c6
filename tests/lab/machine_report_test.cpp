// What `vorn_lab show` says of a machine: a report that has everything once, as text and as JSON,
// and what the report takes from a machine.

#include "lab/machine_report.h"

#include "lab/json_text.h"
#include "lab/presets.h"
#include "platform/files.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

using platform::simulated::Machine;

MachineReport FullReport() {
  MachineReport report;
  report.tick = 5000;
  report.time = "2026-01-01 00:00:05.000";
  report.devices = {
      {u"ROOT\\MEDIA\\0000",
       "started",
       {u"Root\\VornAudio", u"Root\\Other"},
       u"VornAudio",
       u"oem3.inf",
       u"oem4.inf",
       u"26.8.10.5",
       "26.8.9.4",
       {"render 3", "capture 0"}},
      {u"ROOT\\A\\0", "problem 28", {}, {}, {}, {}, {}, {}, {}},
  };
  report.packages = {
      {u"oem3.inf", u"vorn_audio.inf", u"26.8.10.5", u"08/10/2026", "ab", {u"R", u"S"}, false},
      {u"oem123456789.inf", u"fab.inf", {}, {}, {}, {}, true},
  };
  report.endpoints = {
      {u"a", "render", 2, "active", u"R", true},
      {u"b", "capture", 2, "active", u"R", false},
      {u"c", "render", 0, "disabled", u"R", false},
      {u"d", "capture", {}, "active", u"HD", true},
      {u"e", "capture", 0, "not present", u"R", false},
  };
  report.records = {u"Render\\{1}"};
  report.services = {{u"Audiosrv", true}, {u"AudioEndpointBuilder", false}};
  report.journals = {{u"C:\\good", true, {"one", "two"}}, {u"C:\\bad", false, {}}};
  report.logs = {{u"C:\\log", true, {"line"}}};
  report.snapshots = {u"C:\\T\\VORN-input-1"};
  return report;
}

TEST(MachineReport, AsTextSaysAllThatItHas) {
  EXPECT_EQ(ReportText(FullReport()), R"(Machine at 2026-01-01 00:00:05.000 UTC, tick 5000

Devices
  ROOT\MEDIA\0000           started     Root\VornAudio, Root\Other
      bound to oem3.inf, version 26.8.10.5, service VornAudio
      after the next restart oem4.inf
      in memory: image 26.8.9.4
      hidden by the driver: render 3, capture 0
  ROOT\A\0                  problem 28  

Published packages
  oem3.inf    26.8.10.5     08/10/2026  vorn_audio.inf, used by R, S
  oem123456789.inf                            fab.inf

Endpoints that the user sees
  R                 cable 0   render disabled     capture 
  R                 cable 2   render active       capture active (no PnP child)
  capture active      of HD
  and 1 in the catalog that are not there

Endpoint records of the driver in the registry
  1

Services
  Audiosrv                  running
  AudioEndpointBuilder      stopped

Journal
  C:\good
      one
      two
  C:\bad (malformed)

Removal log
  C:\log
      line

Left behind
  C:\T\VORN-input-1
)");
}

TEST(MachineReport, AsTextSaysNoneOfWhatIsNotThere) {
  MachineReport report;
  report.time = "never";
  EXPECT_EQ(ReportText(report), R"(Machine at never UTC, tick 0

Devices
  none

Published packages
  none

Endpoints that the user sees
  none

Endpoint records of the driver in the registry
  0

Services
  none

Journal
  none

Removal log
  none
)");
}

TEST(MachineReport, AsJsonHasEachFact) {
  const Json json = ReportJson(FullReport());
  EXPECT_EQ(json["tick"], 5000);
  EXPECT_EQ(json["time"], "2026-01-01 00:00:05.000");
  EXPECT_EQ(json["devices"][0], (Json{{"instanceId", "ROOT\\MEDIA\\0000"},
                                      {"state", "started"},
                                      {"hardwareIds", Json::List{"Root\\VornAudio", "Root\\Other"}},
                                      {"service", "VornAudio"},
                                      {"package", "oem3.inf"},
                                      {"pendingPackage", "oem4.inf"},
                                      {"version", "26.8.10.5"},
                                      {"resident", "26.8.9.4"},
                                      {"hiddenEndpoints", Json::List{"render 3", "capture 0"}}}));
  EXPECT_EQ(json["packages"][0], (Json{{"publishedInf", "oem3.inf"},
                                       {"originalInf", "vorn_audio.inf"},
                                       {"version", "26.8.10.5"},
                                       {"date", "08/10/2026"},
                                       {"infSha256", "ab"},
                                       {"usedBy", Json::List{"R", "S"}},
                                       {"foreign", false}}));
  EXPECT_EQ(json["packages"][1]["foreign"], true);
  EXPECT_EQ(json["endpoints"][1], (Json{{"id", "b"},
                                        {"flow", "capture"},
                                        {"cable", 2},
                                        {"state", "active"},
                                        {"device", "R"},
                                        {"pnpChild", false}}));
  EXPECT_EQ(json["endpoints"][3]["cable"], nullptr);
  EXPECT_EQ(json["records"], (Json::List{"Render\\{1}"}));
  EXPECT_EQ(json["services"], (Json{{"Audiosrv", "running"}, {"AudioEndpointBuilder", "stopped"}}));
  EXPECT_EQ(
      json["journals"][0],
      (Json{{"path", "C:\\good"}, {"wellFormed", true}, {"lines", Json::List{"one", "two"}}}));
  EXPECT_EQ(json["journals"][1]["wellFormed"], false);
  EXPECT_EQ(json["logs"][0]["lines"], Json::List{"line"});
  EXPECT_EQ(json["snapshots"], Json::List{"C:\\T\\VORN-input-1"});
}

// ------------------------------------------------------------------------------------------------
// What a machine gives.

Machine MachineLike(const char* preset) {
  return MakePreset(preset).machine;
}

platform::simulated::Device& RootIn(Machine& machine) {
  return *machine.devices.Find(tests::kRootId);
}

TEST(ExaminedMachine, HasTheTimeOfItsTick) {
  Machine machine;
  machine.clock.utcAtTickZero = 86'400'000;
  machine.clock.tick = 3'723'004;
  EXPECT_EQ(Examine(machine).time, "1970-01-02 01:02:03.004");
}

TEST(ExaminedMachine, NamesTheStateOfADevice) {
  Machine machine = MachineLike("installed");
  auto& root = RootIn(machine);
  EXPECT_EQ(DeviceState(root), "started");
  root.status = 0;
  EXPECT_EQ(DeviceState(root), "stopped");
  root.problem = 1;
  EXPECT_EQ(DeviceState(root), "problem 1");
  root.problem = 22;
  EXPECT_EQ(DeviceState(root), "disabled");
  root.present = false;
  EXPECT_EQ(DeviceState(root), "absent");
}

TEST(ExaminedMachine, FindsWhoUsesAPackageWhateverTheCaseOfItsName) {
  Machine machine = MachineLike("installed");
  const std::u16string name = RootIn(machine).publishedInf;
  RootIn(machine).publishedInf = u"OEM3.INF";
  const MachineReport report = Examine(machine);
  const auto package =
      std::find_if(report.packages.begin(), report.packages.end(),
                   [&](const PackageReport& each) { return each.publishedInf == name; });
  EXPECT_EQ(package->usedBy, std::vector<std::u16string>{tests::kRootId});
}

TEST(ExaminedMachine, MissesTheNodeOfAnEndpointThatIsNotStarted) {
  Machine machine = MachineLike("installed");
  const auto isComplete = [&] {
    const MachineReport report = Examine(machine);
    return std::all_of(report.endpoints.begin(), report.endpoints.end(),
                       [](const EndpointReport& each) { return each.pnpChild; });
  };
  EXPECT_TRUE(isComplete());
  const auto endpoint = FindEndpoint(machine, tests::kRootId, {3, 1})->id;
  platform::simulated::Device& node = *machine.devices.Find(u"SWD\\MMDEVAPI\\" + endpoint);
  const std::uint32_t status = std::exchange(node.status, 0);
  EXPECT_FALSE(isComplete());
  node.status = status;
  node.present = false;
  EXPECT_FALSE(isComplete());
}

TEST(ExaminedMachine, CountsOnlyRecordsWithTheMarkOfTheDriver) {
  Machine machine = MachineLike("installed");
  EXPECT_EQ(Examine(machine).records.size(), 20U);  // of 22: another device has two endpoints
}

TEST(ExaminedMachine, TellsAJournalByItsNameOrItsBeginning) {
  Machine machine = MachineLike("stale-journal");
  const std::u16string journal = tests::kSampleJournal;
  const auto content = ReadWholeFile(machine.files, journal).value();
  PutFile(machine.files, u"C:\\copy", content);
  auto odd = content;
  odd.push_back('x');
  PutFile(machine.files, u"C:\\odd", odd);
  PutFile(machine.files, u"C:\\named\\.vorn-driver-activation-state", std::string_view("zz"));
  PutFile(machine.files, u"C:\\neither", std::string_view("zz"));
  std::vector<std::pair<std::u16string, bool>> found;
  for (const TextFileReport& each : Examine(machine).journals)
    found.emplace_back(each.path, each.wellFormed);
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, (std::vector<std::pair<std::u16string, bool>>{
                       {u"C:\\copy", true},
                       {u"C:\\named\\.vorn-driver-activation-state", false},
                       {u"C:\\odd", false},
                       {journal, true}}));
}

TEST(ExaminedMachine, ReadsALogWithoutTheMarkOfItsEncoding) {
  Machine machine = MachineLike("clean");
  PutFile(machine.files, u"C:\\a\\VORN_devnode.LOG",
          std::string_view("\xEF\xBB\xBF"
                           "first\r\nsecond\n"));
  const MachineReport report = Examine(machine);
  ASSERT_EQ(report.logs.size(), 1U);
  EXPECT_EQ(report.logs[0].lines, (std::vector<std::string>{"first", "second"}));
}

TEST(ExaminedMachine, HasWhatWasLeftOnAVolumeWithoutALetter) {
  Machine machine = MachineLike("clean");
  AddVolume(machine.files, 0, u"\\Device\\HarddiskVolume9",
            u"00000000-0000-0000-0000-000000000009");
  MakeFolder(machine.files,
             u"\\\\?\\Volume{00000000-0000-0000-0000-000000000009}\\VORN-input-1\\VORN-input-2");
  const std::u16string root = u"\\\\?\\Volume{00000000-0000-0000-0000-000000000009}";
  EXPECT_EQ(Examine(machine).snapshots,
            (std::vector<std::u16string>{root + u"\\VORN-input-1",
                                         root + u"\\VORN-input-1\\VORN-input-2"}));
}

}  // namespace
}  // namespace vorn::lab
