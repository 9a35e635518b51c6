#include "devnode/root_candidate.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vorn {
namespace {

RootCandidate Ghost(std::u16string id) {
  return {std::move(id), false, false, 0, {}};
}
RootCandidate Stopped(std::u16string id, std::uint32_t problem) {
  return {std::move(id), true, false, problem, {}};
}
RootCandidate Started(std::u16string id) {
  return {std::move(id), true, true, 0, {}};
}

std::u16string KeptOf(const std::vector<RootCandidate>& candidates) {
  const auto kept = ChooseRootToKeep(candidates);
  return kept ? candidates[*kept].instanceId : u"none";
}

TEST(RootToKeep, IsNoneWithoutCandidates) {
  EXPECT_EQ(KeptOf({}), u"none");
}

TEST(RootToKeep, IsNoneWhenThereAreOnlyGhosts) {
  EXPECT_EQ(KeptOf({Ghost(u"A"), Ghost(u"B")}), u"none");
}

TEST(RootToKeep, IsTheLocatedOneAmongGhosts) {
  EXPECT_EQ(KeptOf({Ghost(u"A"), Stopped(u"B", 28), Ghost(u"C")}), u"B");
}

TEST(RootToKeep, IsTheStartedOneAmongLocatedOnes) {
  EXPECT_EQ(KeptOf({Stopped(u"A", 22), Started(u"B")}), u"B");
  EXPECT_EQ(KeptOf({Started(u"B"), Stopped(u"A", 22)}), u"B");
}

TEST(RootToKeep, IsNotPreferredForBeingStartedIfItHasAProblem) {
  RootCandidate troubled = Started(u"B");
  troubled.problem = 14;
  EXPECT_EQ(KeptOf({Stopped(u"A", 28), troubled}), u"A");
}

TEST(RootToKeep, IsNotPreferredForHavingNoProblemIfItIsStopped) {
  EXPECT_EQ(KeptOf({Stopped(u"A", 28), Stopped(u"B", 0)}), u"A");
}

TEST(RootToKeep, HasTheLowerIdAmongEqualsWhateverTheCase) {
  EXPECT_EQ(KeptOf({Started(u"root\\media\\0001"), Started(u"ROOT\\MEDIA\\0000")}),
            u"ROOT\\MEDIA\\0000");
  EXPECT_EQ(KeptOf({Started(u"ROOT\\MEDIA\\0001"), Started(u"root\\media\\0000")}),
            u"root\\media\\0000");
}

TEST(RootToKeep, IsTheFirstOfIdsThatDifferInCaseOnly) {
  EXPECT_EQ(KeptOf({Started(u"root\\media\\0000"), Started(u"ROOT\\MEDIA\\0000")}),
            u"root\\media\\0000");
}

}  // namespace
}  // namespace vorn
