#include "lab/command_line.h"

#include "lab/call_names.h"
#include "lab/json_text.h"
#include "lab/presets.h"
#include "tests/lab/lab_commands.h"
#include "tests/lab/sample_words.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;

constexpr const char* kProven =
    "vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, package=08/10/2026 26.8.10.5 (oem3.inf), "
    "catalog=20, active=20, present-pnp=20, kernel=20\n";

// ------------------------------------------------------------------------------------------------
// Runs.

TEST_F(Lab, TwoRunsAreTwoProcessesOnOneMachine) {
  const std::string machine = Machine();
  const LabProcess install = RunLabProcess({"run", machine, "install", kInf});
  EXPECT_EQ(install.status, 0);
  EXPECT_EQ(install.output,
            std::string("vorn_devnode: persisted protected pre-bind activation state\n"
                        "vorn_devnode: Root\\VornAudio installed\n") +
                kProven);
  EXPECT_EQ(install.errorOutput, "");

  const LabProcess verify = RunLabProcess({"run", machine, "verify", kVersion, kDate, kJournal});
  EXPECT_EQ(verify.status, 0);
  EXPECT_EQ(verify.output, kProven);

  const LabProcess wrong = RunLabProcess({"run", machine, "verify", "26.8.10.6", kDate, kJournal});
  EXPECT_EQ(wrong.status, 11);
  EXPECT_EQ(wrong.output, "");
  EXPECT_EQ(wrong.errorOutput,
            "vorn_devnode: RESULT=ENDPOINTS_MISSING - journal target does not match protected INF "
            "DriverVer\n");
}

TEST_F(Lab, ARunPassesOnTheProgramsBytesAndStatus) {
  const std::string machine = Machine();
  const LabProcess usage = RunLabProcess({"run", machine});
  EXPECT_EQ(usage.status, 1);
  EXPECT_TRUE(usage.output.starts_with("Usage:\n  vorn_devnode.exe install "));
  const LabProcess missing =
      RunLabProcess({"run", machine, "remove", "C:\\P\u00e4ket\\\u97f3\u58f0.inf"});
  EXPECT_EQ(missing.status, 3);
  EXPECT_EQ(missing.errorOutput,
            "vorn_devnode: protected local package snapshot refused (error 0x00000002)\n");
}

TEST_F(Lab, ConsoleTextKeepsEveryCharacter) {
  const std::string machine = Machine();
  EXPECT_EQ(RunLab({"package", machine, "C:\\P\u00e4ket \u97f3\u58f0"}).Output(),
            "C:\\P\u00e4ket \u97f3\u58f0\\vorn_audio.inf\n");
  EXPECT_TRUE(fs::exists(fs::path(machine) / "C/P\u00e4ket \u97f3\u58f0/vorn_audio.inf"));
  EXPECT_EQ(RunLab({"run", machine, "install", "C:\\P\u00e4ket \u97f3\u58f0\\vorn_audio.inf",
                    "C:\\state"})
                .status,
            0);
}

TEST_F(Lab, AKilledRunHasTheStatusOfASignalAndLeavesTheMachineOfThatMoment) {
  const std::string machine = Machine();
  const LabProcess killed = RunLabProcess(
      {"run", machine, "--fault", "UpdateDriverForPlugAndPlayDevicesW:kill", "install", kInf});
  EXPECT_EQ(killed.status, 137);
  EXPECT_EQ(killed.output, "vorn_devnode: persisted protected pre-bind activation state\n");
  const Json shown = Shown(machine);
  EXPECT_EQ(shown["journals"].size(), 1U);
  EXPECT_EQ(shown["snapshots"].size(), 1U);
  EXPECT_EQ(shown["devices"][0]["instanceId"], "ROOT\\MEDIA\\0000");
  EXPECT_EQ(shown["devices"][0]["package"], "");
}

