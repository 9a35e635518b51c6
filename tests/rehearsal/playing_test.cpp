#include "rehearsal/playing.h"

#include <gtest/gtest.h>

namespace vorn::rehearsal {
namespace {

const Recording kRun = {.arguments = {"install"},
                        .pieces = {{0, false, "first\n"},
                                   {100, true, "second\n"},
                                   {100, false, "third\n"},
                                   {90'000, true, "last\n"}},
                        .milliseconds = 90'250,
                        .status = 11};

/// Plays a recording and tells what happened, in order.
std::vector<std::string> Played(const Recording& recording, std::uint32_t speed) {
  std::vector<std::string> happened;
  const Stage stage = {.print =
                           [&](bool error, const std::string& text) {
                             happened.push_back((error ? "err " : "out ") + text);
                           },
                       .wait =
                           [&](std::uint64_t milliseconds) {
                             happened.push_back("wait " + std::to_string(milliseconds));
                           }};
  const std::int32_t status = Play(recording, speed, stage);
  happened.push_back("exit " + std::to_string(status));
  return happened;
}

TEST(Playing, PrintsEveryPieceAtItsTime) {
  EXPECT_EQ(Played(kRun, 1),
            (std::vector<std::string>{"out first\n", "wait 100", "err second\n", "out third\n",
                                      "wait 89900", "err last\n", "wait 250", "exit 11"}));
}

TEST(Playing, ShortensTheWaitsOnRequest) {
  EXPECT_EQ(Played(kRun, 1000),
            (std::vector<std::string>{"out first\n", "err second\n", "out third\n", "wait 90",
                                      "err last\n", "exit 11"}));
}

TEST(Playing, DoesNotAddUpWhatAShortenedWaitLoses) {
  Recording run = kRun;
  run.pieces = {{15, false, "a\n"}, {30, false, "b\n"}, {45, false, "c\n"}};
  run.milliseconds = 45;
  EXPECT_EQ(Played(run, 10), (std::vector<std::string>{"wait 1", "out a\n", "wait 2", "out b\n",
                                                       "wait 1", "out c\n", "exit 11"}));
}

TEST(Playing, WaitsForNothingAtSpeedZero) {
  EXPECT_EQ(Played(kRun, 0), (std::vector<std::string>{"out first\n", "err second\n", "out third\n",
                                                       "err last\n", "exit 11"}));
}

TEST(Playing, EndsLikeAProcessThatTaskManagerEnded) {
  Recording run = kRun;
  run.pieces.clear();
  run.status = std::nullopt;
  EXPECT_EQ(Played(run, 0), (std::vector<std::string>{"exit 1"}));
}

}  // namespace
}  // namespace vorn::rehearsal
