#pragma once

// The lab's commands on machines in a temporary folder, as a shell calls them.

#include "lab/command_line.h"
#include "lab/host_folder.h"
#include "lab/json_text.h"
#include "tests/lab/lab_process.h"
#include "tests/lab/temporary_folder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace vorn::lab {

using Words = std::vector<std::string>;

/// Every file of a folder with its content.
inline std::map<std::string, std::string> ContentOf(const std::filesystem::path& folder) {
  std::map<std::string, std::string> content;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
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

  /// Runs a command of the program on a new machine of the preset. It must end with that status and
  /// print that part.
  void ExpectAnswer(const std::string& preset, const Words& options, const Words& command,
                    int status, const std::string& part) {
    const std::string machine = Machine(preset);
    Words words = {"run", machine};
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), command.begin(), command.end());
    const LabResult result = RunLab(words);
    EXPECT_EQ(result.status, status);
    const std::string text = result.Output() + result.ErrorOutput();
    EXPECT_NE(text.find(part), std::string::npos) << text;
    std::filesystem::remove_all(machine);
  }

  static Json Shown(const std::string& folder) {
    return ParseJson(RunLab({"show", folder, "--json"}).Output());
  }

  TemporaryFolder temporary_;
};

}  // namespace vorn::lab
