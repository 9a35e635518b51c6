#include "lab/machine_document.h"

#include "lab/bad_input.h"
#include "lab/command_line.h"
#include "lab/json_text.h"
#include "platform/simulated/audio_values.h"
#include "tests/lab/temporary_folder.h"

#include <gtest/gtest.h>
#include <limits>

namespace vorn::lab {
namespace {

/// Why a text is refused; empty when it is not.
std::string Refusal(const std::string& text) {
  try {
    ReadDocument(text);
  } catch (const BadInput& bad) {
    return bad.what();
  }
  return {};
}

TEST(MachineDocument, UsesDefaultsForMissingKeys) {
  const MachineDocument document = ReadDocument(R"({"format": 1})");
  const MachineDocument usual;
  EXPECT_EQ(document.machine.clock.tick, usual.machine.clock.tick);
  EXPECT_EQ(document.machine.files.windowsFolder, u"C:\\Windows");
  EXPECT_TRUE(document.process.token.holdsBackup);
  EXPECT_TRUE(document.volumes.empty());
}

TEST(MachineDocument, AcceptsNumbersInBothForms) {
  const MachineDocument document = ReadDocument(
      R"({"format": 1, "randomState": 5, "serviceManagerError": "0X6ba",
          "audio": {"enumError": "0x80004005", "itemError": -2147467259,
                    "countError": "0xFFFFFFFF", "createError": -2147483648}})");
  EXPECT_EQ(document.machine.randomState, 5U);
  EXPECT_EQ(document.machine.serviceManagerError, 1722U);
  EXPECT_EQ(document.machine.audio.enumError, platform::E_FAIL);
  EXPECT_EQ(document.machine.audio.itemError, platform::E_FAIL);
  EXPECT_EQ(document.machine.audio.countError, -1);
  EXPECT_EQ(document.machine.audio.createError, std::numeric_limits<std::int32_t>::min());
}

TEST(MachineDocument, DerivesTheDriveLettersFromTheVolumesWhenItDoesNotListThem) {
  const MachineDocument document = ReadDocument(
      R"({"format": 1, "volumes": [{"folder": "x", "letter": "e", "device": "\\Device\\X1"}]})");
  EXPECT_EQ(document.machine.files.dosDevices.at(u"E:"), u"\\Device\\X1");
  const MachineDocument listed = ReadDocument(
      R"({"format": 1, "dosDevices": [], "volumes": [{"folder": "x", "letter": "e"}]})");
  EXPECT_TRUE(listed.machine.files.dosDevices.empty());
}

TEST(MachineDocument, NamesTheKeyThatIsWrong) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({})", "format: is missing"},
      {R"({"format": 2})", "format: must be 1"},
      {R"([])", "must be an object"},
      {R"({"format": 1, "colour": "red"})", "colour: is not a known key"},
      {R"({"format": 1, "co\nlo\u001b[2J\u007fur": "red"})",
       "co\\u000alo\\u001b[2J\\u007fur: is not a known key"},
      {R"({"format": 1, "windowsFolder": 5})", "windowsFolder: must be a string"},
      {R"({"format": 1, "clock": {"tick": "soon"}})",
       "clock.tick: must be a whole number from 0 to 18446744073709551615"},
      {R"({"format": 1, "clock": {"tick": -1}})",
       "clock.tick: must be a whole number from 0 to 18446744073709551615"},
      {R"({"format": 1, "serviceManagerError": -1})",
       "serviceManagerError: must be a whole number from 0 to 4294967295; write a negative one as "
       "its bits, like \"0xFFFFFFFF\""},
      {R"({"format": 1, "clock": {"tik": 1}})",
       "clock.tik: is not a known key; did you mean tick?"},
      {R"({"format": 1, "devices": [{"instanceId": "ROOT\\A"}, {"instanceId": "root\\a"}]})",
       "devices[1].instanceId: is also the instanceId of devices[0]"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "parent": "A"}]})",
       "devices[0].parent: leads in a circle"},
      {R"({"format": 1, "devices": [{"instanceId": "c", "parent": "a"}, {"instanceId": "a", "parent": "b"}, {"instanceId": "b", "parent": "a"}]})",
       "devices[0].parent: leads in a circle"},
      {R"({"format": 1, "store": {"packages": [{"publishedInf": "oem1.inf"}, {"publishedInf": "OEM1.INF"}]}})",
       "store.packages[1].publishedInf: is also the publishedInf of store.packages[0]"},
      {R"({"format": 1, "clock": {"tick": 1.5}})",
       "clock.tick: must be a whole number from 0 to 18446744073709551615"},
      {R"({"format": 1, "clock": {"events": [{"due": 1, "kind": "party"}]}})",
       "clock.events[0].kind: must be one of \"startDevice\", \"removeDevice\", "
       "\"publishEndpoints\", \"publishLateEndpoints\", \"publishChildren\", "
       "\"withdrawEndpoints\", \"idleRecords\", \"announceReplug\""},
      {R"({"format": 1, "clock": {"events": [{"kind": "startDevice"}]}})",
       "clock.events[0].due: is missing"},
      {R"({"format": 1, "clock": {"events": [{"due": 1, "subject": "a"}]}})",
       "clock.events[0].kind: is missing"},
      {R"({"format": 1, "clock": {"events": [{"due": 1, "kind": "idleRecords"}]}})",
       "clock.events[0].subject: is missing"},
      {R"({"format": 1, "clock": {"events": [{"due": 1, "kind": "startDevice", "subject": "a"}]}})",
       "clock.events[0].subject: is no device of the machine"},
      {R"({"format": 1, "clock": {"events": [{"due": 1, "kind": "removeDevice", "subject": "a"}]}})",
       "clock.events[0].subject: is no device of the machine"},
      {R"({"format": 1, "clock": {"events": [{"due": 1, "kind": "announceReplug", "subject": "a"}]}})",
       "clock.events[0].subject: is no device of the machine"},
      {R"({"format": 1, "process": {"missingExports": ["NtDeleteKey", "NtCreate"]}})",
       "process.missingExports[1]: must be one of NtCreateFile, NtDeleteKey, "
       "RtlNtStatusToDosError"},
      {R"({"format": 1, "process": {"faults": ["Sleep:lie", "Sleep:time"]}})",
       "process.faults[1]: --fault Sleep:time: time needs a number: time=..."},
      {R"({"format": 1, "classNames": [{"class": "MEDIA", "name": "x"}]})",
       "classNames[0].class: must be a GUID like {01234567-89ab-cdef-0123-456789abcdef}"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "parent": "HTREE\\ROOT\\0"}]})",
       "devices[0].parent: is no device of the machine"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "properties": [{"key": "{a8b865dd-2e3d-4094-ad97-e593a70c75d6} 3", "text": "a"}, {"key": "{A8B865DD-2E3D-4094-AD97-E593A70C75D6} 3", "text": "b"}]}]})",
       "devices[0].properties[1].key: is also the key of devices[0].properties[0]"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "resident": {"version": "1.2.3"}}]})",
       "devices[0].resident.version: must be four numbers like 26.8.10.5, the first three up to "
       "255"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "resident": {"version": "256.2.3.4"}}]})",
       "devices[0].resident.version: must be four numbers like 26.8.10.5, the first three up to "
       "255"},
      {R"({"format": 1, "registry": [{"path": "A", "values": [{"name": "\u00e4", "dword": 1}, {"name": "\u00c4", "dword": 2}]}]})",
       "registry[0].values[1].name: is also the name of registry[0].values[0]"},
      {R"({"format": 1, "services": [{"name": "a"}, {"name": "A"}]})", "services: names a twice"},
      {R"({"format": 1, "volumes": [{"folder": "C", "letter": "C"}, {"folder": "D", "letter": "c"}]})",
       "volumes[1].letter: is also the letter of volumes[0]"},
      {R"({"format": 1, "volumes": [{"folder": "C", "letter": "", "device": "\\Device\\A"}, {"folder": "D", "letter": "", "device": "\\device\\a"}]})",
       "volumes[1].device: is also the device of volumes[0]"},
      {R"({"format": 1, "volumes": [{"folder": "C", "letter": "", "device": "", "guid": "a"}, {"folder": "D", "letter": "", "device": "", "guid": "A"}]})",
       "volumes[1].guid: is also the guid of volumes[0]"},
      {R"({"format": 1, "process": {"token": {"sids": "S-1-1-0"}}})",
       "process.token.sids: must be a list"},
      {R"({"format": 1, "process": {"ntdllMissing": 1}})",
       "process.ntdllMissing: must be true or false"},
      {R"({"format": 1, "devices": {}})", "devices: must be a list"},
      {R"({"format": 1, "devices": [{}]})", "devices[0].instanceId: is missing"},
      {R"({"format": 1, "devices": [{"instanceId": "a"}, {"instanceId": "b", "problem": 4294967296}]})",
       "devices[1].problem: must be a whole number from 0 to 4294967295"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "temper": {"vetoes": true}}]})",
       "devices[0].temper.vetoes: must be a whole number from 0 to 4294967295"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "temper": {"veto": 1}}]})",
       "devices[0].temper.veto: is not a known key; did you mean vetoes?"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "classGuid": "{x}"}]})",
       "devices[0].classGuid: must be a GUID like {01234567-89ab-cdef-0123-456789abcdef}"},
      {R"({"format": 1, "devices": [{"instanceId": {"units": [65, 70000]}}]})",
       "devices[0].instanceId.units[1]: must be a whole number from 0 to 65535"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "hidden": [{"cable": 1, "flow": "up"}]}]})",
       "devices[0].hidden[0].flow: must be one of \"render\", \"capture\""},
      {R"({"format": 1, "devices": [{"instanceId": "a", "hidden": [{"cable": 1, "flow": "render"}, {"cable": 1, "flow": "render"}]}]})",
       "devices[0].hidden[1]: appears twice"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "resident": {"version": "1.2.3.4", "pool": 3}}]})",
       "devices[0].resident.pool: must be a list"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "resident": {"failures": [{"code": 1}]}}]})",
       "devices[0].resident.failures[0].error: is missing"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "properties": [{"key": "x", "text": ""}]}]})",
       "devices[0].properties[0].key: must be a GUID, a blank and a number"},
      {R"({"format": 1, "devices": [{"instanceId": "a", "properties": [{"key": "{a8b865dd-2e3d-4094-ad97-e593a70c75d6} 3"}]}]})",
       "devices[0].properties[0]: must have either text, or type and hex"},
      {R"({"format": 1, "store": {"packages": [{"publishedInf": "oem1.inf", "image": "abc"}]}})",
       "store.packages[0].image: must be an even number of hexadecimal digits, or a list of lines"},
      {R"({"format": 1, "store": {"packages": [{"publishedInf": "oem1.inf", "image": ["a", 1]}]}})",
       "store.packages[0].image[1]: must be a string"},
      {R"({"format": 1, "services": [{"name": "a"}, {"name": "a"}]})",
       "services[1]: appears twice"},
      {R"({"format": 1, "audio": {"endpoints": [{"flow": "render"}]}})",
       "audio.endpoints[0].id: is missing"},
      {R"({"format": 1, "audio": {"createError": "0x100000000"}})",
       "audio.createError: must be a whole number from -2147483648 to 4294967295"},
      {R"({"format": 1, "audio": {"createError": -2147483649}})",
       "audio.createError: must be a whole number from -2147483648 to 4294967295"},
      {R"({"format": 1, "audio": {"createError": "-1"}})",
       "audio.createError: must be a whole number from -2147483648 to 4294967295"},
      {R"({"format": 1, "registry": [{"path": "A\\\\B"}]})",
       "registry[0].path: contains an empty name"},
      {R"({"format": 1, "registry": [{"path": "A"}, {"path": "a"}]})",
       "registry[1].path: appears twice"},
      {R"({"format": 1, "registry": [{"path": "A", "values": [{"name": "x"}]}]})",
       "registry[0].values[0]: must have either text, or dword, or type and hex"},
      {R"({"format": 1, "registry": [{"path": "A", "values": [{"name": "x", "dword": 1, "text": ""}]}]})",
       "registry[0].values[0]: must have either text, or dword, or type and hex"},
      {R"({"format": 1, "registry": [{"path": "A", "values": [{"name": "x", "type": 3, "hex": "0g"}]}]})",
       "registry[0].values[0].hex: must be an even number of hexadecimal digits"},
      {R"({"format": 1, "registry": [{"path": "A", "security": "nobody"}]})",
       "registry[0].security: is not a security descriptor in SDDL"},
      {R"({"format": 1, "volumes": [{"folder": "C", "letter": "CD"}]})",
       "volumes[0].letter: must be one letter, or empty"},
      {R"({"format": 1, "volumes": [{"letter": "C"}]})", "volumes[0].folder: is missing"},
      {R"({"format": 1, "volumes": [{"folder": "C", "files": [{"path": "a", "reparse": "tunnel"}]}]})",
       "volumes[0].files[0].reparse: must be one of \"none\", \"junction\", \"symbolicLink\", "
       "\"other\""},
      {R"({"format": 1, "heldFiles": [{"share": 1}]})", "heldFiles[0].path: is missing"},
      {R"({"format": 1, "format": 1})", "the key \"format\" appears twice in one object"},
      {R"({"format": 1,})", "invalid JSON at line 1, column 14"},
      {"{\n  \"format\": 1\n  \"clock\": {}\n}", "invalid JSON at line 3, column 9"},
      {"", "invalid JSON at line 1, column 1"},
      {R"({"format": 1} trailing)", "invalid JSON at line 1, column 17"},
      {R"({"format": 1e999})", "invalid JSON: a number is out of range"},
  };
  for (const auto& [text, why] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(Refusal(text), why);
  }
  EXPECT_EQ(Refusal(std::string(100'000, '[')), "values are nested too deeply");
}

TEST(MachineDocument, TakesTheEnumeratorFromTheIdUnlessItIsSaid) {
  const MachineDocument document = ReadDocument(
      R"({"format": 1, "devices": [{"instanceId": "ROOT\\A\\0"},
          {"instanceId": "ROOT\\A\\1", "enumerator": "USB"}]})");
  const auto& devices = document.machine.devices;
  EXPECT_EQ(devices.Find(u"ROOT\\A\\0")->enumerator, u"ROOT");
  EXPECT_EQ(devices.Find(u"ROOT\\A\\1")->enumerator, u"USB");
}

TEST(MachineDocument, TakesDevicesThatStandDeepInTheTree) {
  EXPECT_EQ(Refusal(R"({"format": 1, "devices": [{"instanceId": "d", "parent": "c"},
                          {"instanceId": "c", "parent": "b"}, {"instanceId": "b", "parent": "a"},
                          {"instanceId": "a"}]})"),
            "");
}

