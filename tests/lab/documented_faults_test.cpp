// Each form of --fault that docs/lab.md documents does what the page says, and the lab knows no
// other: the tables of the page, the help of the lab and the tables here have the same forms.

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/fault_spec.h"
#include "lab/presets.h"
#include "lab/run_program.h"
#include "platform/audio_endpoints.h"
#include "platform/clock.h"
#include "platform/config_manager.h"
#include "platform/device_setup.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/registry.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/process.h"
#include "platform/simulated/services.h"
#include "tests/lab/lab_process.h"
#include "tests/lab/temporary_folder.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace vorn::lab {
namespace {

using namespace platform::simulated;
namespace fs = std::filesystem;

using Words = std::vector<std::string>;

const std::string kInfPath = ToUtf8(tests::kSampleInf);
constexpr const char16_t* kRoot = tests::kRootId;

// ------------------------------------------------------------------------------------------------
// The page and the help.

std::string PageOfTheLab() {
  fs::path folder = fs::path(LabProgram()).parent_path();
  while (!fs::exists(folder / "docs" / "lab.md") && folder != folder.root_path())
    folder = folder.parent_path();
  return ReadHostFile(folder / "docs" / "lab.md");
}

/// The code spans in the first column of the table with that heading. A bar within one is written
/// with a backslash before it.
std::set<std::string> FormsInTable(const std::string& page, const std::string& heading) {
  std::set<std::string> forms;
  std::istringstream lines(page.substr(page.find(heading)));
  for (std::string line; std::getline(lines, line) && line.starts_with("|");) {
    const std::string column = line.substr(0, line.find(" | "));
    for (std::size_t from = column.find('`'); from != std::string::npos;) {
      const std::size_t to = column.find('`', from + 1);
      std::string form = column.substr(from + 1, to - from - 1);
      std::erase(form, '\\');
      forms.insert(form);
      from = column.find('`', to + 1);
    }
  }
  return forms;
}

/// The forms that the help lists below a heading: the first word of each line.
std::set<std::string> FormsInHelp(const std::string& heading) {
  const std::string help = FaultHelp();
  std::set<std::string> forms;
  std::istringstream lines(help.substr(help.find(heading) + heading.size() + 1));
  for (std::string line; std::getline(lines, line) && line.starts_with("  ");)
    forms.insert(line.substr(2, line.find(' ', 2) - 2));
  return forms;
}

template <class Case>
std::set<std::string> FormsOf(const std::vector<Case>& cases) {
  std::set<std::string> forms;
  for (const Case& each : cases)
    forms.insert(each.form);
  return forms;
}

// ------------------------------------------------------------------------------------------------
// What happens at a call.

/// What the third of five calls that each make a folder met; the others must be sound.
std::string AtTheThirdCall(const std::string& action) {
  LabMachine lab = MakePreset("clean");
  Process process(lab.machine);
  process.faults.push_back(ParseFault("CreateDirectoryW#3:" + action).fault);
  std::string met;
  for (int number = 1; number <= 5; ++number) {
    const std::u16string path = u"C:\\made" + ToUtf16(std::to_string(number));
    const std::uint64_t began = lab.machine.clock.tick;
    const bool said = platform::CreateDirectoryW(path.c_str());
    const bool made = FindNode(lab.machine.files, path).has_value();
    const std::uint64_t took = lab.machine.clock.tick - began;
    if (number == 3) {
      if (!process.killed)
        met = said ? "success, " : "error " + std::to_string(platform::GetLastError()) + ", ";
      met += made ? "made" : "not made";
      if (took != 0) met += ", " + std::to_string(took) + " ms";
      if (process.killed) met += ", dead";
    } else {
      const bool lives = number < 3 || !process.killed;
      EXPECT_EQ(made, lives) << number;
      EXPECT_EQ(took, 0U) << number;
    }
  }
  return met;
}

/// The texts of three calls for the current folder, each with the length that it told.
std::string AtTheSecondPath(const std::string& action) {
  LabMachine lab = MakePreset("clean");
  lab.machine.files.currentFolder = u"C:\\Windows";
  Process process(lab.machine);
  process.faults.push_back(ParseFault("GetFullPathNameW#2:" + action).fault);
  std::string texts;
  for (int number = 1; number <= 3; ++number) {
    char16_t path[100] = {};
    const std::uint32_t length = platform::GetFullPathNameW(u".", 100, path, nullptr);
    texts += (texts.empty() ? "" : ", ") + ToUtf8(path) + " " + std::to_string(length);
  }
  return texts;
}

std::string AtTheBind(const std::string& action) {
  LabMachine lab = MakePreset("outdated");
  Process process(lab.machine);
  process.faults.push_back(ParseFault("UpdateDriverForPlugAndPlayDevicesW:" + action).fault);
  bool restart = false;
  const bool bound = platform::UpdateDriverForPlugAndPlayDevicesW(
      tests::kSampleHardwareId, tests::kSampleInf, platform::INSTALLFLAG_FORCE, &restart);
  return std::string(bound ? "bound" : "not bound") + (restart ? ", restart" : "");
}

struct ActionCase {
  const char* form;
  std::string (*meet)(const std::string& action);
  const char* action;
  const char* met;
};

const std::vector<ActionCase>& ActionCases() {
  static const std::vector<ActionCase> cases = {
      {"fail[=ERROR]", AtTheThirdCall, "fail", "error 31, not made"},
      {"fail[=ERROR]", AtTheThirdCall, "fail=5", "error 5, not made"},
      {"fail[=ERROR]", AtTheThirdCall, "fail=0x70", "error 112, not made"},
      {"fail-after[=ERROR]", AtTheThirdCall, "fail-after", "error 31, made"},
      {"fail-after[=ERROR]", AtTheThirdCall, "fail-after=5", "error 5, made"},
      {"lie", AtTheThirdCall, "lie", "success, not made"},
      {"short=BYTES", AtTheSecondPath, "short=8", "C:\\Windows 10, C:\\W 4, C:\\Windows 10"},
      {"long=BYTES", AtTheSecondPath, "long=4", "C:\\Windows 10, C:\\WindowsAA 12, C:\\Windows 10"},
      {"restart", AtTheBind, "restart", "bound, restart"},
      {"time=MILLISECONDS", AtTheThirdCall, "time=250", "success, made, 250 ms"},
      {"kill", AtTheThirdCall, "kill", "not made, dead"},
      {"kill-after", AtTheThirdCall, "kill-after", "made, dead"},
      {"hang", AtTheThirdCall, "hang", "not made, 3600000 ms, dead"},
  };
  return cases;
}

TEST(DocumentedActions, AreThoseOfTheLabAndOfThisTest) {
  const std::set<std::string> forms = FormsOf(ActionCases());
  EXPECT_EQ(FormsInTable(PageOfTheLab(), "| Action | What happens |\n|---|---|\n"), forms);
  EXPECT_EQ(FormsInHelp("What can happen at a call:"), forms);
}

TEST(DocumentedActions, DoWhatThePageSays) {
  for (const ActionCase& row : ActionCases())
    EXPECT_EQ(row.meet(row.action), row.met) << row.action;
}

TEST(DocumentedActions, ABindAsksForNoRestartByItself) {
  EXPECT_EQ(AtTheBind("time=1"), "bound");
}

/// Which of six calls failed: each an "x".
std::string FailedOfSix(const std::string& fault) {
  LabMachine lab = MakePreset("clean");
  Process process(lab.machine);
  process.faults.push_back(ParseFault(fault).fault);
  std::string failed;
  for (int number = 1; number <= 6; ++number) {
    const std::u16string path = u"C:\\made" + ToUtf16(std::to_string(number));
    failed += platform::CreateDirectoryW(path.c_str()) ? '.' : 'x';
    platform::GetTickCount64();
  }
  return failed;
}

TEST(DocumentedActions, HitTheCallsThatTheNumbersSay) {
  EXPECT_EQ(FailedOfSix("CreateDirectoryW:fail"), "x.....");
  EXPECT_EQ(FailedOfSix("CreateDirectoryW#3:fail"), "..x...");
  EXPECT_EQ(FailedOfSix("CreateDirectoryW#0x3:fail"), "..x...");
  EXPECT_EQ(FailedOfSix("CreateDirectoryW#3-5:fail"), "..xxx.");
  EXPECT_EQ(FailedOfSix("CreateDirectoryW#3-:fail"), "..xxxx");
  EXPECT_EQ(FailedOfSix("*#3:fail"), ".x....");  // every other call asks for the tick
}

TEST(DocumentedActions, FailInTheCodeOfTheCall) {
  LabMachine lab = MakePreset("clean");
  Process process(lab.machine);
  for (const char* const call : {"GetTempPathW", "CM_Get_Child", "RegOpenKeyExW", "CoInitializeEx"})
    process.faults.push_back(ParseFault(std::string(call) + ":fail=5").fault);
  char16_t path[300] = {};
  EXPECT_EQ(platform::GetTempPathW(300, path), 0U);
  EXPECT_EQ(platform::GetLastError(), 5U);
  platform::DEVINST node = 0;
  EXPECT_EQ(platform::CM_Get_Child(&node, 0), 5U);
  platform::HKEY key = nullptr;
  EXPECT_EQ(platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, u"SOFTWARE", 0,
                                    platform::KEY_READ, &key),
            5);
  EXPECT_EQ(platform::CoInitializeEx(platform::COINIT_MULTITHREADED), platform::E_ACCESSDENIED);
}

