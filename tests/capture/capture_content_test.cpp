// What a capture holds and what it never has, and that taking it changes nothing.

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/capture_folder.h"
#include "lab/json_text.h"
#include "lab/run_program.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/process.h"
#include "platform/simulated/services.h"
#include "tests/capture/captured_machines.h"
#include "tests/lab/temporary_folder.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;
using platform::simulated::CleanMachine;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;

std::string BytesOf(const CaptureFiles& capture) {
  std::string bytes = capture.document;
  for (const Bytes& content : capture.contents)
    bytes.append(content.begin(), content.end());
  return bytes;
}

CaptureFiles InstalledCapture() {
  return CaptureOf(LabOf(InstalledMachine()));
}

std::string Replaced(std::string text, std::string_view from, std::string_view to) {
  const std::size_t found = text.find(from);
  EXPECT_NE(found, std::string::npos) << from;
  return text.replace(found, from.size(), to);
}

/// The line that refuses a capture; empty when it is accepted.
std::string RefusalOf(const CaptureFiles& capture) {
  try {
    ImportCapture(capture);
    return {};
  } catch (const BadInput& bad) {
    return bad.what();
  }
}

TEST(Capture, ChangesNothingOnTheMachine) {
  for (const CapturedCase& each : CapturedCases()) {
    LabMachine lab = each.make();
    const Machine before = lab.machine;
    TakeCaptureOf(lab, SampleRequest());
    EXPECT_TRUE(lab.machine.files == before.files) << each.name;
    EXPECT_TRUE(lab.machine.registry == before.registry) << each.name;
    EXPECT_TRUE(lab.machine.devices == before.devices) << each.name;
    EXPECT_TRUE(lab.machine.store == before.store) << each.name;
    EXPECT_TRUE(lab.machine.audio == before.audio) << each.name;
    EXPECT_TRUE(lab.machine.services == before.services) << each.name;
  }
}

TEST(Capture, MakesNoCallThatCouldChangeTheMachine) {
  constexpr std::string_view kChanging[] = {"AdjustTokenPrivileges",
                                            "CM_Query_And_Remove_SubTreeW",
                                            "CreateDirectoryW",
                                            "NtDeleteKey",
                                            "SetEndOfFile",
                                            "SetFileInformationByHandle",
                                            "SetupDiCallClassInstaller",
                                            "SetupDiCreateDeviceInfoW",
                                            "SetupUninstallOEMInfW",
                                            "StartServiceW",
                                            "WriteFile",
                                            "UpdateDriverForPlugAndPlayDevicesW",
                                            "_wfsopen",
                                            "SetupDiSetDeviceRegistryPropertyW"};
  Machine machine = InstalledMachine();
  platform::simulated::Process process(machine);
  process.logCalls = true;
  capture::TakeCapture(SampleRequest());
  for (const auto& call : process.calls) {
    EXPECT_EQ(std::count(std::begin(kChanging), std::end(kChanging), call.name), 0) << call.name;
    if (call.name == "NtCreateFile") {
      EXPECT_EQ(call.Argument("CreateDisposition"), "1");  // FILE_OPEN
    }
    if (call.name == "CreateFileW") {
      EXPECT_EQ(call.Argument("desiredAccess"), "0x80000000");  // GENERIC_READ
    }
  }
}

TEST(Capture, LeavesNothingOpen) {
  Machine machine = InstalledMachine();
  platform::simulated::Process process(machine);
  capture::TakeCapture(SampleRequest());
  EXPECT_TRUE(process.OpenObjects().empty());
}

TEST(Capture, HasNoByteOfOtherMakersFiles) {
  Machine machine = InstalledMachine();
  PutFile(machine.files, u"C:\\pkg\\driver\\notes\\secret.txt", "SECRET-OF-ANOTHER-MAKER");
  PutFile(machine.files, u"C:\\pkg\\driver\\other.sys", "SECRET-OF-ANOTHER-MAKER");
  PutFile(machine.files, u"C:\\Windows\\INF\\oem77.inf", "SECRET-OF-ANOTHER-MAKER");
  const std::string bytes = BytesOf(CaptureOf(LabOf(machine)));
  EXPECT_EQ(bytes.find("SECRET-OF-ANOTHER-MAKER"), std::string::npos);
  EXPECT_EQ(bytes.find("Fabrikam\""), std::string::npos);
  EXPECT_NE(bytes.find("oem77.inf"), std::string::npos);
}

