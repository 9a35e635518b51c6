#pragma once

// An installer that follows the diagrams of docs/integration.md to the letter. Of a call it sees
// the status and three lines of standard output, and of the machine nothing.

#include "tests/integration/staged_machine.h"

#include <optional>
#include <string>
#include <vector>

namespace vorn::tests {

class DiagramInstaller {
 public:
  /// `oldInf` is the INF of the version that is installed, if one is.
  DiagramInstaller(StagedMachine& machine, std::optional<std::string> oldInf, std::string newInf);

  /// An install or update whose first call is these words. Returns the installer's own code.
  int Install(const std::vector<std::string>& firstCall);

  /// An uninstallation whose first call is these words; then come the INFs of earlier versions.
  int Uninstall(const std::vector<std::string>& firstCall,
                const std::vector<std::string>& earlierInfs);

  /// The calls so far, for the message of a failing test.
  const std::string& Story() const { return story_; }

 private:
  struct Called {
    int status = 0;
    bool persisted = false;
    bool created = false;
    bool untouched = false;
  };

  Called Call(const std::vector<std::string>& words);
  int InstallNew();
  int After(const Called& install, bool mayRecover);
  int Judge();
  int Undo();
  int RecoverFromCrash();
  bool RecoverFrom9();
  bool IsOldRunning();
  bool DeleteJournal();  // false when somebody holds it
  void Restart();
  int Finish(const std::vector<std::string>& earlierInfs);

  StagedMachine& machine_;
  std::optional<std::string> oldInf_;
  std::string newInf_;
  std::string state_;
  std::string story_;
};

}  // namespace vorn::tests
