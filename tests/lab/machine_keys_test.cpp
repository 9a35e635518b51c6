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

}  // namespace
}  // namespace vorn::lab
