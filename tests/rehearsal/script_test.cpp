#include "rehearsal/script.h"

#include "tests/lab/temporary_folder.h"

#include <gtest/gtest.h>

namespace vorn::rehearsal {
namespace {

using lab::TemporaryFolder;
using lab::WriteHostFile;
using Words = std::vector<std::string>;

const Words kInstall = {"install", R"(C:\new\vorn_audio.inf)", R"(C:\state)"};
const Words kRollback = {"install", R"(C:\old\vorn_audio.inf)", R"(C:\state)", "--rollback"};
const Words kAudit = {"audit-current", R"(C:\old\vorn_audio.inf)"};

Scene SceneOf(const std::string& file, const Words& arguments) {
  return {file, {.arguments = arguments, .pieces = {}, .milliseconds = 0, .status = 0}};
}

/// The files that an installer which makes these calls is played, "-" for none.
Words Played(const std::vector<Scene>& script, const std::vector<Words>& calls) {
  Words played;
  std::string log;
  for (const Words& call : calls) {
    const Scene* const scene = NextScene(script, log, call);
    played.push_back(scene == nullptr ? "-" : scene->file);
    log += LogLine(played.back(), 0, call);
  }
  return played;
}

TEST(Script, PlaysEachKindOfCallInItsOrder) {
  const std::vector<Scene> script = {SceneOf("1", kInstall), SceneOf("2", kAudit),
                                     SceneOf("3", kRollback), SceneOf("4", kAudit)};
  EXPECT_EQ(Played(script, {kInstall, kAudit, kRollback, kAudit}), (Words{"1", "2", "3", "4"}));
}

TEST(Script, LetsAnInstallerLeaveACallOut) {
  const std::vector<Scene> script = {SceneOf("1", kInstall), SceneOf("2", kAudit),
                                     SceneOf("3", kInstall)};
  EXPECT_EQ(Played(script, {kInstall, kInstall}), (Words{"1", "3"}));
}

TEST(Script, HasNothingForACallTooMany) {
  EXPECT_EQ(Played({SceneOf("1", kInstall)}, {kInstall, kInstall}), (Words{"1", "-"}));
}

TEST(Script, HasNothingForAnotherCommand) {
  EXPECT_EQ(Played({SceneOf("1", kInstall)}, {kAudit}), (Words{"-"}));
}

TEST(Script, GoesOnAfterACallThatItHadNothingFor) {
  EXPECT_EQ(Played({SceneOf("1", kInstall)}, {kAudit, kInstall}), (Words{"-", "1"}));
}

TEST(Script, DoesNotTakeAnInstallForARollback) {
  EXPECT_EQ(Played({SceneOf("1", kRollback)}, {kInstall}), (Words{"-"}));
}

TEST(Script, PlaysAFileAsOftenAsItIsNamed) {
  const Scene audit = SceneOf("audit", kAudit);
  EXPECT_EQ(Played({audit, audit}, {kAudit, kAudit, kAudit}), (Words{"audit", "audit", "-"}));
}

TEST(Script, TellsFilesOfOneNameApartByTheirCommand) {
  EXPECT_EQ(Played({SceneOf("a", kInstall), SceneOf("a", kAudit)}, {kInstall, kAudit}),
            (Words{"a", "a"}));
}

TEST(Script, KnowsAFileWhoseNameHasAPercentSign) {
  EXPECT_EQ(Played({SceneOf("100%", kAudit)}, {kAudit, kAudit}), (Words{"100%", "-"}));
}

TEST(Script, PlaysACallWithoutArguments) {
  EXPECT_EQ(Played({SceneOf("usage", {})}, {{}, {}}), (Words{"usage", "-"}));
}

TEST(KindOfCall, IgnoresTheCaseOfTheCommandAlone) {
  EXPECT_EQ(KindOf({"INSTALL", "a"}), "install");
  EXPECT_EQ(KindOf({"Install", "a", "b", "--rollback"}), "install --rollback");
  EXPECT_EQ(KindOf({"install", "a", "b", "--ROLLBACK"}), "install");
}

TEST(KindOfCall, TakesTheFourthArgumentAloneForARollback) {
  EXPECT_EQ(KindOf({"install", "a", "--rollback"}), "install");
  EXPECT_EQ(KindOf({"install", "a", "b", "c", "--rollback"}), "install");
  EXPECT_EQ(KindOf({"verify", "a", "b", "--rollback"}), "verify");
}

TEST(CallLog, HasALineOfColumns) {
  EXPECT_EQ(LogLine("1.recording", 11, {"install", "C:\\a b.inf", "", "x\ty"}),
            "1.recording\t11\tinstall\tC:\\a b.inf\t\tx%09y\n");
}

class ScriptFiles : public testing::Test {
 protected:
  /// Writes a recording of that command into the folder.
  std::string File(const std::string& name, const std::string& command) {
    std::filesystem::create_directories((temporary_ / name).parent_path());
    WriteHostFile(temporary_ / name, "VORN_RECORDING_V1\nargument " + command + "\n0 exit 0\n");
    return temporary_.Name(name);
  }

  static Words Commands(const std::string& list) {
    Words commands;
    for (const Scene& scene : ReadScript(list))
      commands.push_back(scene.file + " " + scene.recording.arguments[0]);
    return commands;
  }

  static std::string Refusal(const std::string& list) {
    try {
      ReadScript(list);
      return {};
    } catch (const BadScript& bad) {
      return bad.what();
    }
  }

  TemporaryFolder temporary_;
};

TEST_F(ScriptFiles, OfAFolderStandInTheOrderOfTheirNames) {
  for (const char* const name : {"2", "4", "1", "3"})
    File("run/" + std::string(name) + ".recording", "verify");
  File("run/notes.txt", "nothing");
  EXPECT_EQ(Commands(temporary_.Name("run")), (Words{"1.recording verify", "2.recording verify",
                                                     "3.recording verify", "4.recording verify"}));
}

TEST_F(ScriptFiles, OfAListStandInItsOrder) {
  const std::string single = File("any name", "remove");
  File("run/1.recording", "install");
  EXPECT_EQ(Commands(single + ";;" + temporary_.Name("run") + ";" + single + ";"),
            (Words{"any name remove", "1.recording install", "any name remove"}));
}

TEST_F(ScriptFiles, AreNamedWhenOneIsMissing) {
  EXPECT_EQ(Refusal(temporary_.Name("none")), temporary_.Name("none") + ": cannot be read");
}

TEST_F(ScriptFiles, AreNamedWithTheLineWhenOneIsNoRecording) {
  WriteHostFile(temporary_ / "bad", "VORN_RECORDING_V1\n0 out x\n");
  EXPECT_EQ(Refusal(temporary_.Name("bad")),
            temporary_.Name("bad") + ": line 2: the recording ends before its run");
}

TEST_F(ScriptFiles, MakeNoScriptWhenThereAreNone) {
  std::filesystem::create_directories(temporary_ / "run");
  EXPECT_EQ(Refusal(temporary_.Name("run")), temporary_.Name("run") + ": has no recording");
}

}  // namespace
}  // namespace vorn::rehearsal
