#include "catalog/endpoint_sets.h"

#include "base/format.h"
#include "base/text.h"
#include "product/endpoint_identity.h"
#include "tests/support/catalog_lists.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using tests::CompleteCatalog;
using tests::ConsistentEndpoints;
using tests::EndpointAt;

using Ids = std::vector<std::u16string>;

Ids NumberedIds(std::size_t count) {
  Ids ids;
  for (std::size_t i = 0; i < count; ++i)
    ids.push_back(Format(u"SWD\\MMDEVAPI\\id%zu", i));
  return ids;
}

std::string ComplaintOf(const CheckResult& result) {
  EXPECT_EQ(result.ok, result.reason.empty());
  return ToUtf8(result.reason);
}

// ------------------------------------------------------------------------------------------------

TEST(CatalogEndpoints, AcceptsEveryNumberUpToTwenty) {
  for (std::size_t count = 0; count <= kEndpointCount; ++count) {
    EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints(ConsistentEndpoints(count))), "") << count;
  }
}

TEST(CatalogEndpoints, RefusesTwentyOneBeforeLookingAtAnyOfThem) {
  std::vector<CatalogEndpoint> endpoints(kEndpointCount + 1);  // all malformed and the same
  EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints(endpoints)),
            "MMDevice catalog has too many VORN endpoints");
}

TEST(CatalogEndpoints, RefusesACableIndexOfTenOrMore) {
  for (const std::uint32_t cable : {10u, 12u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints({{cable, false, true, u"a"}})),
              "MMDevice catalog contains a malformed VORN endpoint")
        << cable;
  }
}

TEST(CatalogEndpoints, RefusesAnEmptyEndpointId) {
  for (const bool active : {true, false}) {
    EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints({{0, false, active, u""}})),
              "MMDevice catalog contains a malformed VORN endpoint");
  }
}

TEST(CatalogEndpoints, RefusesADuplicateIdentityEvenIfOneOfThemIsDisabled) {
  for (const bool active : {true, false}) {
    EXPECT_EQ(
        ComplaintOf(CheckCatalogEndpoints({{2, false, true, u"A"}, {2, false, active, u"B"}})),
        "MMDevice catalog duplicates a cable/flow identity");
  }
}

TEST(CatalogEndpoints, TakesTheTwoFlowsOfACableForTwoIdentities) {
  EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints({{2, false, true, u"A"}, {2, true, true, u"B"}})),
            "");
}

TEST(CatalogEndpoints, RefusesEndpointIdsThatDifferOnlyInLetterCase) {
  EXPECT_EQ(
      ComplaintOf(CheckCatalogEndpoints({{2, false, true, u"{ab}"}, {3, false, false, u"{AB}"}})),
      "MMDevice catalog duplicates an endpoint id");
}

TEST(CatalogEndpoints, FoldsOnlyAsciiLetters) {
  EXPECT_EQ(ComplaintOf(
                CheckCatalogEndpoints({{2, false, true, u"\u00E4"}, {3, false, true, u"\u00C4"}})),
            "");
}

TEST(CatalogEndpoints, NamesADuplicateIdBeforeWhateverIsWrongBehindIt) {
  const std::vector<CatalogEndpoint> doubled = {{0, false, true, u"A"}, {1, false, true, u"a"}};
  for (const CatalogEndpoint& later :
       {CatalogEndpoint{10, false, true, u"B"}, {2, false, true, u""}, {0, false, true, u"B"}}) {
    std::vector<CatalogEndpoint> endpoints = doubled;
    endpoints.push_back(later);
    EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints(endpoints)),
              "MMDevice catalog duplicates an endpoint id");
  }
}

TEST(CatalogEndpoints, NamesTheFirstFailureInListOrder) {
  // The malformed endpoint comes before the duplicate, then after it.
  EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints(
                {{0, false, true, u"A"}, {10, false, true, u"B"}, {0, false, true, u"C"}})),
            "MMDevice catalog contains a malformed VORN endpoint");
  EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints(
                {{0, false, true, u"A"}, {0, false, true, u"C"}, {10, false, true, u"B"}})),
            "MMDevice catalog duplicates a cable/flow identity");
  // An endpoint's identity is judged before its id.
  EXPECT_EQ(ComplaintOf(CheckCatalogEndpoints({{0, false, true, u"A"}, {0, false, true, u"A"}})),
            "MMDevice catalog duplicates a cable/flow identity");
}

