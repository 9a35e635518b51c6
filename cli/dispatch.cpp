#include "cli/dispatch.h"

#include "base/text.h"
#include "cli/default_state_path.h"
#include "install/install_command.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/private_package.h"
#include "privileged_input/protected_files.h"
#include "remove/remove_command.h"
#include "report/console.h"
#include "report/removal_log.h"
#include "verify/audit_commands.h"
#include "verify/resume_endpoints.h"
#include "verify/verify_commands.h"

#include <string_view>

namespace vorn::cli {

namespace {

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

/// Whether the command word is `word` and at least `count` arguments stand on the command line, the
/// program's name and the word included.
bool IsCommand(const Arguments& arguments, std::u16string_view word, std::size_t count = 2) {
  return arguments.size() >= count && EqualsIgnoringCase(arguments[1], word);
}

ExitStatus RunInstall(const Arguments& arguments) {
  const std::u16string& infPath = arguments[2];
  if (!IsAbsolutePath(infPath)) return kExitInputRefused;
  const std::u16string statePath = arguments.size() >= 4 ? arguments[3] : StatePathForInf(infPath);
  if (!IsAbsolutePath(statePath)) return kExitInputRefused;
  if (!privileged_input::AcquirePackageSnapshot(infPath)) return kExitInputRefused;
  const bool rollback = arguments.size() >= 5 && arguments[4] == u"--rollback";
  return Install(privileged_input::SnapshotInfPath(), statePath, rollback);
}

/// The snapshot applies its own path rules; a refusal has a status of its own.
ExitStatus RunRemoval(const Arguments& arguments) {
  const std::u16string& infPath = arguments[2];
  if (!privileged_input::AcquirePackageSnapshot(infPath)) return kExitRemoveRefused;
  return RunRemove(privileged_input::SnapshotInfPath(), infPath);
}

/// For verify and hot-activate; the state path is not checked here.
std::u16string StatePathArgument(const Arguments& arguments) {
  return arguments.size() >= 5 ? arguments[4] : StatePathForProgram();
}

ExitStatus RunAuditCurrent(const Arguments& arguments) {
  if (!privileged_input::AcquirePackageSnapshot(arguments[2])) return kExitInputRefused;
  return AuditCurrent(privileged_input::SnapshotInfPath());
}

ExitStatus Dispatch(const Arguments& arguments) {
  if (IsCommand(arguments, u"install", 3)) return RunInstall(arguments);
  if (IsCommand(arguments, u"remove") && arguments.size() == 3) return RunRemoval(arguments);
  if (IsCommand(arguments, u"verify", 4)) {
    return Verify(arguments[2], arguments[3], StatePathArgument(arguments));
  }
  if (IsCommand(arguments, u"hot-activate", 4)) {
    return HotActivate(arguments[2], arguments[3], StatePathArgument(arguments));
  }
  if (IsCommand(arguments, u"audit-current", 3)) return RunAuditCurrent(arguments);
  if (IsCommand(arguments, u"audit-catalog")) return AuditCatalog();
  if (IsCommand(arguments, u"resume-endpoints")) return ResumeEndpoints();
  PrintUsage();
  return kExitUsage;
}

/// The log's folders and the journal may lie anywhere; the snapshot goes last, because what was
/// opened from it must be closed before its folders can vanish.
void ReleaseProcessState() {
  ReleaseRemovalLog();
  privileged_input::ReleaseProtectedFiles();
  privileged_input::ReleasePackageSnapshot();
}

}  // namespace

ExitStatus Run(const std::vector<std::u16string>& arguments) {
  const ExitStatus status = Dispatch(arguments);
  ReleaseProcessState();
  return status;
}

}  // namespace vorn::cli
