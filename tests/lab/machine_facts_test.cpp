// What docs/lab.md says under "What is easily taken wrong": each sentence there has its test here.

#include "lab/command_line.h"
#include "lab/json_text.h"
#include "platform/simulated/crypto_model.h"
#include "tests/lab/sample_words.h"
#include "tests/lab/temporary_folder.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

class MachineFacts : public testing::Test {
 protected:
  void Begin(const std::string& preset) {
    ASSERT_EQ(RunLab({"new", machine_, "--preset", preset}).status, 0);
  }

  Json Document() const { return ParseJson(ReadHostFile(machine_ + "/machine.json")); }

  void Edit(const std::function<void(Json&)>& edit) {
    Json document = Document();
    edit(document);
    WriteHostFile(machine_ + "/machine.json", ToReadableText(document));
  }

  int Run(const Words& command) { return RunThe(command).status; }
  LabResult RunThe(const Words& command) {
    Words words = {"run", machine_};
    words.insert(words.end(), command.begin(), command.end());
    return RunLab(words);
  }

  Json Shown() const { return ParseJson(RunLab({"show", machine_, "--json"}).Output()); }

  /// How many endpoints of the driver the user sees as active.
  std::int64_t ActiveEndpoints() const {
    const Json shown = Shown();
    return std::count_if(
        shown["endpoints"].begin(), shown["endpoints"].end(), [](const Json& each) {
          return each["device"] == "ROOT\\MEDIA\\0000" && each["state"] == "active";
        });
  }

  std::string PackageFile(const std::string& name) const {
    return machine_ + "/C/pkg/driver/" + name;
  }

  void List(const std::string& name) {
    const std::string content = ReadHostFile(PackageFile(name));
    const std::string hash = platform::simulated::Sha256Hex({content.begin(), content.end()});
    WriteHostFile(PackageFile("vorn_audio.cat"),
                  ReadHostFile(PackageFile("vorn_audio.cat")) + "sha256=" + hash + "\r\n");
  }

  TemporaryFolder temporary_;
  std::string machine_ = temporary_.Name("m");
};

TEST_F(MachineFacts, PoolCountChangesOnlyWhatTheDriverSays) {
  Begin("clean");
  RunLab({"package", machine_, "C:\\new", "--image", R"({"poolCount": 18})"});
  EXPECT_EQ(Run({"install", "C:\\new\\vorn_audio.inf", "C:\\state"}), 11);
  EXPECT_EQ(ActiveEndpoints(), 20);
}

TEST_F(MachineFacts, PoolChangesWhichEndpointsThereAre) {
  Begin("clean");
  RunLab({"package", machine_, "C:\\new", "--image",
          R"({"pool": [{"cable": 3, "flow": 1, "name": "Capture 3"}]})"});
  EXPECT_EQ(Run({"install", "C:\\new\\vorn_audio.inf", "C:\\state"}), 11);
  EXPECT_EQ(ActiveEndpoints(), 1);
}

TEST_F(MachineFacts, ACatalogMustListTheInfAndTheImage) {
  for (const char* const name : {"vorn_audio.inf", "vorn_audio.sys"}) {
    SCOPED_TRACE(name);
    fs::remove_all(machine_);
    Begin("clean");
    WriteHostFile(PackageFile(name), ReadHostFile(PackageFile(name)) + "\r\n");
    const LabResult refused = RunThe({"install", kInf});
    EXPECT_EQ(refused.status, 8);
    EXPECT_NE(refused.ErrorOutput().find("0xE000024B"), std::string::npos) << refused.ErrorOutput();
    fs::remove(machine_ + "/C/pkg/.vorn-driver-activation-state");
    List(name);
    EXPECT_EQ(Run({"install", kInf}), 0);
  }
}

TEST_F(MachineFacts, AnIndexIsOfTheWholeMachine) {
  Begin("clean");
  const std::string original = ReadHostFile(machine_ + "/machine.json");
  const auto addVolume = [this](const Json& root) {
    Edit([&root](Json& document) {
      document["volumes"].push_back({{"folder", "E"},
                                     {"letter", "E"},
                                     {"device", "\\Device\\HarddiskVolume4"},
                                     {"files", Json::List{root}}});
    });
  };
  const Json index = Document()["volumes"][0]["files"][0]["index"];
  addVolume({{"path", ""}, {"index", index}});
  const LabResult refused = RunThe({"audit-catalog"});
  EXPECT_EQ(refused.status, kExitBadInput);
  EXPECT_TRUE(refused.ErrorOutput().ends_with("volumes[1].files[0].index: is taken\n"))
      << refused.ErrorOutput();
  WriteHostFile(machine_ + "/machine.json", original);
  addVolume({{"path", ""}});
  EXPECT_EQ(Run({"audit-catalog"}), 12);
}

TEST_F(MachineFacts, ANegativeCodeIsWrittenAsItsBits) {
  Begin("clean");
  Edit([](Json& document) { document["serviceManagerError"] = "0xFFFFFFFF"; });
  EXPECT_EQ(Run({"audit-catalog"}), 12);
  Edit(
      [](Json& document) { document["audio"]["enumError"] = Json(Json::Value(std::int64_t{-1})); });
  EXPECT_EQ(Run({"audit-catalog"}), 12) << "an HRESULT has a sign";
  Edit([](Json& document) {
    document["serviceManagerError"] = Json(Json::Value(std::int64_t{-1}));
  });
  EXPECT_EQ(Run({"audit-catalog"}), kExitBadInput);
}

