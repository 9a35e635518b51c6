// Replays every attack of the table before the calls of every command that it applies to, and
// prints the results of each row and of all rows.
//
// VORN_ADVERSARIES_FULL=1 tries each attack before every call; otherwise the moments are a fixed
// selection. VORN_ADVERSARIES_SAMPLE=n replays every nth strike that Windows allows, the first one
// of each row and command, and all of a known limit. VORN_ADVERSARIES_TABLE=<file> writes the rows
// with their numbers. docs/adversaries.md says what a row means.

#include "base/text.h"
#include "tests/adversaries/attack_run.h"
#include "tests/adversaries/attack_table.h"
#include "tests/adversaries/moments.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <set>
#include <sstream>

namespace vorn::tests {

/// The name of a row in the test output.
static void PrintTo(const Attack& attack, std::ostream* stream) {
  *stream << attack.name;
}

namespace {

// One of so many replays keeps the call log.
constexpr std::size_t kLogEvery = 8;
constexpr std::size_t kShownViolations = 5;

/// The number in an environment variable; 0 when there is none.
std::size_t EnvironmentNumber(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
}

class Row {
 public:
  explicit Row(const Attack& attack) : attack_(attack) {}

  Tally Try() {
    for (const Job job : attack_.jobs)
      TryAgainst(job);
    const bool limited = attack_.expectation == Expectation::KnownLimit;
    if (limited && tally_.limits == 0) tally_.violations.push_back("the known limit is not shown");
    return std::move(tally_);
  }

 private:
  void TryAgainst(Job job) {
    const AttackedCommand command(attack_, job);
    if (!attack_.strike) {
      tally_ += {1, 1, 1, 0, 0, 0, {}};
      Replay(command, job, 0, true);
      return;
    }
    const std::vector<std::string>& calls = command.Calls();
    const bool full = EnvironmentNumber("VORN_ADVERSARIES_FULL") != 0;
    const std::vector<std::uint64_t> moments = full ? EveryMoment(calls) : SelectedMoments(calls);
    const std::vector<std::uint64_t> acting = command.MomentsThatLetItHappen(moments);
    tally_ += {calls.size(), moments.size(), acting.size(), 0, 0, 0, {}};
    CheckStart(job, acting);
    // A known limit may show at a single moment, so no sample leaves any out.
    const bool limited = attack_.expectation == Expectation::KnownLimit;
    const std::size_t sample = EnvironmentNumber("VORN_ADVERSARIES_SAMPLE");
    const std::size_t every = limited ? 1 : std::max<std::size_t>(1, sample);
    for (std::size_t i = 0; i < acting.size(); i += every)
      Replay(command, job, acting[i], acting[i] == 1);
  }

  void Replay(const AttackedCommand& command, Job job, std::uint64_t moment, bool first) {
    const AttackedRun run = command.Run(moment, tally_.replays % kLogEvery == 0);
    ++tally_.replays;
    if (run.result.status != 0) ++tally_.refused;
    for (const std::string& violation : run.violations) {
      const auto& limits = attack_.limits;
      if (std::find(limits.begin(), limits.end(), violation) != limits.end()) {
        ++tally_.limits;
      } else {
        Find(job, moment, violation);
      }
    }
    if (moment != 0 && !run.acted) Find(job, moment, "Windows did not let it happen again");
    if (first) CheckAnswers(job, moment, run.result);
  }

  void CheckAnswers(Job job, std::uint64_t moment, const RunResult& result) {
    const std::u16string said = result.output + result.errorOutput;
    for (const Answer& answer : attack_.answers) {
      if (answer.job != job) continue;
      if (result.status != answer.status || said.find(answer.text) == std::u16string::npos) {
        Find(job, moment,
             "status " + std::to_string(result.status) + " instead of " +
                 std::to_string(answer.status) + ", said: " + ToUtf8(said));
      }
    }
  }

