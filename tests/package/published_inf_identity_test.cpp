// What is read from a published INF: its original names, as the platform remembers them.

#include "inf_reading.h"
#include "platform/inf.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

Machine PublishedMachine(std::u16string_view originalInf = u"vorn_audio.inf",
                         std::u16string_view originalCatalog = u"vorn_audio.cat",
                         std::string_view text = SoundInf()) {
  Machine machine = BareMachine();
  Publish(machine, u"oem3.inf", text, originalInf, originalCatalog);
  return machine;
}

TEST(ReadPublishedIdentity, TakesTheOriginalNamesOfAPublishedInfFromThePlatform) {
  const std::optional<InfIdentity> identity =
      ReadPublished(PublishedMachine(u"C:\\setup\\vorn_audio.inf", u"a/b/VORN_audio.cat"));
  ASSERT_TRUE(identity);
  InfIdentity expected = SoundIdentity();
  expected.publishedInfName = u"oem3.inf";
  expected.originalCatalogName = u"VORN_audio.cat";
  EXPECT_EQ(*identity, expected);
}

TEST(ReadPublishedIdentity, AsksForOriginalNamesByTheDisplayPath) {
  Machine machine = PublishedMachine();
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(OpenAndReadPublished());
  const std::vector<CallRecord> asked = CallsOf(process, "SetupGetInfInformationW");
  ASSERT_EQ(asked.size(), 2U);
  for (const CallRecord& call : asked) {
    EXPECT_EQ(call.Argument("InfSpec"), "C:\\Windows\\INF\\oem3.inf");
    EXPECT_EQ(call.Argument("SearchControl"), "2");
  }
  EXPECT_EQ(asked[0].Argument("Buffer"), "false");
  EXPECT_EQ(asked[0].Argument("Size"), "0");
  EXPECT_EQ(asked[1].Argument("Buffer"), "true");
  EXPECT_NE(asked[1].Argument("Size"), "0");
  const std::vector<CallRecord> query = CallsOf(process, "SetupQueryInfOriginalFileInformationW");
  ASSERT_EQ(query.size(), 1U);
  EXPECT_EQ(query[0].Argument("InfIndex"), "0");
  EXPECT_EQ(query[0].Argument("cbSize"), "1044");
}

TEST(ReadInfIdentity, DoesNotAskForTheOriginalNamesOfASourceInf) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(OpenAndRead());
  EXPECT_TRUE(CallsOf(process, "SetupGetInfInformationW").empty());
}

TEST(ReadPublishedIdentity, RefusesOriginalNamesThatAreNotFileNames) {
  const std::u16string longest(259, u'x');
  EXPECT_TRUE(ReadPublished(PublishedMachine(longest, longest)));
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"", u"vorn_audio.cat")));
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"vorn_audio.inf", u"")));
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"C:\\pkg\\", u"vorn_audio.cat")));
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"vorn\n.inf", u"vorn_audio.cat")));
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"vorn_audio.inf", u"vorn\r.cat")));
}

TEST(ReadPublishedIdentity, FailsWhenAnyCallAboutAPublishedInfFails) {
  FailEachCall(PublishedMachine(), [](Process&, const std::string& failing) {
    const std::optional<InfIdentity> identity = OpenAndReadPublished();
    if (failing.empty() || IsRelease(failing)) {
      EXPECT_TRUE(identity);
    } else {
      EXPECT_FALSE(identity && HasExactPackageContract(*identity));
    }
  });
}

TEST(ReadPublishedIdentity, BelievesNoAnswerAboutAPublishedInfOfACallThatFailed) {
  FailEachCallAfterItsEffect(PublishedMachine(), [](Process&, const std::string& failing) {
    const std::optional<InfIdentity> identity = OpenAndReadPublished();
    EXPECT_EQ(identity && HasExactPackageContract(*identity),
              failing.empty() || IsRelease(failing));
  });
}

Fault InformationFault(FaultKind kind, std::uint32_t first, std::uint32_t last) {
  Fault fault;
  fault.call = "SetupGetInfInformationW";
  fault.kind = kind;
  fault.first = first;
  fault.last = last;
  return fault;
}

bool ReadsPublishedWith(const Fault& fault) {
  Machine machine = PublishedMachine();
  Process process(machine);
  process.faults.push_back(fault);
  const bool read = OpenAndReadPublished().has_value();
  EXPECT_TRUE(NothingIsOpen(process));
  return read;
}

TEST(ReadPublishedIdentity, GoesOnWhenTheSizeQuerySaysThatTheBufferIsTooSmall) {
  Fault fault = InformationFault(FaultKind::FailAfterEffect, 1, 1);
  fault.error = platform::ERROR_INSUFFICIENT_BUFFER;
  EXPECT_TRUE(ReadsPublishedWith(fault));
  fault.error = platform::ERROR_INVALID_PARAMETER;
  EXPECT_FALSE(ReadsPublishedWith(fault));
}

TEST(ReadPublishedIdentity, RefusesInformationThatIsTooShortOrNotBroughtBack) {
  Fault fault = InformationFault(FaultKind::Short, 1, 2);
  fault.amount = 11;
  EXPECT_FALSE(ReadsPublishedWith(fault));
  fault = InformationFault(FaultKind::SucceedWithoutEffect, 1, 1);
  EXPECT_FALSE(ReadsPublishedWith(fault)) << "no size";
  fault = InformationFault(FaultKind::SucceedWithoutEffect, 2, 2);
  EXPECT_FALSE(ReadsPublishedWith(fault)) << "no information";
}

TEST(ReadPublishedIdentity, AcceptsInformationOfUpTo1MiB) {
  // The information block holds the version section: grow that until the block is as large as it
  // may be, then by one character more.
  const auto published = [](std::size_t characters) {
    std::string padding;
    while (padding.size() < characters) {
      const std::size_t rest = std::min<std::size_t>(characters - padding.size(), 500);
      padding += rest < 3 ? "\n" : "a=" + std::string(rest - 3, 'x') + "\n";
    }
    return PublishedMachine(u"vorn_audio.inf", u"vorn_audio.cat",
                            InfWith("[Manufacturer]", padding + "[Manufacturer]"));
  };
  const auto informationSize = [](Machine machine) {
    Process process(machine);
    std::uint32_t size = 0;
    EXPECT_TRUE(platform::SetupGetInfInformationW(
        u"C:\\Windows\\INF\\oem3.inf", platform::INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size));
    return size;
  };
  const std::uint32_t smallest = informationSize(published(0));
  const std::size_t growth = (1048576 - smallest) / 2;
  ASSERT_EQ(informationSize(published(growth)), 1048576U);
  EXPECT_TRUE(ReadPublished(published(growth)));
  ASSERT_EQ(informationSize(published(growth + 1)), 1048578U);
  EXPECT_FALSE(ReadPublished(published(growth + 1)));

  Machine machine = published(growth + 1);
  Process process(machine);
  Fault cut;
  cut.call = "SetupGetInfInformationW";
  cut.last = kEveryLaterCall;
  cut.kind = FaultKind::Short;
  cut.amount = 1048577;
  process.faults = {cut};
  EXPECT_FALSE(OpenAndReadPublished()) << "one byte more";
}

}  // namespace
}  // namespace vorn
