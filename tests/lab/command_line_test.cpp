#include "lab/command_line.h"

#include "lab/call_names.h"
#include "lab/json_text.h"
#include "lab/presets.h"
#include "tests/lab/lab_process.h"
#include "tests/lab/sample_words.h"
#include "tests/lab/temporary_folder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <regex>
#include <set>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

constexpr const char* kProven =
    "vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, package=08/10/2026 26.8.10.5 (oem3.inf), "
    "catalog=20, active=20, present-pnp=20, kernel=20\n";

/// Every file of a folder with its content.
std::map<std::string, std::string> ContentOf(const fs::path& folder) {
  std::map<std::string, std::string> content;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    content[entry.path().string()] = entry.is_directory() ? "/" : ReadHostFile(entry.path());
  return content;
}

class Lab : public testing::Test {
 protected:
  std::string Machine(const std::string& preset = "clean") {
    const std::string folder = temporary_.Name("m");
    EXPECT_EQ(RunLab({"new", folder, "--preset", preset}).status, 0);
    return folder;
  }

  /// Runs a command, which must be refused with that line and change nothing.
  void ExpectRefused(const Words& words, const std::string& line) {
    const auto before = ContentOf(temporary_ / "");
    const LabResult result = RunLab(words);
    EXPECT_EQ(result.status, kExitBadInput);
    EXPECT_EQ(result.Output(), "");
    EXPECT_EQ(result.ErrorOutput(), "vorn_lab: " + line + "\n");
    EXPECT_EQ(ContentOf(temporary_ / ""), before);
  }

  /// The first line of what refuses a fault; the lines below it list what there is.
  std::string RefusalOf(const std::string& fault, std::string* list) {
    const auto before = ContentOf(temporary_ / "");
    const LabResult result = RunLab({"run", temporary_.Name("m"), "--fault", fault, "verify"});
    EXPECT_EQ(result.status, kExitBadInput);
    EXPECT_EQ(ContentOf(temporary_ / ""), before);
    const std::string text = result.ErrorOutput();
    const std::size_t end = text.find('\n');
    *list = text.substr(end + 1);
    return text.substr(0, end);
  }

  static Json Shown(const std::string& folder) {
    return ParseJson(RunLab({"show", folder, "--json"}).Output());
  }

  TemporaryFolder temporary_;
};

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
// Faults.

TEST_F(Lab, MakesCallsFail) {
  struct Case {
    const char* fault;
    int status;
    const char* line;  // the last line of the run
  };
  const Case cases[] = {
      {"SetupDiCreateDeviceInfoList:fail=5", 3,
       "vorn_devnode: SetupDiCreateDeviceInfoList failed (error 0x00000005)\n"},
      {"SetupDiCreateDeviceInfoList:fail", 3,
       "vorn_devnode: SetupDiCreateDeviceInfoList failed (error 0x0000001F)\n"},
      {"SetupDiCallClassInstaller#1:fail-after=0xE0000203", 7,
       "vorn_devnode: SetupDiCallClassInstaller(DIF_REGISTERDEVICE) failed (error 0xE0000203)\n"},
      {"UpdateDriverForPlugAndPlayDevicesW:restart", 12,
       "vorn_devnode: RESULT=NOT_STARTED - Windows requested a restart; candidate must be rolled "
       "back\n"},
      {"WriteFile#4-:fail=112", 9,
       "vorn_devnode: WriteFile(activation state) failed (error 0x00000070)\n"},
      {"GetTempPathW:fail=3", 2,
       "vorn_devnode: protected local package snapshot refused (error 0x00000003)\n"},
      {"BCryptGenRandom:force-delete=C:\\pkg\\driver\\vorn_audio.inf", 2,
       "vorn_devnode: protected local package snapshot refused (error 0x000003EE)\n"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.fault);
    const std::string machine = Machine();
    const LabResult result = RunLab({"run", machine, "--fault", row.fault, "install", kInf});
    EXPECT_EQ(result.status, row.status);
    ASSERT_FALSE(result.console.empty());
    EXPECT_EQ(result.console.back().text, row.line);
    fs::remove_all(machine);
  }
}

