// Replays every attack of the table at every moment of every command where it can be tried, and
// prints what came of each. VORN_ADVERSARIES_FULL=1 takes every moment; without it the moments are
// a fixed selection: every call that names, opens or changes something, and some of the others.
// VORN_ADVERSARIES_TABLE=<file> writes the table as it stands in docs/adversaries.md.

#include "base/text.h"
#include "tests/adversaries/attack_run.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <set>
#include <sstream>

namespace vorn::tests {

/// How a test's output names its row.
static void PrintTo(const Attack& attack, std::ostream* stream) {
  *stream << attack.name;
}

namespace {

constexpr std::size_t kMomentsOfASelection = 16;

bool TakesEveryMoment() {
  return std::getenv("VORN_ADVERSARIES_FULL") != nullptr;
}

/// The moments at which an attack is replayed: all, or a selection in which every kind of call has
/// its first place before others fill it up evenly.
std::vector<std::uint64_t> MomentsOf(const std::vector<std::string>& calls) {
  std::set<std::uint64_t> chosen;
  std::set<std::string> kinds;
  for (std::uint64_t moment = 1; moment <= calls.size(); ++moment) {
    const bool isNewKind = kinds.insert(calls[moment - 1]).second;
    if (TakesEveryMoment() || isNewKind) chosen.insert(moment);
  }
  for (std::size_t i = 0; i < kMomentsOfASelection; ++i) {
    chosen.insert(i * calls.size() / kMomentsOfASelection + 1);
  }
  return {chosen.begin(), chosen.end()};
}

std::string NameOf(Expectation expectation) {
  switch (expectation) {
    case Expectation::Refused:
      return "refused";
    case Expectation::Harmless:
      return "harmless";
    case Expectation::Impossible:
      return "impossible";
  }
  return {};
}

/// What came of one row.
struct Tally {
  std::size_t tried = 0;    // replays
  std::size_t let = 0;      // of them, those that Windows let happen
  std::size_t refused = 0;  // of these, those that the command answered with a failure
  std::vector<std::string> findings;
};

class Row {
 public:
  explicit Row(const Attack& attack) : attack_(attack) {}

  Tally Try() {
    for (const Job job : attack_.jobs) {
      if (attack_.strike) {
        const std::vector<std::uint64_t> moments = MomentsOf(CallsWithout(attack_, job));
        for (const std::uint64_t moment : moments)
          TryAt(job, moment);
      } else {
        TryAt(job, 0);
      }
    }
    return std::move(tally_);
  }

 private:
  void TryAt(Job job, std::uint64_t moment) {
    const AttackedRun run = RunAttack(attack_, job, moment);
    ++tally_.tried;
    const bool happened = run.acted || moment == 0;
    const auto find = [&](const std::string& what) {
      tally_.findings.push_back(NameOf(job) + ", before call " + std::to_string(moment) + ": " +
                                what);
    };
    for (const std::string& violation : run.violations)
      find(violation);
    if (!happened) {
      if (moment == 1 && !attack_.answers.empty() && HasAnswer(job)) CheckLateStart(job);
      return;
    }
    ++tally_.let;
    if (run.result.status != 0) ++tally_.refused;
    if (attack_.expectation == Expectation::Impossible) find("Windows let it happen");
    if (moment > 1) return;
    for (const Answer& answer : attack_.answers) {
      if (answer.job != job) continue;
      const std::u16string said = run.result.output + run.result.errorOutput;
      if (run.result.status != answer.status || said.find(answer.text) == std::u16string::npos) {
        find("status " + std::to_string(run.result.status) + " instead of " +
             std::to_string(answer.status) + ", said: " + ToUtf8(said));
      }
    }
  }

  bool HasAnswer(Job job) const {
    return std::any_of(attack_.answers.begin(), attack_.answers.end(),
                       [job](const Answer& answer) { return answer.job == job; });
  }