  void CheckStart(Job job, const std::vector<std::uint64_t>& acting) {
    if (attack_.expectation == Expectation::Impossible) {
      for (const std::uint64_t moment : acting)
        Find(job, moment, "Windows let it happen");
    }
    const bool atFirst = !acting.empty() && acting.front() == 1;
    if (attack_.expectation == Expectation::Refused && !atFirst) {
      Find(job, 1, "the attack could not be tried at first");
    }
  }

  void Find(Job job, std::uint64_t moment, const std::string& what) {
    tally_.violations.push_back(NameOf(job) + ", before call " + std::to_string(moment) + ": " +
                                what);
  }

  const Attack& attack_;
  Tally tally_;
};

/// The table of all rows, printed once after the last.
class Table : public ::testing::Environment {
 public:
  static std::map<std::string, Tally>& Tallies() {
    static std::map<std::string, Tally> tallies;
    return tallies;
  }

  void TearDown() override {
    std::string rows;
    Tally sum;
    std::size_t count = 0;
    for (const Attack& attack : AllAttacks()) {
      const auto found = Tallies().find(attack.name);
      if (found == Tallies().end()) continue;
      rows += RowStart(attack) + RowNumbers(found->second) + "\n";
      sum += found->second;
      ++count;
    }
    if (count == 0) return;
    std::cout << SumLine(count, sum);
    if (const char* path = std::getenv("VORN_ADVERSARIES_TABLE")) {
      std::ofstream(path) << TableHead() << rows << "\n" << SumLine(count, sum);
    }
  }
};

const auto* const kTable = ::testing::AddGlobalTestEnvironment(new Table);

class Adversaries : public ::testing::TestWithParam<Attack> {};

TEST_P(Adversaries, GainNothing) {
  const Tally tally = Row(GetParam()).Try();
  Table::Tallies()[GetParam().name] = tally;
  const std::size_t shown = std::min(tally.violations.size(), kShownViolations);
  for (std::size_t i = 0; i < shown; ++i)
    ADD_FAILURE() << tally.violations[i];
  EXPECT_EQ(tally.violations.size(), 0U);
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

INSTANTIATE_TEST_SUITE_P(Table, Adversaries, ::testing::ValuesIn(AllAttacks()), TestName);

class AttackedMachine : public ::testing::TestWithParam<Job> {};

TEST_P(AttackedMachine, IsServedNormallyWithoutAStrike) {
  const Attack nobody;
  const AttackedRun run = AttackedCommand(nobody, GetParam()).Run(0, true);
  EXPECT_EQ(run.result.status, 0) << ToUtf8(run.result.errorOutput);
  EXPECT_EQ(run.violations, std::vector<std::string>{});
}

std::string JobTestName(const ::testing::TestParamInfo<Job>& job) {
  std::string name = NameOf(job.param);
  std::erase_if(name, [](char letter) { return letter == ' ' || letter == '-'; });
  return name;
}

INSTANTIATE_TEST_SUITE_P(Jobs, AttackedMachine, ::testing::ValuesIn(kAllJobs), JobTestName);

TEST(TableOfAttacks, HasOneLineOfThreeCellsForEachAttack) {
  std::istringstream table(TableText());
  std::size_t lines = 0;
  for (std::string line; std::getline(table, line); ++lines)
    EXPECT_EQ(std::count(line.begin(), line.end(), '|'), 4) << line;
  EXPECT_EQ(lines, AllAttacks().size() + 2);
}

TEST(TableOfAttacks, HasUniqueNames) {
  std::set<std::string> names;
  for (const Attack& attack : AllAttacks()) {
    EXPECT_TRUE(names.insert(attack.name).second) << attack.name;
    EXPECT_FALSE(attack.why.empty()) << attack.name;
    EXPECT_FALSE(attack.jobs.empty()) << attack.name;
  }
}

}  // namespace

}  // namespace vorn::tests