TEST(Capture, TakesNoContentFromAForeignPackage) {
  Machine machine = CleanMachine();
  PutFile(machine.files, u"C:\\other\\fab.inf", "[Version]\r\nCatalogFile=fab.cat\r\n");
  PutFile(machine.files, u"C:\\other\\fab.cat", "SECRET-OF-ANOTHER-MAKER");
  const CaptureFiles capture =
      CaptureOf(LabOf(machine), {.infs = {u"C:\\other\\fab.inf"}, .journals = {}, .raw = true});
  EXPECT_TRUE(capture.contents.empty());
  EXPECT_NE(capture.document.find("fab.cat"), std::string::npos);
}

TEST(Capture, SaysOnceThatAnInfWasInUse) {
  Machine machine = InstalledMachine();
  HoldOpen(machine.files, tests::kSampleInf, platform::FILE_GENERIC_WRITE, 0);
  const CaptureFiles capture = CaptureOf(LabOf(machine));
  EXPECT_EQ(capture.unread,
            (std::vector<std::string>{"pkg\\driver\\vorn_audio.inf, NtCreateFile (error 0x20)"}));
}

TEST(Capture, HasNoFunctionsMissingFromALibraryThatIsNotThere) {
  LabMachine lab = LabOf(InstalledMachine());
  lab.process.ntdllMissing = true;
  const Json process = ParseJson(CaptureOf(lab).document)["process"];
  EXPECT_EQ(process["ntdllMissing"], true);
  EXPECT_TRUE(process["missingExports"].empty());
}

TEST(Capture, LeavesOutAServiceThatIsNotThere) {
  Machine machine = InstalledMachine();
  machine.services.erase(platform::simulated::kAudioService);
  const CaptureFiles capture = CaptureOf(LabOf(machine));
  EXPECT_TRUE(std::none_of(capture.unread.begin(), capture.unread.end(),
                           [](const std::string& fact) { return fact.starts_with("service"); }));
  EXPECT_EQ(ParseJson(capture.document)["services"].size(), 1U);
}

TEST(Capture, TakesALongMarkForOneThatIsNotTheDrivers) {
  Machine machine = InstalledMachine();
  const auto& endpoint = *FindEndpoint(machine, tests::kRootId, {3, 0});
  PutValue(machine.registry, EndpointRecordPath(endpoint) + u"\\Properties",
           platform::simulated::kCableMarkerName, 3, Bytes(100, 7));
  EXPECT_TRUE(CaptureOf(LabOf(machine)).unread.empty());
}

TEST(Capture, GoesOneLevelDeeperThanThePackagesThatTheProgramTakes) {
  Machine machine = InstalledMachine();
  std::u16string folder = u"C:\\pkg\\driver";
  for (int level = 1; level <= 20; ++level) {
    folder += u"\\level" + ToUtf16(std::to_string(level));
    PutFile(machine.files, folder + u"\\file", "x");
  }
  const std::string document = CaptureOf(LabOf(machine)).document;
  EXPECT_NE(document.find("level17\\\\file"), std::string::npos);
  EXPECT_EQ(document.find("level18\\\\file"), std::string::npos);
}

TEST(Capture, HasNoNumberForACableThatIsNone) {
  Machine machine = InstalledMachine();
  FindEndpoint(machine, tests::kRootId, {0, 0})->cable = {31, 7};
  const Json endpoints = ParseJson(CaptureOf(LabOf(machine)).document)["audio"]["endpoints"];
  EXPECT_EQ(endpoints[1]["cable"], (Json{{"type", 31}, {"value", 0}}));
}

