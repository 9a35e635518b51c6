#include "remove/endpoint_records.h"

#include "platform/simulated/native_values.h"
#include "platform/simulated/registry_values.h"
#include "registry_world.h"

#include <algorithm>
#include <set>

namespace vorn {
namespace {

using namespace platform::simulated;
using tests::AlwaysFailingCall;
using tests::ChangeBefore;
using tests::FailingCall;
using tests::kReadOnlySddl;
using tests::kRecordsPath;

using Paths = std::vector<std::u16string>;

constexpr std::uint32_t kBudgetMs = 10'000;
constexpr char16_t kOurs[] = u"Render\\{a}";
constexpr char16_t kNobodySddl[] = u"O:SYD:P(A;CI;0xf003f;;;SY)";

class EndpointRecords : public tests::RegistryWorld {
 protected:
  EndpointRecords() {
    MakeKey(TheRegistry(), PathOf(u"Render"));
    MakeKey(TheRegistry(), PathOf(u"Capture"));
  }

  EndpointRecordCleanupResult Clean(std::uint32_t budgetMs = kBudgetMs) {
    startTick_ = machine.clock.tick;
    return CleanEndpointRecords(platform::HKEY_LOCAL_MACHINE, kRecordsPath, budgetMs);
  }

  std::uint64_t Waited() const { return machine.clock.tick - startTick_; }

  /// How often the state of a record was read.
  std::size_t StateReads() const {
    const auto values = ArgumentsOf("RegGetValueW", "value");
    return static_cast<std::size_t>(std::count(values.begin(), values.end(), "DeviceState"));
  }

