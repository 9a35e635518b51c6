#include "tests/contract/questions.h"

#include "base/text.h"
#include "platform/files.h"
#include "product/product.h"
#include "tests/contract/apart.h"
#include "tests/contract/contract.h"
#include "tests/contract/own_device.h"
#include "tests/contract/record.h"
#include "tests/contract/windows/answers.h"

#include <cstdio>
#include <cstring>

namespace vorn::contract {

namespace {

struct Question {
  const char* name;
  void (*ask)(const Given&);
  std::uint32_t seconds;
};

/// Those that change something for a while come last.
constexpr Question kQuestions[] = {
    {"inf-path", AskVolumeGuidPath, 60},
    {"original-names", AskOriginalNames, 60},
    {"hard-links", AskHardLinks, 60},
    {"disabled-endpoint", AskDisabledEndpoints, 60},
    {"endpoint-record", AskEndpointRecords, 60},
    {"alternatives", AskSuiteAlternatives, 60},
    {"killed-output", AskKilledOutput, 60},
    {"query-remove", AskQueryRemove, 120},
    {"bind-path", AskBindPaths, 600},
    {"audio-services", AskStoppedAudioServices, 180},
    {"signed-package", AskSignedPackage, 600},
};

constexpr std::string_view kSigned = "--signed";

Given FromArguments(const std::vector<std::string>& arguments) {
  Given given;
  for (const std::string& argument : arguments) {
    if (argument == kSigned) {
      given.isSigned = true;
    } else {
      given.inf = ToUtf16(argument);
    }
  }
  if (given.inf.empty()) given.inf = WindowsInfFolder() + u"\\machine.inf";
  return given;
}

bool PutQuestion(const Question& question, const std::vector<std::string>& arguments) {
  std::vector<std::string> line;
  if (!RecordFile().empty()) line = {"--record", RecordFile()};
  line.insert(line.end(), {"--question", question.name});
  line.insert(line.end(), arguments.begin(), arguments.end());
  const bool hadProduct = CountOwnDevices(kRootHardwareId) != 0;
  const std::optional<Ending> ending = RunApart(line, question.seconds);
  const bool put = ending && ending->inTime && ending->status == 0;
  if (!put && !hadProduct) RemoveOwnDevices(kRootHardwareId);
  const std::string how = put ? "put" : "the process " + ending.value_or(Ending{}).Text();
  std::printf("%s question %s%s%s\n", put ? "ok  " : "FAIL", question.name, put ? "" : " - ",
              put ? "" : how.c_str());
  std::fflush(stdout);
  Record({{"kind", "question"},
          {"name", question.name},
          {"result", put ? "put" : "failed"},
          {"detail", put ? "" : how}});
  return put;
}

}  // namespace

int AskQuestions(const std::vector<std::string>& arguments) {
  bool all = true;
  for (const Question& question : kQuestions)
    all = PutQuestion(question, arguments) && all;
  std::printf(all ? "every question was put\n" : "some questions could not be put\n");
  return all ? 0 : 1;
}

int AskQuestion(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return 64;
  const Given given = FromArguments({arguments.begin() + 1, arguments.end()});
  for (const Question& question : kQuestions) {
    if (arguments.front() != question.name) continue;
    BeginCase();
    question.ask(given);
    EndCase();
    return 0;
  }
  std::printf("there is no question %s\n", arguments.front().c_str());
  return 64;
}

}  // namespace vorn::contract
