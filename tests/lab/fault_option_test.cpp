// What `vorn_lab run --fault` makes happen, refuses and remarks on.

#include "lab/bad_input.h"
#include "lab/call_names.h"
#include "lab/fault_spec.h"
#include "lab/json_text.h"
#include "tests/lab/lab_commands.h"
#include "tests/lab/sample_words.h"

#include <gtest/gtest.h>
#include <set>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;

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
    Words options = {"--strict"};
    for (const std::string& fault : row.faults)
      options.insert(options.end(), {"--fault", fault});
    ExpectAnswer(row.preset, options, row.command, row.status, row.part);
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
      {"WriteFile:appear=ROOT\\A\\", "appear needs an id like ROOT\\MEDIA\\0001"},
      {"WriteFile:appear=ROOT\\\\0", "appear needs an id like ROOT\\MEDIA\\0001"},
      {"WriteFile:appear=ROOT\\A\\0\\1", "appear needs an id like ROOT\\MEDIA\\0001"},
      {"GetTickCount64:fail", "fail does nothing at GetTickCount64"},
      {"GetTickCount64:lie", "lie does nothing at GetTickCount64"},
      {"GetTickCount64:fail-after", "fail-after does nothing at GetTickCount64"},
      {"Sleep:fail-after", "fail-after does nothing at Sleep"},
      {"Sleep:restart",
       "restart does nothing at Sleep, only at SetupDiCallClassInstaller, "
       "UpdateDriverForPlugAndPlayDevicesW"},
      {"RegGetValueW:long=0x100001", "long needs a number from 0 to 1048576"},
      {"WriteFile:remap=7:|C:", "remap needs a drive letter"},
      {"WriteFile:grow=C:\\a|many",
       "grow needs a path and a number of bytes from 1 to 17592185978880"},
      {"WriteFile:grow=C:\\a|0",
       "grow needs a path and a number of bytes from 1 to 17592185978880"},
      {"WriteFile:force-grow=C:\\a|17592185978881",
       "grow needs a path and a number of bytes from 1 to 17592185978880"},
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

TEST_F(Lab, CountsEveryCallForAFaultOfAny) {
  const std::string machine = Machine("installed");
  const std::string remark =
      RunLab({"run", machine, "--fault", "*#5000:fail", "audit-catalog"}).ErrorOutput();
  EXPECT_EQ(remark.find("made 0 such"), std::string::npos) << remark;
}