// ------------------------------------------------------------------------------------------------

struct Comparison {
  const char* name;
  Ids baseline;
  Ids live;
  RootOrigin origin;
  const char* reason;
};

class InstanceSets : public testing::TestWithParam<Comparison> {};

TEST_P(InstanceSets, AreJudged) {
  const Comparison& row = GetParam();
  EXPECT_EQ(ComplaintOf(CompareInstanceSets(row.baseline, row.live, row.origin)), row.reason)
      << row.name;
}

constexpr const char* kChanged = "driver update changed the exact active endpoint set";
constexpr const char* kLiveEmpty = "live endpoint has an empty instance id";
constexpr const char* kLiveTwice = "live endpoint enumeration contains a duplicate";
constexpr const char* kBaselineEmpty = "endpoint baseline has an empty instance id";
constexpr const char* kBaselineTwice = "endpoint baseline contains a duplicate";
constexpr const char* kTooManyFresh =
    "fresh devnode published too many live AudioEndpoint children";

INSTANTIATE_TEST_SUITE_P(
    Table, InstanceSets,
    testing::Values(
        Comparison{"both empty", {}, {}, RootOrigin::Existing, ""},
        Comparison{"equal", {u"a", u"b"}, {u"a", u"b"}, RootOrigin::Existing, ""},
        Comparison{
            "order and case do not matter", {u"a", u"B"}, {u"b", u"A"}, RootOrigin::Existing, ""},
        Comparison{"an empty live set passes", {u"a", u"b", u"c"}, {}, RootOrigin::Existing, ""},
        Comparison{
            "two of three", {u"a", u"b", u"c"}, {u"a", u"b"}, RootOrigin::Existing, kChanged},
        Comparison{"one more", {u"a"}, {u"a", u"b"}, RootOrigin::Existing, kChanged},
        Comparison{
            "same size, another id", {u"a", u"b"}, {u"a", u"c"}, RootOrigin::Existing, kChanged},
        Comparison{"nothing was expected", {}, {u"a"}, RootOrigin::Existing, kChanged},
        Comparison{"only ASCII folds", {u"\u00E4"}, {u"\u00C4"}, RootOrigin::Existing, kChanged},
        Comparison{"empty live id", {u"a"}, {u"a", u""}, RootOrigin::Existing, kLiveEmpty},
        Comparison{
            "live id twice, other case", {u"a"}, {u"a", u"A"}, RootOrigin::Existing, kLiveTwice},
        Comparison{
            "first live fault wins", {}, {u"a", u"a", u""}, RootOrigin::Existing, kLiveTwice},
        Comparison{"empty baseline id", {u"a", u""}, {u"a"}, RootOrigin::Existing, kBaselineEmpty},
        Comparison{"baseline id twice", {u"a", u"A"}, {u"a"}, RootOrigin::Existing, kBaselineTwice},
        Comparison{"a bad baseline fails also without live ids",
                   {u""},
                   {},
                   RootOrigin::Existing,
                   kBaselineEmpty},
        Comparison{"the live list is judged first", {u""}, {u""}, RootOrigin::Existing, kLiveEmpty},
        Comparison{"fresh ignores the baseline", {u"", u"a", u"a"}, {u"b"}, RootOrigin::Fresh, ""},
        Comparison{"fresh and empty", {u"a"}, {}, RootOrigin::Fresh, ""},
        Comparison{"fresh with 20", {}, NumberedIds(20), RootOrigin::Fresh, ""},
        Comparison{"fresh with 21", {}, NumberedIds(21), RootOrigin::Fresh, kTooManyFresh},
        Comparison{"fresh with 21 and a doubled live id",
                   {},
                   [] {
                     std::vector<std::u16string> ids = NumberedIds(21);
                     ids.back() = ids.front();
                     return ids;
                   }(),
                   RootOrigin::Fresh,
                   kLiveTwice},
        Comparison{"fresh with an empty live id", {}, {u""}, RootOrigin::Fresh, kLiveEmpty},
        Comparison{"fresh with a doubled live id", {}, {u"a", u"A"}, RootOrigin::Fresh, kLiveTwice},
        Comparison{"21 live ids are compared", NumberedIds(21), NumberedIds(21),
                   RootOrigin::Existing, ""}));

