// What each key of machine.json changes for the program: one key differs from the preset, and the
// run says something that it does not say without it.

#include "lab/command_line.h"
#include "lab/json_text.h"
#include "tests/lab/lab_commands.h"
#include "tests/lab/sample_words.h"

#include <algorithm>
#include <utility>

namespace vorn::lab {
namespace {

struct KeyCase {
  const char* place;  // the keys from the top, joined by "/"; a number is a place in a list
  const char* value;  // JSON
  const char* said;   // a part of what the run prints then
};

class MachineKeys : public Lab {
 protected:
  static Json& Descend(Json& at, const std::string& key) {
    const bool isList = at.As<Json::List>() != nullptr;
    return isList ? at[std::stoul(key)] : at[key];
  }

  static void Set(Json& document, const std::string& place, const Json& value) {
    Json* at = &document;
    for (std::size_t from = 0; from <= place.size();) {
      const std::size_t end = std::min(place.find('/', from), place.size());
      at = &Descend(*at, place.substr(from, end - from));
      from = end + 1;
    }
    *at = value;
  }

  /// What a command prints on a machine of the preset on which the key has that value.
  std::string Said(const std::string& preset, const Words& command, const KeyCase* key) {
    const std::string machine = Machine(preset);
    const std::string file = machine + "/machine.json";
    if (key != nullptr) {
      Json document = ParseJson(ReadHostFile(file));
      Set(document, key->place, ParseJson(key->value));
      WriteHostFile(file, ToReadableText(document));
    }
    Words words = {"run", machine};
    words.insert(words.end(), command.begin(), command.end());
    const LabResult result = RunLab(words);
    std::filesystem::remove_all(machine);
    return result.Output() + result.ErrorOutput();
  }

