#pragma once

// Judges the machine that a command left behind under attack: protected places, the authenticated
// bytes, the journal's access list, what RESULT=OK claims, what is foreign, and every checker whose
// promise still holds when an attacker acts.

#include "platform/simulated/file_node.h"
#include "tests/adversaries/attacked_machine.h"
#include "tests/support/run_command.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vorn::tests {

/// Watches what the program authenticates: the INF in its private snapshot, once it is complete.
class SnapshotWatch {
 public:
  /// Remembers the content of every complete INF in a private snapshot of the program.
  void Look(const platform::simulated::FileSystem& files);

  /// The number of different contents seen; one in a sound run.
  std::size_t CountSeen() const { return seen_.size(); }
  bool Saw(const platform::simulated::Bytes& content) const;

 private:
  std::vector<std::shared_ptr<const platform::simulated::Bytes>> seen_;
};

/// The files of a machine, name by name.
struct SeenNode {
  platform::simulated::NodeId id = 0;
  std::shared_ptr<const platform::simulated::Node> node;
};
using FileTree = std::map<std::u16string, SeenNode>;

/// A finished run under attack. The caller owns all of it.
struct JudgedRun {
  const platform::simulated::Machine& after;
  const RunResult& run;
  const SnapshotWatch& watch;
  bool struck = false;          // somebody acted while the command ran
  bool journalTouched = false;  // and changed what the journal's path leads to
};

class AttackJudge {
 public:
  /// Judges runs of that command, with that journal path, on copies of that machine.
  AttackJudge(Job job, std::u16string statePath, platform::simulated::Machine before);

  const platform::simulated::Machine& Before() const { return before_; }

  /// What is wrong, one sentence each; empty when nothing is.
  std::vector<std::string> Judge(const JudgedRun& judged) const;

 private:
  Job job_;
  std::u16string statePath_;
  platform::simulated::Machine before_;
  FileTree treeBefore_;
  std::set<platform::simulated::NodeId> nodesBefore_;
  std::vector<std::u16string> foreignBefore_;
};

}  // namespace vorn::tests
