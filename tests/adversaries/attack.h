#pragma once

// The table of attacks: what an unprivileged user tries, what happens and why.

#include "tests/adversaries/attacked_machine.h"
#include "tests/adversaries/attacker.h"
#include "tests/support/sample.h"

#include <functional>
#include <string>
#include <vector>

namespace vorn::tests {

enum class Expectation {
  Refused,     // if it strikes in time, the command fails with its code and changes nothing
  Harmless,    // the command continues, and nothing protected is touched
  Impossible,  // Windows refuses it at every moment, because of what the program holds open
  KnownLimit,  // harmless, except for what `limits` lists
};

/// How a command answers when the attack happened before its first call.
struct Answer {
  Job job;
  int status;
  std::u16string text;  // part of its console text; empty for any text
};

struct Attack {
  std::string name;
  Expectation expectation = Expectation::Harmless;
  std::string why;
  std::vector<Job> jobs;

  /// Prepares the machine of MachineFor for this attack; may be empty.
  std::function<void(platform::simulated::Machine&)> prepare;

  /// The act itself; returns whether Windows allowed it. Empty when `prepare` is the whole attack.
  std::function<bool(Attacker&)> strike;

  /// What the user does before every later call after the strike; may be empty.
  std::function<void(Attacker&)> follow;

  /// How the commands answer when the strike precedes their first call.
  std::vector<Answer> answers;

  /// The findings of the judge that a known limit allows, word for word.
  std::vector<std::string> limits;

  std::u16string infPath = kSampleInf;
  std::u16string statePath = kSampleJournal;
};

/// The commands that take an INF, and therefore copy it into a private snapshot.
const std::vector<Job>& JobsWithInf();

/// The refusal of the private snapshot with that error (8 digits), with the status of each command.
std::vector<Answer> SnapshotRefused(const std::u16string& error);

/// Empties a folder by moving everything in it away; false when something stays.
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
