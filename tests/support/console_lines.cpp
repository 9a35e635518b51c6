#include "tests/support/console_lines.h"

#include "base/text.h"

#include <gtest/gtest.h>

namespace vorn::tests {

std::ostream& operator<<(std::ostream& stream, const ConsoleLine& line) {
  return stream << "\n  " << (line.error ? "Err" : "Out") << " " << line.text;
}

ConsoleLine Out(std::string text) {
  return {false, std::move(text) + "\n"};
}

ConsoleLine Err(std::string text) {
  return {true, std::move(text) + "\n"};
}

Console ConsoleOf(const std::vector<platform::simulated::ConsoleWrite>& writes) {
  Console console;
  for (const auto& write : writes)
    console.push_back({write.error, ToUtf8(write.text)});
  return console;
}

Console ConsoleOf(const RunResult& run) {
  return ConsoleOf(run.console);
}

void ExpectRun(const RunResult& run, ExitStatus status, const Console& console) {
  EXPECT_EQ(run.status, status);
  EXPECT_EQ(ConsoleOf(run), console);
  EXPECT_TRUE(run.openObjects.empty());
  EXPECT_FALSE(run.killed);
}

}  // namespace vorn::tests
