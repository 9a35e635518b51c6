#include "package/inf_identity.h"

#include "base/text.h"
#include "inf_reading.h"
#include "privileged_input/input_file.h"
#include "tests/support/sample.h"

#include <functional>
#include <gtest/gtest.h>
#include <optional>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;
using privileged_input::File;

constexpr char16_t kVolumeRoot[] = u"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\";

TEST(ReadInfIdentity, ReadsEveryFieldOfASourceInf) {
  const std::optional<InfIdentity> identity = ReadText(SoundInf());
  ASSERT_TRUE(identity);
  EXPECT_EQ(*identity, SoundIdentity());
}

TEST(ReadInfIdentity, ReadsAUtf16Inf) {
  Machine machine = BareMachine();
  PutFile(machine.files, kSampleInf, ToUtf16Bytes(SoundInf()));
  const std::optional<InfIdentity> identity = ReadSource(machine);
  ASSERT_TRUE(identity);
  InfIdentity expected = SoundIdentity();
  expected.infSha256 = identity->infSha256;
  expected.infSize = 2 + 2 * expected.infSize;  // the byte-order mark, two bytes a unit
  EXPECT_EQ(*identity, expected);
  EXPECT_NE(identity->infSha256, SoundIdentity().infSha256);
}

TEST(ReadInfIdentity, KeepsDatesAndVersionsAsText) {
  const std::optional<InfIdentity> identity =
      ReadText(InfWith("08/10/2026,26.8.10.5", "\" not a date \",\"v,1\""));
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->driverDate, u" not a date ");
  EXPECT_EQ(identity->driverVersion, u"v,1");
}

TEST(ReadInfIdentity, ReadsThePlatformsPathOfTheHandle) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  const std::optional<InfIdentity> identity = OpenAndRead(u"c:\\PKG\\driver\\VORN_audio.inf");
  ASSERT_TRUE(identity);
  const std::vector<CallRecord> opens = CallsOf(process, "SetupOpenInfFileW");
  ASSERT_EQ(opens.size(), 1U);
  EXPECT_EQ(opens[0].Argument("FileName"),
            ToUtf8(std::u16string(kVolumeRoot) + u"PKG\\driver\\VORN_audio.inf"));
  EXPECT_EQ(opens[0].Argument("InfStyle"), "0x22");
  EXPECT_EQ(opens[0].Argument("ErrorLine"), "null");
  EXPECT_EQ(identity->originalInfName, u"VORN_audio.inf");
}

TEST(ReadInfIdentity, UsesTheCallersOpenFile) {
  Machine machine = MachineWithInf();
  Process process(machine);
  const File file = privileged_input::OpenInputFile(kSampleInf);
  process.logCalls = true;
  EXPECT_EQ(ReadInfIdentity(file), SoundIdentity());
  EXPECT_TRUE(CallsOf(process, "NtCreateFile").empty());
  EXPECT_TRUE(file) << "the file stays open";
}

TEST(ReadInfIdentity, MakesNoCallForAFileThatIsNotOpen) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  EXPECT_FALSE(ReadInfIdentity(File()));
  EXPECT_TRUE(process.calls.empty());
}

TEST(ReadInfIdentity, AsksEachSizeAndReadsExactlyThat) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(OpenAndRead());
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
  process.logCalls = true;
  EXPECT_FALSE(OpenAndRead());
  std::vector<std::string> order;
  for (const CallRecord& call : process.calls) {
    if (call.name == "BCryptFinishHash" || call.name == "SetupOpenInfFileW")
      order.push_back(call.name);
  }
  EXPECT_EQ(order, (std::vector<std::string>{"BCryptFinishHash", "SetupOpenInfFileW"}));
}

TEST(ReadInfIdentity, DoesNotReadAnInfThatCannotBeHashed) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  Fault fault;
  fault.call = "BCryptFinishHash";
  process.faults = {fault};
  EXPECT_FALSE(OpenAndRead());
  EXPECT_TRUE(CallsOf(process, "SetupOpenInfFileW").empty());
}

TEST(ReadInfIdentity, LooksForNothingInAnInfThatDoesNotOpen) {
  Machine machine = MachineWithInf("not an INF");
  Process process(machine);
  process.logCalls = true;
  EXPECT_FALSE(OpenAndRead());
  EXPECT_EQ(CallsOf(process, "SetupOpenInfFileW").size(), 1U);
  EXPECT_TRUE(CallsOf(process, "SetupFindFirstLineW").empty());
}

