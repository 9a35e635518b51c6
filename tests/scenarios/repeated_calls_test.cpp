// How the tests tell that a run makes a failed call again.

#include "tests/support/repeated_calls.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::CallRecord;
using Calls = std::vector<CallRecord>;

CallRecord Call(std::string name, std::string argument, std::string result = "0") {
  CallRecord call;
  call.name = std::move(name);
  call.arguments = {{"argument", std::move(argument)}};
  call.result = std::move(result);
  return call;
}

bool IsMadeAgain(const Calls& undisturbed, const Calls& disturbed, std::size_t failed) {
  return tests::IsMadeAgain(tests::MadeCallsOf(undisturbed), tests::MadeCallsOf(disturbed), failed);
}

const Calls kOpensAndReads = {Call("Open", "a", "#1"), Call("Read", "#1")};

TEST(ARepeatedCall, HasTheSameNameAndArguments) {
  EXPECT_TRUE(IsMadeAgain(kOpensAndReads, {Call("Open", "a"), Call("Open", "a", "#1")}, 0));
  EXPECT_FALSE(IsMadeAgain(kOpensAndReads, {Call("Open", "a"), Call("Open", "b", "#1")}, 0));
  EXPECT_FALSE(IsMadeAgain(kOpensAndReads, {Call("Open", "a"), Call("Close", "a")}, 0));
}

TEST(ARepeatedCall, IsMadeOftenerThanInTheUndisturbedRun) {
  const Calls twice = {Call("Open", "a", "#1"), Call("Open", "a", "#2")};
  EXPECT_FALSE(IsMadeAgain(twice, {Call("Open", "a"), Call("Open", "a", "#1")}, 0));
}

TEST(ARepeatedCall, IsMadeOnAnObjectOfTheSameCall) {
  const Calls readsBoth = {Call("Open", "a", "#1"), Call("Read", "#1"), Call("Open", "b", "#2"),
                           Call("Read", "#2")};
  const Calls withTheSameNumber = {Call("Open", "a", "#1"), Call("Read", "#1"),
                                   Call("Open", "b", "#1"), Call("Read", "#1")};
  EXPECT_FALSE(IsMadeAgain(readsBoth, withTheSameNumber, 1));
  EXPECT_TRUE(IsMadeAgain(
      kOpensAndReads,
      {Call("Open", "a", "#1"), Call("Read", "#1"), Call("Open", "a", "#2"), Call("Read", "#2")},
      1));
}

TEST(ARepeatedCall, IsNoneAfterALongerWait) {
  EXPECT_FALSE(
      IsMadeAgain(kOpensAndReads, {Call("Open", "a"), Call("Sleep", "500"), Call("Open", "a")}, 0));
}

TEST(ARepeatedCall, IsNoneInARunThatEndedBefore) {
  EXPECT_FALSE(IsMadeAgain(kOpensAndReads, {Call("Open", "a")}, 1));
}

TEST(TheTextOfACall, HasItsArguments) {
  EXPECT_EQ(tests::TextOf(Call("Open", "a")), "Open argument=a");
}

}  // namespace
}  // namespace vorn
