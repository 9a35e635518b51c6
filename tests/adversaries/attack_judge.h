#pragma once

// Judges the world that a command left under attack, without asking the program: protected places,
// the authenticated bytes, the journal's access list, what RESULT=OK claims, what is somebody
// else's, and every checker of the promises that an attacker's own acts leave standing.

#include "platform/simulated/file_node.h"
#include "tests/adversaries/attacked_machine.h"
#include "tests/support/run_command.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vorn::tests {

/// What the program authenticated: the INF in its private copy, once that is written.
class SnapshotWatch {
 public:
  /// Remembers the content of every finished INF in a private snapshot of the program's.
  void Look(const platform::simulated::FileSystem& files);

  /// How many different contents were seen; one in a sound run.
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

/// One run under attack, as it ended. All of it belongs to the caller.
struct JudgedRun {
  const platform::simulated::Machine& after;
  const RunResult& run;
  const SnapshotWatch& watch;
  bool struck = false;          // somebody acted while the command ran
  bool journalTouched = false;  // and what he did changed what the journal's path leads to
};

class AttackJudge {
 public:
  /// For runs of that command, with its journal there, on copies of that machine.
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
