#include "package/inf_identity.h"

#include "base/text.h"
#include "package_world.h"
#include "platform/files.h"
#include "privileged_input/file.h"
#include "privileged_input/protected_files.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;
using privileged_input::File;

constexpr char16_t kVolumeRoot[] = u"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\";

struct Reading {
  bool ok = false;
  InfIdentity identity;
};

Reading ReadSource(Machine machine, const std::u16string& path = kInfPath) {
  Process process(machine);
  Reading reading;
  reading.identity.className = u"left over";
  reading.ok = ReadInfIdentity(path, u"", nullptr, reading.identity);
  EXPECT_TRUE(NothingIsOpen(process));
  EXPECT_EQ(process.Output() + process.ErrorOutput(), u"") << "the reader prints nothing";
  return reading;
}

Reading ReadText(std::string_view text) {
  return ReadSource(MachineWithInf(text));
}

Reading ReadPublished(Machine machine, const std::u16string& name = u"oem3.inf") {
  Process process(machine);
  Reading reading;
  reading.ok = ReadInfIdentity(kInfFolder + name, name, nullptr, reading.identity);
  EXPECT_TRUE(NothingIsOpen(process));
  return reading;
}

// ------------------------------------------------------------------------------------------------

TEST(ReadInfIdentity, ReadsEveryFieldOfASourceInf) {
  const Reading reading = ReadText(SoundInf());
  ASSERT_TRUE(reading.ok);
  EXPECT_EQ(reading.identity, SoundIdentity());
}

TEST(ReadInfIdentity, ReadsAUtf16Inf) {
  Machine machine = BareMachine();
  PutFile(machine.files, kInfPath, ToUtf16Bytes(SoundInf()));
  const Reading reading = ReadSource(machine);
  ASSERT_TRUE(reading.ok);
  InfIdentity expected = SoundIdentity();
  expected.infSha256 = reading.identity.infSha256;
  EXPECT_EQ(reading.identity, expected);
  EXPECT_NE(reading.identity.infSha256, SoundIdentity().infSha256);
}

TEST(ReadInfIdentity, KeepsDatesAndVersionsAsText) {
  const Reading reading = ReadText(InfWith("08/10/2026,26.8.10.5", "\" not a date \",\"v,1\""));
  ASSERT_TRUE(reading.ok);
  EXPECT_EQ(reading.identity.driverDate, u" not a date ");
  EXPECT_EQ(reading.identity.driverVersion, u"v,1");
}

TEST(ReadInfIdentity, ReadsThePlatformsPathOfTheHandle) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  InfIdentity identity;
  ASSERT_TRUE(ReadInfIdentity(u"c:\\PKG\\driver\\VORN_audio.inf", u"", nullptr, identity));
  const std::vector<CallRecord> opens = CallsOf(process, "SetupOpenInfFileW");
  ASSERT_EQ(opens.size(), 1U);
  EXPECT_EQ(opens[0].Argument("FileName"),
            ToUtf8(std::u16string(kVolumeRoot) + u"PKG\\driver\\VORN_audio.inf"));
  EXPECT_EQ(opens[0].Argument("InfStyle"), "0x22");
  EXPECT_EQ(opens[0].Argument("ErrorLine"), "null");
  EXPECT_EQ(identity.originalInfName, u"VORN_audio.inf");
}

TEST(ReadInfIdentity, UsesTheCallersOpenFile) {
  Machine machine = MachineWithInf();
  Process process(machine);
  const File file = privileged_input::OpenInputFile(kInfPath);
  process.logCalls = true;
  InfIdentity identity;
  ASSERT_TRUE(ReadInfIdentity(u"C:\\no\\such.inf", u"", &file, identity));
  EXPECT_EQ(identity, SoundIdentity());
  EXPECT_TRUE(CallsOf(process, "NtCreateFile").empty());
  EXPECT_TRUE(file) << "the file stays open";
}

TEST(ReadInfIdentity, OpensThePathWhenTheCallersFileIsNotOpen) {
  Machine machine = MachineWithInf();
  Process process(machine);
  const File file;
  InfIdentity identity;
  EXPECT_TRUE(ReadInfIdentity(kInfPath, u"", &file, identity));
}