TEST_F(Lab, TakesSeveralFaults) {
  const std::string machine = Machine();
  const LabResult result =
      RunLab({"run", machine, "--fault", "GetTickCount64#1:time=1000", "--fault",
              "UpdateDriverForPlugAndPlayDevicesW:fail=5", "--fault",
              "SetupDiCallClassInstaller#2:fail=5", "--", "install", kInf});
  EXPECT_EQ(result.status, 8);
  EXPECT_EQ(Shown(machine)["devices"][0]["state"], "problem 28");
}

TEST_F(Lab, LetsAnotherProcessChangeTheMachine) {
  struct Case {
    const char* change;
    bool (*happened)(const std::string& machine);
  };
  static const auto has = [](const std::string& machine, const char* path) {
    return fs::exists(fs::path(machine) / path);
  };
  static const auto isFull = [](const std::string& machine) {
    return ParseJson(ReadHostFile(fs::path(machine) / "machine.json"))["volumes"][0]["freeBytes"] ==
           0;
  };
  const Case cases[] = {
      {"delete=C:\\pkg\\driver\\vorn_audio.cat",
       [](const std::string& m) { return !has(m, "C/pkg/driver/vorn_audio.cat"); }},
      {"write=C:\\new.txt|a text",
       [](const std::string& m) { return ReadHostFile(fs::path(m) / "C/new.txt") == "a text"; }},
      {"write=C:\\new.txt|", [](const std::string& m) { return has(m, "C/new.txt"); }},
      {"copy=C:\\pkg\\driver\\vorn_audio.inf|C:\\copy.inf",
       [](const std::string& m) { return has(m, "C/copy.inf"); }},
      {"move=C:\\pkg\\driver|C:\\moved",
       [](const std::string& m) { return has(m, "C/moved/vorn_audio.inf"); }},
      {"folder=C:\\made\\deep", [](const std::string& m) { return has(m, "C/made/deep"); }},
      {"grow=C:\\pkg\\driver\\vorn_audio.sys|0x100000",
       [](const std::string& m) {
         return fs::file_size(fs::path(m) / "C/pkg/driver/vorn_audio.sys") > 0x100000;
       }},
      {"hardlink=C:\\pkg\\driver\\vorn_audio.inf|C:\\second.inf",
       [](const std::string& m) { return has(m, "C/second.inf"); }},
      {"junction=C:\\j|C:\\Windows",
       [](const std::string& m) {
         return ReadHostFile(fs::path(m) / "machine.json").find("\"junction\"") !=
                std::string::npos;
       }},
      {"symlink=C:\\s|C:\\Windows",
       [](const std::string& m) {
         return ReadHostFile(fs::path(m) / "machine.json").find("\"symbolicLink\"") !=
                std::string::npos;
       }},
      {"hold=C:\\pkg\\driver\\vorn_audio.inf",
       [](const std::string& m) {
         return !ParseJson(ReadHostFile(fs::path(m) / "machine.json"))["heldFiles"].empty();
       }},
      {"readonly=C:\\pkg\\driver\\vorn_audio.inf",
       [](const std::string& m) {
         return ReadHostFile(fs::path(m) / "machine.json").find("\"attributes\": \"0x21\"") !=
                std::string::npos;
       }},
      {"security=C:\\pkg\\driver\\vorn_audio.inf|D:P(A;;FA;;;SY)",
       [](const std::string& m) {
         return ReadHostFile(fs::path(m) / "machine.json").find("O:BAD:P(A;;FA;;;SY)") !=
                std::string::npos;
       }},
      {"fill=C:", isFull},
      {"fill=c", isFull},
      {"remap=C:|\\Device\\Mup\\server",
       [](const std::string& m) {
         return ReadHostFile(fs::path(m) / "machine.json").find("\\\\Device\\\\Mup\\\\server") !=
                std::string::npos;
       }},
      {"vanish=ROOT\\MEDIA\\0000",
       [](const std::string& m) {
         return Shown(m)["devices"][0]["instanceId"] == "ROOT\\SYSTEM\\0000";
       }},
      {"disable=ROOT\\MEDIA\\0000",
       [](const std::string& m) { return Shown(m)["devices"][0]["state"] == "disabled"; }},
      {"enable=ROOT\\MEDIA\\0000",
       [](const std::string& m) { return Shown(m)["devices"][0]["state"] == "started"; }},
      {"stop-service=audiosrv",
       [](const std::string& m) { return Shown(m)["services"]["Audiosrv"] == "stopped"; }},
  };
  const auto expectChange = [this](const Case& row, const std::string& prefix) {
    SCOPED_TRACE(prefix + row.change);
    const std::string machine = Machine("installed");
    // The usage takes eight writes, and nothing follows the last one.
    EXPECT_EQ(RunLab({"run", machine, "--strict", "--fault", "fputws#8:" + prefix + row.change})
                  .ErrorOutput(),
              "");
    EXPECT_TRUE(row.happened(machine));
    fs::remove_all(machine);
  };
  for (const Case& row : cases) {
    expectChange(row, "");
    if (std::string_view(row.change).find(":\\") ==
        1 + std::string_view(row.change).find('=') + 1) {
      expectChange(row, "force-");
    }
  }
}

