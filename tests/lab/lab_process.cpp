#include "tests/lab/lab_process.h"

#include "tests/lab/temporary_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

namespace vorn::lab {

namespace {

LabProcess RunProcess(const std::string& program, const std::vector<std::string>& arguments) {
  const TemporaryFolder streams;
  const std::string output = streams.Name("output");
  const std::string errorOutput = streams.Name("error");

  std::vector<std::string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words)
    pointers.push_back(word.data());
  pointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), kFlags, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, errorOutput.c_str(), kFlags, 0600);
  pid_t child = 0;
  EXPECT_EQ(posix_spawn(&child, program.c_str(), &actions, nullptr, pointers.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);

  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  LabProcess process;
  process.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  process.output = ReadHostFile(output);
  process.errorOutput = ReadHostFile(errorOutput);
  return process;
}

}  // namespace

LabProcess RunLabProcess(const std::vector<std::string>& arguments) {
  return RunProcess(LabProgram(), arguments);
}

LabProcess RunShellLine(const std::string& folder, const std::string& line) {
  const std::string lab = "vorn_lab() { \"" + std::string(LabProgram()) + "\" \"$@\"; }";
  return RunProcess("/bin/sh", {"-c", "cd \"" + folder + "\" && exec 2>&1; " + lab + "\n" + line});
}

}  // namespace vorn::lab
