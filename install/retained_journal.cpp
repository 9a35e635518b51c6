#include "install/retained_journal.h"

#include "report/console.h"
#include "report/exit_status.h"
#include "verify/live_verification.h"

#include <cstdint>
#include <optional>

namespace vorn {

bool RetireRetainedJournal(Journal& journal) {
  const JournalPresence presence = journal.Look();
  if (presence == JournalPresence::Absent) return true;
  if (presence == JournalPresence::Unknown) {
    PrintError(u"vorn_devnode: activation state could not be safely inspected\n");
    return false;
  }

  const std::optional<ActivationState> state = journal.Read();
  const ExitStatus verify =
      state ? RunLiveVerification(*state, VerificationMode::Reporting) : kExitNotStarted;
  if (verify != kExitOk) {
    PrintError(
        u"vorn_devnode: protected activation state exists and does not match the live driver "
        u"(readable=%d, verify=%d); recover or roll it back before another bind\n",
        std::int32_t{state.has_value()}, verify);
    return false;
  }
  Print(
      u"vorn_devnode: retained activation state matches the live driver (%ls); retiring it and "
      u"continuing\n",
      state->target.version);
  journal.Delete();
  return true;
}

}  // namespace vorn