TEST(MachineDocument, RefusesARegistryDeeperThanWindowsAllows) {
  const auto document = [](int levels) {
    std::string path = "a";
    for (int i = 1; i < levels; ++i)
      path += "\\\\a";
    return R"({"format": 1, "registry": [{"path": ")" + path + R"("}]})";
  };
  EXPECT_EQ(Refusal(document(512)), "");
  EXPECT_EQ(Refusal(document(513)), "registry[0].path: has more than 512 levels");
}

TEST(MachineDocument, ReadsNamesInAnyCase) {
  const MachineDocument document = ReadDocument(
      R"({"format": 1, "dosDevices": [{"name": "c:", "target": "x"}],
          "classNames": [{"class": "{4d36e96c-e325-11ce-bfc1-08002be10318}", "name": "MEDIA"}],
          "audio": {"remembered": [{"device": "root\\media\\0000"}]}})");
  EXPECT_TRUE(document.machine.files.dosDevices.contains(u"C:"));
  EXPECT_TRUE(document.machine.classNames.contains(u"{4D36E96C-E325-11CE-BFC1-08002BE10318}"));
  EXPECT_TRUE(document.machine.audio.remembered.contains(u"ROOT\\MEDIA\\0000"));
  EXPECT_EQ(Refusal(R"({"format": 1, "dosDevices": [{"name": "C:", "target": "x"},
                        {"name": "c:", "target": "y"}]})"),
            "dosDevices: names c: twice");
}