TEST(Capture, TakesNoStateThatIsNoNumber) {
  Machine machine = InstalledMachine();
  const std::u16string record = EndpointRecordPath(*FindEndpoint(machine, tests::kRootId, {0, 0}));
  PutValue(machine.registry, record, u"DeviceState", 4, {1, 0});
  const Json keys = ParseJson(CaptureOf(LabOf(machine)).document)["registry"];
  const auto found = std::find_if(keys.begin(), keys.end(),
                                  [&](const Json& each) { return each["path"] == ToUtf8(record); });
  ASSERT_NE(found, keys.end());
  EXPECT_EQ(found->Find("values"), nullptr);
}

TEST(Capture, SaysThatAFileIsOnNoDisk) {
  Machine machine = InstalledMachine();
  NodeAt(machine.files, tests::kSampleInf).reportedType = 3;
  EXPECT_NE(CaptureOf(LabOf(machine)).document.find("\"reportedType\": 3"), std::string::npos);
}

TEST(Capture, TakesAnEndpointForActiveWhoseStateNobodyTells) {
  Machine machine = InstalledMachine();
  FindEndpoint(machine, tests::kRootId, {0, 0})->stateError = platform::E_FAIL;
  const Json endpoints = ParseJson(CaptureOf(LabOf(machine)).document)["audio"]["endpoints"];
  EXPECT_NE(endpoints[1].Find("stateError"), nullptr);
  EXPECT_EQ(endpoints[1]["state"], 1);
}

TEST(Capture, NamesTheProgramThatItIsTakenFor) {
  Machine machine = InstalledMachine();
  machine.files.modulePath = u"C:\\Program Files\\VORN\\bin\\vorn_capture.exe";
  EXPECT_EQ(ParseJson(CaptureOf(LabOf(machine)).document)["modulePath"],
            "C:\\Program Files\\VORN\\bin\\vorn_devnode.exe");
}

/// The facts of a file of drive C in a capture of the machine; null when it is not in it.
Json FactsOf(const Machine& machine, const std::string& path) {
  const Json document = ParseJson(CaptureOf(LabOf(machine)).document);
  for (const Json& file : document["volumes"][0]["files"]) {
    if (file["path"] == path) return file;
  }
  return Json(nullptr);
}

TEST(Capture, TellsTheKindOfALinkAndDoesNotFollowIt) {
  using platform::simulated::ReparseKind;
  const std::pair<ReparseKind, const char*> kinds[] = {{ReparseKind::Junction, "junction"},
                                                       {ReparseKind::SymbolicLink, "symbolicLink"},
                                                       {ReparseKind::Other, "other"}};
  for (const auto& [kind, name] : kinds) {
    Machine machine = InstalledMachine();
    PutFile(machine.files, u"C:\\elsewhere\\file", "x");
    PutLink(machine.files, u"C:\\pkg\\driver\\link", kind, u"C:\\elsewhere", true);
    PutFile(machine.files, u"C:\\elsewhere\\file", "x");
    EXPECT_EQ(FactsOf(machine, "pkg\\driver\\link")["reparse"], name);
    EXPECT_EQ(FactsOf(machine, "pkg\\driver\\link\\file"), nullptr);
  }
}

TEST(Capture, TellsWhetherAnAccessListIsThereAndInherited) {
  Machine machine = InstalledMachine();
  auto& security = NodeAt(machine.files, tests::kSampleInf).security;
  EXPECT_EQ(FactsOf(machine, "pkg\\driver\\vorn_audio.inf")["security"]["daclAutoInherited"], true);
  security.daclAutoInherited = false;
  EXPECT_EQ(FactsOf(machine, "pkg\\driver\\vorn_audio.inf")["security"]["daclAutoInherited"],
            false);
  security.daclPresent = false;
  security.entries.clear();
  const Json none = FactsOf(machine, "pkg\\driver\\vorn_audio.inf")["security"];
  EXPECT_EQ(none["daclPresent"], false);
  EXPECT_EQ(none["entries"].size(), 0U);
}

