#include "catalog/catalog_transition.h"

#include "base/text.h"
#include "product/endpoint_identity.h"
#include "tests/support/catalog_lists.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using tests::CompleteCatalog;
using tests::ConsistentEndpoints;
using tests::EndpointAt;

using Endpoints = std::vector<CatalogEndpoint>;

constexpr const char* kWrongCount = "MMDevice catalog has the wrong VORN endpoint count";
constexpr const char* kBadBaseline = "pre-bind MMDevice catalog baseline is malformed or ambiguous";
constexpr const char* kActivated = "driver update activated an endpoint the user had not claimed";
constexpr const char* kReminted = "unchanged driver package re-minted MMDevice cable identities";
constexpr const char* kPartly = "driver update remapped only some MMDevice cable identities";
constexpr const char* kVisibility = "driver update changed an MMDevice cable visibility state";

enum class Kind { Update, Unchanged, Fresh };

std::string ReasonOf(const CheckResult& result) {
  EXPECT_EQ(result.ok, result.reason.empty());
  return ToUtf8(result.reason);
}

std::string Transition(const Endpoints& baseline, const Endpoints& current,
                       Kind kind = Kind::Update) {
  return ReasonOf(CheckCatalogTransition(
      baseline, current, kind == Kind::Fresh ? RootOrigin::Fresh : RootOrigin::Existing,
      kind == Kind::Unchanged ? PackageChange::None : PackageChange::Possible));
}

/// A complete catalog in which only these endpoints are active.
Endpoints OnlyActive(std::initializer_list<std::pair<std::uint32_t, bool>> identities) {
  Endpoints endpoints = CompleteCatalog();
  for (CatalogEndpoint& endpoint : endpoints)
    endpoint.active = false;
  for (const auto& [cable, capture] : identities) {
    EndpointAt(endpoints, cable, capture).active = true;
  }
  return endpoints;
}

// ------------------------------------------------------------------------------------------------

TEST(CompleteCatalogCheck, NeedsExactlyTwentyEndpoints) {
  EXPECT_EQ(ReasonOf(CheckCompleteCatalog(CompleteCatalog())), "");
  for (std::size_t count = 0; count < kEndpointCount; ++count) {
    EXPECT_EQ(ReasonOf(CheckCompleteCatalog(ConsistentEndpoints(count))), kWrongCount) << count;
  }
}

TEST(CompleteCatalogCheck, PassesOnWhatIsInconsistentFirst) {
  EXPECT_EQ(ReasonOf(CheckCompleteCatalog(Endpoints(21))),
            "MMDevice catalog has too many VORN endpoints");
  Endpoints doubled = ConsistentEndpoints(5);
  doubled.push_back(doubled.front());
  EXPECT_EQ(ReasonOf(CheckCompleteCatalog(doubled)),
            "MMDevice catalog duplicates a cable/flow identity");
}

// ------------------------------------------------------------------------------------------------

TEST(CatalogTransition, AcceptsACatalogThatIsAsBefore) {
  for (const Kind kind : {Kind::Update, Kind::Unchanged, Kind::Fresh}) {
    EXPECT_EQ(Transition(CompleteCatalog(), CompleteCatalog(), kind), "");
  }
}

TEST(CatalogTransition, NeedsACompleteCatalogEvenWhenFresh) {
  const Endpoints nineteen = ConsistentEndpoints(19);
  const Endpoints badBaseline = {{10, false, true, u""}};
  for (const Kind kind : {Kind::Update, Kind::Unchanged, Kind::Fresh}) {
    EXPECT_EQ(Transition(badBaseline, nineteen, kind), kWrongCount);
  }
}

TEST(CatalogTransition, OfAFreshInstallLooksAtNoBaseline) {
  EXPECT_EQ(Transition({{10, false, true, u""}}, CompleteCatalog(), Kind::Fresh), "");
  EXPECT_EQ(ReasonOf(CheckCatalogTransition(CompleteCatalog(u"{b}"), CompleteCatalog(),
                                            RootOrigin::Fresh, PackageChange::None)),
            "");
}

TEST(CatalogTransition, RefusesAMalformedOrAmbiguousBaseline) {
  EXPECT_EQ(Transition({{10, false, true, u"x"}}, CompleteCatalog()), kBadBaseline);
  EXPECT_EQ(Transition({{1, false, true, u"x"}, {1, false, true, u"y"}}, CompleteCatalog()),
            kBadBaseline);
  EXPECT_EQ(Transition(Endpoints(21), CompleteCatalog()), kBadBaseline);
}

TEST(CatalogTransition, AcceptsAnEmptyBaseline) {
  EXPECT_EQ(Transition({}, CompleteCatalog()), "");
  EXPECT_EQ(Transition({}, CompleteCatalog(), Kind::Unchanged), "");
}

TEST(CatalogTransition, AcceptsABaselineThatIsSmallerThanTheCatalog) {
  EXPECT_EQ(Transition(ConsistentEndpoints(7), CompleteCatalog()), "");
  EXPECT_EQ(Transition(ConsistentEndpoints(7), CompleteCatalog(), Kind::Unchanged), "");
}

