// The contract suite: every case, or those whose names contain one of the arguments.
//
// usage: contract [--without-skips] [PART OF A NAME...]
//        contract --list
//        contract --questions [INF]      (Windows only: questions that change nothing)

#include "tests/contract/contract.h"
#include "tests/contract/questions.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace vorn::contract {

namespace {

struct Skipped {
  std::string reason;
};
struct Stopped {};

std::vector<std::string> failures;
bool skipsHold = true;

const char* BaseName(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '/' || *at == '\\') name = at + 1;
  }
  return name;
}

/// Runs one case. The reason when it was skipped, else empty; failures are noted.
std::string Run(const Case& one) {
  std::string reason;
  BeginCase();
  try {
    one.run();
  } catch (const Skipped& skipped) {
    reason = skipped.reason;
  } catch (const Stopped&) {
  }
  if (const std::size_t open = EndCase(); open != 0 && failures.empty() && reason.empty()) {
    NoteFailure(__FILE__, __LINE__, "the case left " + std::to_string(open) + " objects open");
  }
  return reason;
}

bool IsChosen(const Case& one, int count, char** parts) {
  if (count == 0) return true;
  return std::any_of(parts, parts + count,
                     [&](const char* part) { return std::strstr(one.name, part) != nullptr; });
}

int RunAll(int count, char** parts) {
  int passed = 0;
  int failed = 0;
  int skipped = 0;
  for (const Case& one : Cases()) {
    if (!IsChosen(one, count, parts)) continue;
    failures.clear();
    const std::string reason = Run(one);
    if (!failures.empty()) {
      ++failed;
      for (const std::string& failure : failures)
        std::printf("FAIL %s - %s\n", one.name, failure.c_str());
    } else if (!reason.empty()) {
      ++skipped;
      std::printf("skip %s - %s\n", one.name, reason.c_str());
    } else {
      ++passed;
      std::printf("ok   %s\n", one.name);
    }
    std::fflush(stdout);
  }
  std::printf("%d passed, %d failed, %d skipped\n", passed, failed, skipped);
  return failed == 0 && passed + skipped != 0 ? 0 : 1;
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
  using namespace vorn::contract;
  std::setvbuf(stdout, nullptr, _IOFBF, 1 << 14);
  if (argc > 1 && std::strcmp(argv[1], "--questions") == 0) {
    return AskQuestions(argc > 2 ? argv[2] : nullptr);
  }
  if (argc > 1 && std::strcmp(argv[1], "--list") == 0) {
    for (const Case& one : Cases())
      std::printf("%s\n", one.name);
    return 0;
  }
  const bool everything = argc > 1 && std::strcmp(argv[1], "--without-skips") == 0;
  skipsHold = !everything;
  const int options = everything ? 2 : 1;
  return RunAll(argc - options, argv + options);
}