TEST(ReadInfIdentity, ClearsTheRecordFirst) {
  Machine machine = BareMachine();
  Process process(machine);
  InfIdentity identity = SoundIdentity();
  identity.publishedInfName = u"oem1.inf";
  EXPECT_FALSE(ReadInfIdentity(kInfPath, u"", nullptr, identity));
  EXPECT_EQ(identity, InfIdentity());
}

TEST(ReadInfIdentity, AsksEachSizeAndReadsExactlyThat) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  InfIdentity identity;
  ASSERT_TRUE(ReadInfIdentity(kInfPath, u"", nullptr, identity));
  EXPECT_EQ(ArgumentsOf(process, "SetupFindFirstLineW", "Key"),
            (std::vector<std::string>{"Class", "ClassGuid", "CatalogFile", "DriverVer", "DriverVer",
                                      "ProviderName", "Provider", "null", "AddService"}));
  EXPECT_EQ(ArgumentsOf(process, "SetupFindFirstLineW", "Section"),
            (std::vector<std::string>{"Version", "Version", "Version", "Version", "Version",
                                      "Strings", "Version", "VornAudioDevices.NTamd64.10.0...19041",
                                      "VornAudio_Install.Services"}));
  // "MEDIA", the GUID, the catalog, date, version, provider's name, provider; then the model's two
  // fields and the service.
  EXPECT_EQ(ArgumentsOf(process, "SetupGetStringFieldW", "Size"),
            (std::vector<std::string>{"0", "6", "0", "39", "0", "15", "0", "11", "0", "10", "0",
                                      "11", "0", "11", "128", "128", "128"}));
  EXPECT_EQ(ArgumentsOf(process, "SetupGetStringFieldW", "Buffer"),
            (std::vector<std::string>{"false", "true", "false", "true", "false", "true", "false",
                                      "true", "false", "true", "false", "true", "false", "true",
                                      "true", "true", "true"}));
  EXPECT_EQ(ArgumentsOf(process, "SetupGetStringFieldW", "FieldIndex"),
            (std::vector<std::string>{"1", "1", "1", "1", "1", "1", "1", "1", "2", "2", "1", "1",
                                      "1", "1", "1", "2", "1"}));
}

TEST(ReadInfIdentity, HashesBeforeItReads) {
  Machine machine = MachineWithInf("not an INF");
  Process process(machine);
  InfIdentity identity;
  EXPECT_FALSE(ReadInfIdentity(kInfPath, u"", nullptr, identity));
  EXPECT_EQ(identity.infSha256.size(), 64U);
  EXPECT_EQ(identity.className, u"");
}

TEST(ReadInfIdentity, StopsAtTheFirstMissingValue) {
  Machine machine = MachineWithInf(InfWith("CatalogFile=vorn_audio.cat\n", ""));
  Process process(machine);
  process.logCalls = true;
  InfIdentity identity;
  EXPECT_FALSE(ReadInfIdentity(kInfPath, u"", nullptr, identity));
  EXPECT_EQ(ArgumentsOf(process, "SetupFindFirstLineW", "Key"),
            (std::vector<std::string>{"Class", "ClassGuid", "CatalogFile"}));
  EXPECT_EQ(identity.classGuid, u"{4d36e96c-e325-11ce-bfc1-08002be10318}");
  EXPECT_FALSE(identity.hasExactModel);
}

TEST(ReadInfIdentity, FailsWhenAnyCallFails) {
  FailEachCall(MachineWithInf(), [](Process& process, const std::string& failing) {
    InfIdentity identity;
    const bool read = ReadInfIdentity(kInfPath, u"", nullptr, identity);
    if (failing.empty() || IsRelease(failing)) {
      EXPECT_TRUE(read);
      EXPECT_EQ(identity, SoundIdentity());
    } else {
      // A model or service that cannot be read is one that is not there.
      EXPECT_FALSE(read && HasExactPackageContract(identity));
    }
    EXPECT_EQ(process.Output() + process.ErrorOutput(), u"");
  });
}

TEST(ReadInfIdentity, RefusesAValueThatTheReadDoesNotBringBack) {
  for (std::uint32_t nth = 1; nth <= 14; ++nth) {
    SCOPED_TRACE(nth);
    Machine machine = MachineWithInf();
    Process process(machine);
    Fault fault;
    fault.call = "SetupGetStringFieldW";
    fault.first = fault.last = nth;
    fault.kind = FaultKind::Short;
    fault.amount = 0;
    process.faults.push_back(fault);
    InfIdentity identity;
    EXPECT_FALSE(ReadInfIdentity(kInfPath, u"", nullptr, identity));
  }
}