  /// What can only be done later (there is no log yet to exchange) has nothing to answer at first.
  void CheckLateStart(Job job) {
    if (attack_.expectation == Expectation::Refused) {
      tally_.findings.push_back(NameOf(job) + ": the attack could not be tried at first");
    }
  }

  const Attack& attack_;
  Tally tally_;
};

std::string TableLine(const Attack& attack, const Tally& tally) {
  std::ostringstream line;
  line << "| " << attack.name << " | " << NameOf(attack.expectation) << " | " << attack.why << " | "
       << tally.tried << " | " << tally.let << " | " << tally.refused << " | "
       << tally.findings.size() << " |\n";
  return line.str();
}

/// The table of all rows, printed once after the last.
class Table : public ::testing::Environment {
 public:
  static std::map<std::string, Tally>& Tallies() {
    static std::map<std::string, Tally> tallies;
    return tallies;
  }

  void TearDown() override {
    std::ostringstream table;
    table << "| Attack | Expected | Why | Tried | Let happen | Answered by failure | Violations |\n"
          << "|---|---|---|---|---|---|---|\n";
    Tally sum;
    std::size_t rows = 0;
    for (const Attack& attack : AllAttacks()) {
      const auto found = Tallies().find(attack.name);
      if (found == Tallies().end()) continue;
      table << TableLine(attack, found->second);
      ++rows;
      sum.tried += found->second.tried;
      sum.let += found->second.let;
      sum.refused += found->second.refused;
      sum.findings.insert(sum.findings.end(), found->second.findings.begin(),
                          found->second.findings.end());
    }
    table << "\nRows: " << rows << ". Replays: " << sum.tried
          << ", let happen by Windows: " << sum.let << ", answered by failure: " << sum.refused
          << ", violations: " << sum.findings.size() << ".\n";
    if (rows > 1) std::cout << table.str();
    if (const char* path = std::getenv("VORN_ADVERSARIES_TABLE"))
      std::ofstream(path) << table.str();
  }
};

const auto* const kTable = ::testing::AddGlobalTestEnvironment(new Table);

std::vector<Attack> Everything() {
  return AllAttacks();
}

class Adversaries : public ::testing::TestWithParam<Attack> {};

TEST_P(Adversaries, GainNothing) {
  const Tally tally = Row(GetParam()).Try();
  Table::Tallies()[GetParam().name] = tally;
  for (std::size_t i = 0; i < std::min<std::size_t>(tally.findings.size(), 5); ++i) {
    ADD_FAILURE() << tally.findings[i];
  }
  EXPECT_LE(tally.findings.size(), 5U) << "and more";
  EXPECT_GT(tally.tried, 0U);
}

std::string TestName(const ::testing::TestParamInfo<Attack>& info) {
  std::string name;
  bool upper = true;
  for (const char letter : info.param.name) {
    const bool plain = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                       (letter >= '0' && letter <= '9');
    if (plain) name += upper && letter >= 'a' && letter <= 'z' ? char(letter - 32) : letter;
    upper = !plain;
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Table, Adversaries, ::testing::ValuesIn(Everything()), TestName);

class AttackedMachine : public ::testing::TestWithParam<Job> {};

TEST_P(AttackedMachine, IsServedAsAnyOtherWhenNobodyStrikes) {
  const AttackedRun run = RunAttack(Attack{}, GetParam(), 0);
  EXPECT_EQ(run.result.status, 0) << ToUtf8(run.result.errorOutput);
  EXPECT_EQ(run.violations, std::vector<std::string>{});
}

std::string JobTestName(const ::testing::TestParamInfo<Job>& job) {
  std::string name = NameOf(job.param);
  std::erase_if(name, [](char letter) { return letter == ' ' || letter == '-'; });
  return name;
}

INSTANTIATE_TEST_SUITE_P(Jobs, AttackedMachine, ::testing::ValuesIn(kAllJobs), JobTestName);

}  // namespace

}  // namespace vorn::tests