TEST_F(Lab, AKilledRunPrintsWhatItHadFlushed) {
  const std::pair<const char*, const char*> cases[] = {
      {"fflush#2:kill", "vorn_devnode: persisted protected pre-bind activation state\n"},
      {"fflush#1:kill-after", "vorn_devnode: persisted protected pre-bind activation state\n"},
      {"fflush#1:kill", ""},
  };
  for (const auto& [fault, output] : cases) {
    const std::string machine = Machine();
    const LabProcess killed = RunLabProcess({"run", machine, "--fault", fault, "install", kInf});
    EXPECT_EQ(killed.status, 137) << fault;
    EXPECT_EQ(killed.output, output) << fault;
    EXPECT_EQ(killed.errorOutput, "") << fault;
    fs::remove_all(machine);
  }
}

TEST_F(Lab, ARunThatHangsIsEndedAfterAnHour) {
  const std::string machine = Machine();
  const auto tick = [&machine] {
    const Json document = ParseJson(ReadHostFile(fs::path(machine) / "machine.json"));
    return std::get<std::uint64_t>(document["clock"]["tick"].Get());
  };
  const std::uint64_t start = tick();
  const LabProcess ended = RunLabProcess(
      {"run", machine, "--fault", "UpdateDriverForPlugAndPlayDevicesW:hang", "install", kInf});
  EXPECT_EQ(ended.status, 137);
  EXPECT_EQ(ended.output, "vorn_devnode: persisted protected pre-bind activation state\n");
  EXPECT_GE(tick() - start, 3'600'000U);
}

TEST_F(Lab, WritesTheTraceOfARun) {
  const std::string machine = Machine();
  const std::string trace = temporary_.Name("trace");
  EXPECT_EQ(RunLab({"run", machine, "--trace", trace, "audit-catalog"}).status, 12);
  const std::string text = ReadHostFile(trace);
  EXPECT_NE(text.find("SetupDiGetClassDevsW("), std::string::npos);
  EXPECT_NE(text.find("catalog audit root failed: no present Root\\VornAudio devnode\\n"),
            std::string::npos)
      << text;
  EXPECT_TRUE(text.ends_with("\n"));
}

TEST_F(Lab, KnowsTheNameOfEveryCallThatTheProgramMakes) {
  const std::string machine = Machine();
  const std::string trace = temporary_.Name("trace");
  const Words commands[] = {{"install", kInf},       {"hot-activate", kVersion, kDate, kJournal},
                            {"audit-current", kInf}, {"audit-catalog"},
                            {"resume-endpoints"},    {"remove", kInf}};
  std::set<std::string> unknown;
  std::set<std::string> seen;
  for (const Words& command : commands) {
    Words words = {"run", machine, "--trace", trace};
    words.insert(words.end(), command.begin(), command.end());
    EXPECT_EQ(RunLab(words).status, 0) << command[0];
    const std::string text = ReadHostFile(trace);
    for (std::size_t line = 0; line < text.size(); line = text.find('\n', line) + 1) {
      const std::size_t begin = text.find(' ', line) + 1;
      const std::string name = text.substr(begin, text.find('(', begin) - begin);
      seen.insert(name);
      if (!IsCallName(name)) unknown.insert(name);
    }
  }
  EXPECT_EQ(unknown, std::set<std::string>());
  EXPECT_GT(seen.size(), 70U);
}

// ------------------------------------------------------------------------------------------------
// The other commands.

TEST_F(Lab, MakesEveryPreset) {
  for (const Preset& preset : Presets()) {
    SCOPED_TRACE(preset.name);
    const std::string machine = Machine(std::string(preset.name));
    EXPECT_TRUE(fs::exists(fs::path(machine) / "C/pkg/driver/vorn_audio.inf"));
    fs::remove_all(machine);
  }
  EXPECT_EQ(RunLab({"new", temporary_.Name("plain")}).status, 0);
}

