// The contract suite: every case, or those whose names contain one of the arguments.
//
// usage: contract [--record FILE] [--together] [--without-skips] [PART OF A NAME...]
//        contract --list
//        contract [--record FILE] --questions [INF]           (Windows only)
//        contract [--record FILE] --questions --signed INF    (binds that package for a while)
//
//        contract --survival          (cases that crash, hang and throw: does the suite go on?)
//
// On Windows each case and each question runs in a process of its own, with a time limit
// (--case NAME, --question NAME); --together runs the cases in this one.

#include "tests/contract/apart.h"
#include "tests/contract/contract.h"
#include "tests/contract/questions.h"
#include "tests/contract/record.h"
#include "tests/contract/survival.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <exception>

namespace vorn::contract {

namespace {

struct Skipped {
  std::string reason;
};
struct Stopped {};

enum class Result { Passed = 0, Failed = 1, Skipped = 2 };

constexpr std::uint32_t kCaseSeconds = 60;
constexpr std::uint32_t kIllCaseSeconds = 3;

std::vector<std::string> failures;
bool skipsHold = true;
bool together = false;

const char* BaseName(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '/' || *at == '\\') name = at + 1;
  }
  return name;
}

/// Runs one case. The reason when it was skipped, else empty; failures are noted.
std::string RunBody(const Case& one) {
  std::string reason;
  try {
    BeginCase();
    one.run();
  } catch (const Skipped& skipped) {
    reason = skipped.reason;
  } catch (const Stopped&) {
  } catch (const std::exception& thrown) {
    NoteFailure(__FILE__, __LINE__, std::string("the case threw ") + thrown.what());
  }
  if (const std::size_t open = EndCase(); open != 0 && failures.empty() && reason.empty()) {
    NoteFailure(__FILE__, __LINE__, "the case left " + std::to_string(open) + " objects open");
  }
  return reason;
}

void Say(const char* what, const char* record, const Case& one, const std::string& detail) {
  std::printf("%-4s %s%s%s\n", what, one.name, detail.empty() ? "" : " - ", detail.c_str());
  std::fflush(stdout);
  Record({{"kind", "case"}, {"name", one.name}, {"result", record}, {"detail", detail}});
}

Result RunHere(const Case& one) {
  failures.clear();
  const std::string reason = RunBody(one);
  for (const std::string& failure : failures)
    Say("FAIL", "failed", one, failure);
  if (!failures.empty()) return Result::Failed;
  if (!reason.empty()) {
    Say("skip", "skipped", one, reason);
    return Result::Skipped;
  }
  Say("ok", "passed", one, "");
  return Result::Passed;
}

/// Runs one case where its end cannot end the suite.
Result Run(const Case& one, std::uint32_t seconds = kCaseSeconds) {
  if (together) return RunHere(one);
  std::vector<std::string> arguments;
  if (!RecordFile().empty()) arguments = {"--record", RecordFile()};
  if (!skipsHold) arguments.emplace_back("--without-skips");
  arguments.insert(arguments.end(), {"--case", one.name});
  const std::optional<Ending> ending = RunApart(arguments, seconds);
  if (!ending) return RunHere(one);
  if (ending->inTime && ending->status <= 2) return static_cast<Result>(ending->status);
  Say("FAIL", "failed", one, "the case's process " + ending->Text());
  return Result::Failed;
}

bool IsChosen(const Case& one, const std::vector<std::string>& parts) {
  const std::string name = one.name;
  return parts.empty() || std::any_of(parts.begin(), parts.end(), [&](const std::string& part) {
           return name.find(part) != std::string::npos;
         });
}

int RunAll(const std::vector<std::string>& parts) {
  int counts[3] = {};
  for (const Case& one : Cases()) {
    if (IsChosen(one, parts)) ++counts[static_cast<int>(Run(one))];
  }
  const auto [passed, failed, skipped] = counts;
  std::printf("%d passed, %d failed, %d skipped\n", passed, failed, skipped);
  return failed == 0 && passed + skipped != 0 ? 0 : 1;
}

/// Whether each ill case fails alone and the sound one after them passes.
int ShowSurvival() {
  bool asExpected = true;
  for (const IllCase& ill : IllCases()) {
    if (ill.apartOnly && TheSide() == Side::Model) continue;
    const bool passed = Run(ill.one, kIllCaseSeconds) == Result::Passed;
    asExpected = asExpected && passed == ill.passes;
  }
  std::printf("the suite %s\n", asExpected ? "goes on after each" : "does not see what went wrong");
  return asExpected ? 0 : 1;
}

int RunOne(const std::string& name) {
  for (const IllCase& ill : IllCases()) {
    if (name == ill.one.name) return static_cast<int>(RunHere(ill.one));
  }
  for (const Case& one : Cases()) {
    if (name == one.name) return static_cast<int>(RunHere(one));
  }
  std::printf("there is no case %s\n", name.c_str());
  return 64;
}

int ListCases() {
  for (const Case& one : Cases())
    std::printf("%s\n", one.name);
  return 0;
}

/// A question that cannot go on says why; what it answered until then stands.
int AskAndTellWhy(const std::vector<std::string>& arguments) {
  int status = 1;
  try {
    status = AskQuestion(arguments);
  } catch (const Stopped&) {
    EndCase();
  }
  for (const std::string& failure : failures)
    std::printf("FAIL question %s - %s\n", arguments.front().c_str(), failure.c_str());
  std::fflush(stdout);
  return status;
}

int RunProgram(std::vector<std::string> arguments) {
  const auto take = [&arguments](std::string_view option) {
    const bool found = !arguments.empty() && arguments.front() == option;
    if (found) arguments.erase(arguments.begin());
    return found;
  };
  if (take("--record") && !arguments.empty()) {
    RecordTo(arguments.front());
    arguments.erase(arguments.begin());
  }
  if (take("--list")) return ListCases();
  if (take("--questions")) return AskQuestions(arguments);
  if (take("--question")) return AskAndTellWhy(arguments);
  if (take("--survival")) return ShowSurvival();
  together = take("--together");
  skipsHold = !take("--without-skips");
  if (take("--case")) return arguments.size() == 1 ? RunOne(arguments.front()) : 64;
  return RunAll(arguments);
}

}  // namespace

std::vector<Case>& Cases() {
  static std::vector<Case> cases;
  return cases;
}

void SkipOn(Side side, std::string_view reason) {
  if (skipsHold && TheSide() == side) throw Skipped{std::string(reason)};
}

void NoteFailure(const char* file, int line, const std::string& what) {
  failures.push_back(std::string(BaseName(file)) + ":" + std::to_string(line) + ": " + what);
}

void StopCase() {
  throw Stopped{};
}

std::string Printable(std::u16string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::uint32_t unit = text[i];
    if (unit >= 0x20 && unit < 0x7F) {
      result += static_cast<char>(unit);
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(unit));
      result += escape;
    }
  }
  return result;
}

std::string ShownNumber(std::int64_t value) {
  char text[64];
  std::snprintf(text, sizeof text, "%" PRId64 " (0x%" PRIx32 ")", value,
                static_cast<std::uint32_t>(value));
  return text;
}

}  // namespace vorn::contract

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOFBF, 1 << 14);
  return vorn::contract::RunProgram(vorn::contract::Arguments(argc, argv));
}