TEST(Capture, HasTheInstallFlagsOfADevice) {
  Machine machine = InstalledMachine();
  machine.devices.Find(tests::kRootId)->installFlags = 0x100;
  EXPECT_EQ(ParseJson(CaptureOf(LabOf(machine)).document)["devices"][0]["installFlags"], "0x100");
}

TEST(Capture, SaysOnceThatNeitherFlowCouldBeListed) {
  Machine machine = InstalledMachine();
  machine.audio.enumError = platform::E_FAIL;
  EXPECT_EQ(CaptureOf(LabOf(machine)).unread,
            std::vector<std::string>{"endpoint catalog, IMMDeviceEnumerator::EnumAudioEndpoints "
                                     "(error 0x80004005)"});
}

TEST(Capture, FindsAJournalInUseAsTheProgramWould) {
  Machine machine = InstalledMachine();
  PutFile(machine.files, tests::kSampleJournal, "x");
  HoldOpen(machine.files, tests::kSampleJournal, platform::FILE_GENERIC_WRITE, 7);
  EXPECT_EQ(
      CaptureOf(LabOf(machine)).unread,
      std::vector<std::string>{"pkg\\.vorn-driver-activation-state, NtCreateFile (error 0x20)"});
}

TEST(Capture, ReadsALogThatSomebodyWrites) {
  Machine machine = InstalledMachine();
  PutFile(machine.files, tests::kSampleLog, "a line\r\n");
  HoldOpen(machine.files, tests::kSampleLog, platform::FILE_GENERIC_WRITE, 7);
  EXPECT_TRUE(CaptureOf(LabOf(machine)).unread.empty());
}

TEST(Capture, KnowsAPresentDeviceWhateverTheCaseOfItsId) {
  Machine machine = InstalledMachine();
  AddRoot(machine, u"Root\\Media\\0007");
  const Json devices = ParseJson(CaptureOf(LabOf(machine)).document)["devices"];
  const auto found = std::find_if(devices.begin(), devices.end(), [](const Json& each) {
    return each["instanceId"] == "Root\\Media\\0007";
  });
  ASSERT_NE(found, devices.end());
  EXPECT_EQ((*found)["present"], true);
}

TEST(Capture, TakesNoContentThatTheProgramWouldRefuseForItsSize) {
  for (const std::uint64_t more : {0U, 1U}) {
    Machine machine = CleanMachine();
    const auto inf = ReadWholeFile(machine.files, tests::kSampleInf).value();
    std::string text(inf.begin(), inf.end());
    text.resize(static_cast<std::size_t>(4'194'304 + more), '\n');
    PutFile(machine.files, tests::kSampleInf, text);
    const CaptureFiles capture = CaptureOf(LabOf(machine));
    const bool taken =
        std::any_of(capture.contents.begin(), capture.contents.end(),
                    [&](const Bytes& content) { return content.size() == text.size(); });
    EXPECT_EQ(taken, more == 0);
  }
}

TEST(Capture, GivesUsersAndAccountsOtherNames) {
  Machine machine = InstalledMachine();
  PutFile(machine.files, u"C:\\pkg\\logs\\vorn_devnode.log",
          "by operator, cooperator and OPERATOR\r\n");
  const CaptureFiles capture =
      CaptureOf(LabOf(machine), {.infs = {tests::kSampleInf}, .journals = {}, .raw = false});
  const std::string bytes = BytesOf(capture);
  EXPECT_EQ(bytes.find("\\\\operator"), std::string::npos);
  EXPECT_EQ(bytes.find("2000000000-3000000000"), std::string::npos);
  EXPECT_NE(bytes.find("by user1, cooperator and user1\r\n"), std::string::npos);
  EXPECT_NE(bytes.find("C:\\\\Users\\\\user1\\\\AppData"), std::string::npos);
  EXPECT_NE(bytes.find("S-1-5-21-1000000000-0-1-1001"), std::string::npos);
  EXPECT_NE(bytes.find("S-1-5-32-544"), std::string::npos);
}

