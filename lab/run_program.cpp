#include "lab/run_program.h"

#include "base/text.h"
#include "cli/dispatch.h"
#include "platform/simulated/process.h"

namespace vorn::lab {

using platform::simulated::ConsoleWrite;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Process;

namespace {

constexpr char16_t kProgramName[] = u"vorn_devnode.exe";

std::vector<std::u16string> CommandLine(const std::vector<std::string>& arguments) {
  std::vector<std::u16string> words = {kProgramName};
  for (const std::string& argument : arguments)
    words.push_back(ToUtf16(argument));
  return words;
}

/// The faults that befall every process of the machine.
std::vector<Fault> FaultsOfMachine(const ProcessFacts& facts) {
  std::vector<Fault> faults;
  for (const std::string& spec : facts.faults)
    faults.push_back(ParseFault(spec).fault);
  return faults;
}

/// The number of the call that is being made after so many.
std::size_t IndexOf(std::uint64_t callCount) {
  return callCount == 0 ? 0 : static_cast<std::size_t>(callCount - 1);
}

/// Why the answers of the calls that a fault hit are as they would have been without it.
std::string WhyUnspoiled(FaultKind kind) {
  if (kind == FaultKind::Short) return "nothing longer was returned";
  if (kind == FaultKind::Long) return "nothing was returned that could be longer";
  return "what was called asks for no restart";
}

/// Why faults had no effect, now that the process has ended.
std::vector<std::string> RemarksOn(const std::vector<StagedFault>& faults, const Process& process) {
  std::vector<std::string> remarks;
  for (std::size_t i = 0; i < faults.size(); ++i) {
    const Fault& fault = process.faults[i];
    const std::string about = "--fault " + faults[i].spec + ": ";
    if (fault.hits == 0) {
      const bool any = fault.call == "*";
      const auto* const one = process.callCounts.find(fault.call);
      const std::uint64_t calls = any ? process.callCount : one == nullptr ? 0 : one->second;
      remarks.push_back(about + "was never reached: the run made " + std::to_string(calls) +
                        " such call(s)");
    }
    if (fault.hits != 0 && fault.vain == fault.hits) {
      remarks.push_back(about + "changed nothing: " + WhyUnspoiled(fault.kind));
    }
    const std::vector<std::string>& refusals = *faults[i].refusals;
    if (!refusals.empty() && refusals.size() == fault.hits) {
      remarks.push_back(about + "changed nothing: " + refusals[0]);
    }
  }
  return remarks;
}

}  // namespace

void PrepareProcess(const ProcessFacts& facts, Process& process) {
  process.token = facts.token;
  process.standardOutputClosed = facts.standardOutputClosed;
  process.ntdllMissing = facts.ntdllMissing;
  process.missingExports = facts.missingExports;
  for (Fault& fault : FaultsOfMachine(facts))
    process.faults.push_back(std::move(fault));
}

ProgramRun RunProgram(LabMachine& lab, const std::vector<std::string>& arguments,
                      const std::vector<StagedFault>& faults, bool logCalls,
                      const RunWatch& watch) {
  Process process(lab.machine);
  for (const StagedFault& staged : faults)
    process.faults.push_back(staged.fault);
  PrepareProcess(lab.process, process);
  process.logCalls = logCalls;
  if (watch) process.watch = [&] { watch(IndexOf(process.callCount)); };

  ProgramRun run;
  const std::uint64_t began = lab.machine.clock.tick;
  const ExitStatus status = cli::Run(CommandLine(arguments));
  process.Return();
  run.killed = process.killed;
  if (process.RanAway())
    run.end = "ended after " + std::to_string(process.mostCalls) + " calls of the platform";
  run.milliseconds = lab.machine.clock.tick - began;
  run.result.status = process.killed ? kExitKilled : status;
  for (const ConsoleWrite& write : process.console)
    run.result.console.push_back(
        {write.error, ToUtf8(write.text), write.tick - began, IndexOf(write.call)});
  run.calls = std::move(process.calls);
  run.remarks = RemarksOn(faults, process);
  return run;
}

}  // namespace vorn::lab