// ------------------------------------------------------------------------------------------------
// What another process does just before a call.

const Node* NodeOf(const Machine& machine, std::u16string_view path) {
  const auto node = FindNode(machine.files, path);
  return node ? &machine.files.nodes.Get(*node) : nullptr;
}

bool HasText(const Machine& machine, std::u16string_view path, const std::string& text) {
  const auto content = ReadWholeFile(machine.files, path);
  return content && std::string(content->begin(), content->end()) == text;
}

/// Whether both paths have the same bytes, the first as it was before.
bool HasBytesOf(const Machine& machine, std::u16string_view path, const char16_t* before) {
  return ReadWholeFile(machine.files, path) == ReadWholeFile(InstalledMachine().files, before);
}

bool IsLink(const Machine& machine, std::u16string_view path, ReparseKind kind, bool directory) {
  const Node* const node = NodeOf(machine, path);
  return node != nullptr && node->reparse == kind && node->directory == directory &&
         node->reparseTarget == u"C:\\Windows" && node->entries.empty();
}

bool HasGrown(const Machine& machine) {
  constexpr std::size_t kMore = 0x1000;
  const auto now = ReadWholeFile(machine.files, tests::kSampleInf);
  Bytes wanted = ReadWholeFile(InstalledMachine().files, tests::kSampleInf).value();
  wanted.resize(wanted.size() + kMore);
  return now == wanted;
}

