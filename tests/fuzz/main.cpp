// One program for all targets, because that builds in a fifth of the time of one program for each.
// "--target=journal" selects the target, and "--tell" lets "life" say each life in words. libFuzzer
// ignores arguments that start with two dashes and passes them on to the processes that it starts.

#include "tests/fuzz/life.h"
#include "tests/fuzz/targets.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

using Target = void (*)(std::span<const std::uint8_t>);

struct NamedTarget {
  std::string_view name;
  Target run;
};

constexpr NamedTarget kTargets[] = {
    {"capture", vorn::tests::FuzzCapture},
    {"command_line", vorn::tests::FuzzCommandLine},
    {"directory_records", vorn::tests::FuzzDirectoryRecords},
    {"driver_replies", vorn::tests::FuzzDriverReplies},
    {"endpoint_records", vorn::tests::FuzzEndpointRecords},
    {"inf_text", vorn::tests::FuzzInfText},
    {"journal", vorn::tests::FuzzJournal},
    {"life", vorn::tests::FuzzLife},
    {"machine_document", vorn::tests::FuzzMachineDocument},
    {"paths", vorn::tests::FuzzPaths},
    {"recording", vorn::tests::FuzzRecording},
};

Target chosen = nullptr;

}  // namespace

/// Called by libFuzzer once, before the first input.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  constexpr std::string_view kOption = "--target=";
  for (int i = 1; i < *argc; ++i) {
    const std::string_view argument = (*argv)[i];
    if (argument == "--tell") vorn::tests::tellLives = true;
    if (!argument.starts_with(kOption)) continue;
    for (const NamedTarget& target : kTargets) {
      if (target.name == argument.substr(kOption.size())) chosen = target.run;
    }
  }
  if (chosen == nullptr) {
    std::fputs("vorn_fuzz: --target=NAME names one of tests/fuzz\n", stderr);
    std::exit(64);
  }
  return 0;
}

/// Called by libFuzzer with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  chosen({data, size});
  return 0;
}