TEST(MachineDocument, PutsTheEventsInTheirOrder) {
  const MachineDocument document = ReadDocument(
      R"({"format": 1, "clock": {"events": [{"due": 2, "kind": "idleRecords", "subject": "late"},
          {"due": 1, "kind": "idleRecords", "subject": "first"},
          {"due": 1, "kind": "publishChildren", "subject": "second"}]}})");
  const auto& events = document.machine.clock.events;
  ASSERT_EQ(events.size(), 3U);
  EXPECT_EQ(events[0].subject, u"first");
  EXPECT_EQ(events[1].subject, u"second");
  EXPECT_EQ(events[2].subject, u"late");
}

TEST(MachineDocument, KeepsShortValuesOnOneLine) {
  const Json json = ParseJson(R"({"a": [1, 2], "b": {"c": "d"}, "e": [], "f": {}})");
  EXPECT_EQ(ToReadableText(json), "{\"a\": [1, 2], \"b\": {\"c\": \"d\"}, \"e\": [], \"f\": {}}\n");
  Json wide = Json::List();
  for (int i = 0; i < 3; ++i)
    wide.push_back({{"name", std::string(40, 'x')}});
  const std::string row = "  {\"name\": \"" + std::string(40, 'x') + "\"}";
  EXPECT_EQ(ToReadableText(wide), "[\n" + row + ",\n" + row + ",\n" + row + "\n]\n");
}