// ------------------------------------------------------------------------------------------------

struct LengthCase {
  const char* name;
  const char* line;  // of the sound INF, up to the value
  const char* value;
  std::size_t longest;
};

class ReadInfIdentityLengths : public ::testing::TestWithParam<LengthCase> {};

TEST_P(ReadInfIdentityLengths, TakesTheLongestValueAndNoLonger) {
  const LengthCase& row = GetParam();
  const std::string old = std::string(row.line) + row.value;
  for (const std::size_t length : {std::size_t{1}, row.longest}) {
    EXPECT_TRUE(ReadText(InfWith(old, row.line + std::string(length, 'x'))).ok) << length;
  }
  for (const std::size_t length : {std::size_t{0}, row.longest + 1, row.longest + 5000}) {
    EXPECT_FALSE(ReadText(InfWith(old, row.line + std::string(length, 'x'))).ok) << length;
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
    EXPECT_FALSE(ReadText(InfWith(line, "")).ok) << line;
  }
}

TEST(ReadInfIdentity, FailsOnALineBreakWithinAValue) {
  for (const char* value : {"MEDIA", "26.8.10.5", "08/10/2026", "VORN Audio"}) {
    EXPECT_FALSE(ReadText(InfWith(value, std::string(value) + "\rx")).ok) << value;
  }
}

// ------------------------------------------------------------------------------------------------

TEST(ReadInfIdentity, TakesTheProvidersNameOrTheTokenItself) {
  struct Row {
    const char* provider;
    bool ok;
  };
  for (const Row& row :
       {Row{"%ProviderName%", true}, Row{"\"VORN Audio\"", true}, Row{"vorn AUDIO", true},
        Row{"%%ProviderName%%", true}, Row{"%%providername%%", true}, Row{"\"VORN Audio \"", false},
        Row{"VORN", false}, Row{"%Unknown%", false}, Row{"%%", false},
        Row{"%DeviceDesc%", false}}) {
    EXPECT_EQ(
        ReadText(InfWith("Provider=%ProviderName%", "Provider=" + std::string(row.provider))).ok,
        row.ok)
        << row.provider;
  }
}

TEST(ReadInfIdentity, FoldsOnlyAsciiLettersOfTheProvider) {
  // The two differ in the case of one letter beyond ASCII.
  const std::string text = With(InfWith("Provider=%ProviderName%", "Provider=VORN \xC4"),
                                "\"VORN Audio\"", "\"VORN \xE4\"");
  EXPECT_FALSE(ReadText(text).ok);
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
           Row{"a=VornAudio_Install,,Root\\VornAudio\n", false},
           Row{"a=VornAudio_Install\n", false},
           Row{"a=VornAudio_Install\nb=VornAudio_Install,Root\\VornAudio\n", true},
           Row{"VornAudio_Install,Root\\VornAudio\n", true},
           Row{"", false},
       }) {
    const Reading reading = ReadText(InfWith(kModelLine, row.lines));
    EXPECT_TRUE(reading.ok) << row.lines;
    EXPECT_EQ(reading.identity.hasExactModel, row.exact) << row.lines;
  }
}

TEST(ReadInfIdentity, SkipsAModelWhoseFieldsAreLongerThan127) {
  const std::string tooLong(128, 'x');
  const Reading reading =
      ReadText(InfWith(kModelLine, "a=" + tooLong + ",Root\\VornAudio\nb=VornAudio_Install," +
                                       tooLong + "\n" + kModelLine));
  ASSERT_TRUE(reading.ok);
  EXPECT_TRUE(reading.identity.hasExactModel);
}

TEST(ReadInfIdentity, HasNoModelWithoutTheModelsSection) {
  const Reading reading =
      ReadText(InfWith("[VornAudioDevices.NTamd64.10.0...19041]", "[VornAudioDevices.NTamd64]"));
  EXPECT_TRUE(reading.ok);
  EXPECT_FALSE(reading.identity.hasExactModel);
}