 private:
  std::uint64_t startTick_ = 0;
};

void ExpectNothingToSay(const EndpointRecordCleanupResult& result) {
  EXPECT_EQ(result.removed, Paths{});
  EXPECT_EQ(result.retained, Paths{});
  EXPECT_EQ(result.unreadable, Paths{});
  EXPECT_TRUE(result.listedAll);
}

// ------------------------------------------------------------------------------------------------
// Whose a record is.

TEST_F(EndpointRecords, OfTheTenCablesAreDeleted) {
  for (std::uint32_t cable = 0; cable < 10; ++cable) {
    AddRecord(u"Render\\{r" + std::u16string(1, static_cast<char16_t>(u'0' + cable)) + u"}", cable);
  }
  const auto result = Clean();
  EXPECT_EQ(result.removed.size(), 10U);
  EXPECT_EQ(result.removed.front(), u"Render\\{r0}");
  EXPECT_EQ(result.removed.back(), u"Render\\{r9}");
  EXPECT_TRUE(KeyAt(u"Render").children.empty());
}

TEST_F(EndpointRecords, OfAHigherCableAreNotOurs) {
  for (const std::uint32_t cable : {10U, 11U, 256U, 0x100'0000U, 0x8000'0000U, 0xFFFF'FFFFU}) {
    AddRecord(kOurs, cable);
    const Registry before = TheRegistry();
    ExpectNothingToSay(Clean());
    EXPECT_EQ(TheRegistry(), before) << cable;
  }
}

TEST_F(EndpointRecords, WithAMarkerOfAnotherShapeAreNotOurs) {
  struct {
    const char* what;
    std::uint32_t type;
    Bytes data;
  } const rows[] = {
      {"eight bytes", platform::REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}},
      {"a number of eight bytes", platform::REG_DWORD, {1, 0, 0, 0, 0, 0, 0, 0}},
      {"a number of five bytes", platform::REG_DWORD, {1, 0, 0, 0, 0}},
      {"a number of three bytes", platform::REG_DWORD, {1, 0, 0}},
      {"a number of one byte", platform::REG_DWORD, {1}},
      {"a number of no bytes", platform::REG_DWORD, {}},
      {"bytes", platform::REG_BINARY, {1, 0, 0, 0}},
      {"nothing", platform::REG_NONE, {1, 0, 0, 0}},
      {"no bytes of nothing", platform::REG_NONE, {}},
      {"a text of one digit", platform::REG_SZ, {u'1', 0, 0, 0}},
      {"a text without an end", platform::REG_SZ, {u'1', 0}},
      {"a longer text", platform::REG_SZ, {u'1', 0, u'0', 0, 0, 0}},
      {"an expandable text", platform::REG_EXPAND_SZ, {u'1', 0, 0, 0}},
      {"a list of texts", platform::REG_MULTI_SZ, {0, 0, 0, 0}},
      {"a number the other way round", 5, {1, 0, 0, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    AddRecord(kOurs);
    PutMarker(kOurs, row.type, row.data);
    const Registry before = TheRegistry();
    ExpectNothingToSay(Clean());
    EXPECT_EQ(TheRegistry(), before);
  }
}

TEST_F(EndpointRecords, WithoutAMarkerOrPropertiesAreNotOurs) {
  MakeKey(TheRegistry(), PathOf(u"Render\\{bare}"));
  MakeKey(TheRegistry(), PathOf(u"Render\\{other}\\Properties"));
  // The marker in a place where it proves nothing.
  PutDword(TheRegistry(), PathOf(u"Render\\{self}"), kCableMarkerName, 1);
  PutDword(TheRegistry(), PathOf(u"Render\\{fx}\\FxProperties"), kCableMarkerName, 1);
  // Another property of the same set.
  PutDword(TheRegistry(), PathOf(u"Render\\{near}\\Properties"),
           u"{4b7a2e8f-3c5d-4e91-8a67-2f9b1e3d5c7a},20", 1);
  const Registry before = TheRegistry();
  ExpectNothingToSay(Clean());
  EXPECT_EQ(TheRegistry(), before);
}

TEST_F(EndpointRecords, AreReadAsAnyTypeIntoFourBytes) {
  AddRecord(kOurs);
  Clean();
  const auto reads = tests::CallsOf(process, "RegGetValueW");
  ASSERT_GE(reads.size(), 1U);
  EXPECT_EQ(reads[0].Argument("subkey"), "{a}\\Properties");
  EXPECT_EQ(reads[0].Argument("value"), "{4b7a2e8f-3c5d-4e91-8a67-2f9b1e3d5c7a},2");
  EXPECT_EQ(reads[0].Argument("flags"), "0x1000FFFF");
  EXPECT_EQ(reads[0].Argument("size"), "4");
}

TEST_F(EndpointRecords, ThatCannotBeReadAreLeftAlone) {
  AddRecord(u"Render\\{a}", 1);
  AddRecord(u"Render\\{b}", 2);
  AddRecord(u"Capture\\{c}", 3);
  Secure(u"Render\\{a}\\Properties", kNobodySddl);
  KeyAt(u"Capture\\{c}\\Properties").openError = 1450;
  const auto result = Clean();
  EXPECT_EQ(result.unreadable, (Paths{u"Render\\{a}", u"Capture\\{c}"}));
  EXPECT_EQ(result.removed, Paths{u"Render\\{b}"});
  EXPECT_EQ(result.retained, Paths{});
  EXPECT_TRUE(result.listedAll);
  EXPECT_TRUE(Exists(u"Render\\{a}\\FxProperties"));
  EXPECT_TRUE(Exists(u"Capture\\{c}\\FxProperties"));
}

TEST_F(EndpointRecords, WhoseMarkerReadsWithAnErrorAreUnknownUnlessItIsMissingOrTooLong) {
  struct {
    std::uint32_t error;
    bool known;
  } const rows[] = {{2, true},     {234, true},   {3, false},    {5, false},    {6, false},
                    {14, false},   {87, false},   {1009, false}, {1011, false}, {1012, false},
                    {1018, false}, {1450, false}, {1629, false}, {1630, false}};
  AddRecord(kOurs);
  const Registry before = TheRegistry();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    process.faults = {FailingCall("RegGetValueW", row.error)};
    process.callCounts.clear();
    const auto result = Clean();
    EXPECT_EQ(result.unreadable, row.known ? Paths{} : Paths{kOurs});
    EXPECT_EQ(result.removed.size() + result.retained.size(), 0U);
    EXPECT_TRUE(result.listedAll);
    EXPECT_EQ(TheRegistry(), before);
  }
}

TEST_F(EndpointRecords, WhoseMarkerIsReadWithAnErrorAreNotOursWhateverWasRead) {
  AddRecord(kOurs);
  for (const std::uint32_t error : {2U, 5U, 234U}) {
    SCOPED_TRACE(error);
    process.callCounts.clear();
    process.faults = {FailingCall("RegGetValueW", error)};
    process.faults[0].kind = FaultKind::FailAfterEffect;
    const auto result = Clean();
    EXPECT_EQ(result.removed, Paths{});
    EXPECT_EQ(result.unreadable, error == 5 ? Paths{kOurs} : Paths{});
    EXPECT_TRUE(Exists(kOurs));
  }
}

// ------------------------------------------------------------------------------------------------
// Listing.

TEST_F(EndpointRecords, AreListedInRenderThenCaptureOfThe64BitView) {
  Clean();
  EXPECT_EQ(ArgumentsOf("RegOpenKeyExW", "subkey"),
            (std::vector<std::string>{"SOFTWARE\\Endpoints\\Audio\\Render",
                                      "SOFTWARE\\Endpoints\\Audio\\Capture"}));
  EXPECT_EQ(ArgumentsOf("RegOpenKeyExW", "desiredAccess"),
            (std::vector<std::string>{"0x20119", "0x20119"}));
  EXPECT_EQ(ArgumentsOf("RegOpenKeyExW", "options"), (std::vector<std::string>{"0x0", "0x0"}));
  EXPECT_EQ(ArgumentsOf("RegEnumKeyExW", "nameSize"), (std::vector<std::string>{"256", "256"}));
}

TEST_F(EndpointRecords, AreReportedInListingOrderWithTheirFlow) {
  AddRecord(u"Capture\\{a}", 1);
  AddRecord(u"Render\\{c}", 2);
  AddRecord(u"Render\\{b}", 3);
  EXPECT_EQ(Clean().removed, (Paths{u"Render\\{b}", u"Render\\{c}", u"Capture\\{a}"}));
}

TEST_F(EndpointRecords, AreAllListedWhenAFlowIsMissing) {
  AddRecord(kOurs);
  RemoveKeyTree(TheRegistry(), PathOf(u"Capture"));
  const auto result = Clean();
  EXPECT_TRUE(result.listedAll);
  EXPECT_EQ(result.removed, Paths{kOurs});
  RemoveKeyTree(TheRegistry(), PathOf(u"Render"));
  ExpectNothingToSay(Clean());
}

TEST_F(EndpointRecords, AndTheirFlowsAreOpenedOnce) {
  AddRecord(kOurs);
  RemoveKeyTree(TheRegistry(), PathOf(u"Capture"));
  Clean();
  const auto opened = ArgumentsOf("RegOpenKeyExW", "subkey");
  EXPECT_EQ(std::set<std::string>(opened.begin(), opened.end()).size(), opened.size());
}

TEST_F(EndpointRecords, OfTheOtherFlowAreDeletedWhenTheFirstIsMissing) {
  AddRecord(u"Capture\\{b}");
  RemoveKeyTree(TheRegistry(), PathOf(u"Render"));
  const auto result = Clean();
  EXPECT_TRUE(result.listedAll);
  EXPECT_EQ(result.removed, Paths{u"Capture\\{b}"});
}

TEST_F(EndpointRecords, AreNotAllListedWhenAFlowCannotBeOpened) {
  for (const std::uint32_t error : {3U, 5U, 6U, 161U, 1009U, 1018U, 1450U}) {
    SCOPED_TRACE(error);
    AddRecord(kOurs);
    AddRecord(u"Capture\\{b}");
    KeyAt(u"Capture").openError = error;
    const auto result = Clean();
    EXPECT_FALSE(result.listedAll);
    EXPECT_EQ(result.removed, Paths{kOurs});
    EXPECT_TRUE(Exists(u"Capture\\{b}"));
    KeyAt(u"Capture").openError = 0;
  }
}

TEST_F(EndpointRecords, OfTheOtherFlowAreDeletedWhenTheFirstCannotBeOpened) {
  AddRecord(u"Capture\\{b}");
  Secure(u"Render", kNobodySddl);
  const auto result = Clean();
  EXPECT_FALSE(result.listedAll);
  EXPECT_EQ(result.removed, Paths{u"Capture\\{b}"});
}

TEST_F(EndpointRecords, ThatWereListedBeforeAFailureAreDeleted) {
  AddRecord(u"Render\\{a}");
  AddRecord(u"Render\\{b}");
  AddRecord(u"Capture\\{c}");
  process.faults = {FailingCall("RegEnumKeyExW", 1450, 2)};
  const auto result = Clean();
  EXPECT_FALSE(result.listedAll);
  EXPECT_EQ(result.removed, (Paths{u"Render\\{a}", u"Capture\\{c}"}));
  EXPECT_TRUE(Exists(u"Render\\{b}"));
}

TEST_F(EndpointRecords, OfAFlowThatCannotBeListedStay) {
  AddRecord(kOurs);
  KeyAt(u"Render").listError = 5;
  const auto result = Clean();
  EXPECT_FALSE(result.listedAll);
  EXPECT_EQ(result.removed, Paths{});
  EXPECT_TRUE(Exists(kOurs));
}

TEST_F(EndpointRecords, MayHaveNamesAsLongAsKeysCan) {
  const std::u16string longest = u"Render\\" + std::u16string(255, u'n');
  AddRecord(longest);
  const auto result = Clean();
  EXPECT_EQ(result.removed, Paths{longest});
  EXPECT_TRUE(result.listedAll);
}

// ------------------------------------------------------------------------------------------------
// Waiting.

TEST_F(EndpointRecords, ThatAreNotPresentAreNotWaitedFor) {
  AddRecord(u"Render\\{a}");
  AddRecord(u"Render\\{b}", 1, 0x1000'0004);
  AddRecord(u"Render\\{c}", 2, 0x14);
  EXPECT_EQ(Clean().removed.size(), 3U);
  EXPECT_EQ(CountOf("Sleep"), 0U);
  EXPECT_EQ(StateReads(), 3U);
}

TEST_F(EndpointRecords, AreNotWaitedForWhenThereAreNone) {
  MakeKey(TheRegistry(), PathOf(u"Render\\{other}"));
  PutState(u"Render\\{other}", 1);
  Clean();
  EXPECT_EQ(CountOf("Sleep"), 0U);
  EXPECT_EQ(StateReads(), 0U);
}

TEST_F(EndpointRecords, ThatStayActiveAreDeletedAfterTheBudget) {
  for (const std::uint32_t state : {1U, 2U, 8U, 0U, 5U, 12U, 0x1000'0001U}) {
    SCOPED_TRACE(state);
    AddRecord(kOurs, 0, state);
    EXPECT_EQ(Clean().removed, Paths{kOurs});
    EXPECT_EQ(Waited(), 10'000U);
    EXPECT_FALSE(Exists(kOurs));
  }
  for (const auto& sleep : tests::CallsOf(process, "Sleep")) {
    EXPECT_EQ(sleep.Argument("milliseconds"), "250");
  }
  EXPECT_EQ(CountOf("Sleep"), 7 * 40U);
}

TEST_F(EndpointRecords, AreDeletedAsSoonAsTheyAreIdle) {
  AddRecord(u"Render\\{a}", 0, 1);
  AddRecord(u"Render\\{b}", 1, 1);
  process.faults = {
      ChangeBefore("Sleep", 2, [this](Machine&) { PutState(u"Render\\{a}", 4); }),
      ChangeBefore("Sleep", 5, [this](Machine&) { PutState(u"Render\\{b}", 4); }),
  };
  EXPECT_EQ(Clean().removed.size(), 2U);
  EXPECT_EQ(Waited(), 5 * 250U);
}

TEST_F(EndpointRecords, AreNotReadOnAfterTheFirstActiveOneOfARound) {
  AddRecord(u"Render\\{a}", 0, 4);
  AddRecord(u"Render\\{b}", 1, 1);
  AddRecord(u"Render\\{c}", 2, 1);
  EXPECT_EQ(Clean(250).removed.size(), 3U);
  EXPECT_EQ(CountOf("Sleep"), 1U);
  EXPECT_EQ(StateReads(), 4U);
}

TEST_F(EndpointRecords, AreLookedAtOnceWithoutABudget) {
  AddRecord(kOurs, 0, 1);
  EXPECT_EQ(Clean(0).removed, Paths{kOurs});
  EXPECT_EQ(CountOf("Sleep"), 0U);
  EXPECT_EQ(StateReads(), 1U);
}

TEST_F(EndpointRecords, WhoseStateCannotBeReadAreNotWaitedFor) {
  AddRecord(u"Render\\{a}", 0, 1);
  AddRecord(u"Render\\{b}", 1, 1);
  AddRecord(u"Render\\{c}", 2, 1);
  PutValue(TheRegistry(), PathOf(u"Render\\{a}"), u"DeviceState", platform::REG_SZ, {u'1', 0});
  PutValue(TheRegistry(), PathOf(u"Render\\{b}"), u"DeviceState", platform::REG_QWORD,
           {1, 0, 0, 0, 0, 0, 0, 0});
  KeyAt(u"Render\\{c}").values.clear();
  EXPECT_EQ(Clean().removed.size(), 3U);
  EXPECT_EQ(CountOf("Sleep"), 0U);
}

TEST_F(EndpointRecords, WhoseStateIsReadWithAnErrorAreNotWaitedForWhateverWasRead) {
  AddRecord(kOurs, 0, 1);
  for (const std::uint32_t error : {2U, 5U, 1630U, 0x80070005U}) {
    SCOPED_TRACE(error);
    AddRecord(kOurs, 0, 1);
    process.callCounts.clear();
    process.faults = {FailingCall("RegGetValueW", error, 2)};
    process.faults[0].kind = FaultKind::FailAfterEffect;
    EXPECT_EQ(Clean().removed, Paths{kOurs});
    EXPECT_EQ(CountOf("Sleep"), 0U);
  }
}

TEST_F(EndpointRecords, AreWaitedForFromTheEndOfTheirListing) {
  AddRecord(kOurs, 0, 1);
  Fault slow;
  slow.call = "RegGetValueW";  // the marker's
  slow.kind = FaultKind::TakeTime;
  slow.amount = 9'000;
  process.faults = {slow};
  EXPECT_EQ(Clean().removed, Paths{kOurs});
  EXPECT_EQ(Waited(), 19'000U);
}

TEST_F(EndpointRecords, AreWaitedForNoLongerWhenReadingTheirStateTookTheBudget) {
  AddRecord(kOurs, 0, 1);
  Fault slow;
  slow.call = "RegGetValueW";
  slow.first = slow.last = 2;  // the state's
  slow.kind = FaultKind::TakeTime;
  slow.amount = kBudgetMs;
  process.faults = {slow};
  EXPECT_EQ(Clean().removed, Paths{kOurs});
  EXPECT_EQ(CountOf("Sleep"), 0U);
}

TEST_F(EndpointRecords, AreWaitedForAsLongHoweverLongTheMachineIsUp) {
  for (const std::uint64_t start :
       {(std::uint64_t{1} << 32) - kBudgetMs, (std::uint64_t{1} << 32) - 4'000,
        (std::uint64_t{1} << 32) - 1, std::uint64_t{1} << 32, (std::uint64_t{1} << 63) - 4'000}) {
    SCOPED_TRACE(start);
    AddRecord(kOurs, 0, 1);
    machine.clock.tick = start;
    EXPECT_EQ(Clean().removed, Paths{kOurs});
    EXPECT_EQ(Waited(), kBudgetMs);
  }
}

TEST_F(EndpointRecords, AreAskedForTheirStateAsANumberOnly) {
  AddRecord(kOurs);
  Clean();
  const auto reads = tests::CallsOf(process, "RegGetValueW");
  ASSERT_EQ(reads.size(), 2U);
  EXPECT_EQ(reads[1].Argument("subkey"), "{a}");
  EXPECT_EQ(reads[1].Argument("value"), "DeviceState");
  EXPECT_EQ(reads[1].Argument("flags"), "0x10");
  EXPECT_EQ(reads[1].Argument("size"), "4");
}

// ------------------------------------------------------------------------------------------------
// Deleting.

TEST_F(EndpointRecords, ThatVanishedMeanwhileCountAsRemoved) {
  AddRecord(kOurs, 0, 1);
  process.faults = {
      ChangeBefore("Sleep", 1, [this](Machine&) { RemoveKeyTree(TheRegistry(), PathOf(kOurs)); })};
  const auto result = Clean();
  EXPECT_EQ(result.removed, Paths{kOurs});
  EXPECT_EQ(result.retained, Paths{});
}

TEST_F(EndpointRecords, ThatCannotBeDeletedAreRetainedWithTheError) {
  AddRecord(u"Render\\{a}", 0);
  AddRecord(u"Render\\{b}", 1);
  AddRecord(u"Render\\{c}", 2);
  KeyAt(u"Render\\{a}").openError = 1450;
  KeyAt(u"Render\\{c}").deleteStatus = platform::STATUS_ACCESS_DENIED;
  // Reading the marker goes through the key, which must still open for that.
  process.faults = {
      ChangeBefore("RegGetValueW", 1, [this](Machine&) { KeyAt(u"Render\\{a}").openError = 0; }),
      ChangeBefore("RegOpenKeyExW", 3,
                   [this](Machine&) { KeyAt(u"Render\\{a}").openError = 1450; })};
  const auto result = Clean();
  EXPECT_EQ(result.retained,
            (Paths{u"Render\\{a} (error 0x000005AA)", u"Render\\{c} (error 0x00000005)"}));
  EXPECT_EQ(result.removed, Paths{u"Render\\{b}"});
  EXPECT_TRUE(Exists(u"Render\\{a}\\Properties"));
}

TEST_F(EndpointRecords, AreTriedOnce) {
  AddRecord(kOurs, 0);
  // The first of these is the record's properties, without which the record itself stays.
  process.faults = {
      FailingCall("NtDeleteKey", static_cast<std::uint32_t>(platform::STATUS_ACCESS_DENIED))};
  const auto result = Clean();
  EXPECT_EQ(result.removed, Paths{});
  EXPECT_EQ(result.retained, Paths{u"Render\\{a} (error 0x00000005)"});
}

TEST_F(EndpointRecords, ThatOnlyAllowReadingAreDeletedByPrivilege) {
  AddRecord(kOurs);
  Secure(u"Render", kReadOnlySddl);
  EXPECT_EQ(Clean().removed, Paths{kOurs});
  EXPECT_FALSE(Exists(kOurs));
}

TEST_F(EndpointRecords, AreAllDeletedWithPrivilegesThatWereEnabledOnce) {
  AddRecord(u"Render\\{a}");
  AddRecord(u"Render\\{b}");
  AddRecord(u"Capture\\{a}");
  Secure(u"Render", kReadOnlySddl);
  Secure(u"Capture", kReadOnlySddl);
  EXPECT_EQ(Clean().removed.size(), 3U);
  EXPECT_EQ(CountOf("OpenProcessToken"), 1U);
  EXPECT_EQ(CountOf("AdjustTokenPrivileges"), 2U);
  EXPECT_EQ(CountOf("GetProcAddress"), 2U);
}

TEST_F(EndpointRecords, ThatOnlyAllowReadingAreRetainedWithoutThePrivileges) {
  AddRecord(kOurs);
  Secure(u"Render", kReadOnlySddl);
  process.token.holdsBackup = false;
  process.token.holdsRestore = false;
  EXPECT_EQ(Clean().retained, Paths{u"Render\\{a} (error 0x00000005)"});
  EXPECT_TRUE(Exists(kOurs));
}

TEST_F(EndpointRecords, PrintNothing) {
  AddRecord(kOurs);
  KeyAt(kOurs).deleteStatus = platform::STATUS_ACCESS_DENIED;
  Clean();
  EXPECT_TRUE(process.console.empty());
}

TEST_F(EndpointRecords, OfOthersStayWhicheverCallFails) {
  AddRecord(u"Render\\{a}", 0, 1);
  AddRecord(u"Capture\\{b}", 9);
  AddRecord(u"Render\\{tenth}", 10);
  AddRecord(u"Capture\\{quad}");
  PutMarker(u"Capture\\{quad}", platform::REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0});
  MakeKey(TheRegistry(), PathOf(u"Render\\{theirs}\\Properties"));
  Secure(u"Render\\{a}", kReadOnlySddl);
  const auto others = [](const Registry& registry) {
    std::vector<Key> keys;
    for (const auto name : {u"Render\\{tenth}", u"Capture\\{quad}", u"Render\\{theirs}"}) {
      for (const auto below : {u"", u"\\Properties", u"\\FxProperties"}) {
        const auto id = FindKey(registry, PathOf(name) + below);
        if (id) keys.push_back(registry.keys.at(*id));
      }
    }
    return keys;
  };
  const std::vector<Key> before = others(TheRegistry());
  const Machine start = machine;
  Clean(500);
  const std::vector<CallRecord> calls = process.calls;
  ASSERT_GT(calls.size(), 20U);
  for (const FaultKind kind : {FaultKind::Fail, FaultKind::FailAfterEffect, FaultKind::Short,
                               FaultKind::SucceedWithoutEffect}) {
    for (std::uint32_t nth = 1; nth <= calls.size(); ++nth) {
      const std::string& name = calls[nth - 1].name;
      if (name == "RegCloseKey" || name == "CloseHandle") continue;
      // A call that fails after it has opened something does not give it away.
      if (kind == FaultKind::FailAfterEffect && name == "OpenProcessToken") continue;
      SCOPED_TRACE(std::to_string(nth) + ": " + name);
      machine = start;
      process.token = Token();
      process.calls.clear();
      process.callCount = 0;
      process.callCounts.clear();
      Fault fault;
      fault.first = fault.last = nth;
      fault.kind = kind;
      fault.error = 5;
      process.faults = {fault};
      Clean(500);
      EXPECT_EQ(others(TheRegistry()), before);
    }
  }
  process.faults.clear();
}

}  // namespace
}  // namespace vorn
