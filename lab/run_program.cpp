#include "lab/run_program.h"

#include "base/text.h"
#include "cli/dispatch.h"
#include "lab/call_trace.h"
#include "platform/simulated/process.h"

namespace vorn::lab {

using platform::simulated::ConsoleWrite;
using platform::simulated::Fault;
using platform::simulated::Process;

namespace {

constexpr char16_t kProgramName[] = u"vorn_devnode.exe";

std::vector<std::u16string> CommandLine(const std::vector<std::string>& arguments) {
  std::vector<std::u16string> words = {kProgramName};
  for (const std::string& argument : arguments)
    words.push_back(ToUtf16(argument));
  return words;
}

}  // namespace

ProgramRun RunProgram(LabMachine& lab, const std::vector<std::string>& arguments,
                      const std::vector<Fault>& faults, bool trace) {
  Process process(lab.machine);
  process.token = lab.process.token;
  process.standardOutputClosed = lab.process.standardOutputClosed;
  process.ntdllMissing = lab.process.ntdllMissing;
  process.missingExports = lab.process.missingExports;
  process.faults = faults;
  process.logCalls = trace;

  ProgramRun run;
  const ExitStatus status = cli::Run(CommandLine(arguments));
  process.Return();
  run.result.status = process.killed ? kExitKilled : status;
  for (const ConsoleWrite& write : process.console)
    run.result.console.push_back({write.error, ToUtf8(write.text)});
  run.trace = TraceText(process.calls);
  return run;
}

}  // namespace vorn::lab