// ------------------------------------------------------------------------------------------------
// Documents in a folder: the refusal names the file, and the machine is unchanged.

class Edited : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(RunLab({"new", folder_}).status, 0); }

  /// Edits machine.json, runs a command, and returns the refusal.
  std::string RefusalAfter(const std::function<void(Json&)>& edit) {
    const std::string path = folder_ + "/machine.json";
    const std::string original = ReadHostFile(path);
    Json json = ParseJson(original);
    edit(json);
    const std::string edited = ToReadableText(json);
    WriteHostFile(path, edited);
    const LabResult result = RunLab({"run", folder_, "audit-catalog"});
    EXPECT_EQ(result.status, kExitBadInput);
    EXPECT_EQ(result.Output(), "");
    EXPECT_EQ(ReadHostFile(path), edited);
    WriteHostFile(path, original);
    const std::string prefix = "vorn_lab: " + path + ": ";
    EXPECT_TRUE(result.ErrorOutput().starts_with(prefix)) << result.ErrorOutput();
    return result.ErrorOutput().substr(std::min(prefix.size(), result.ErrorOutput().size()));
  }

  TemporaryFolder temporary_;
  std::string folder_ = temporary_.Name("m");
};

TEST_F(Edited, AFactOfAMissingFileIsRefused) {
  const std::string line = RefusalAfter([](Json& json) {
    json["volumes"][0]["files"].push_back({{"path", "pkg\\missing"}, {"attributes", 1}});
  });
  EXPECT_TRUE(line.ends_with("].path: names nothing in the folder C\n")) << line;
}