TEST(Capture, OfOtherNamesIsImportedAsWell) {
  const CaptureFiles first = CaptureOf(LabOf(InstalledMachine()),
                                       {.infs = {tests::kSampleInf}, .journals = {}, .raw = false});
  EXPECT_EQ(CaptureOf(ImportCapture(first).lab,
                      {.infs = {tests::kSampleInf}, .journals = {}, .raw = false})
                .document,
            first.document);
}

// ------------------------------------------------------------------------------------------------
// Import.

TEST(CaptureImport, RefusesANewerFormatInOneLine) {
  CaptureFiles capture = InstalledCapture();
  capture.document = Replaced(capture.document, "\"capture\": {\n    \"format\": 1",
                              "\"capture\": {\n    \"format\": 2");
  EXPECT_EQ(RefusalOf(capture),
            "capture.format: is 2, which a newer version wrote; this one reads up to 1");
}

TEST(CaptureImport, RefusesAMachineThatIsNoCapture) {
  EXPECT_EQ(RefusalOf({"{\"format\": 1}", {}}), "capture: is missing: this is no capture");
}

struct Damage {
  const char* what;
  const char* from;
  const char* to;
  const char* refusal;
};

TEST(CaptureImport, RefusesWhatNoMachineCouldHold) {
  const Damage damages[] = {
      {"a name that climbs out", "\"path\": \"Windows\\\\INF\\\\oem0.inf\"",
       "\"path\": \"Windows\\\\..\\\\..\\\\oem0.inf\"",
       "volumes[0].files[8].path: is no path of names"},
      {"an empty name", "\"path\": \"Windows\\\\INF\\\\oem0.inf\"",
       "\"path\": \"Windows\\\\\\\\oem0.inf\"", "volumes[0].files[8].path: is no path of names"},
      {"a content that is not there", "\"content\": 0", "\"content\": 900000",
       "volumes[0].files[11].content: is not among the files of the capture"},
      {"a device twice", "\"instanceId\": \"ROOT\\\\SYSTEM\\\\0000\"",
       "\"instanceId\": \"root\\\\media\\\\0000\"",
       "devices[1].instanceId: is also the instanceId of devices[0]"},
      {"a published INF of another form", "\"name\": \"oem0.inf\"", "\"name\": \"..\\\\x.inf\"",
       "published[0].name: must be oem<digits>.inf"},
      {"a volume's folder", "\"folder\": \"C\"", "\"folder\": \"../../etc\"", ""},
      {"an unknown key", "\"published\":", "\"publisched\":", "publisched: is not a known key"},
  };
  for (const Damage& damage : damages) {
    CaptureFiles capture = InstalledCapture();
    capture.document = Replaced(capture.document, damage.from, damage.to);
    EXPECT_EQ(RefusalOf(capture), damage.refusal) << damage.what;
  }
}

TEST(CaptureImport, GivesAVolumeAFolderOfItsOwnWhateverTheCaptureSays) {
  CaptureFiles capture = InstalledCapture();
  capture.document = Replaced(capture.document, "\"folder\": \"C\"", "\"folder\": \"../../etc\"");
  const TemporaryFolder place;
  CreateMachineFolder(place / "pc", ImportCapture(capture).lab);
  EXPECT_TRUE(fs::exists(place / "pc" / "C" / "Windows"));
  EXPECT_EQ(std::distance(fs::directory_iterator(place / ""), fs::directory_iterator()), 1);
}

TEST(CaptureImport, ReadsNoContentThroughALink) {
  const TemporaryFolder place;
  const fs::path folder = place / "capture";
  WriteCaptureFolder(folder, InstalledCapture());
  fs::remove(folder / "files" / "0");
  std::ofstream(place / "elsewhere") << "not of the capture";
  fs::create_symlink(place / "elsewhere", folder / "files" / "0");
  EXPECT_NE(RefusalOf(ReadCaptureFolder(folder)), "");
}