TEST(ReadInfIdentity, StopsWalkingAtTheFirstExactModel) {
  Machine machine = MachineWithInf(
      InfWith(kModelLine, "a=X,Root\\X\n" + std::string(kModelLine) + "b=Y,Root\\Y\nc=Z\n"));
  Process process(machine);
  process.logCalls = true;
  InfIdentity identity;
  ASSERT_TRUE(ReadInfIdentity(kInfPath, u"", nullptr, identity));
  EXPECT_EQ(CallsOf(process, "SetupFindNextLine").size(), 1U);
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
    const Reading reading = ReadText(InfWith(kServiceLine, row.lines));
    EXPECT_TRUE(reading.ok) << row.lines;
    EXPECT_EQ(reading.identity.hasExactService, row.exact) << row.lines;
  }
}

// ------------------------------------------------------------------------------------------------

struct BadFile {
  const char* name;
  std::function<void(Machine&)> make;
};

class ReadInfIdentityOfBadFile : public ::testing::TestWithParam<BadFile> {};

TEST_P(ReadInfIdentityOfBadFile, Fails) {
  Machine machine = BareMachine();
  GetParam().make(machine);
  EXPECT_FALSE(ReadSource(machine).ok);
}

INSTANTIATE_TEST_SUITE_P(
    Files, ReadInfIdentityOfBadFile,
    ::testing::Values(
        BadFile{"Missing", [](Machine&) {}},
        BadFile{"Empty", [](Machine& machine) { PutFile(machine.files, kInfPath, ""); }},
        BadFile{"Folder", [](Machine& machine) { MakeFolder(machine.files, kInfPath); }},
        BadFile{"TooLarge",
                [](Machine& machine) {
                  std::string text = SoundInf() + ";";
                  text.resize(4194305, 'x');
                  PutFile(machine.files, kInfPath, text);
                }},
        BadFile{"HardLinked",
                [](Machine& machine) {
                  PutFile(machine.files, kInfPath, SoundInf());
                  AddHardLink(machine.files, kInfPath, u"C:\\pkg\\second.inf");
                }},
        BadFile{"BehindAJunction",
                [](Machine& machine) {
                  PutFile(machine.files, u"C:\\real\\vorn_audio.inf", SoundInf());
                  PutLink(machine.files, u"C:\\pkg\\driver", ReparseKind::Junction,
                          u"\\??\\C:\\real", true);
                }},
        BadFile{"SymbolicLink",
                [](Machine& machine) {
                  PutFile(machine.files, u"C:\\real\\vorn_audio.inf", SoundInf());
                  PutLink(machine.files, kInfPath, ReparseKind::SymbolicLink,
                          u"\\??\\C:\\real\\vorn_audio.inf", false);
                }},
        BadFile{"HeldForWriting",
                [](Machine& machine) {
                  PutFile(machine.files, kInfPath, SoundInf());
                  HoldOpen(machine.files, kInfPath, platform::GENERIC_WRITE,
                           platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
                }},
        BadFile{"NoSections",
                [](Machine& machine) { PutFile(machine.files, kInfPath, "Class=MEDIA\n"); }},
        BadFile{"WrongSignature",
                [](Machine& machine) {
                  PutFile(machine.files, kInfPath, InfWith("$Windows NT$", "$Windows XP$"));
                }},
        BadFile{"UnclosedSection",
                [](Machine& machine) {
                  PutFile(machine.files, kInfPath, InfWith("[Strings]", "[Strings"));
                }},
        BadFile{"OnlyZeros",
                [](Machine& machine) { PutEmptyFile(machine.files, kInfPath, 1000); }}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ReadInfIdentity, TakesAnInfOf4MiB) {
  std::string text = SoundInf() + ";";
  text.resize(4194304, 'x');
  EXPECT_TRUE(ReadText(text).ok);
}

// ------------------------------------------------------------------------------------------------

Machine PublishedMachine(std::u16string_view originalInf = u"vorn_audio.inf",
                         std::u16string_view originalCatalog = u"vorn_audio.cat",
                         std::string_view text = SoundInf()) {
  Machine machine = BareMachine();
  Publish(machine, u"oem3.inf", text, originalInf, originalCatalog);
  return machine;
}

TEST(ReadInfIdentity, TakesTheOriginalNamesOfAPublishedInfFromThePlatform) {
  const Reading reading =
      ReadPublished(PublishedMachine(u"C:\\setup\\vorn_audio.inf", u"a/b/VORN_audio.cat"));
  ASSERT_TRUE(reading.ok);
  InfIdentity expected = SoundIdentity();
  expected.publishedInfName = u"oem3.inf";
  expected.originalCatalogName = u"VORN_audio.cat";
  EXPECT_EQ(reading.identity, expected);
}

TEST(ReadInfIdentity, AsksForOriginalNamesByTheDisplayPath) {
  Machine machine = PublishedMachine();
  Process process(machine);
  process.logCalls = true;
  InfIdentity identity;
  ASSERT_TRUE(ReadInfIdentity(u"C:\\Windows\\INF\\oem3.inf", u"oem3.inf", nullptr, identity));
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
  InfIdentity identity;
  ASSERT_TRUE(ReadInfIdentity(kInfPath, u"", nullptr, identity));
  EXPECT_TRUE(CallsOf(process, "SetupGetInfInformationW").empty());
}

TEST(ReadInfIdentity, RefusesOriginalNamesThatAreNoFileNames) {
  const std::u16string longest(259, u'x');
  EXPECT_TRUE(ReadPublished(PublishedMachine(longest, longest)).ok);
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"", u"vorn_audio.cat")).ok);
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"vorn_audio.inf", u"")).ok);
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"C:\\pkg\\", u"vorn_audio.cat")).ok);
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"vorn\n.inf", u"vorn_audio.cat")).ok);
  EXPECT_FALSE(ReadPublished(PublishedMachine(u"vorn_audio.inf", u"vorn\r.cat")).ok);
}