TEST_F(Edited, ADuplicateNameIsRefused) {
  const std::string line = RefusalAfter([](Json& json) {
    json["volumes"][0]["files"].push_back({{"path", "PKG"}});
  });
  EXPECT_TRUE(line.ends_with("].path: appears twice\n")) << line;
}

TEST_F(Edited, AnIndexOutOfRangeIsRefused) {
  for (const Json& index : {Json(0), Json("0x1000000000000")}) {
    const std::string line =
        RefusalAfter([&index](Json& json) { json["volumes"][0]["files"][1]["index"] = index; });
    EXPECT_EQ(line, "volumes[0].files[1].index: must be from 1 to 281474976710655\n");
  }
}

TEST_F(Edited, AnIndexOfTwoFilesIsRefusedUnlessTheyAreHardLinks) {
  const std::string line = RefusalAfter([](Json& json) {
    auto& files = json["volumes"][0]["files"];
    Json first;
    for (auto& file : files) {
      const auto& path = *file["path"].As<std::string>();
      if (path == "pkg\\driver\\vorn_audio.cat") first = file["index"];
      if (path == "pkg\\driver\\vorn_audio.inf") file["index"] = first;
    }
  });
  EXPECT_TRUE(line.ends_with("].index: makes it a second name of a file with another content\n"))
      << line;
}

TEST_F(Edited, FoldersOfVolumesMustBePlainAndDistinct) {
  const auto folder = [](const char* name) {
    return [name](Json& json) { json["volumes"][0]["folder"] = name; };
  };
  const std::string notPlain =
      "volumes[0].folder: must be a plain name that does not begin with a dot\n";
  EXPECT_EQ(RefusalAfter(folder("")), notPlain);
  EXPECT_EQ(RefusalAfter(folder("../elsewhere")), notPlain);
  EXPECT_EQ(RefusalAfter(folder(".hidden")), notPlain);
  EXPECT_EQ(RefusalAfter(folder("machine.json")), "volumes[0].folder: is taken\n");
  EXPECT_EQ(
      RefusalAfter([](Json& json) {
        json["volumes"].push_back({{"folder", "C"}, {"letter", "D"}, {"device", "\\Device\\D"}});
      }),
      "volumes[1].folder: is taken\n");
}

TEST_F(Edited, AHeldFileMustExist) {
  EXPECT_EQ(RefusalAfter([](Json& json) {
              json["heldFiles"] = Json::List{{{"path", "C:\\missing"}}};
            }),
            "heldFiles[0].path: is not a file of the machine\n");
}

TEST_F(Edited, AnEntryWithAnIndexIsDroppedWithItsFile) {
  std::filesystem::remove(folder_ + "/C/pkg/driver/vorn_audio.cat");
  EXPECT_EQ(RunLab({"run", folder_, "audit-catalog"}).status, 12);
  EXPECT_EQ(ReadHostFile(folder_ + "/machine.json").find("vorn_audio.cat"), std::string::npos);
}

}  // namespace
}  // namespace vorn::lab