TEST_F(MachineFacts, UninstallKeepsFileKeepsThePackageToo) {
  Begin("installed");
  Edit([](Json& document) {
    for (Json& package : document["store"]["packages"]) {
      if (package["publishedInf"] == "oem3.inf") package["uninstallKeepsFile"] = true;
    }
  });
  EXPECT_EQ(Run({"remove", kInf}), 13);
  EXPECT_TRUE(fs::exists(machine_ + "/C/Windows/INF/oem3.inf"));
  const Json shown = Shown();
  EXPECT_TRUE(std::any_of(shown["packages"].begin(), shown["packages"].end(),
                          [](const Json& each) { return each["publishedInf"] == "oem3.inf"; }));
}

// ------------------------------------------------------------------------------------------------
// Which request for a restart of the machine still restarts, or removes, the device.

class RestartFlags : public MachineFacts {
 protected:
  /// The installed package, activated in place once more; the driver counts its starts.
  void BeginActivated() {
    Begin("clean");
    ASSERT_EQ(Run({"install", kInf, "C:\\state"}), 0);
    starts_ = Starts();
  }
  std::uint64_t Starts() const {
    const Json document = Document();
    const Json* const generation = document["devices"][0].Find("generation");
    return generation == nullptr ? 0 : std::get<std::uint64_t>(generation->Get());
  }
  bool Restarted() const { return Starts() > starts_; }
  int HotActivate() { return Run({"hot-activate", kVersion, kDate, "C:\\state"}); }

  std::uint64_t starts_ = 0;
};

TEST_F(RestartFlags, WithoutOneTheDeviceRestarts) {
  BeginActivated();
  EXPECT_EQ(HotActivate(), 0);
  EXPECT_TRUE(Restarted());
}

TEST_F(RestartFlags, RestartNeedsRebootLeavesTheDeviceRunning) {
  BeginActivated();
  Edit([](Json& document) { document["devices"][0]["temper"] = {{"restartNeedsReboot", true}}; });
  EXPECT_EQ(HotActivate(), 15);
  EXPECT_FALSE(Restarted());
}

TEST_F(RestartFlags, AFaultAtTheRestartLeavesTheDeviceRunning) {
  BeginActivated();
  EXPECT_EQ(Run({"--fault", "SetupDiCallClassInstaller:restart", "hot-activate", kVersion, kDate,
                 "C:\\state"}),
            15);
  EXPECT_FALSE(Restarted());
}

TEST_F(RestartFlags, InstallFlagsRestartTheDevice) {
  BeginActivated();
  Edit([](Json& document) { document["devices"][0]["installFlags"] = "0x100"; });
  EXPECT_EQ(HotActivate(), 15);
  EXPECT_TRUE(Restarted());
}

TEST_F(RestartFlags, RemoveNeedsRestartRemovesTheNodeAtOnce) {
  Begin("installed");
  Edit([](Json& document) { document["devices"][0]["temper"] = {{"removeNeedsRestart", true}}; });
  EXPECT_EQ(Run({"remove", kInf}), 10);
  EXPECT_EQ(Shown()["devices"][0]["instanceId"], "ROOT\\SYSTEM\\0000");
}

TEST_F(RestartFlags, RemoveKeepsNodeUntilRestartLeavesTheNode) {
  Begin("installed");
  Edit([](Json& document) {
    document["devices"][0]["temper"] = {{"removeKeepsNodeUntilRestart", true}};
  });
  Run({"remove", kInf});
  EXPECT_EQ(Shown()["devices"][0]["instanceId"], "ROOT\\MEDIA\\0000");
  RunLab({"reboot", machine_});
  EXPECT_EQ(Shown()["devices"][0]["instanceId"], "ROOT\\SYSTEM\\0000");
}

TEST_F(RestartFlags, ABindThatNeedsARestartLeavesTheOldImageRunning) {
  Begin("outdated");
  Edit([](Json& document) { document["store"]["updateNeedsRestart"] = true; });
  Run({"install", kInf, "C:\\state", "--rollback"});
  EXPECT_EQ(Shown()["devices"][0]["resident"], "26.8.9.4");
  EXPECT_EQ(Shown()["devices"][0]["pendingPackage"], "oem4.inf");
}

// ------------------------------------------------------------------------------------------------

TEST_F(MachineFacts, OpenErrorOfAnInterfaceOutlivesABind) {
  Begin("outdated");
  Edit([](Json& document) {
    for (Json& interface : document["devices"][0]["interfaces"])
      interface["openError"] = 5;
  });
  Run({"install", kInf});
  const Json document = Document();
  EXPECT_EQ(Shown()["devices"][0]["package"], "oem4.inf");
  for (const Json& interface : document["devices"][0]["interfaces"])
    EXPECT_EQ(interface["openError"], "0x5");
}

TEST_F(MachineFacts, TheChildOfADisabledEndpointIsPresentAndNotStarted) {
  Begin("user-disabled");
  const Json document = Document();
  std::size_t disabled = 0;
  for (const Json& device : document["devices"]) {
    if (device["enumerator"] == "SWD" && device["problem"] == 22) {
      ++disabled;
      EXPECT_EQ(device["present"], true);
    }
  }
  EXPECT_EQ(disabled, 3U);
  const LabResult audit = RunThe({"audit-catalog"});
  EXPECT_EQ(audit.Output(),
            "vorn_devnode: catalog audit OK - catalog=20, active=17, started-present=17\n");
}

}  // namespace
}  // namespace vorn::lab