TEST_F(Lab, GrowsAFileEachTime) {
  for (const char* const change : {"grow=", "force-grow="}) {
    const std::string machine = Machine();
    const fs::path file = fs::path(machine) / "C/pkg/driver/vorn_audio.sys";
    const auto before = fs::file_size(file);
    RunLab({"run", machine, "--fault",
            std::string("fputws#1-2:") + change + "C:\\pkg\\driver\\vorn_audio.sys|4096"});
    EXPECT_EQ(fs::file_size(file), before + 8192) << change;
    fs::remove_all(machine);
  }
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
      {"remint=ROOT\\SYSTEM\\0000", "no endpoints are built for ROOT\\SYSTEM\\0000"},
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

TEST_F(Lab, SaysWhyWindowsRefusesAChange) {
  const std::string machine = Machine();
  Json document = ParseJson(ReadHostFile(fs::path(machine) / "machine.json"));
  for (const char* const letter : {"D", "E"}) {
    document["volumes"].push_back({{"folder", letter},
                                   {"letter", letter},
                                   {"device", std::string("\\Device\\HarddiskVolume") + letter},
                                   {"freeBytes", 4096},
                                   {"readOnly", *letter == 'E'},
                                   {"files", Json::List()}});
    document["dosDevices"].push_back(
        {{"name", std::string(letter) + ":"},
         {"target", std::string("\\Device\\HarddiskVolume") + letter}});
    fs::create_directory(fs::path(machine) / letter);
  }
  WriteHostFile(fs::path(machine) / "machine.json", ToReadableText(document));
  const std::string inf = "C:\\pkg\\driver\\vorn_audio.inf";
  const std::pair<std::string, const char*> cases[] = {
      {"move=" + inf + "|D:\\a.inf", "17: it is on another volume"},
      {"folder=E:\\a", "19: the volume is read-only"},
      {"copy=C:\\pkg\\driver\\vorn_audio.inf|C:\\a?b", "123: the name is not valid"},
      {"hardlink=" + inf + "|C:\\pkg\\driver\\vorn_audio.cat", "183: the name is taken"},
      {"write=D:\\a|" + std::string(5000, 'x'), "112: the volume is full"},
  };
  for (const auto& [change, why] : cases) {
    SCOPED_TRACE(change);
    const std::string fault = "fputws:" + change;
    EXPECT_EQ(RunLab({"run", machine, "--strict", "--fault", fault}).ErrorOutput(),
              "vorn_lab: --fault " + fault + ": changed nothing: Windows refuses it with error " +
                  why + "\n");
  }
}

TEST(Faults, CutAndLengthenWhatCallsReturn) {
  const std::set<std::string_view> lengthened = {"CM_Get_DevNode_Registry_PropertyW",
                                                 "CM_Get_Device_IDW",
                                                 "DeviceIoControl",
                                                 "GetFinalPathNameByHandleW",
                                                 "GetFullPathNameW",
                                                 "GetModuleFileNameW",
                                                 "GetTempPathW",
                                                 "GetWindowsDirectoryW",
                                                 "RegEnumKeyExW",
                                                 "RegGetValueW",
                                                 "SetupDiGetDeviceInstanceIdW",
                                                 "SetupDiGetDeviceInterfaceDetailW",
                                                 "SetupDiGetDevicePropertyW",
                                                 "SetupDiGetDeviceRegistryPropertyW",
                                                 "SetupGetStringFieldW"};
  std::set<std::string_view> cut = {"GetFileInformationByHandleEx", "ReadFile",
                                    "SetupGetInfInformationW", "WriteFile"};
  cut.insert(lengthened.begin(), lengthened.end());
  const std::set<std::string_view> silent = {
      "CoTaskMemFree", "CoUninitialize",    "GetSystemTime", "GetTickCount64",
      "LocalFree",     "SetupCloseInfFile", "Sleep"};
  const auto takes = [](std::string_view name, const char* action) {
    try {
      ParseFault(std::string(name) + action);
      return true;
    } catch (const BadInput&) {
      return false;
    }
  };
  for (const std::string_view name : CallNames()) {
    EXPECT_EQ(takes(name, ":short=1"), cut.contains(name)) << name;
    EXPECT_EQ(takes(name, ":long=1"), lengthened.contains(name)) << name;
    EXPECT_EQ(takes(name, ":fail-after"), !silent.contains(name)) << name;
    EXPECT_EQ(takes(name, ":lie"), name != "GetTickCount64") << name;
  }
}

TEST_F(Lab, SaysThatAChangeWasMadeBefore) {
  const std::string audio = "HDAUDIO\\FUNC_01&VEN_F0AB&DEV_0280&SUBSYS_F0AB0001\\4&1A2B3C4D&0&0001";
  const std::string inf = "C:\\pkg\\driver\\vorn_audio.inf";
  const std::pair<std::string, std::string> cases[] = {
      {"folder=C:\\Windows", "there already is a folder C:\\Windows"},
      {"force-folder=C:\\Windows", "there already is a folder C:\\Windows"},
      {"move=C:\\pkg|C:\\pkg", "already has that name: C:\\pkg"},
      {"force-move=C:\\pkg|C:\\pkg", "already has that name: C:\\pkg"},
      {"remap=c|\\Device\\HarddiskVolume3", "already leads there: c"},
      {"disable=ROOT\\MEDIA\\0000", "already disabled: ROOT\\MEDIA\\0000"},
      {"enable=" + audio, "not disabled: " + audio},
      {"remint=" + audio, "no endpoints are built for " + audio},
  };
  const std::string machine = Machine("disabled");
  for (const auto& [change, why] : cases) {
    SCOPED_TRACE(change);
    const std::string fault = "fputws:" + change;
    EXPECT_EQ(RunLab({"run", machine, "--strict", "--fault", fault}).ErrorOutput(),
              "vorn_lab: --fault " + fault + ": changed nothing: " + why + "\n");
  }
}

TEST_F(Lab, SaysThatAChangeWasMadeByARunBefore) {
  const std::pair<const char*, const char*> cases[] = {
      {"fill=C", "already full: C"},
      {"readonly=C:\\pkg", "already read-only: C:\\pkg"},
      {"force-readonly=C:\\Users", "already read-only: C:\\Users"},
      {"stop-service=audiosrv", "not running: audiosrv"},
      {"security=C:\\pkg|D:P(A;;FA;;;BA)", "already has that security: C:\\pkg"},
      {"status=ROOT\\SYSTEM\\0000|0x400|10", "already reports that: ROOT\\SYSTEM\\0000"},
  };
  const std::string machine = Machine();
  for (const auto& [change, why] : cases) {
    SCOPED_TRACE(change);
    // Made once by the first run, which therefore has nothing to say about its second call.
    const std::string fault = "fputws#1-2:" + std::string(change);
    EXPECT_EQ(RunLab({"run", machine, "--fault", fault}).ErrorOutput(), "");
    EXPECT_EQ(RunLab({"run", machine, "--fault", fault}).ErrorOutput(),
              "vorn_lab: --fault " + fault + ": changed nothing: " + why + "\n");
  }
}

TEST_F(Lab, SaysThatAnAnswerWasNotSpoiled) {
  const std::pair<const char*, const char*> cases[] = {
      {"GetFullPathNameW:short=99999", "nothing longer was returned"},
      {"ReadFile#1-:short=99999999", "nothing longer was returned"},
      {"*#7:long=5", "nothing was returned that could be longer"},
      {"GetFullPathNameW:long=0", "nothing was returned that could be longer"},
      {"*:restart", "what was called asks for no restart"},
      {"SetupDiCallClassInstaller:restart", "what was called asks for no restart"},
  };
  for (const auto& [fault, why] : cases) {
    SCOPED_TRACE(fault);
    const std::string machine = Machine();
    const LabResult result =
        RunLab({"run", machine, "--strict", "--fault", fault, "install", kInf});
    EXPECT_EQ(result.status, kExitFaultInVain);
    EXPECT_EQ(result.ErrorOutput(),
              std::string("vorn_lab: --fault ") + fault + ": changed nothing: " + why + "\n");
    fs::remove_all(machine);
  }
}

TEST_F(Lab, EndsARunThatALieKeepsInALoop) {
  const std::string machine = Machine("installed");
  const LabResult result =
      RunLab({"run", machine, "--strict", "--fault", "CM_Get_Sibling#1-:lie", "audit-catalog"});
  EXPECT_EQ(result.status, kExitKilled);
  EXPECT_EQ(result.Output(), "");
  EXPECT_EQ(result.ErrorOutput(), "vorn_lab: ended after 2000000 calls of the platform\n");
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

}  // namespace
}  // namespace vorn::lab