TEST_F(Lab, StagesWhatChangesBetweenTwoLooks) {
  struct Case {
    const char* preset;
    Words faults;
    Words command;
    int status;
    const char* part;  // of what the command prints
  };
  const std::string bad = "status=ROOT\\MEDIA\\0000|0x1806400|10";
  const std::string good = "status=ROOT\\MEDIA\\0000|0x180200B|0";
  const Case cases[] = {
      {"installed",
       {"SetupDiGetClassDevsW#2:appear=ROOT\\MEDIA\\0001"},
       {"audit-current", kInf},
       11,
       "root=multiple present Root\\VornAudio devnodes"},
      {"installed",
       {"CM_Query_And_Remove_SubTreeW:appear=ROOT\\MEDIA\\0001"},
       {"remove", kInf},
       0,
       "removed 2 Root\\VornAudio device(s)"},
      {"outdated",
       {"IMMDeviceEnumerator::EnumAudioEndpoints#3:remint=ROOT\\MEDIA\\0000"},
       {"install", kInf},
       11,
       "present=driver update changed the exact active endpoint set"},
      {"installed",
       {"CM_Get_DevNode_Status#2:" + bad},
       {"audit-current", kInf},
       11,
       "root=present VORN root is not started cleanly"},
      {"installed",
       {"CM_Get_DevNode_Status#2:" + bad, "CM_Get_DevNode_Status#3:" + good},
       {"audit-current", kInf},
       0,
       "RESULT=OK"},
      {"clean", {"GetFullPathNameW#2:long=2"}, {"install", kInf}, 0, "RESULT=OK"},
      {"clean", {"GetFullPathNameW#2:long=20"}, {"install", kInf}, 2, ""},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.faults.back() + " " + row.command[0]);
    const std::string machine = Machine(row.preset);
    Words words = {"run", machine, "--strict"};
    for (const std::string& fault : row.faults)
      words.insert(words.end(), {"--fault", fault});
    words.insert(words.end(), row.command.begin(), row.command.end());
    const LabResult result = RunLab(words);
    EXPECT_EQ(result.status, row.status);
    const std::string text = result.Output() + result.ErrorOutput();
    EXPECT_NE(text.find(row.part), std::string::npos) << text;
    fs::remove_all(machine);
  }
}

TEST_F(Lab, AListingNeedsNoDotEntries) {
  const std::string machine = Machine();
  Json document = ParseJson(ReadHostFile(fs::path(machine) / "machine.json"));
  document["volumes"][0]["omitsDots"] = true;
  WriteHostFile(fs::path(machine) / "machine.json", ToReadableText(document));
  EXPECT_EQ(RunLab({"run", machine, "install", kInf}).status, 0);
  EXPECT_EQ(RunLab({"run", machine, "remove", kInf}).status, 0);
}