TEST(ReadInfIdentity, StopsAtTheFirstMissingValue) {
  Machine machine = MachineWithInf(InfWith("CatalogFile=vorn_audio.cat\n", ""));
  Process process(machine);
  process.logCalls = true;
  EXPECT_FALSE(OpenAndRead());
  EXPECT_EQ(ArgumentsOf(process, "SetupFindFirstLineW", "Key"),
            (std::vector<std::string>{"Class", "ClassGuid", "CatalogFile"}));
}

TEST(ReadInfIdentity, FailsWhenAnyCallFails) {
  FailEachCall(MachineWithInf(), [](Process& process, const std::string& failing) {
    const std::optional<InfIdentity> identity = OpenAndRead();
    if (failing.empty() || IsRelease(failing)) {
      EXPECT_EQ(identity, SoundIdentity());
    } else {
      // A model or service that cannot be read is one that is not there.
      EXPECT_FALSE(identity && HasExactPackageContract(*identity));
    }
    EXPECT_EQ(process.Output() + process.ErrorOutput(), u"");
  });
}

TEST(ReadInfIdentity, BelievesNoAnswerOfACallThatFailed) {
  FailEachCallAfterItsEffect(MachineWithInf(), [](Process&, const std::string& failing) {
    const std::optional<InfIdentity> identity = OpenAndRead();
    // A model or service that cannot be read is one that is not there.
    EXPECT_EQ(identity && HasExactPackageContract(*identity),
              failing.empty() || IsRelease(failing));
  });
}

TEST(ReadInfIdentity, TakesTheCatalogOfASourceInfForItsOriginalCatalog) {
  const std::optional<InfIdentity> identity =
      ReadText(InfWith("CatalogFile=vorn_audio.cat", "CatalogFile=other.cat"));
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->catalogFile, u"other.cat");
  EXPECT_EQ(identity->originalCatalogName, u"other.cat");
  const std::optional<InfIdentity> withFolder =
      ReadText(InfWith("CatalogFile=vorn_audio.cat", "CatalogFile=amd64\\vorn_audio.cat"));
  ASSERT_TRUE(withFolder);
  EXPECT_EQ(withFolder->originalCatalogName, u"amd64\\vorn_audio.cat");
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
    EXPECT_FALSE(OpenAndRead());
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
  EXPECT_FALSE(ReadSource(machine));
}

INSTANTIATE_TEST_SUITE_P(
    Files, ReadInfIdentityOfBadFile,
    ::testing::Values(
        BadFile{"Missing", [](Machine&) {}},
        BadFile{"Empty", [](Machine& machine) { PutFile(machine.files, kSampleInf, ""); }},
        BadFile{"Folder", [](Machine& machine) { MakeFolder(machine.files, kSampleInf); }},
        BadFile{"TooLarge",
                [](Machine& machine) {
                  std::string text = SoundInf() + ";";
                  text.resize(4194305, 'x');
                  PutFile(machine.files, kSampleInf, text);
                }},
        BadFile{"HardLinked",
                [](Machine& machine) {
                  PutFile(machine.files, kSampleInf, SoundInf());
                  AddHardLink(machine.files, kSampleInf, u"C:\\pkg\\second.inf");
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
                  PutLink(machine.files, kSampleInf, ReparseKind::SymbolicLink,
                          u"\\??\\C:\\real\\vorn_audio.inf", false);
                }},
        BadFile{"HeldForWriting",
                [](Machine& machine) {
                  PutFile(machine.files, kSampleInf, SoundInf());
                  HoldOpen(machine.files, kSampleInf, platform::GENERIC_WRITE,
                           platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
                }},
        BadFile{"NoSections",
                [](Machine& machine) { PutFile(machine.files, kSampleInf, "Class=MEDIA\n"); }},
        BadFile{"WrongSignature",
                [](Machine& machine) {
                  PutFile(machine.files, kSampleInf, InfWith("$Windows NT$", "$Windows XP$"));
                }},
        BadFile{"UnclosedSection",
                [](Machine& machine) {
                  PutFile(machine.files, kSampleInf, InfWith("[Strings]", "[Strings"));
                }},
        BadFile{"OnlyZeros",
                [](Machine& machine) { PutEmptyFile(machine.files, kSampleInf, 1000); }}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ReadInfIdentity, AcceptsAnInfOf4MiB) {
  std::string text = SoundInf() + ";";
  text.resize(4194304, 'x');
  EXPECT_TRUE(ReadText(text));
}

}  // namespace
}  // namespace vorn
