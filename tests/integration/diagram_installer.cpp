#include "tests/integration/diagram_installer.h"

#include "tests/integration/rehearsal.h"

#include <algorithm>

namespace vorn::tests {

namespace {

constexpr int kSuccess = 0;
constexpr int kRestartNeeded = 3010;
constexpr int kFailure = 1603;
constexpr int kBusy = 1618;

/// Statuses that the program itself ends with; any other one is a crash.
bool IsOfTheProgram(int status) {
  return status >= 0 && status <= 17 && status != 14;
}

bool HasOnOutput(const std::vector<PrintedLine>& lines, const std::string& text) {
  return std::any_of(lines.begin(), lines.end(), [&text](const PrintedLine& line) {
    return line.stream == "out" && line.text == text;
  });
}

}  // namespace

DiagramInstaller::DiagramInstaller(StagedMachine& machine, std::optional<std::string> oldInf,
                                   std::string newInf)
    : machine_(machine),
      oldInf_(std::move(oldInf)),
      newInf_(std::move(newInf)),
      state_(Named("STATE")) {}

DiagramInstaller::Called DiagramInstaller::Call(const std::vector<std::string>& words) {
  const lab::LabResult result = machine_.Run(words);
  const std::vector<PrintedLine> lines = LinesOf(result);
  for (const std::string& word : words)
    story_ += word + " ";
  story_ += "-> " + std::to_string(result.status) + "\n";
  return {result.status, HasOnOutput(lines, kPersisted), HasOnOutput(lines, kCreated),
          HasOnOutput(lines, kUntouched)};
}

int DiagramInstaller::Install(const std::vector<std::string>& firstCall) {
  return After(Call(firstCall), true);
}

int DiagramInstaller::InstallNew() {
  return After(Call({"install", newInf_, state_}), false);
}

int DiagramInstaller::After(const Called& install, bool mayRecover) {
  if (install.status == 0) return kSuccess;
  if (install.status == 9) return mayRecover && RecoverFrom9() ? InstallNew() : kFailure;
  if (!IsOfTheProgram(install.status)) return RecoverFromCrash();
  if (!install.persisted || install.untouched) return kFailure;
  if (install.created) return Undo();
  return oldInf_ ? Judge() : kFailure;
}

bool DiagramInstaller::IsOldRunning() {
  return Call({"audit-current", *oldInf_}).status == 0;
}

int DiagramInstaller::Judge() {
  if (IsOldRunning()) return kFailure;
  if (Call({"install", *oldInf_, state_, "--rollback"}).status == 10) Restart();
  if (IsOldRunning()) return kFailure;
  Restart();
  IsOldRunning();
  return kFailure;
}

int DiagramInstaller::Undo() {
  const int status = Call({"remove", newInf_}).status;
  if (status == 10 || status == 13) {
    Restart();
    Call({"remove", newInf_});
  }
  return kFailure;
}

int DiagramInstaller::RecoverFromCrash() {
  Call({"resume-endpoints"});
  const Called again = Call({"install", newInf_, state_});
  return IsOfTheProgram(again.status) ? After(again, true) : kFailure;
}

bool DiagramInstaller::RecoverFrom9() {
  Call({"resume-endpoints"});
  if (!oldInf_) {
    if (Call({"audit-catalog"}).status != 12 || !DeleteJournal()) return false;
    Call({"remove", newInf_});
    return true;
  }
  const int audit = Call({"audit-current", *oldInf_}).status;
  if (audit == 11 && Call({"audit-catalog"}).status != 0) return false;
  if (!DeleteJournal()) return false;
  if (audit != 11) return true;
  Call({"install", *oldInf_, state_, "--rollback"});
  return IsOldRunning();
}

int DiagramInstaller::Uninstall(const std::vector<std::string>& firstCall,
                                const std::vector<std::string>& earlierInfs) {
  const int status = Call(firstCall).status;
  if (status == 0) return Finish(earlierInfs);
  if (status == 17) return kBusy;
  if (status != 10 && status != 13) return kFailure;
  Restart();
  if (Call({"remove", newInf_}).status == 0) Finish(earlierInfs);
  return status == 10 ? kRestartNeeded : kFailure;
}

int DiagramInstaller::Finish(const std::vector<std::string>& earlierInfs) {
  DeleteJournal();
  for (const std::string& inf : earlierInfs)
    Call({"remove", inf});
  return kSuccess;
}

bool DiagramInstaller::DeleteJournal() {
  if (!machine_.Look().journalText) return true;
  story_ += "delete the journal\n";
  return machine_.Delete(state_) == 0;
}

void DiagramInstaller::Restart() {
  story_ += "restart\n";
  machine_.Take(lab::Json(lab::Json::List{"reboot"}));
}

}  // namespace vorn::tests