bool IsHeldForWriting(const Machine& machine) {
  const auto node = FindNode(machine.files, tests::kSampleInf);
  return std::any_of(machine.files.opens.begin(), machine.files.opens.end(), [&](const auto& open) {
    return open.first.node == node && open.second.foreign &&
           (open.second.access & platform::FILE_WRITE_DATA) != 0;
  });
}

bool IsFull(const Machine& machine) {
  return machine.files.volumes[0].freeBytes == 0;
}

std::vector<std::u16string> ActiveIds(const Machine& machine) {
  std::vector<std::u16string> ids;
  for (const AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (endpoint.root == kRoot && endpoint.state == platform::DEVICE_STATE_ACTIVE)
      ids.push_back(endpoint.id);
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

/// Twenty endpoints are active as before, none of which has the id of one of those.
bool HasNewIds(const Machine& machine) {
  const std::vector<std::u16string> before = ActiveIds(InstalledMachine());
  const std::vector<std::u16string> after = ActiveIds(machine);
  return after.size() == before.size() &&
         std::none_of(after.begin(), after.end(), [&](const std::u16string& id) {
           return std::binary_search(before.begin(), before.end(), id);
         });
}

const Device& RootOf(const Machine& machine) {
  return *machine.devices.Find(kRoot);
}

std::string FirstEndpoint() {
  return ToUtf8(ActiveIds(InstalledMachine()).front());
}

struct ChangeCase {
  const char* form;
  std::string change;
  bool (*happened)(const Machine& machine);
  const char* preset = "installed";
};

/// In the order of the page. Those down to `security` change files.
const std::vector<ChangeCase>& ChangeCases() {
  static const std::vector<ChangeCase> cases = {
      {"delete=PATH", "delete=" + kInfPath,
       [](const Machine& m) {
         return NodeOf(m, tests::kSampleInf) == nullptr &&
                NodeOf(m, tests::kSampleFolder) != nullptr;
       }},
      {"delete=PATH", "delete=C:\\pkg",
       [](const Machine& m) { return NodeOf(m, u"C:\\pkg") == nullptr; }},
      {"folder=PATH", "folder=C:\\made\\deep",
       [](const Machine& m) {
         const Node* const made = NodeOf(m, u"C:\\made\\deep");
         return made != nullptr && made->directory;
       }},
      {"write=PATH|TEXT", "write=C:\\new.txt|a text",
       [](const Machine& m) { return HasText(m, u"C:\\new.txt", "a text"); }},
      {"write=PATH|TEXT", "write=C:\\new.txt|",
       [](const Machine& m) { return HasText(m, u"C:\\new.txt", ""); }},
      {"write=PATH|TEXT", "write=" + kInfPath + "|short",
       [](const Machine& m) { return HasText(m, tests::kSampleInf, "short"); }},
      {"grow=PATH|BYTES", "grow=" + kInfPath + "|0x1000", HasGrown},
      {"copy=FROM|TO", "copy=" + kInfPath + "|C:\\copy.inf",
       [](const Machine& m) {
         return HasBytesOf(m, u"C:\\copy.inf", tests::kSampleInf) &&
                HasBytesOf(m, tests::kSampleInf, tests::kSampleInf);
       }},
      {"move=FROM|TO", "move=C:\\pkg\\driver|C:\\moved",
       [](const Machine& m) {
         return NodeOf(m, u"C:\\pkg\\driver") == nullptr &&
                HasBytesOf(m, u"C:\\moved\\vorn_audio.inf", tests::kSampleInf);
       }},
      {"hardlink=EXISTING|NAME", "hardlink=" + kInfPath + "|C:\\second.inf",
       [](const Machine& m) {
         return FindNode(m.files, u"C:\\second.inf") == FindNode(m.files, tests::kSampleInf);
       }},
      {"junction=PATH|TARGET", "junction=C:\\pkg|C:\\Windows",
       [](const Machine& m) { return IsLink(m, u"C:\\pkg", ReparseKind::Junction, true); }},
      {"symlink=PATH|TARGET", "symlink=" + kInfPath + "|C:\\Windows",
       [](const Machine& m) {
         return IsLink(m, tests::kSampleInf, ReparseKind::SymbolicLink, false);
       }},
      {"hold=PATH", "hold=" + kInfPath, IsHeldForWriting},
      {"readonly=PATH", "readonly=" + kInfPath,
       [](const Machine& m) {
         return (NodeOf(m, tests::kSampleInf)->attributes & platform::FILE_ATTRIBUTE_READONLY) != 0;
       }},
      {"security=PATH|SDDL", "security=" + kInfPath + "|D:P(A;;FA;;;SY)",
       [](const Machine& m) {
         return ToSddl(NodeOf(m, tests::kSampleInf)->security) == u"O:BAD:P(A;;FA;;;SY)";
       }},
      {"fill=LETTER", "fill=C", IsFull},
      {"fill=LETTER", "fill=c:", IsFull},
      {"remap=LETTER|TARGET", "remap=C:|\\Device\\Mup\\server",
       [](const Machine& m) {
         return m.files.dosDevices.find(u"C:")->second == u"\\Device\\Mup\\server";
       }},
      {"vanish=DEVICE", "vanish=ROOT\\MEDIA\\0000",
       [](const Machine& m) { return m.devices.Find(kRoot) == nullptr; }},
      {"disable=DEVICE", "disable=ROOT\\MEDIA\\0000",
       [](const Machine& m) { return RootOf(m).problem == platform::CM_PROB_DISABLED; }},
      {"enable=DEVICE", "enable=ROOT\\MEDIA\\0000",
       [](const Machine& m) { return IsStarted(RootOf(m)); }, "disabled"},
      {"appear=DEVICE", "appear=ROOT\\MEDIA\\0001",
       [](const Machine& m) {
         const Device* const device = m.devices.Find(u"ROOT\\MEDIA\\0001");
         return device != nullptr && device->present && device->publishedInf.empty() &&
                device->hardwareIds == RootOf(m).hardwareIds;
       }},
      {"status=DEVICE|FLAGS|PROBLEM", "status=ROOT\\MEDIA\\0000|0x1806400|10",
       [](const Machine& m) { return RootOf(m).status == 0x1806400 && RootOf(m).problem == 10; }},
      {"remint=DEVICE", "remint=ROOT\\MEDIA\\0000", HasNewIds},
      {"stop-service=NAME", "stop-service=audiosrv",
       [](const Machine& m) { return !IsRunning(m, kAudioService); }},
      {"lose-endpoint=ID", "lose-endpoint=" + FirstEndpoint(),
       [](const Machine& m) {
         const std::vector<std::u16string> left = ActiveIds(m);
         return left.size() == 19 && ToUtf8(left.front()) != FirstEndpoint();
       }},
  };
  return cases;
}

/// The changes down to `security`: an index in the cases.
std::size_t CountFileChanges() {
  const auto& cases = ChangeCases();
  const auto last = std::find_if(cases.begin(), cases.end(), [](const ChangeCase& row) {
    return std::string_view(row.form).starts_with("security=");
  });
  return static_cast<std::size_t>(last - cases.begin()) + 1;
}

/// Makes the change before the last call of a run that prints the usage, which takes eight writes.
/// Devices that it started have a moment to do so.
void ExpectChange(const ChangeCase& row, const std::string& prefix) {
  SCOPED_TRACE(prefix + row.change);
  constexpr std::uint64_t kMomentMs = 2000;
  LabMachine lab = MakePreset(row.preset);
  EXPECT_FALSE(row.happened(lab.machine)) << "before";
  const ProgramRun run =
      RunProgram(lab, {}, {ParseFault("fputws#8:" + prefix + row.change)}, false);
  EXPECT_EQ(run.remarks, Words());
  Advance(lab.machine, kMomentMs);
  EXPECT_TRUE(row.happened(lab.machine));
}

TEST(DocumentedChanges, AreThoseOfTheLabAndOfThisTest) {
  const std::set<std::string> forms = FormsOf(ChangeCases());
  EXPECT_EQ(FormsInTable(PageOfTheLab(), "| Change | What it does |\n|---|---|\n"), forms);
  EXPECT_EQ(FormsInHelp("What another process can do just before it:"), forms);
}

TEST(DocumentedChanges, DoWhatThePageSays) {
  for (const ChangeCase& row : ChangeCases())
    ExpectChange(row, "");
}

TEST(DocumentedChanges, ToFilesDoTheSameWhenTheyAreForced) {
  for (std::size_t i = 0; i < CountFileChanges(); ++i)
    ExpectChange(ChangeCases()[i], "force-");
}

TEST(DocumentedChanges, ToAnythingButFilesCannotBeForced) {
  for (std::size_t i = CountFileChanges(); i < ChangeCases().size(); ++i)
    EXPECT_THROW(ParseFault("fputws:force-" + ChangeCases()[i].change), BadInput) << i;
}

// Whoever forces a change need not be able to make it: here only the system may.
TEST(DocumentedChanges, IgnoreAccessListsOnlyWhenTheyAreForced) {
  const std::string change = "delete=" + kInfPath;
  for (const bool forced : {false, true}) {
    LabMachine lab = MakePreset("clean");
    const SecurityRecord closed = ParseSddl(u"O:SYD:P(A;;FA;;;SY)").value();
    NodeAt(lab.machine.files, tests::kSampleInf).security = closed;
    NodeAt(lab.machine.files, tests::kSampleFolder).security = closed;
    RunProgram(lab, {}, {ParseFault("fputws:" + std::string(forced ? "force-" : "") + change)},
               false);
    EXPECT_EQ(NodeOf(lab.machine, tests::kSampleInf) == nullptr, forced);
  }
}

TEST(DocumentedChanges, FindAVolumeWhateverTheCaseOfItsLetter) {
  LabMachine lab = MakePreset("clean");
  lab.machine.files.volumes[0].letter = u'c';
  RunProgram(lab, {}, {ParseFault("fputws:fill=C")}, false);
  EXPECT_TRUE(IsFull(lab.machine));
}

}  // namespace
}  // namespace vorn::lab