// A complete catalog holds every identity that a sound baseline can name, so a dropped identity
// shows first as a wrong count.
TEST(CatalogTransition, FindsAnIdentityWhereverItStandsInTheCatalog) {
  Endpoints reversed = CompleteCatalog();
  std::reverse(reversed.begin(), reversed.end());
  EXPECT_EQ(Transition(CompleteCatalog(), reversed, Kind::Unchanged), "");
}

TEST(CatalogTransition, RefusesAnActivatedEndpointThatTheUserHadDisabled) {
  Endpoints baseline = CompleteCatalog();
  EndpointAt(baseline, 3, true).active = false;
  for (const Kind kind : {Kind::Update, Kind::Unchanged}) {
    EXPECT_EQ(Transition(baseline, CompleteCatalog(), kind), kActivated);
    EXPECT_EQ(Transition({{3, true, false, u"{a}C3"}}, CompleteCatalog(), kind), kActivated);
  }
  // This is found before the ids are judged.
  EXPECT_EQ(Transition(baseline, CompleteCatalog(u"{b}"), Kind::Unchanged), kActivated);
}

TEST(CatalogTransition, LetsAnUnclaimedEndpointOfTheCatalogBeActive) {
  // The baseline says nothing about the cables that it does not hold.
  EXPECT_EQ(Transition(OnlyActive({{0, false}}), OnlyActive({{0, false}})), "");
  EXPECT_EQ(Transition({{0, false, true, u"{a}R0"}}, CompleteCatalog()), "");
}

TEST(CatalogTransition, OfAnUpdateMayRemintAllIdsOrNone) {
  EXPECT_EQ(Transition(CompleteCatalog(), CompleteCatalog(u"{b}")), "");
  for (std::uint32_t reminted = 1; reminted < kEndpointCount; ++reminted) {
    Endpoints current = CompleteCatalog();
    for (std::uint32_t i = 0; i < reminted; ++i)
      current[i].endpointId += u"-new";
    EXPECT_EQ(Transition(CompleteCatalog(), current), kPartly) << reminted;
    EXPECT_EQ(Transition(CompleteCatalog(), current, Kind::Unchanged), kReminted) << reminted;
  }
}

TEST(CatalogTransition, OfAnUnchangedPackageKeepsEveryId) {
  EXPECT_EQ(Transition(CompleteCatalog(), CompleteCatalog(u"{b}"), Kind::Unchanged), kReminted);
}

TEST(CatalogTransition, RefusesThatFourOfTenEndpointsKeepTheirIds) {
  Endpoints baseline = ConsistentEndpoints(10);
  for (std::size_t i = 4; i < baseline.size(); ++i)
    baseline[i].endpointId += u"-old";
  EXPECT_EQ(Transition(baseline, CompleteCatalog()), kPartly);
  for (CatalogEndpoint& endpoint : baseline)
    endpoint.endpointId += u"-old";
  EXPECT_EQ(Transition(baseline, CompleteCatalog()), "");
  EXPECT_EQ(Transition(baseline, CompleteCatalog(), Kind::Unchanged), kReminted);
}

TEST(CatalogTransition, TakesIdsThatDifferOnlyInLetterCaseForTheSame) {
  EXPECT_EQ(Transition(CompleteCatalog(u"{ab}"), CompleteCatalog(u"{AB}"), Kind::Unchanged), "");
  EXPECT_EQ(Transition(CompleteCatalog(u"\u00E4"), CompleteCatalog(u"\u00C4"), Kind::Unchanged),
            kReminted);
}

TEST(CatalogTransition, AcceptsThatNoActiveEndpointStaysActive) {
  const Endpoints noneActive = OnlyActive({});
  EXPECT_EQ(Transition({{0, false, true, u"{a}R0"}}, noneActive), "");
  EXPECT_EQ(Transition(CompleteCatalog(), noneActive), "");
  EXPECT_EQ(Transition(CompleteCatalog(), noneActive, Kind::Unchanged), "");
}

TEST(CatalogTransition, RefusesThatOnlySomeActiveEndpointsStayActive) {
  const Endpoints baseline = {{0, false, true, u"{a}R0"}, {1, false, true, u"{a}R1"}};
  EXPECT_EQ(Transition(baseline, OnlyActive({{1, false}})), kVisibility);
  Endpoints oneLost = CompleteCatalog();
  EndpointAt(oneLost, 9, true).active = false;
  EXPECT_EQ(Transition(CompleteCatalog(), oneLost), kVisibility);
  // The ids are judged before the visibility.
  oneLost[0].endpointId = u"{new}";
  EXPECT_EQ(Transition(CompleteCatalog(), oneLost), kPartly);
}

TEST(CatalogTransition, KeepsDisabledEndpointsDisabled) {
  Endpoints baseline = CompleteCatalog();
  EndpointAt(baseline, 2, false).active = false;
  EXPECT_EQ(Transition(baseline, baseline), "");
  EXPECT_EQ(Transition(baseline, baseline, Kind::Unchanged), "");
}

}  // namespace
}  // namespace vorn
