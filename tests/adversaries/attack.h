#pragma once

// The table of attacks: what an unprivileged user tries, what comes of it and why.

#include "tests/adversaries/attacked_machine.h"
#include "tests/adversaries/attacker.h"

#include <functional>
#include <string>
#include <vector>

namespace vorn::tests {

enum class Expectation {
  Refused,     // where it strikes in time the command ends with its code and changes nothing
  Harmless,    // the command goes on, and nothing that matters is touched
  Impossible,  // Windows itself refuses at every moment, because of what the program holds
  KnownLimit,  // as harmless, but for what `limits` say
};

/// What a command says when the attack was there before its first call.
struct Answer {
  Job job;
  int status;
  std::u16string text;  // a part of what it prints on either stream; empty for any
};

struct Attack {
  std::string name;
  Expectation expectation = Expectation::Harmless;
  std::string why;
  std::vector<Job> jobs;

  /// What the machine is like for this attack beyond MachineFor; may be empty.
  std::function<void(platform::simulated::Machine&)> prepare;

  /// The act; whether Windows let it change anything. Empty when `prepare` says it all.
  std::function<bool(Attacker&)> strike;

  /// What the user does before every later call, once the strike has happened; may be empty.
  std::function<void(Attacker&)> follow;

  /// What the commands answer when the strike comes first.
  std::vector<Answer> answers;

  /// What the judge finds at some moments of a known limit, word for word.
  std::vector<std::string> limits;

  std::u16string infPath = kInf;
  std::u16string statePath = kStatePath;
};

/// The commands that take an INF, and so make a private snapshot of it.
const std::vector<Job>& JobsWithInf();

/// Refusal of the private snapshot with that error (8 digits), and each command's status for it.
std::vector<Answer> SnapshotRefused(const std::u16string& error);

/// Moves everything in a folder away, which leaves it empty; false when something stays.
bool TryEmpty(Attacker& user, const std::u16string& folder);

/// Every attack of the table, in the order of the report.
std::vector<Attack> AllAttacks();

// The rows by what they aim at.
std::vector<Attack> InputAttacks();
std::vector<Attack> NameAttacks();
std::vector<Attack> TemporaryFolderAttacks();
std::vector<Attack> StateAttacks();
std::vector<Attack> LogAttacks();
std::vector<Attack> DriveAttacks();
std::vector<Attack> DeviceAttacks();
std::vector<Attack> ComponentSwaps();
std::vector<Attack> BriefSwaps();
std::vector<Attack> PublishedPackageAttacks();

}  // namespace vorn::tests