TEST(CaptureImport, RestoresACaptureFromItsFolder) {
  const TemporaryFolder place;
  const CaptureFiles capture = InstalledCapture();
  WriteCaptureFolder(place / "capture", capture);
  const CaptureFiles read = ReadCaptureFolder(place / "capture");
  EXPECT_EQ(read.document, capture.document);
  EXPECT_EQ(read.contents, capture.contents);
}

TEST(CaptureImport, NamesAnErrorThatNoRunRepeats) {
  CaptureFiles capture = InstalledCapture();
  capture.document = Replaced(
      capture.document, "\"errors\": []",
      "\"errors\": [{\"fact\": \"token\", \"call\": \"GetTokenInformation\", \"code\": \"0x5\"}]");
  const std::vector<std::string> notes = ImportCapture(capture).notes;
  EXPECT_EQ(notes[0], "not repeated: GetTokenInformation failed (0x5) for token");
}

TEST(CaptureImport, MakesACallFailThatFailedInTheCapture) {
  const auto faultsFor = [](const std::string& code) {
    CaptureFiles capture = InstalledCapture();
    capture.document =
        Replaced(capture.document, "\"errors\": []",
                 "\"errors\": [{\"fact\": \"temporary folder\", \"call\": \"GetTempPathW\", "
                 "\"code\": \"" +
                     code + "\"}]");
    const ImportedCapture imported = ImportCapture(capture);
    return std::pair(imported.lab.process.faults, imported.notes[0]);
  };
  const auto [faults, note] = faultsFor("0x57");
  EXPECT_EQ(faults, std::vector<std::string>{"GetTempPathW#1-:fail=0x57"});
  EXPECT_TRUE(note.starts_with("usual: ")) << note;
  // Without a code it answered, with more than the capture takes.
  const auto [none, remark] = faultsFor("0x0");
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(remark, "not repeated: GetTempPathW failed (0x0) for temporary folder");
}

TEST(CaptureImport, NotesNoErrorThatTheMachineRepeats) {
  for (const CapturedCase& each : CapturedCases()) {
    if (each.name == "unusual" || each.name == "linked temporary folder") continue;
    LabMachine lab = each.make();
    FindService(lab.machine, platform::simulated::kAudioService)->openError = 5;
    for (const std::string& note : ImportCapture(CaptureOf(lab)).notes)
      EXPECT_TRUE(note.starts_with("usual: ")) << each.name << ": " << note;
  }
}

TEST(CaptureImport, NeedsFoldersOnADrive) {
  const std::pair<const char*, const char*> folders[] = {
      {"windowsFolder", "C:\\\\Windows"},
      {"tempFolder", "C:\\\\Users\\\\operator\\\\AppData\\\\Local\\\\Temp\\\\"},
      {"modulePath", "C:\\\\Program Files\\\\VORN\\\\bin\\\\vorn_devnode.exe"},
      {"currentFolder", "C:\\\\"},
  };
  for (const auto& [key, path] : folders) {
    CaptureFiles capture = InstalledCapture();
    const std::string name = "\"" + std::string(key) + "\": \"";
    capture.document = Replaced(capture.document, name + path, name + "\\\\\\\\server\\\\x");
    EXPECT_EQ(RefusalOf(capture), std::string(key) + ": must be a path on a drive");
    capture.document = Replaced(capture.document, name + "\\\\\\\\server\\\\x", name + "c:/x");
    EXPECT_EQ(RefusalOf(capture), "") << key;
  }
}

TEST(CaptureImport, MakesWhatOnlyWindowsCouldRunRunnable) {
  Machine machine = CleanMachine();
  PutFile(machine.files, u"C:\\pkg\\driver\\vorn_audio.sys", "MZ and machine code");
  PutFile(machine.files, u"C:\\pkg\\driver\\vorn_audio.cat", "\x30\x82 a signature");
  LabMachine lab = ImportCapture(CaptureOf(LabOf(machine))).lab;
  EXPECT_EQ(
      RunProgram(lab, {"install", "C:\\pkg\\driver\\vorn_audio.inf"}, {}, false).result.status, 0);
}

}  // namespace
}  // namespace vorn::lab
