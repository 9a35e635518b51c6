// The command rehearse: a line of JSON for each capture of a list.

#include "lab/command_line.h"
#include "lab/json_text.h"
#include "tests/lab/lab_commands.h"
#include "tests/lab/sample_words.h"

namespace vorn::lab {
namespace {

class Rehearsal : public Lab {
 protected:
  /// The folder of a capture of a machine of that preset.
  std::string Captured(const std::string& preset) {
    const std::string machine = Machine(preset);
    std::string capture = temporary_.Name(preset);
    EXPECT_EQ(RunLab({"capture", machine, capture, "--inf", kInf}).status, 0);
    std::filesystem::remove_all(machine);
    return capture;
  }

  /// The rows for a list with these lines.
  std::vector<Json> Rows(const std::string& list, const Words& command, const Words& options = {}) {
    WriteHostFile(temporary_ / "list", list);
    Words words = {"rehearse", temporary_.Name("list")};
    words.insert(words.end(), options.begin(), options.end());
    words.emplace_back("--");
    words.insert(words.end(), command.begin(), command.end());
    const LabResult result = RunLab(words);
    EXPECT_EQ(result.status, 0);
    std::vector<Json> rows;
    std::istringstream lines(result.Output());
    for (std::string line; std::getline(lines, line);)
      rows.push_back(ParseJson(line));
    return rows;
  }
};

TEST_F(Rehearsal, TellsTheStatusTheLastLineAndTheTime) {
  const std::string capture = Captured("clean");
  const std::vector<Json> rows = Rows(capture + "\n", {"install", kInf});
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0]["capture"], capture);
  EXPECT_EQ(rows[0]["status"], 0);
  EXPECT_TRUE(rows[0]["line"].As<std::string>()->starts_with("vorn_devnode: RESULT=OK - root="));
  EXPECT_EQ(rows[0]["milliseconds"], 2500);
}

TEST_F(Rehearsal, MakesTheFaultsHappenOnEachMachine) {
  const std::string capture = Captured("clean");
  const std::vector<Json> rows = Rows(capture + "\n" + capture + "\n", {"install", kInf},
                                      {"--fault", "SetupDiCreateDeviceInfoList:fail=5"});
  ASSERT_EQ(rows.size(), 2U);
  for (const Json& row : rows) {
    EXPECT_EQ(row["status"], 3);
    EXPECT_EQ(row["line"], "vorn_devnode: SetupDiCreateDeviceInfoList failed (error 0x00000005)");
  }
}

TEST_F(Rehearsal, TakesEmptyLinesOfTheListForNothing) {
  const std::string capture = Captured("clean");
  EXPECT_EQ(Rows("\n" + capture + "\n\n", {"audit-catalog"}).size(), 1U);
}

TEST_F(Rehearsal, SaysWhyACaptureIsRefusedAndGoesOn) {
  const std::string capture = Captured("clean");
  const std::string bad = temporary_.Name("caf\xE9");
  const std::vector<Json> rows = Rows(bad + "\n" + capture + "\n", {"audit-catalog"});
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0]["refused"],
            temporary_.Name("caf\uFFFD") + ": is no capture: it has no machine.json");
  EXPECT_EQ(rows[1]["status"], 12);
}

TEST_F(Rehearsal, NamesACaptureWhoseNameIsNoText) {
  const std::string odd = temporary_.Name("caf\xE9");
  std::filesystem::rename(Captured("clean"), odd);
  const std::vector<Json> rows = Rows(odd + "\n", {"audit-catalog"});
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0]["capture"], temporary_.Name("caf\uFFFD"));
  EXPECT_EQ(rows[0]["status"], 12);
}

TEST_F(Rehearsal, NeedsAListThatCanBeRead) {
  ExpectRefused({"rehearse", temporary_.Name("none"), "--", "audit-catalog"},
                temporary_.Name("none") + ": cannot be read");
}

}  // namespace
}  // namespace vorn::lab