TEST_F(Lab, AChangeMeetsWhatTheProgramProtectsUnlessItIsForced) {
  const std::string machine = Machine();
  const std::string change = "delete=" + kInf;
  const LabResult refused =
      RunLab({"run", machine, "--strict", "--fault", "BCryptGenRandom:" + change, "install", kInf});
  EXPECT_EQ(refused.status, kExitFaultInVain);
  EXPECT_EQ(refused.ErrorOutput(), "vorn_lab: --fault BCryptGenRandom:" + change +
                                       ": changed nothing: Windows refuses it with error 32: "
                                       "another process uses the file\n");
  ASSERT_TRUE(fs::exists(fs::path(machine) / "C/pkg/driver/vorn_audio.inf"));
  fs::remove_all(machine);
  Machine();
  const LabResult forced =
      RunLab({"run", machine, "--fault", "BCryptGenRandom:force-" + change, "install", kInf});
  EXPECT_EQ(forced.status, 2);
  EXPECT_FALSE(fs::exists(fs::path(machine) / "C/pkg/driver/vorn_audio.inf"));
}

TEST_F(Lab, OnlyChangesToFilesCanBeForced) {
  const std::string machine = Machine();
  std::string list;
  EXPECT_EQ(RefusalOf("WriteFile:force-vanish=x", &list),
            "vorn_lab: --fault WriteFile:force-vanish=x: \"force-vanish\" is not a known fault");
  EXPECT_NE(list.find("force-delete=PATH"), std::string::npos);
}

TEST_F(Lab, RefusesMalformedFaults) {
  const std::string machine = Machine();
  const std::pair<const char*, const char*> cases[] = {
      {"", "must be a call, a colon and a fault"},
      {"WriteFile", "must be a call, a colon and a fault"},
      {"IMMDevice::GetId", "must be a call, a colon and a fault"},
      {"WriteFile:fail=x", "fail needs a number from 0 to 4294967295"},
      {"WriteFile:fail=", "fail needs a number from 0 to 4294967295"},
      {"WriteFile:fail=0x100000000", "fail needs a number from 0 to 4294967295"},
      {"WriteFile:fail=-1", "fail needs a number from 0 to 4294967295"},
      {"WriteFile:short", "short needs a number: short=..."},
      {"WriteFile:lie=1", "lie takes no value"},
      {"WriteFile:kill=1", "kill takes no value"},
      {"WriteFile:hang=1", "hang takes no value"},
      {"WriteFile#0:fail", "\"0\" must be a number from 1 to 4294967295"},
      {"WriteFile#:fail", "\"\" must be a number from 1 to 4294967295"},
      {"WriteFile#x:fail", "\"x\" must be a number from 1 to 4294967295"},
      {"WriteFile#3-2:fail", "\"3-2\" ends before it begins"},
      {"WriteFile#1-x:fail", "\"x\" must be a number from 1 to 4294967295"},
      {"WriteFile:delete", "must be delete=PATH"},
      {"WriteFile:delete=", "must be delete=PATH"},
      {"WriteFile:move=C:\\a", "must be move=FROM|TO"},
      {"WriteFile:move=C:\\a|", "must be move=FROM|TO"},
      {"WriteFile:move=C:\\a|C:\\b|C:\\c", "must be move=FROM|TO"},
      {"WriteFile:fill=Disk", "fill needs a drive letter"},
      {"WriteFile:status=ROOT\\A\\0|1", "must be status=DEVICE|FLAGS|PROBLEM"},
      {"WriteFile:status=ROOT\\A\\0|on|0", "status needs a device, DN_ flags and a CM_PROB_ code"},
      {"WriteFile:status=A|0|0x100000000", "status needs a device, DN_ flags and a CM_PROB_ code"},
      {"WriteFile:appear=USB\\A\\0", "appear needs an id like ROOT\\MEDIA\\0001"},
      {"WriteFile:appear=ROOT\\A", "appear needs an id like ROOT\\MEDIA\\0001"},
      {"Sleep:restart",
       "restart does nothing at Sleep, only at SetupDiCallClassInstaller, "
       "UpdateDriverForPlugAndPlayDevicesW"},
      {"RegGetValueW:long=0x100001", "long needs a number from 0 to 1048576"},
      {"WriteFile:remap=7:|C:", "remap needs a drive letter"},
      {"WriteFile:grow=C:\\a|many", "grow needs a path and a number of bytes"},
      {"WriteFile:security=C:\\a|nonsense", "security needs a path and a descriptor in SDDL"},
  };
  for (const auto& [fault, why] : cases) {
    SCOPED_TRACE(fault);
    ExpectRefused({"run", machine, "--fault", fault, "audit-catalog"},
                  std::string("--fault ") + fault + ": " + why);
  }
}