TEST_F(Lab, APresetMeetsTheProgramAsItsUserDoes) {
  struct Case {
    const char* preset;
    Words command;
    int status;
    const char* part;  // of what the command prints
  };
  const Case cases[] = {
      {"user-disabled", {"audit-current", kInf}, 0, "catalog=20, active=17, present-pnp=17"},
      {"busy", {"remove", kInf}, 17, "RESULT=REMOVE_BUSY - the device is still held after 10 s"},
      {"busy", {"audit-current", kInf}, 0, "RESULT=OK"},
      {"remote", {"audit-current", kInf}, 11, "wrong VORN endpoint count"},
      {"remote", {"remove", kInf}, 0, "RESULT=OK"},
      {"pending-restart", {"audit-current", kInf}, 11, "RESIDENT IMAGE MISMATCH"},
      {"stale-journal", {"install", kInf}, 9, "exists and does not match the live driver"},
      {"interrupted", {"install", kInf}, 0, "already runs the target package"},
      {"interrupted", {"verify", kVersion, kDate, kJournal}, 0, "RESULT=OK"},
      {"full-disk", {"install", kInf}, 2, "snapshot refused (error 0x00000070)"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(std::string(row.preset) + " " + row.command[0]);
    ExpectAnswer(row.preset, {}, row.command, row.status, row.part);
  }
}

TEST_F(Lab, APendingRestartIsOverAfterIt) {
  const std::string machine = Machine("pending-restart");
  EXPECT_EQ(Shown(machine)["devices"][0]["pendingPackage"], "oem4.inf");
  RunLab({"reboot", machine});
  EXPECT_EQ(RunLab({"run", machine, "audit-current", kInf}).status, 0);
}

TEST_F(Lab, AnInterruptedInstallLeavesItsPrivateFolder) {
  EXPECT_EQ(Shown(Machine("interrupted"))["snapshots"].size(), 1U);
}

TEST_F(Lab, ShowsAMachineToPeople) {
  const std::string machine = Machine("duplicates");
  const std::string text = RunLab({"show", machine}).Output();
  for (const char* const part :
       {"  ROOT\\MEDIA\\0000           started     Root\\VornAudio\n",
        "      bound to oem3.inf, version 26.8.10.5, service VornAudio\n",
        "      in memory: image 26.8.10.5\n", "  ROOT\\MEDIA\\0001           absent",
        "  oem3.inf    26.8.10.5     08/10/2026  vorn_audio.inf, used by ROOT\\MEDIA\\0000",
        "  ROOT\\MEDIA\\0000   cable 9   render active       capture active\n", "Journal\n  none\n",
        "Removal log\n  none\n"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\nin\n" << text;
  }
}

TEST_F(Lab, ShowsAMachineToScripts) {
  const std::string machine = Machine("installed");
  const Json shown = Shown(machine);
  const Json& root = shown["devices"][0];
  EXPECT_EQ(root["instanceId"], "ROOT\\MEDIA\\0000");
  EXPECT_EQ(root["state"], "started");
  EXPECT_EQ(root["resident"], "26.8.10.5");
  const auto active =
      std::count_if(shown["endpoints"].begin(), shown["endpoints"].end(), [](const Json& endpoint) {
        return endpoint["device"] == "ROOT\\MEDIA\\0000" && endpoint["state"] == "active" &&
               endpoint["pnpChild"] == true;
      });
  EXPECT_EQ(active, 20);
  EXPECT_EQ(shown["records"].size(), 20U);
}

TEST_F(Lab, ShowsJournalAndRemovalLog) {
  const std::string machine = Machine();
  RunLab({"run", machine, "install", kInf});
  RunLab({"run", machine, "remove", kInf});
  const Json shown = Shown(machine);
  ASSERT_EQ(shown["journals"].size(), 1U);
  EXPECT_EQ(shown["journals"][0]["path"], kJournal);
  EXPECT_EQ(shown["journals"][0]["wellFormed"], true);
  EXPECT_EQ(shown["journals"][0]["lines"][1], "version=26.8.10.5");
  ASSERT_EQ(shown["logs"].size(), 1U);
  EXPECT_EQ(shown["logs"][0]["path"], "C:\\pkg\\logs\\vorn_devnode.log");
  const auto& line = *shown["logs"][0]["lines"][0].As<std::string>();
  EXPECT_TRUE(line.ends_with("] remove: quiesced all endpoints of ROOT\\MEDIA\\0000")) << line;
  WriteHostFile(fs::path(machine) / "C/pkg/.vorn-driver-activation-state", "broken");
  EXPECT_EQ(Shown(machine)["journals"][0]["wellFormed"], false);
}

TEST_F(Lab, ChangesNothingByShowing) {
  const std::string machine = Machine("installed");
  const auto before = ContentOf(machine);
  RunLab({"show", machine});
  RunLab({"show", machine, "--json"});
  EXPECT_EQ(ContentOf(machine), before);
}

TEST_F(Lab, RestartsAMachine) {
  const std::string machine = Machine("outdated");
  RunLab({"run", machine, "--fault", "UpdateDriverForPlugAndPlayDevicesW:restart", "install", kInf,
          "C:\\state", "--rollback"});
  EXPECT_EQ(Shown(machine)["devices"][0]["pendingPackage"], "oem4.inf");
  EXPECT_EQ(Shown(machine)["devices"][0]["resident"], "26.8.9.4");
  EXPECT_EQ(RunLab({"reboot", machine}).status, 0);
  EXPECT_EQ(Shown(machine)["devices"][0]["pendingPackage"], "");
  EXPECT_EQ(Shown(machine)["devices"][0]["resident"], "26.8.10.5");
  EXPECT_EQ(RunLab({"run", machine, "verify", kVersion, kDate, "C:\\state"}).status, 0);
}

TEST_F(Lab, WritesPackagesOfEveryKind) {
  struct Case {
    Words options;
    int status;        // status of an install
    const char* line;  // its last line
  };
  const Case cases[] = {
      {{"--version", "26.8.12.1", "--date", "09/01/2026"}, 0, nullptr},
      {{"--utf16"}, 0, nullptr},
      {{"--extra", "\r\n[Extra]\r\nx=1\r\n"}, 0, nullptr},
      {{"--broken-catalog"},
       8,
       "vorn_devnode: UpdateDriverForPlugAndPlayDevices failed (error 0xE000024B)\n"},
      {{"--no-catalog"}, 8, nullptr},
      {{"--hardware-id", "Root\\Other"},
       8,
       "vorn_devnode: UpdateDriverForPlugAndPlayDevices failed (error 0x00000103)\n"},
      {{"--date", std::string(33, '1')},
       2,
       "vorn_devnode: target INF identity could not be read\n"},
      {{"--image", R"({"startProblem": 39})"},
       12,
       "vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=39)\n"},
      {{"--image", R"({"needsRestart": true})"},
       12,
       "vorn_devnode: RESULT=NOT_STARTED - Windows requested a restart; candidate must be rolled "
       "back\n"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.options[0]);
    const std::string machine = Machine();
    Words words = {"package", machine, "C/new/driver"};
    words.insert(words.end(), row.options.begin(), row.options.end());
    EXPECT_EQ(RunLab(words).Output(), "C:\\new\\driver\\vorn_audio.inf\n");
    const LabResult result = RunLab({"run", machine, "install", "C:\\new\\driver\\vorn_audio.inf"});
    EXPECT_EQ(result.status, row.status) << result.ErrorOutput();
    if (row.line != nullptr) {
      EXPECT_EQ(result.console.back().text, row.line);
    }
    fs::remove_all(machine);
  }
}

TEST_F(Lab, WritesEachWordOfAPackageWhereItBelongs) {
  const std::pair<const char*, const char*> cases[] = {
      {"--provider", "Provider    = X7Q\r\n"},
      {"--provider-name", "ProviderName = \"X7Q\"\r\n"},
      {"--class", "Class       = X7Q\r\n"},
      {"--class-guid", "ClassGuid   = X7Q\r\n"},
      {"--catalog-name", "CatalogFile = X7Q\r\n"},
      {"--hardware-id", "VornAudio_Install, X7Q\r\n"},
      {"--service", "AddService = X7Q,"},
      {"--version", ",X7Q\r\n"},
      {"--date", "DriverVer   = X7Q,"},
      {"--extra", "X7Q"},
  };
  const std::string machine = Machine();
  for (const auto& [option, text] : cases) {
    EXPECT_EQ(RunLab({"package", machine, "C:\\new", option, "X7Q"}).status, 0) << option;
    const std::string inf = ReadHostFile(fs::path(machine) / "C/new/vorn_audio.inf");
    EXPECT_NE(inf.find(text), std::string::npos) << option << "\n" << inf;
  }
}

TEST_F(Lab, ReplacesTheNamesOfUsersInACaptureUnlessItIsRaw) {
  const std::string machine = Machine("installed");
  const std::string capture = temporary_.Name("capture");
  EXPECT_EQ(RunLab({"capture", machine, capture}).status, 0);
  EXPECT_EQ(ReadHostFile(capture + "/machine.json").find("operator"), std::string::npos);
  const std::string raw = temporary_.Name("raw");
  EXPECT_EQ(RunLab({"capture", machine, raw, "--raw"}).status, 0);
  EXPECT_NE(ReadHostFile(raw + "/machine.json").find("operator"), std::string::npos);
}

TEST_F(Lab, WritesAPackageIntoTheRootOfAVolume) {
  const std::string machine = Machine();
  EXPECT_EQ(RunLab({"package", machine, "C:\\"}).Output(), "C:\\vorn_audio.inf\n");
  EXPECT_TRUE(fs::exists(fs::path(machine) / "C/vorn_audio.inf"));
}

TEST_F(Lab, RefusesMalformedPackageOptions) {
  const std::string machine = Machine();
  ExpectRefused({"package", machine}, "package: needs a folder of the machine to write to");
  ExpectRefused({"package", machine, "pkg\\driver"},
                "pkg\\driver: must be a folder of the machine, like C:\\pkg\\driver");
  ExpectRefused({"package", machine, "C:\\x", "--colour", "red"},
                "--colour: is not an option of package; its options are: --version, --date, "
                "--utf16, --broken-catalog, --no-catalog, --image, --extra, --inf-name, "
                "--catalog-name, --provider, --provider-name, --class, --class-guid, "
                "--hardware-id, --service, --help");
  ExpectRefused({"package", machine, "C:\\x", "--version"},
                "--version: needs a value: --version V");
  ExpectRefused({"package", machine, "C:\\x", "--image", "{"},
                "--image: invalid JSON at line 1, column 2");
  ExpectRefused({"package", machine, "C:\\x", "--image", R"({"colour": 1})"},
                "--image: colour: is not a known key");
  ExpectRefused(
      {"package", machine, "C:\\x", "--image", R"({"leaseBytes": -1})"},
      "--image: leaseBytes: must be a whole number from 0 to 4294967295; write a negative one "
      "as its bits, like \"0xFFFFFFFF\"");
  ExpectRefused({"package", machine, "C:\\x", "--image", R"({"version": "26.9"})"},
                "--image: version: must be four numbers like 26.8.10.5, the first three up to 255");
  for (const char* const name : {"", "a:b", "a/b", ".", "..", "a\\", "a*", "a\tb"}) {
    ExpectRefused({"package", machine, "C:\\x", "--inf-name", name},
                  "--inf-name: must be a name of a file");
  }
  ExpectRefused({"package", machine, "C:\\x", "--inf-name", std::string(256, 'x')},
                "--inf-name: must be a name of a file");
  ExpectRefused({"package", machine, "C:\\x", "--catalog-name", "a|b"},
                "--catalog-name: must be a name of a file, or empty");
  ExpectRefused({"package", machine, "C:\\x", "--catalog-name", "VORN_audio.inf"},
                "--catalog-name: is also the name of the INF");
  for (const char* const path : {"C:\\a\\..\\b", "C:\\a?", "C:\\\\a", "C:", "1:\\a", "\\\\s\\a"}) {
    ExpectRefused({"package", machine, path},
                  path + std::string(": must be a folder of the machine, like C:\\pkg\\driver"));
  }
  const LabResult noVolume = RunLab({"package", machine, "E:\\x"});
  EXPECT_EQ(noVolume.status, kExitBadInput);
}

TEST_F(Lab, RefusesMalformedCommandLines) {
  const std::string machine = Machine();
  const std::string missing = temporary_.Name("missing");
  ExpectRefused({"new"}, "new: needs the folder of a machine");
  ExpectRefused({"new", ""}, "new: needs the folder of a machine");
  ExpectRefused({"", "x"},
                "\"\": is not a command of vorn_lab; they are: new, run, record, timeline, show, "
                "package, reboot, import, capture, rehearse, help");
  ExpectRefused({"timeline", machine, temporary_.Name("page"), "--against-fault", "Sleep:lie"},
                "--against-fault: needs a second machine: --against DIR2");
  ExpectRefused({"import", missing, missing, "--image", "{"},
                "--image: invalid JSON at line 1, column 2");
  ExpectRefused({"import", missing, missing, "--image", R"({"poolcount": 3})"},
                "--image: poolcount: is not a known key; did you mean poolCount?");
  ExpectRefused({"new", machine}, machine + ": already exists");
  ExpectRefused({"new", missing, "--preset"}, "--preset: needs a value: --preset NAME");
  ExpectRefused({"new", missing, "--preset", "shiny"},
                "--preset shiny: is not a preset; the presets are: clean, installed, outdated, "
                "duplicates, disabled, user-disabled, busy, remote, pending-restart, "
                "stale-journal, interrupted, full-disk");
  ExpectRefused({"new", missing, "--other"},
                "--other: is not an option of new; its options are: --preset, --list, --help");
  ExpectRefused({"new", "-folder"},
                "-folder: is not an option of new; its options are: --preset, --list, --help");
  ExpectRefused({"new", missing, "--preset", "clean", "more"},
                "more: is one word too many for new");
  ExpectRefused({"run", missing, "audit-catalog"},
                missing + ": is not a machine: it has no machine.json");
  ExpectRefused({"run", machine, "--trace"}, "--trace: needs a value: --trace FILE");
  ExpectRefused({"run", machine, "--verbose", "audit-catalog"},
                "--verbose: is not an option of run; its options are: --fault, --strict, --trace, "
                "--help");
  ExpectRefused({"run", machine, "--trace", "/no/such/folder/trace", "audit-catalog"},
                "--trace /no/such/folder/trace: cannot be written");
  ExpectRefused({"show", machine, "--yaml"},
                "--yaml: is not an option of show; its options are: --json, --help");
  ExpectRefused({"show", machine, "--json", "x"}, "x: is one word too many for show");
  ExpectRefused({"reboot", machine, "now"}, "now: is one word too many for reboot");
  ExpectRefused({"help", "new", "x"}, "x: is one word too many for help");
}

TEST_F(Lab, SuggestsTheNearWord) {
  const std::string machine = Machine();
  ExpectRefused({"shwo", machine}, "shwo: is not a command of vorn_lab; did you mean show?");
  ExpectRefused({"Run", machine}, "Run: is not a command of vorn_lab; did you mean run?");
  ExpectRefused({"help", "pakage"}, "pakage: is not a command of vorn_lab; did you mean package?");
  ExpectRefused({"new", temporary_.Name("x"), "--preset", "instaled"},
                "--preset instaled: is not a preset; did you mean installed?");
  ExpectRefused({"new", temporary_.Name("x"), "--prest=clean"},
                "--prest=clean: is not an option of new; its options are: --preset, --list, "
                "--help");
  ExpectRefused({"run", machine, "--falt", "WriteFile:fail"},
                "--falt: is not an option of run; did you mean --fault?");
}

TEST_F(Lab, ExplainsItself) {
  const LabResult help = RunLab({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(help.Output().starts_with("Usage:\n  vorn_lab new DIR "));
  EXPECT_EQ(RunLab({"-h"}).Output(), help.Output());
  EXPECT_EQ(RunLab({"help"}).Output(), help.Output());
  const LabResult usage = RunLab({});
  EXPECT_EQ(usage.status, kExitBadInput);
  EXPECT_EQ(usage.ErrorOutput(), help.Output());
}

TEST_F(Lab, ListsCallsInLinesOfAScreen) {
  const std::string help = RunLab({"help", "faults"}).Output();
  std::istringstream lines(help.substr(help.find("The calls:\n")));
  std::size_t longest = 0;
  for (std::string line; std::getline(lines, line);)
    longest = std::max(longest, line.size());
  EXPECT_LE(longest, 96U);
  EXPECT_GT(longest, 80U);
}

TEST_F(Lab, ExplainsEachCommand) {
  const auto before = ContentOf(temporary_ / "");
  const std::string usage = RunLab({"--help"}).Output();
  const std::regex line("\n  vorn_lab (\\w+) [A-Z]");
  int commands = 0;
  for (std::sregex_iterator each(usage.begin(), usage.end(), line), end; each != end; ++each) {
    ++commands;
    const std::string command = (*each)[1].str();
    SCOPED_TRACE(command);
    const LabResult help = RunLab({"help", command});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.Output().starts_with("Usage:\n  vorn_lab " + command + " "));
    const Words ways[] = {{"--help"}, {"-h"}, {"help"}, {"DIR", "--help"}, {"DIR", "-h"}};
    for (const Words& way : ways) {
      Words words = {command};
      words.insert(words.end(), way.begin(), way.end());
      const LabResult same = RunLab(words);
      EXPECT_EQ(same.status, 0);
      EXPECT_EQ(same.Output(), help.Output()) << way.back();
    }
    EXPECT_EQ(RunLab({command, "--version"}).Output(), RunLab({"--version"}).Output());
  }
  EXPECT_GE(commands, 5);
  EXPECT_EQ(ContentOf(temporary_ / ""), before);
}

TEST_F(Lab, KnowsItsVersion) {
  const LabResult version = RunLab({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(std::regex_match(version.Output(), std::regex("vorn_lab \\d+\\.\\d+\\.\\d+\n")));
  EXPECT_EQ(RunLab({"version"}).Output(), version.Output());
}

TEST_F(Lab, HelpOfTheProgramsOwnIsLeftToIt) {
  const std::string machine = Machine();
  for (const Words& words : {Words{"run", machine, "--", "--help"}, Words{"run", machine, "help"},
                             Words{"run", machine, "verify", "--help"}}) {
    const LabResult result = RunLab(words);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.Output().starts_with("Usage:\n  vorn_devnode.exe ")) << words.back();
  }
}

TEST_F(Lab, HasAMachineThatIsBusyForAnHour) {
  const LabMachine lab = MakePreset("busy");
  EXPECT_EQ(lab.machine.devices.Find(tests::kRootId)->temper.vetoUntil,
            lab.machine.clock.tick + 3'600'000);
}

TEST_F(Lab, ListsThePresets) {
  const std::string list = RunLab({"new", "--list"}).Output();
  EXPECT_EQ(RunLab({"help", "new"}).Output().find(list) == std::string::npos, false);
  for (const Preset& preset : Presets()) {
    EXPECT_NE(list.find("  " + std::string(preset.name) + "  "), std::string::npos) << preset.name;
    EXPECT_NE(list.find(preset.about), std::string::npos) << preset.name;
  }
}

}  // namespace
}  // namespace vorn::lab
