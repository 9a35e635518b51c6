#include "install/retained_journal.h"

#include "journal/activation_state.h"
#include "journal/activation_storage.h"
#include "platform/last_error.h"
#include "privileged_input/protected_files.h"
#include "report/console.h"
#include "report/exit_status.h"
#include "verify/live_verification.h"

#include <cstdint>

namespace vorn {

namespace {

enum class Retained { No, Yes, Unknown };

/// The file is looked at through the cache of protected files, which keeps it open for the reader;
/// no reference of ours outlives this, so that a deletion can take effect.
Retained FindRetainedJournal(const std::u16string& statePath) {
  if (privileged_input::OpenProtectedFile(statePath)) return Retained::Yes;
  return platform::GetLastError() == platform::ERROR_FILE_NOT_FOUND ? Retained::No
                                                                    : Retained::Unknown;
}

}  // namespace

bool RetireRetainedJournal(const std::u16string& statePath) {
  const Retained retained = FindRetainedJournal(statePath);
  if (retained == Retained::No) return true;
  if (retained == Retained::Unknown) {
    PrintError(u"vorn_devnode: activation state could not be safely inspected\n");
    return false;
  }

  ActivationState journal;
  const bool readable = ReadActivationState(statePath, journal);
  const ExitStatus verify =
      readable ? RunLiveVerification(journal, VerificationMode::Reporting) : kExitNotStarted;
  if (verify != kExitOk) {
    PrintError(
        u"vorn_devnode: protected activation state exists and does not match the live driver "
        u"(readable=%d, verify=%d); recover or roll it back before another bind\n",
        std::int32_t{readable}, verify);
    return false;
  }
  Print(
      u"vorn_devnode: retained activation state matches the live driver (%ls); retiring it and "
      u"continuing\n",
      journal.version);
  DeleteActivationState(statePath);
  return true;
}

}  // namespace vorn