TEST_F(Lab, ListsWhatThereIsForAnUnknownFault) {
  Machine();
  std::string list;
  const std::string noCall = " is not a platform call of the program";
  EXPECT_EQ(RefusalOf("WritFile:fail", &list),
            "vorn_lab: --fault WritFile:fail: \"WritFile\"" + noCall + "; did you mean WriteFile?");
  for (const std::string_view name : CallNames())
    EXPECT_NE(list.find(name), std::string::npos) << name;
  EXPECT_EQ(RefusalOf("Nothing:fail", &list),
            "vorn_lab: --fault Nothing:fail: \"Nothing\"" + noCall);
  EXPECT_EQ(RefusalOf(":fail", &list), "vorn_lab: --fault :fail: \"\"" + noCall);

  EXPECT_EQ(RefusalOf("WriteFile:", &list),
            "vorn_lab: --fault WriteFile:: \"\" is not a known fault");
  EXPECT_EQ(RefusalOf("WriteFile:explode", &list),
            "vorn_lab: --fault WriteFile:explode: \"explode\" is not a known fault");
  EXPECT_EQ(RefusalOf("WriteFile:vanich=x", &list),
            "vorn_lab: --fault WriteFile:vanich=x: \"vanich\" is not a known fault; did you mean "
            "vanish?");
  for (const char* const action : {"  kill-after ", "  short=BYTES ", "  hardlink=EXISTING|NAME "})
    EXPECT_NE(list.find(action), std::string::npos) << action;
}

TEST_F(Lab, SaysThatAFaultWasNeverReached) {
  const std::string machine = Machine("installed");
  const std::string remark =
      "vorn_lab: --fault NtCreateFile#2:fail: was never reached: the run made 0 such call(s)\n";
  const Words audit = {"--fault", "NtCreateFile#2:fail", "audit-catalog"};
  Words words = {"run", machine};
  words.insert(words.end(), audit.begin(), audit.end());
  const LabResult result = RunLab(words);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.ErrorOutput(), remark);

  words.insert(words.begin() + 2, "--strict");
  const LabResult strict = RunLab(words);
  EXPECT_EQ(strict.status, kExitFaultInVain);
  EXPECT_EQ(strict.ErrorOutput(), remark);

  EXPECT_EQ(RunLab({"run", machine, "--fault", "*#5000:fail", "audit-catalog"})
                .ErrorOutput()
                .find("vorn_lab: --fault *#5000:fail: was never reached: the run made "),
            0U);
}

TEST_F(Lab, AFaultThatWasReachedNeedsNoRemark) {
  const std::string machine = Machine();
  const LabResult result =
      RunLab({"run", machine, "--strict", "--fault", "GetTempPathW:time=1", "--fault",
              "SetupDiCreateDeviceInfoList:fail=5", "install", kInf});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.ErrorOutput(),
            "vorn_devnode: SetupDiCreateDeviceInfoList failed (error 0x00000005)\n");
}

