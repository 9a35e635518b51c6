#include "cli/dispatch.h"

#include "base/text.h"
#include "cli/default_state_path.h"
#include "cli/run_state.h"
#include "install/install_command.h"
#include "remove/remove_command.h"
#include "report/console.h"
#include "verify/audit_commands.h"
#include "verify/resume_endpoints.h"
#include "verify/verify_commands.h"

#include <optional>
#include <string_view>

namespace vorn::cli {

namespace {

using privileged_input::AbsolutePath;

using Arguments = std::vector<std::u16string>;

constexpr std::u16string_view kUsageLines[] = {
    u"Usage:\n",
    u"  vorn_devnode.exe install <path-to-vorn_audio.inf> [state-path [--rollback]]\n",
    u"  vorn_devnode.exe verify <expected-version> <expected-date> [state-path]\n",
    u"  vorn_devnode.exe hot-activate <expected-version> <expected-date> [state-path]\n",
    u"  vorn_devnode.exe audit-current <path-to-exact-INF>\n",
    u"  vorn_devnode.exe audit-catalog\n",
    u"  vorn_devnode.exe resume-endpoints\n",
    u"  vorn_devnode.exe remove <path-to-exact-INF>\n",
};

void PrintUsage() {
  for (const std::u16string_view line : kUsageLines)
    PrintText(ConsoleStream::Output, line);
}

/// `count` is the least number of arguments, program name and command word included.
bool IsCommand(const Arguments& arguments, std::u16string_view word, std::size_t count = 2) {
  return arguments.size() >= count && EqualsIgnoringCase(arguments[1], word);
}

ExitStatus RunInstall(const Arguments& arguments, RunState& state) {
  const std::optional<AbsolutePath> infPath = AbsolutePath::Parse(arguments[2]);
  if (!infPath) return kExitInputRefused;
  const std::optional<AbsolutePath> statePath =
      AbsolutePath::Parse(arguments.size() >= 4 ? arguments[3] : StatePathForInf(arguments[2]));
  if (!statePath) return kExitInputRefused;
  if (!AcquirePackageSnapshot(infPath, state.snapshot)) return kExitInputRefused;
  Journal journal(state.protectedFiles, statePath);
  return Install({.inf = state.snapshot.Input(),
                  .journal = journal,
                  .rollback = arguments.size() >= 5 && arguments[4] == u"--rollback"});
}

ExitStatus RunRemoval(const Arguments& arguments, RunState& state) {
  if (!AcquirePackageSnapshot(AbsolutePath::Parse(arguments[2]), state.snapshot)) {
    return kExitRemoveRefused;
  }
  return RunRemove(state.snapshot.Input(), arguments[2], state.removalLog);
}

/// Runs verify or hot-activate. A state path that is not absolute fails when it is opened.
ExitStatus RunOnJournal(decltype(&Verify) command, const Arguments& arguments, RunState& state) {
  Journal journal(
      state.protectedFiles,
      AbsolutePath::Parse(arguments.size() >= 5 ? arguments[4] : StatePathForProgram()));
  return command(arguments[2], arguments[3], journal);
}

ExitStatus RunAuditCurrent(const Arguments& arguments, RunState& state) {
  if (!AcquirePackageSnapshot(AbsolutePath::Parse(arguments[2]), state.snapshot)) {
    return kExitInputRefused;
  }
  return AuditCurrent(state.snapshot.Input());
}

ExitStatus Dispatch(const Arguments& arguments, RunState& state) {
  if (IsCommand(arguments, u"install", 3)) return RunInstall(arguments, state);
  if (IsCommand(arguments, u"remove") && arguments.size() == 3) return RunRemoval(arguments, state);
  if (IsCommand(arguments, u"verify", 4)) return RunOnJournal(&Verify, arguments, state);
  if (IsCommand(arguments, u"hot-activate", 4)) return RunOnJournal(&HotActivate, arguments, state);
  if (IsCommand(arguments, u"audit-current", 3)) return RunAuditCurrent(arguments, state);
  if (IsCommand(arguments, u"audit-catalog")) return AuditCatalog();
  if (IsCommand(arguments, u"resume-endpoints")) return ResumeEndpoints();
  PrintUsage();
  return kExitUsage;
}

}  // namespace

ExitStatus Run(const std::vector<std::u16string>& arguments) {
  RunState state;
  return Dispatch(arguments, state);
}

}  // namespace vorn::cli
