// When the journal stays and when it is deleted.

#include "base/path_text.h"
#include "base/text.h"
#include "platform/simulated/file_tree.h"
#include "tests/invariants/checkers.h"
#include "tests/invariants/target.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

namespace vorn::tests {

namespace model = platform::simulated;
using model::FaultKind;

namespace {

/// The journal; nothing when it was deleted, even while a scanner that reads it keeps its name.
std::optional<model::Bytes> JournalOf(const model::Machine& machine) {
  const auto content = model::ReadWholeFile(machine.files, kSampleJournal);
  if (!content) return std::nullopt;
  const model::Node& folder = model::NodeAt(machine.files, CutLastComponent(kSampleJournal));
  const model::Entry* entry = model::FindEntry(folder, FileNameComponent(kSampleJournal));
  return entry != nullptr && entry->deletePending ? std::nullopt : content;
}

/// Whether the program reported that it could not delete the journal, or a call that creates or
/// deletes it lied.
bool DeletionIsExcused(const Observation& run) {
  return run.Said(u"delete handle(activation state) failed") ||
         run.Said(u"safe open for delete(activation state) failed") ||
         run.IsFaulted("SetFileInformationByHandle", FaultKind::SucceedWithoutEffect) ||
         run.IsFaulted("NtCreateFile", FaultKind::FailAfterEffect) ||
         (run.IsFaulted("CloseHandle") && run.run.openObjects.contains(model::ObjectKind::Handle));
}

bool Kept(const Observation& run) {
  return run.run.status == 0 || run.run.status == 10;
}

/// Whether the journal must be unchanged: the command refused before it touched the journal, or
/// because of it.
bool MustBeUntouched(const Observation& run) {
  if (!IsInstall(run.command) || run.run.status == 2) return true;
  return run.run.status == 9 && (run.Said(u"protected activation state exists") ||
                                 run.Said(u"could not be safely inspected"));
}

/// Whether a journal names the version of the INF that was there before the run, or after it.
bool NamesTarget(const Observation& run, const model::Bytes& journal) {
  for (const model::Machine* machine : {&run.before, &run.after}) {
    const auto inf = model::ReadWholeFile(machine->files, kSampleInf);
    const std::u16string version = inf ? DriverVerOf(*inf).version : u"";
    if (!version.empty() && HoldsText(journal, version)) return true;
  }
  return false;
}

Violations CheckKeptJournal(const Observation& run, const std::optional<model::Bytes>& after) {
  if (!after) return {"the journal is gone though the outcome needs it"};
  // A write that reports success without effect cannot be detected.
  const bool lied = run.IsFaulted("WriteFile", FaultKind::SucceedWithoutEffect) ||
                    run.IsFaulted("SetFilePointerEx", FaultKind::SucceedWithoutEffect) ||
                    run.IsFaulted("SetEndOfFile", FaultKind::SucceedWithoutEffect);
  if (lied || NamesTarget(run, *after)) return {};
  return {"the journal does not name the target"};
}

}  // namespace

Violations CheckJournal(const Observation& run) {
  if (run.run.killed || run.OthersDid("journal")) return {};
  const auto before = JournalOf(run.before);
  const auto after = JournalOf(run.after);
  if (MustBeUntouched(run)) {
    if (before != after) return {"a run that must not touch the journal did"};
    return {};
  }
  if (Kept(run)) return CheckKeptJournal(run, after);
  if (after && !DeletionIsExcused(run)) {
    // An earlier journal that could not be deleted stays and blocks the write.
    if (run.run.status == 9 && before == after) return {};
    return {"the journal is left with status " + std::to_string(run.run.status)};
  }
  return {};
}

}  // namespace vorn::tests