TEST_F(Lab, SaysThatAChangeFoundNothing) {
  const std::string refused = "Windows refuses it with error ";
  const std::string missing = refused + "2: there is nothing of that name";
  const std::string denied = refused + "5: access is denied";
  const std::pair<const char*, std::string> cases[] = {
      {"delete=C:\\none", missing},
      {"delete=C:\\", denied},
      {"delete=X:\\none", refused + "3: there is no such folder"},
      {"write=X:\\none|text", refused + "3: there is no such folder"},
      {"grow=C:\\none|1", missing},
      {"grow=C:\\pkg|1", denied},
      {"copy=C:\\none|C:\\new", missing},
      {"move=C:\\none|C:\\new", missing},
      {"move=C:\\pkg|C:\\pkg\\driver\\pkg", denied},
      {"hardlink=C:\\none|C:\\new", missing},
      {"hardlink=C:\\pkg|C:\\new", denied},
      {"junction=C:\\|C:\\pkg", denied},
      {"hold=C:\\none", missing},
      {"readonly=C:\\none", missing},
      {"security=C:\\none|D:", missing},
      {"security=C:\\pkg|O:SY", refused + "1307: only a privilege names that owner"},
      {"force-delete=C:\\none", "there is no file or folder C:\\none"},
      {"force-delete=C:\\", "nobody can delete C:\\"},
      {"force-write=X:\\none|text", "no such volume: X:\\"},
      {"force-grow=C:\\pkg|1", "there is no file C:\\pkg"},
      {"force-copy=C:\\none|C:\\new", "there is no file C:\\none"},
      {"force-move=C:\\none|C:\\new", "no such name: C:\\none"},
      {"force-move=C:\\pkg|C:\\pkg\\driver\\pkg",
       "a folder cannot move into itself: C:\\pkg\\driver\\pkg"},
      {"force-move=C:\\pkg\\driver|C:\\pkg", "holds what is moved: C:\\pkg"},
      {"force-hardlink=C:\\none|C:\\new", "no such file: C:\\none"},
      {"force-hardlink=C:\\pkg|C:\\new", "is a folder: C:\\pkg"},
      {"force-junction=C:\\|C:\\pkg", "is the root of a volume: C:\\"},
      {"force-hold=C:\\none", "there is no file or folder C:\\none"},
      {"force-readonly=C:\\none", "there is no file or folder C:\\none"},
      {"force-security=C:\\none|O:SY", "there is no file or folder C:\\none"},
      {"fill=X", "there is no volume X"},
      {"vanish=ROOT\\NONE", "there is no device ROOT\\NONE"},
      {"disable=ROOT\\NONE", "there is no device ROOT\\NONE"},
      {"enable=ROOT\\NONE", "there is no device ROOT\\NONE"},
      {"stop-service=Nobody", "there is no service Nobody"},
      {"lose-endpoint={none}", "there is no endpoint {none}"},
      {"appear=ROOT\\SYSTEM\\0000", "there already is a device ROOT\\SYSTEM\\0000"},
      {"status=ROOT\\NONE|0|0", "there is no device ROOT\\NONE"},
      {"remint=ROOT\\NONE", "there is no device ROOT\\NONE"},
      {"remint=ROOT\\SYSTEM\\0000", "no endpoint is in view of ROOT\\SYSTEM\\0000"},
  };
  const std::string machine = Machine();
  for (const auto& [change, why] : cases) {
    SCOPED_TRACE(change);
    const std::string fault = "fputws#1-2:" + std::string(change);
    const LabResult result = RunLab({"run", machine, "--strict", "--fault", fault});
    EXPECT_EQ(result.status, kExitFaultInVain);
    EXPECT_EQ(result.ErrorOutput(),
              "vorn_lab: --fault " + fault + ": changed nothing: " + why + "\n");
  }
}

TEST_F(Lab, CountsMethodCallsByTheirFullName) {
  const std::string machine = Machine("installed");
  const LabResult result =
      RunLab({"run", machine, "--fault", "IMMDevice::GetId#2:fail=0x80004005", "audit-catalog"});
  EXPECT_EQ(result.status, 11);
  EXPECT_EQ(result.ErrorOutput(),
            "vorn_devnode: catalog audit failed: MMDevice catalog enumeration was incomplete / "
            "MMDevice catalog has the wrong VORN endpoint count\n");
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
    const std::string machine = Machine(row.preset);
    Words words = {"run", machine};
    words.insert(words.end(), row.command.begin(), row.command.end());
    const LabResult result = RunLab(words);
    EXPECT_EQ(result.status, row.status);
    const std::string text = result.Output() + result.ErrorOutput();
    EXPECT_NE(text.find(row.part), std::string::npos) << text;
    fs::remove_all(machine);
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
  const LabResult noVolume = RunLab({"package", machine, "E:\\x"});
  EXPECT_EQ(noVolume.status, kExitBadInput);
}

TEST_F(Lab, RefusesMalformedCommandLines) {
  const std::string machine = Machine();
  const std::string missing = temporary_.Name("missing");
  ExpectRefused({"new"}, "new: needs the folder of a machine");
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