  void ExpectEachSaid(const std::string& preset, const Words& command,
                      std::initializer_list<KeyCase> keys) {
    const std::string usual = Said(preset, command, nullptr);
    for (const KeyCase& key : keys) {
      SCOPED_TRACE(std::string(key.place) + " " + key.value);
      EXPECT_EQ(usual.find(key.said), std::string::npos) << usual;
      const std::string said = Said(preset, command, &key);
      EXPECT_NE(said.find(key.said), std::string::npos) << said;
    }
  }
};

TEST_F(MachineKeys, OfTheProcessAndTheFilesChangeAnInstallation) {
  ExpectEachSaid(
      "clean", {"install", kInf},
      {
          {"windowsFolder", R"("X:\\Windows")", "(error 0x00000003)"},
          {"tempFolder", R"("C:\\T\\")", "snapshot refused (error 0x00000002)"},
          {"process/token/sids", R"(["S-1-1-0"])", "snapshot refused (error 0x00000005)"},
          {"process/ntdllMissing", "true", "snapshot refused (error 0x0000007F)"},
          {"process/missingExports", R"(["NtCreateFile"])", "snapshot refused (error 0x0000007F)"},
          {"process/faults", R"(["GetTempPathW:fail=3"])", "snapshot refused (error 0x00000003)"},
          {"classNames/0/name", R"("Other")", R"(root=ROOT\OTHER\0000)"},
          {"heldFiles",
           R"([{"path": "C:\\pkg\\driver\\vorn_audio.inf", "access": "0x120116", "share": 0}])",
           "snapshot refused (error 0x00000020)"},
          {"volumes/0/readOnly", "true", "snapshot refused (error 0x00000013)"},
          {"volumes/0/freeBytes", "0", "snapshot refused (error 0x00000070)"},
          {"volumes/0/reportedRoot", R"("x")", "snapshot refused (error 0x000004B0)"},
          {"volumes/0/device", R"("\\Device\\Other")", "snapshot refused (error 0x00000003)"},
          {"dosDevices/0/target", R"("\\Device\\Mup\\server")",
           "snapshot refused (error 0x000004B0)"},
          {"audio/neverPublished", R"([{"cable": 3, "flow": "capture"}])", "catalog=19"},
          {"audio/doubled", R"([{"cable": 3, "flow": "render"}])",
           "catalog has too many VORN endpoints"},
          {"audio/properties", R"([{"cable": 3, "flow": "render", "value": 77}])",
           "contains a malformed VORN endpoint"},
          {"audio/childLags", "true", "does not match the exact problem-free started present"},
      });
}

TEST_F(MachineKeys, OfTheStoreAndTheEndpointBuilderChangeAnUpdate) {
  ExpectEachSaid("outdated", {"install", kInf},
                 {
                     {"services/1/running", "false", "no complete MMDevice catalog baseline"},
                     {"devices/0/leaseHeld", "true", "could not acquire the controller lease"},
                     {"store/nextNumber", "17", "oem17.inf"},
                     {"store/updateError", R"("0xE000024B")", "failed (error 0xE000024B)"},
                     {"store/updateNeedsRestart", "true", "deferred the driver switch"},
                     {"audio/remintNext", "3", "remapped only some MMDevice cable identities"},
                 });
}

TEST_F(MachineKeys, OfTheDeviceAndTheCatalogChangeAnAudit) {
  ExpectEachSaid("installed", {"audit-catalog"},
                 {
                     {"devices/0/enumerator", R"("USB")", "no present Root\\VornAudio devnode"},
                     {"devices/0/present", "false", "no present Root\\VornAudio devnode"},
                     {"devices/0/hardwareIds", R"(["Root\\Other"])", "no present Root\\VornAudio"},
                     {"devices/0/hardwareIdData", R"("0001")", "no present Root\\VornAudio"},
                     {"devices/0/problem", "22", "is not started cleanly"},
                     {"devices/0/statusError", "51", "is not started cleanly"},
                     {"audio/redirected", "true", "the wrong VORN endpoint count"},
                     {"audio/coInitializeResult", "-2147467259", "COM initialization failed"},
                     {"audio/createError", "-2147467259", "MMDevice enumerator unavailable"},
                     {"audio/enumError", "-2147467259", "enumeration was incomplete"},
                     {"audio/countError", "-2147467259", "enumeration was incomplete"},
                     {"audio/itemError", "-2147467259", "enumeration was incomplete"},
                 });
}

TEST_F(MachineKeys, OfTheTemperChangeARemoval) {
  ExpectEachSaid(
      "installed", {"remove", kInf},
      {
          {"process/token/holdsBackup", "false", "(error 0x000003F4) could not be removed"},
          {"process/token/holdsRestore", "false", "(error 0x00000005) could not be removed"},
          {"devices/0/temper/vetoes", "3", "succeeded on attempt 4 after 750 ms"},
          {"devices/0/temper/vetoUntil", "3725000", "succeeded on attempt 21 after 5000 ms"},
          {"devices/0/temper", R"({"vetoes": 1, "vetoType": 2})",
           R"(CONFIGRET 23, veto type 2 by 'SWD\MMDEVAPI\audiodg.exe')"},
          {"devices/0/temper", R"({"vetoes": 1, "vetoName": "somebody"})",
           "CONFIGRET 23, veto type 6 by 'somebody'"},
          {"devices/0/temper/queryRemoveResult", "51", "attempt 1: CONFIGRET 51, veto type 0"},
          {"devices/0/temper/removeError", "5", "(DIF_REMOVE) failed (error 0x00000005)"},
          {"devices/0/temper/removeNeedsRestart", "true", "removal is pending restart"},
          {"devices/0/temper/removeKeepsNodeUntilRestart", "true", "root(s) remain after removal"},
      });
}

TEST_F(MachineKeys, AClosedStandardOutputTakesNoText) {
  const KeyCase closed = {"process/standardOutputClosed", "true", ""};
  EXPECT_NE(Said("installed", {"audit-catalog"}, nullptr), "");
  EXPECT_EQ(Said("installed", {"audit-catalog"}, &closed), "");
}

// ------------------------------------------------------------------------------------------------
// What a machine is after a change.

class ChangedMachine : public Lab {
 protected:
  static Json Document(const std::string& machine) {
    return ParseJson(ReadHostFile(machine + "/machine.json"));
  }
  static std::string RemarksOn(const std::string& machine, const std::string& fault) {
    return RunLab({"run", machine, "--fault", fault}).ErrorOutput();
  }
};

TEST_F(ChangedMachine, HoldsAFileForWritingAndSharesItWithAll) {
  for (const char* const change : {"hold=", "force-hold="}) {
    SCOPED_TRACE(change);
    const std::string machine = Machine();
    EXPECT_EQ(RemarksOn(machine, std::string("fputws:") + change + kInf), "");
    const Json held = Document(machine)["heldFiles"][0];
    EXPECT_EQ(held["access"], "0x120116");
    EXPECT_EQ(held["share"], "0x7");
    std::filesystem::remove_all(machine);
  }
}

TEST_F(ChangedMachine, CannotDisableADeviceThatIsAbsent) {
  const std::string machine = Machine("installed");
  Json document = Document(machine);
  document["devices"][0]["present"] = false;
  WriteHostFile(machine + "/machine.json", ToReadableText(document));
  const std::string fault = "fputws:disable=ROOT\\MEDIA\\0000";
  EXPECT_EQ(RemarksOn(machine, fault),
            "vorn_lab: --fault " + fault + ": changed nothing: not present: ROOT\\MEDIA\\0000\n");
}

TEST_F(ChangedMachine, HasNoFileOfMoreThanTheLargestSize) {
  const std::string machine = Machine();
  const std::string fault = "fputws#1-2:force-grow=" + kInf + "|17592185978880";
  EXPECT_EQ(
      RemarksOn(machine, fault),
      "vorn_lab: --fault " + fault + ": changed nothing: no file can be so large: " + kInf + "\n");
}

TEST_F(ChangedMachine, KeepsAnIndexToOneEntryThatReportsLinks) {
  const std::string machine = Machine();
  Json document = Document(machine);
  Json& files = document["volumes"][0]["files"];
  const Json index = files[1]["index"];
  for (std::size_t i : {std::size_t{1}, std::size_t{2}}) {
    files[i] = {{"path", files[i]["path"]}, {"index", index}, {"reportedLinks", 2}};
  }
  WriteHostFile(machine + "/machine.json", ToReadableText(document));
  const std::string refusal = RunLab({"run", machine}).ErrorOutput();
  EXPECT_TRUE(refusal.ends_with(
      "volumes[0].files[2].index: is also the index of volumes[0].files[1], which already "
      "describes the file\n"))
      << refusal;
}

TEST_F(ChangedMachine, IsNotShownForWordsThatShowDoesNotTake) {
  const std::string machine = Machine();
  ExpectRefused({"show", machine, "--"},
                "--: is not an option of show; its options are: --json, --help");
}

TEST_F(ChangedMachine, CannotLoseAFolderWhoseFileSomebodyHolds) {
  const std::string machine = Machine();
  const std::string fault = "fputws#2:delete=C:\\pkg";
  const LabResult result =
      RunLab({"run", machine, "--fault", "fputws#1:hold=" + kInf, "--fault", fault});
  EXPECT_EQ(result.ErrorOutput(), "vorn_lab: --fault " + fault +
                                      ": changed nothing: Windows refuses it with error 145: the "
                                      "folder is not empty\n");
}

TEST_F(ChangedMachine, StillHasItsPlannedNewIdsAfterARemint) {
  const std::string machine = Machine("installed");
  Json document = Document(machine);
  document["audio"]["remintNext"] = 3;
  WriteHostFile(machine + "/machine.json", ToReadableText(document));
  EXPECT_EQ(RemarksOn(machine, "fputws:remint=ROOT\\MEDIA\\0000"), "");
  EXPECT_EQ(Document(machine)["audio"]["remintNext"], 3);
}

TEST_F(ChangedMachine, ForgetsAChoiceOfTheUserWithTheRecordOfTheEndpoint) {
  const std::string machine = Machine("user-disabled");
  EXPECT_EQ(RunLab({"run", machine, "remove", kInf}).status, 0);
  const LabResult result = RunLab({"run", machine, "install", kInf, "C:\\state"});
  EXPECT_NE(result.Output().find("catalog=20, active=20"), std::string::npos) << result.Output();
}

TEST_F(ChangedMachine, IsNotSavedWhenTheHostCannotStoreIt) {
  const std::string machine = Machine();
  const std::string before = ReadHostFile(machine + "/machine.json");
  std::string path = "C:";
  for (int i = 0; i < 30; ++i)
    path += "\\" + std::string(200, 'x');
  const LabResult result = RunLab({"run", machine, "--fault", "fputws:folder=" + path});
  EXPECT_EQ(result.status, kExitHostFailed);
  EXPECT_NE(result.ErrorOutput().find("vorn_lab: not saved: "), std::string::npos)
      << result.ErrorOutput();
  EXPECT_EQ(ReadHostFile(machine + "/machine.json"), before);
}

TEST_F(ChangedMachine, TakesFortyFiveSecondsForARestart) {
  const std::string machine = Machine();
  const Json before = Document(machine)["clock"]["tick"];
  RunLab({"reboot", machine});
  EXPECT_EQ(std::get<std::uint64_t>(Document(machine)["clock"]["tick"].Get()),
            std::get<std::uint64_t>(before.Get()) + 45'000);
}

TEST_F(ChangedMachine, KeepsAZeroThatIsNotTheDefault) {
  const Json temper = {{"vetoType", 0}, {"vetoName", ""}};
  const Json image = {{"version", "26.8.10.5"},
                      {"lifecycleAbi", 0},
                      {"sharedMemoryAbi", 0},
                      {"capabilities", "0x0"},
                      {"statusBytes", 0},
                      {"pool", Json::List()},
                      {"poolCount", 0},
                      {"poolBytes", 0},
                      {"leaseBytes", 0},
                      {"startDelay", 0},
                      {"registersControlInterface", false},
                      {"registersAudioInterface", false}};
  const std::string machine = Machine("installed");
  Json document = Document(machine);
  document["devices"][0]["temper"] = temper;
  document["devices"][0]["resident"] = image;
  WriteHostFile(machine + "/machine.json", ToReadableText(document));
  RunLab({"run", machine});
  EXPECT_EQ(Document(machine)["devices"][0]["temper"], temper);
  EXPECT_EQ(Document(machine)["devices"][0]["resident"], image);
}

TEST_F(ChangedMachine, ShowsTextWithTabsAsLines) {
  const std::string machine = Machine("installed");
  const Json lines = Json::List{"version=26.8.10.5\tof today", ""};
  Json document = Document(machine);
  document["store"]["packages"][0]["image"] = lines;
  WriteHostFile(machine + "/machine.json", ToReadableText(document));
  RunLab({"run", machine});
  EXPECT_EQ(Document(machine)["store"]["packages"][0]["image"], lines);
}

TEST_F(ChangedMachine, TakesAPackageInTheRootOfADrive) {
  for (const char* const root : {"C:\\", "C:\\\\", "c/", "C:/"}) {
    const LabResult written = RunLab({"package", Machine(), root});
    EXPECT_EQ(written.status, 0) << root;
    EXPECT_TRUE(written.Output().ends_with(":\\vorn_audio.inf\n")) << written.Output();
    std::filesystem::remove_all(temporary_ / "m");
  }
}

TEST_F(ChangedMachine, TakesThePackageFilesOfTheLongestName) {
  const std::string machine = Machine();
  EXPECT_EQ(RunLab({"package", machine, "C:\\x", "--inf-name", std::string(255, 'x')}).status, 0);
}

// ------------------------------------------------------------------------------------------------
// Events that machine.json plans.

class PlannedEvents : public ChangedMachine {
 protected:
  /// Plans these events and lets ten seconds pass.
  static void Pass(const std::string& machine, const Json& events) {
    Json document = Document(machine);
    document["clock"]["events"] = events;
    WriteHostFile(machine + "/machine.json", ToReadableText(document));
    EXPECT_EQ(RemarksOn(machine, "fputws:time=10000"), "");
  }

  static Json Event(std::uint64_t due, const char* kind) {
    return {{"due", due}, {"kind", kind}, {"subject", "ROOT\\MEDIA\\0000"}};
  }

  static std::ptrdiff_t ActiveEndpoints(const Json& shown) {
    return std::count_if(
        shown["endpoints"].begin(), shown["endpoints"].end(), [](const Json& each) {
          return each["device"] == "ROOT\\MEDIA\\0000" && each["state"] == "active";
        });
  }

  static constexpr std::uint64_t kSoon = 3'721'000;
  static constexpr std::uint64_t kTomorrow = 90'000'000;
};

TEST_F(PlannedEvents, TakeTheEndpointsFromARunningDeviceAndBringThemBack) {
  const std::string machine = Machine("installed");
  Pass(machine, Json::List{Event(kSoon, "withdrawEndpoints")});
  EXPECT_EQ(Shown(machine)["devices"][0]["state"], "started");
  EXPECT_EQ(ActiveEndpoints(Shown(machine)), 0);
  Pass(machine, Json::List{Event(kSoon, "publishEndpoints")});
  EXPECT_EQ(ActiveEndpoints(Shown(machine)), 20);
}

TEST_F(PlannedEvents, TakeTheDeviceWithWhatElseWasPlannedForIt) {
  for (const char* const kind : {"removeDevice", "announceReplug"}) {
    for (const char* const planned : {"startDevice", "removeDevice", "announceReplug"}) {
      SCOPED_TRACE(std::string(kind) + " " + planned);
      const std::string machine = Machine("installed");
      Pass(machine, Json::List{Event(kSoon, kind), Event(kTomorrow, planned)});
      EXPECT_EQ(Shown(machine)["devices"][0]["instanceId"], "ROOT\\SYSTEM\\0000");
      const Json left = Document(machine)["clock"]["events"];
      EXPECT_TRUE(std::none_of(left.begin(), left.end(),
                               [planned](const Json& each) { return each["kind"] == planned; }));
      std::filesystem::remove_all(machine);
    }
  }
}

// A machine with a plan for a device that is none, or with a device below none, is refused.
TEST_F(PlannedEvents, OfANodeOfAnEndpointGoWithIt) {
  const std::string machine = Machine("installed");
  Json document = Document(machine);
  const Json endpoint = document["audio"]["endpoints"][2]["id"];
  const std::string node = "SWD\\MMDEVAPI\\" + *endpoint.As<std::string>();
  document["devices"].push_back({{"instanceId", "SWD\\OTHER\\0"}, {"parent", node}});
  document["clock"]["events"] =
      Json::List{{{"due", kTomorrow}, {"kind", "startDevice"}, {"subject", node}},
                 {{"due", kTomorrow}, {"kind", "startDevice"}, {"subject", "SWD\\OTHER\\0"}}};
  WriteHostFile(machine + "/machine.json", ToReadableText(document));
  EXPECT_EQ(RunLab({"run", machine, "remove", kInf}).status, 0);
  const LabResult shown = RunLab({"show", machine});
  EXPECT_EQ(shown.status, 0) << shown.ErrorOutput();
  EXPECT_EQ(shown.Output().find("SWD\\OTHER"), std::string::npos) << shown.Output();
}

// ------------------------------------------------------------------------------------------------
// What a capture is asked for, and what an import is told.

TEST_F(ChangedMachine, IsCapturedWithTheJournalThatIsAskedFor) {
  const std::string machine = Machine();
  ASSERT_EQ(RunLab({"run", machine, "install", kInf, "C:\\state"}).status, 0);
  const auto journalsIn = [&](const char* name, const Words& options) {
    Words words = {"capture", machine, temporary_.Name(name)};
    words.insert(words.end(), options.begin(), options.end());
    EXPECT_EQ(RunLab(words).status, 0);
    const std::string imported = temporary_.Name(std::string(name) + "-imported");
    EXPECT_EQ(RunLab({"import", temporary_.Name(name), imported}).status, 0);
    return ReadHostFile(imported + "/C/state");
  };
  EXPECT_EQ(journalsIn("without", {}), "");
  EXPECT_EQ(journalsIn("with", {"--state", "C:\\state"}), ReadHostFile(machine + "/C/state"));
}

TEST_F(ChangedMachine, IsImportedWithAWordOnWhoCapturedIt) {
  const std::string capture = temporary_.Name("capture");
  ASSERT_EQ(RunLab({"capture", Machine(), capture}).status, 0);
  const auto firstLine = [&](const char* name) {
    const std::string text = RunLab({"import", capture, temporary_.Name(name)}).Output();
    return text.substr(0, text.find('\n'));
  };
  EXPECT_EQ(firstLine("first"), "Windows 10.0.19041, session 1, elevated");
  std::string document = ReadHostFile(capture + "/machine.json");
  const std::string elevated = "\"elevated\": true";
  ASSERT_NE(document.find(elevated), std::string::npos);
  document.replace(document.find(elevated), elevated.size(), "\"elevated\": false");
  WriteHostFile(capture + "/machine.json", document);
  EXPECT_EQ(firstLine("second"), "Windows 10.0.19041, session 1, not elevated");
}

TEST_F(ChangedMachine, IsImportedWithTheImageThatIsSaid) {
  const std::string machine = Machine("installed");
  ASSERT_EQ(RunLab({"capture", machine, temporary_.Name("capture")}).status, 0);
  const std::string imported = temporary_.Name("imported");
  ASSERT_EQ(
      RunLab({"import", temporary_.Name("capture"), imported, "--image", R"({"poolCount": 7})"})
          .status,
      0);
  EXPECT_EQ(Document(imported)["devices"][0]["resident"]["poolCount"], 7);
}

}  // namespace
}  // namespace vorn::lab