TEST(ReadInfIdentity, FailsWhenAnyCallAboutAPublishedInfFails) {
  FailEachCall(PublishedMachine(), [](Process&, const std::string& failing) {
    InfIdentity identity;
    const bool read =
        ReadInfIdentity(u"C:\\Windows\\INF\\oem3.inf", u"oem3.inf", nullptr, identity);
    if (failing.empty() || IsRelease(failing)) {
      EXPECT_TRUE(read);
    } else {
      EXPECT_FALSE(read && HasExactPackageContract(identity));
    }
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
  InfIdentity identity;
  const bool read = ReadInfIdentity(u"C:\\Windows\\INF\\oem3.inf", u"oem3.inf", nullptr, identity);
  EXPECT_TRUE(NothingIsOpen(process));
  return read;
}

TEST(ReadInfIdentity, GoesOnWhenTheSizeQuerySaysThatTheBufferIsTooSmall) {
  Fault fault = InformationFault(FaultKind::FailAfterEffect, 1, 1);
  fault.error = platform::ERROR_INSUFFICIENT_BUFFER;
  EXPECT_TRUE(ReadsPublishedWith(fault));
  fault.error = platform::ERROR_INVALID_PARAMETER;
  EXPECT_FALSE(ReadsPublishedWith(fault));
}

TEST(ReadInfIdentity, RefusesInformationThatIsTooShortOrNotBroughtBack) {
  Fault fault = InformationFault(FaultKind::Short, 1, 2);
  fault.amount = 11;
  EXPECT_FALSE(ReadsPublishedWith(fault));
  fault = InformationFault(FaultKind::SucceedWithoutEffect, 1, 1);
  EXPECT_FALSE(ReadsPublishedWith(fault)) << "no size";
  fault = InformationFault(FaultKind::SucceedWithoutEffect, 2, 2);
  EXPECT_FALSE(ReadsPublishedWith(fault)) << "no information";
}

TEST(ReadInfIdentity, TakesInformationOfUpTo1MiB) {
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
  EXPECT_TRUE(ReadPublished(published(growth)).ok);
  ASSERT_EQ(informationSize(published(growth + 1)), 1048578U);
  EXPECT_FALSE(ReadPublished(published(growth + 1)).ok);
}

// ------------------------------------------------------------------------------------------------

TEST(HasExactPackageContract, AcceptsTheProductsSourceInf) {
  EXPECT_TRUE(HasExactPackageContract(SoundIdentity()));
  EXPECT_FALSE(HasExactPackageContract(InfIdentity()));
}

TEST(HasExactPackageContract, DoesNotLookAtThePublishedName) {
  InfIdentity identity = SoundIdentity();
  identity.publishedInfName = u"anything";
  EXPECT_TRUE(HasExactPackageContract(identity));
}

struct ContractCase {
  const char* name;
  std::function<void(InfIdentity&)> change;
  bool ok;
};

class PackageContract : public ::testing::TestWithParam<ContractCase> {};

TEST_P(PackageContract, IsKeptOrBroken) {
  InfIdentity identity = SoundIdentity();
  GetParam().change(identity);
  EXPECT_EQ(HasExactPackageContract(identity), GetParam().ok);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, PackageContract,
    ::testing::Values(
        ContractCase{"InfNameInAnotherCase",
                     [](InfIdentity& i) { i.originalInfName = u"VORN_Audio.INF"; }, true},
        ContractCase{"InfNameWithATrailingBlank",
                     [](InfIdentity& i) { i.originalInfName = u"vorn_audio.inf "; }, false},
        ContractCase{"InfNamedOtherwise",
                     [](InfIdentity& i) { i.originalInfName = u"vorn_audio2.inf"; }, false},
        ContractCase{"InfNameWithADotlessI",
                     [](InfIdentity& i) { i.originalInfName = u"vorn_audıo.inf"; }, false},
        ContractCase{"OriginalCatalogInAnotherCase",
                     [](InfIdentity& i) { i.originalCatalogName = u"VORN_AUDIO.CAT"; }, true},
        ContractCase{"OriginalCatalogOtherwise",
                     [](InfIdentity& i) { i.originalCatalogName = u"oem3.cat"; }, false},
        ContractCase{"ProviderInAnotherCase",
                     [](InfIdentity& i) { i.providerName = u"vorn audio"; }, true},
        ContractCase{"ProviderOtherwise", [](InfIdentity& i) { i.providerName = u"VORN"; }, false},
        ContractCase{"ClassInAnotherCase", [](InfIdentity& i) { i.className = u"Media"; }, true},
        ContractCase{"ClassOtherwise", [](InfIdentity& i) { i.className = u"SYSTEM"; }, false},
        ContractCase{
            "GuidInAnotherCase",
            [](InfIdentity& i) { i.classGuid = u"{4D36E96C-E325-11CE-BFC1-08002BE10318}"; }, true},
        ContractCase{"GuidWithoutBraces",
                     [](InfIdentity& i) { i.classGuid = u"4d36e96c-e325-11ce-bfc1-08002be10318"; },
                     false},
        ContractCase{"CatalogInAnotherCase",
                     [](InfIdentity& i) { i.catalogFile = u"Vorn_Audio.cat"; }, true},
        ContractCase{"CatalogOtherwise", [](InfIdentity& i) { i.catalogFile = u"other.cat"; },
                     false},
        ContractCase{"NoDate", [](InfIdentity& i) { i.driverDate.clear(); }, false},
        ContractCase{"NoVersion", [](InfIdentity& i) { i.driverVersion.clear(); }, false},
        ContractCase{"AnyDateAndVersion",
                     [](InfIdentity& i) { i.driverDate = i.driverVersion = u"?"; }, true},
        ContractCase{"HashWithOneUpperCaseDigit", [](InfIdentity& i) { i.infSha256[0] = u'A'; },
                     true},
        ContractCase{"HashOf63", [](InfIdentity& i) { i.infSha256.resize(63); }, false},
        ContractCase{"HashOf65", [](InfIdentity& i) { i.infSha256 += u'0'; }, false},
        ContractCase{"HashWithG", [](InfIdentity& i) { i.infSha256[63] = u'g'; }, false},
        ContractCase{"HashWithUpperCaseG", [](InfIdentity& i) { i.infSha256[63] = u'G'; }, false},
        ContractCase{"NoHash", [](InfIdentity& i) { i.infSha256.clear(); }, false},
        ContractCase{"NoModel", [](InfIdentity& i) { i.hasExactModel = false; }, false},
        ContractCase{"NoService", [](InfIdentity& i) { i.hasExactService = false; }, false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(HasExactPackageContract, RefusesASourceInfOfAnotherName) {
  Machine machine = BareMachine();
  PutFile(machine.files, u"C:\\pkg\\driver\\other.inf", SoundInf());
  const Reading reading = ReadSource(machine, u"C:\\pkg\\driver\\other.inf");
  ASSERT_TRUE(reading.ok);
  EXPECT_EQ(reading.identity.originalInfName, u"other.inf");
  EXPECT_FALSE(HasExactPackageContract(reading.identity));
}

}  // namespace
}  // namespace vorn