// ------------------------------------------------------------------------------------------------

TEST(ExpectedPresent, NeedsAPlaceForItsOutput) {
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({}, {}, nullptr)),
            "expected-present output is null");
  // This is judged before everything else.
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({{10, false, true, u""}}, {u""}, nullptr)),
            "expected-present output is null");
}

TEST(ExpectedPresent, PassesOnTheReasonOfABadCatalogAndOfBadChildren) {
  Ids output = {u"untouched"};
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({{10, false, true, u"a"}}, {u""}, &output)),
            "MMDevice catalog contains a malformed VORN endpoint");
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({}, {u"a", u""}, &output)), kLiveEmpty);
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({}, {u"a", u"A"}, &output)), kLiveTwice);
  EXPECT_EQ(output, Ids{u"untouched"});
}

TEST(ExpectedPresent, IsTheChildrenWhenTheCatalogIsEmpty) {
  Ids output = {u"replaced"};
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({}, {u"swd\\b", u"SWD\\A", u"swd\\_"}, &output)),
            "");
  EXPECT_EQ(output, (Ids{u"SWD\\A", u"SWD\\B", u"SWD\\_"}));
}

TEST(ExpectedPresent, IsEmptyWithoutCatalogAndChildren) {
  Ids output = {u"replaced"};
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({}, {}, &output)), "");
  EXPECT_EQ(output, Ids{});
}

TEST(ExpectedPresent, HoldsTheActiveEndpointsWhetherPresentOrNot) {
  Ids output;
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({{0, false, true, u"{x}"}, {1, false, true, u"{w}"}},
                                               {u"swd\\mmdevapi\\{X}"}, &output)),
            "");
  EXPECT_EQ(output, (Ids{u"SWD\\MMDEVAPI\\{W}", u"SWD\\MMDEVAPI\\{X}"}));
}

TEST(ExpectedPresent, LeavesOutAChildThatTheCatalogKnowsOnlyAsDisabled) {
  Ids output;
  EXPECT_EQ(
      ComplaintOf(ComputeExpectedPresent({{0, false, false, u"{x}"}, {0, true, true, u"{y}"}},
                                         {u"SWD\\MMDEVAPI\\{X}", u"SWD\\MMDEVAPI\\{Z}"}, &output)),
      "");
  EXPECT_EQ(output, (Ids{u"SWD\\MMDEVAPI\\{Y}", u"SWD\\MMDEVAPI\\{Z}"}));
}

TEST(ExpectedPresent, HoldsAChildWhoseIdIsOnlyPartOfOneInTheCatalog) {
  Ids output;
  EXPECT_EQ(
      ComplaintOf(ComputeExpectedPresent(
          {{0, false, false, u"{x}"}}, {u"{X}", u"SWD\\MMDEVAPI", u"SWD\\MMDEVAPI\\{X}"}, &output)),
      "");
  EXPECT_EQ(output, (Ids{u"SWD\\MMDEVAPI", u"{X}"}));
}

TEST(ExpectedPresent, OfACompleteActiveCatalogIsItsTwentyInstanceIds) {
  auto catalog = CompleteCatalog(u"{q}");
  Ids output;
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent(catalog, {}, &output)), "");
  EXPECT_EQ(output.size(), kEndpointCount);
  EXPECT_TRUE(std::is_sorted(output.begin(), output.end()));
  EXPECT_EQ(output.front(), u"SWD\\MMDEVAPI\\{Q}C0");
  EndpointAt(catalog, 0, true).active = false;
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent(catalog, {}, &output)), "");
  EXPECT_EQ(output.size(), kEndpointCount - 1);
  EXPECT_EQ(output.front(), u"SWD\\MMDEVAPI\\{Q}C1");
}

TEST(ExpectedPresent, MayHoldMoreThanTwentyChildren) {
  Ids output;
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({}, NumberedIds(21), &output)), "");
  EXPECT_EQ(output.size(), 21U);
}

TEST(ExpectedPresent, ReadsItsInputsBeforeItWritesAnOutputThatIsOneOfThem) {
  Ids children = {u"b", u"a"};
  EXPECT_EQ(ComplaintOf(ComputeExpectedPresent({}, children, &children)), "");
  EXPECT_EQ(children, (Ids{u"A", u"B"}));
}

}  // namespace
}  // namespace vorn
