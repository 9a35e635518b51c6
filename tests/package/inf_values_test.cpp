// The values, the model and the service that are read from an INF.

#include "inf_reading.h"

#include <gtest/gtest.h>
#include <optional>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

struct LengthCase {
  const char* name;
  const char* line;  // of the sound INF, up to the value
  const char* value;
  std::size_t longest;
};

class ReadInfIdentityLengths : public ::testing::TestWithParam<LengthCase> {};

TEST_P(ReadInfIdentityLengths, AcceptsTheLongestValueAndNoLonger) {
  const LengthCase& row = GetParam();
  const std::string old = std::string(row.line) + row.value;
  for (const std::size_t length : {std::size_t{1}, row.longest}) {
    EXPECT_TRUE(ReadText(InfWith(old, row.line + std::string(length, 'x')))) << length;
  }
  for (const std::size_t length : {std::size_t{0}, row.longest + 1, row.longest + 5000}) {
    EXPECT_FALSE(ReadText(InfWith(old, row.line + std::string(length, 'x')))) << length;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Fields, ReadInfIdentityLengths,
    ::testing::Values(LengthCase{"Class", "Class=", "MEDIA", 64},
                      LengthCase{"ClassGuid",
                                 "ClassGuid=", "{4d36e96c-e325-11ce-bfc1-08002be10318}", 64},
                      LengthCase{"CatalogFile", "CatalogFile=", "vorn_audio.cat", 260},
                      LengthCase{"Date", "DriverVer=", "08/10/2026", 32},
                      LengthCase{"Version", "DriverVer=08/10/2026,", "26.8.10.5", 64},
                      LengthCase{"ProviderName", "ProviderName=", "\"VORN Audio\"", 128}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ReadInfIdentity, FailsWithoutAnyOneOfItsValues) {
  for (const char* line :
       {"Class=MEDIA\n", "ClassGuid={4d36e96c-e325-11ce-bfc1-08002be10318}\n",
        "CatalogFile=vorn_audio.cat\n", "DriverVer=08/10/2026,26.8.10.5\n", ",26.8.10.5",
        "ProviderName=\"VORN Audio\"\n", "Provider=%ProviderName%\n", "[Strings]\n"}) {
    EXPECT_FALSE(ReadText(InfWith(line, ""))) << line;
  }
}

TEST(ReadInfIdentity, FailsOnALineBreakWithinAValue) {
  for (const char* value : {"MEDIA", "26.8.10.5", "08/10/2026", "VORN Audio"}) {
    EXPECT_FALSE(ReadText(InfWith(value, std::string(value) + "\rx"))) << value;
  }
}

// ------------------------------------------------------------------------------------------------

TEST(ReadInfIdentity, AcceptsTheProvidersNameOrTheTokenItself) {
  struct Row {
    const char* provider;
    bool ok;
  };
  for (const Row& row :
       {Row{"%ProviderName%", true}, Row{"\"VORN Audio\"", true}, Row{"vorn AUDIO", true},
        Row{"%%ProviderName%%", true}, Row{"%%providername%%", true}, Row{"\"VORN Audio \"", false},
        Row{"VORN", false}, Row{"%Unknown%", false}, Row{"%%", false},
        Row{"%DeviceDesc%", false}}) {
    const std::optional<InfIdentity> identity =
        ReadText(InfWith("Provider=%ProviderName%", "Provider=" + std::string(row.provider)));
    EXPECT_EQ(identity.has_value(), row.ok) << row.provider;
  }
}

TEST(ReadInfIdentity, FoldsOnlyAsciiLettersOfTheProvider) {
  // The two differ in the case of a letter that is not ASCII.
  const std::string text = With(InfWith("Provider=%ProviderName%", "Provider=VORN \xC4"),
                                "\"VORN Audio\"", "\"VORN \xE4\"");
  EXPECT_FALSE(ReadText(text));
}

// ------------------------------------------------------------------------------------------------

constexpr char kModelLine[] = "%DeviceDesc%=VornAudio_Install,Root\\VornAudio\n";

TEST(ReadInfIdentity, FindsTheExactModelAmongOthers) {
  struct Row {
    const char* lines;
    bool exact;
  };
  for (const Row& row : {
           Row{kModelLine, true},
           Row{"a=VornAudio_Install,Root\\Other\nb=VornAudio_Install,Root\\VornAudio\n", true},
           Row{"a=VORNAUDIO_install,ROOT\\vornaudio\n", true},
           Row{"a=VornAudio_Install,Root\\VornAudio,Root\\More\n", true},
           Row{"a=Other_Install,Root\\VornAudio\n", false},
           Row{"a=VornAudio_Install,Root\\VornAudio2\n", false},
           Row{"a=VornAudio_Install2,Root\\VornAudio\n", false},
           Row{"a=VornAudio_Instal,Root\\VornAudio\n", false},
           Row{"a=VornAudio_Install,,Root\\VornAudio\n", false},
           Row{"a=VornAudio_Install\n", false},
           Row{"a=VornAudio_Install\nb=VornAudio_Install,Root\\VornAudio\n", true},
           Row{"VornAudio_Install,Root\\VornAudio\n", true},
           Row{"", false},
       }) {
    const std::optional<InfIdentity> identity = ReadText(InfWith(kModelLine, row.lines));
    EXPECT_TRUE(identity) << row.lines;
    EXPECT_EQ(identity->hasExactModel, row.exact) << row.lines;
  }
}

TEST(ReadInfIdentity, SkipsAModelWhoseFieldsAreLongerThan127) {
  const std::string tooLong(128, 'x');
  const std::optional<InfIdentity> identity =
      ReadText(InfWith(kModelLine, "a=" + tooLong + ",Root\\VornAudio\nb=VornAudio_Install," +
                                       tooLong + "\n" + kModelLine));
  ASSERT_TRUE(identity);
  EXPECT_TRUE(identity->hasExactModel);
}

TEST(ReadInfIdentity, HasNoModelWithoutTheModelsSection) {
  const std::optional<InfIdentity> identity =
      ReadText(InfWith("[VornAudioDevices.NTamd64.10.0...19041]", "[VornAudioDevices.NTamd64]"));
  EXPECT_TRUE(identity);
  EXPECT_FALSE(identity->hasExactModel);
}

TEST(ReadInfIdentity, StopsWalkingAtTheFirstExactModel) {
  Machine machine = MachineWithInf(
      InfWith(kModelLine, "a=X,Root\\X\n" + std::string(kModelLine) + "b=Y,Root\\Y\nc=Z\n"));
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(OpenAndRead());
  EXPECT_EQ(CallsOf(process, "SetupFindNextLine").size(), 1U);
}

TEST(ReadInfIdentity, DoesNotBelieveANextLineThatCouldNotBeRead) {
  Machine machine = MachineWithInf(InfWith(kModelLine, "a=X,Root\\X\n" + std::string(kModelLine)));
  Process process(machine);
  process.faults = {FailingCall("SetupFindNextLine", 5)};
  process.faults[0].kind = FaultKind::FailAfterEffect;
  const std::optional<InfIdentity> identity = OpenAndRead();
  ASSERT_TRUE(identity);
  EXPECT_FALSE(identity->hasExactModel);
}

constexpr char kServiceLine[] = "AddService=VornAudio,0x00000002,VornAudio_Service\n";

TEST(ReadInfIdentity, CountsOnlyTheFirstServiceLine) {
  struct Row {
    const char* lines;
    bool exact;
  };
  for (const Row& row : {
           Row{kServiceLine, true},
           Row{"ADDSERVICE = vornaudio\n", true},
           Row{"DelService=Other\nAddService=VornAudio\n", true},
           Row{"AddService=Other,2,x\nAddService=VornAudio,2,VornAudio_Service\n", false},
           Row{"AddService=VornAudio2\n", false},
           Row{"AddService=\n", false},
           Row{"AddService=,VornAudio\n", false},
           Row{"VornAudio\n", false},
           Row{"", false},
       }) {
    const std::optional<InfIdentity> identity = ReadText(InfWith(kServiceLine, row.lines));
    EXPECT_TRUE(identity) << row.lines;
    EXPECT_EQ(identity->hasExactService, row.exact) << row.lines;
  }
}

}  // namespace
}  // namespace vorn
