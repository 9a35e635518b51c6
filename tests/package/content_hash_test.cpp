#include "package/content_hash.h"

#include "package_world.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/simulated/file_values.h"
#include "privileged_input/file.h"
#include "privileged_input/input_file.h"
#include "privileged_input/protected_files.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>
#include <optional>
#include <span>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;
using privileged_input::File;
using privileged_input::OpenInputFile;

// Digests of known contents, from the examples in the standard and from another implementation.
constexpr char16_t kDigestOfNothing[] =
    u"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr char16_t kDigestOfAbc[] =
    u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr char16_t kDigestOf128KiBOfZeros[] =
    u"fa43239bcee7b97ca62f007cc68487560a39e19f74f3dde7486db3f98df8e471";

std::optional<std::u16string> HashInf() {
  return HashFileSha256(OpenInputFile(kSampleInf));
}

std::optional<std::u16string> HashOf(Machine& machine) {
  Process process(machine);
  const std::optional<std::u16string> digest = HashInf();
  EXPECT_TRUE(NothingIsOpen(process));
  return digest;
}

TEST(HashFileSha256, HashesAnEmptyFile) {
  Machine machine = MachineWithInf("");
  EXPECT_EQ(HashOf(machine), kDigestOfNothing);
}

TEST(HashFileSha256, RewindsEvenAnEmptyFile) {
  Machine machine = MachineWithInf("");
  Process process(machine);
  process.faults = {FailingCall("SetFilePointerEx", 5)};
  EXPECT_FALSE(HashInf());
}

TEST(HashFileSha256, GivesLowerCaseDigits) {
  Machine machine = MachineWithInf("abc");
  EXPECT_EQ(HashOf(machine), kDigestOfAbc);
}

TEST(HashFileSha256, EndsWithOneMoreEmptyReadAfterAMultipleOfTheBuffer) {
  Machine machine = MachineWithInf(std::string(131072, '\0'));
  Process process(machine);
  process.logCalls = true;
  EXPECT_EQ(HashInf(), kDigestOf128KiBOfZeros);
  EXPECT_EQ(CallsOf(process, "ReadFile").size(), 3U);
  EXPECT_EQ(ArgumentsOf(process, "BCryptHashData", "Size"),
            (std::vector<std::string>{"65536", "65536"}));
}

TEST(HashFileSha256, HashesOnlyTheBytesThatWereRead) {
  Machine machine = MachineWithInf(std::string(65537, 'x'));
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(HashInf());
  EXPECT_EQ(ArgumentsOf(process, "BCryptHashData", "Size"),
            (std::vector<std::string>{"65536", "1"}));
}

TEST(HashFileSha256, ReadsOnAfterAReadThatGivesLessThanItWasAskedFor) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  Fault less;
  less.call = "ReadFile";
  less.kind = FaultKind::Short;
  less.amount = 2;
  process.faults = {less};
  EXPECT_EQ(HashInf(), kDigestOfAbc);
}

TEST(HashFileSha256, FailsAtALaterPieceThatIsNotHashed) {
  Machine machine = MachineWithInf(std::string(3 * 65536, 'x'));
  Process process(machine);
  process.faults = {FailingCall("BCryptHashData", 5, 2)};
  EXPECT_FALSE(HashInf());
}

TEST(HashFileSha256, ReadsNoFurtherThanThePieceThatIsNotHashed) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  process.logCalls = true;
  process.faults = {FailingCall("BCryptHashData", 5)};
  EXPECT_FALSE(HashInf());
  EXPECT_EQ(CallsOf(process, "ReadFile").size(), 1U);
}

TEST(HashFileSha256, RefusesAReadThatEndsBeforeTheFile) {
  for (const std::uint32_t nth : {1U, 2U}) {
    Machine machine = MachineWithInf(std::string(131072, 'x'));
    Process process(machine);
    Fault end;
    end.call = "ReadFile";
    end.first = end.last = nth;
    end.kind = FaultKind::Short;  // to nothing: the call succeeds
    process.faults = {end};
    EXPECT_FALSE(HashInf()) << nth;
    EXPECT_TRUE(NothingIsOpen(process));
  }
}

TEST(HashFileSha256, RefusesAFileThatHasGrownSinceItWasOpened) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  process.faults = {ChangeBefore("ReadFile", 1,
                                 [](Machine& world) { PutFile(world.files, kSampleInf, "abcd"); })};
  EXPECT_FALSE(HashInf());
}

TEST(HashFileSha256, CoversTheWholeFileWhereverItsPositionIs) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  const File file = OpenInputFile(kSampleInf);
  ASSERT_TRUE(platform::SetFilePointerEx(file.Handle(), 0, nullptr, platform::FILE_END));
  EXPECT_EQ(HashFileSha256(file), kDigestOfAbc);
  EXPECT_EQ(HashFileSha256(file), kDigestOfAbc) << "the file can be hashed again";
}

TEST(HashFileSha256, ReadsTheOpenFileAndLeavesItOpen) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  const File file = OpenInputFile(kSampleInf);
  process.logCalls = true;
  EXPECT_EQ(HashFileSha256(file), kDigestOfAbc);
  EXPECT_TRUE(CallsOf(process, "NtCreateFile").empty());
  EXPECT_TRUE(CallsOf(process, "CloseHandle").empty());
  EXPECT_TRUE(file) << "the file stays open";
}

TEST(HashFileSha256, MakesNoCallForAFileThatIsNotOpen) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  process.logCalls = true;
  EXPECT_FALSE(HashFileSha256(File()));
  EXPECT_TRUE(process.calls.empty());
}

TEST(HashFileSha256, OpensNoProviderForAMissingFile) {
  Machine machine = BareMachine();
  Process process(machine);
  process.logCalls = true;
  EXPECT_FALSE(HashInf());
  EXPECT_TRUE(CallsOf(process, "BCryptOpenAlgorithmProvider").empty());
}

TEST(HashFileSha256, OpensNoProviderForAFileThatCannotBeReadFromItsStart) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  process.logCalls = true;
  process.faults = {FailingCall("SetFilePointerEx", 1)};
  EXPECT_FALSE(HashInf());
  EXPECT_TRUE(CallsOf(process, "BCryptOpenAlgorithmProvider").empty());
}

TEST(HashFileSha256, StopsAtAProviderThatDoesNotOpen) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  process.logCalls = true;
  Fault fault;
  fault.call = "BCryptOpenAlgorithmProvider";
  process.faults = {fault};
  EXPECT_FALSE(HashInf());
  EXPECT_TRUE(CallsOf(process, "BCryptGetProperty").empty());
  EXPECT_TRUE(CallsOf(process, "BCryptCreateHash").empty());
}

/// The calls that a hash is made of, in their order.
struct HashCall {
  const char* call;
  std::uint32_t nth;
};
constexpr HashCall kHashCalls[] = {{"BCryptOpenAlgorithmProvider", 1},
                                   {"BCryptGetProperty", 1},
                                   {"BCryptGetProperty", 2},
                                   {"BCryptCreateHash", 1},
                                   {"BCryptHashData", 1},
                                   {"BCryptFinishHash", 1}};
constexpr std::size_t kCallsBeforeData = 4;

TEST(HashFileSha256, ReadsNothingUntilTheHashIsCreated) {
  for (const HashCall& row : std::span(kHashCalls).first(kCallsBeforeData)) {
    SCOPED_TRACE(std::string(row.call) + " " + std::to_string(row.nth));
    Machine machine = MachineWithInf("abc");
    Process process(machine);
    process.logCalls = true;
    process.faults = {FailingCall(row.call, 1, row.nth)};
    EXPECT_FALSE(HashInf());
    EXPECT_TRUE(CallsOf(process, "ReadFile").empty());
  }
}

TEST(HashFileSha256, AsksTheProviderForItsSizesAndUsesThem) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(HashInf());
  EXPECT_EQ(ArgumentsOf(process, "BCryptOpenAlgorithmProvider", "AlgId"),
            std::vector<std::string>{"SHA256"});
  EXPECT_EQ(ArgumentsOf(process, "BCryptGetProperty", "Property"),
            (std::vector<std::string>{"ObjectLength", "HashDigestLength"}));
  EXPECT_EQ(ArgumentsOf(process, "BCryptGetProperty", "OutputSize"),
            (std::vector<std::string>{"4", "4"}));
  std::uint32_t objectLength = 0;
  std::uint32_t written = 0;
  platform::BCRYPT_ALG_HANDLE algorithm = nullptr;
  ASSERT_EQ(platform::BCryptOpenAlgorithmProvider(&algorithm, platform::BCRYPT_SHA256_ALGORITHM),
            0);
  ASSERT_EQ(platform::BCryptGetProperty(algorithm, platform::BCRYPT_OBJECT_LENGTH,
                                        reinterpret_cast<std::uint8_t*>(&objectLength),
                                        sizeof objectLength, &written),
            0);
  EXPECT_EQ(ArgumentsOf(process, "BCryptCreateHash", "ObjectSize"),
            std::vector<std::string>{std::to_string(objectLength)});
  EXPECT_EQ(ArgumentsOf(process, "BCryptFinishHash", "OutputSize"), std::vector<std::string>{"32"});
}

TEST(HashFileSha256, DestroysTheHashBeforeItsProvider) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(HashInf());
  std::vector<std::string> released;
  for (const CallRecord& call : process.calls) {
    if (call.name.starts_with("BCrypt") && IsRelease(call.name)) released.push_back(call.name);
  }
  EXPECT_EQ(released,
            (std::vector<std::string>{"BCryptDestroyHash", "BCryptCloseAlgorithmProvider"}));
}

TEST(HashFileSha256, FailsWithoutADigestWhenAnyCallFails) {
  FailEachCall(MachineWithInf("abc"), [](Process& process, const std::string& failing) {
    const std::optional<std::u16string> digest = HashInf();
    if (failing.empty() || IsRelease(failing)) {
      EXPECT_EQ(digest, kDigestOfAbc);
    } else {
      EXPECT_FALSE(digest);
    }
    EXPECT_EQ(process.Output() + process.ErrorOutput(), u"");
  });
}

TEST(HashFileSha256, BelievesNoAnswerOfACallThatFailed) {
  FailEachCallAfterItsEffect(MachineWithInf("abc"), [](Process&, const std::string& failing) {
    const std::optional<std::u16string> digest = HashInf();
    EXPECT_EQ(digest.has_value(), failing.empty() || IsRelease(failing));
  });
}

TEST(HashFileSha256, TreatsEveryStatusButZeroAsAFailure) {
  for (const HashCall& row : kHashCalls) {
    for (const std::uint32_t status : {0xC0000001U, 0x80000005U, 0x40000000U, 1U}) {
      SCOPED_TRACE(std::string(row.call) + " " + std::to_string(status));
      Machine machine = MachineWithInf("abc");
      Process process(machine);
      Fault fault = FailingCall(row.call, status, row.nth);
      fault.kind = FaultKind::FailAfterEffect;
      process.faults = {fault};
      EXPECT_FALSE(HashInf());
    }
  }
}

TEST(HashFileSha256, RefusesADigestOfAnotherLength) {
  Machine machine = MachineWithInf("abc");
  Process process(machine);
  Fault noLength;
  noLength.call = "BCryptGetProperty";
  noLength.first = noLength.last = 2;
  noLength.kind = FaultKind::SucceedWithoutEffect;
  Fault finishes = noLength;
  finishes.call = "BCryptFinishHash";
  finishes.first = finishes.last = 1;
  process.faults = {noLength, finishes};
  process.logCalls = true;
  EXPECT_FALSE(HashInf());
  EXPECT_EQ(CallsOf(process, "BCryptFinishHash").size(), 1U)
      << "the length is looked at afterwards";
  EXPECT_TRUE(NothingIsOpen(process));
}

TEST(HashFileSha256, RefusesAFileOfMoreThan4MiB) {
  Machine machine = BareMachine();
  PutEmptyFile(machine.files, kSampleInf, 4194305);
  Process process(machine);
  EXPECT_FALSE(HashInf());
}

TEST(HashFileSha256, AcceptsAFileOf4MiB) {
  Machine machine = BareMachine();
  PutEmptyFile(machine.files, kSampleInf, 4194304);
  Process process(machine);
  EXPECT_EQ(HashInf(), u"bb9f8df61474d25e71fa00722318cd387396ca1736605e1248821cc0de3d3af8");
}

TEST(IsSha256Text, Needs64HexadecimalDigitsOfEitherCase) {
  const std::u16string digits = u"0123456789abcdefABCDEF";
  const auto filled = [&digits](std::size_t length) {
    return digits + std::u16string(length - digits.size(), u'0');
  };
  EXPECT_TRUE(IsSha256Text(filled(64)));
  EXPECT_FALSE(IsSha256Text(u""));
  EXPECT_FALSE(IsSha256Text(filled(63)));
  EXPECT_FALSE(IsSha256Text(filled(65)));
  for (const char16_t unit : {u'g', u'G', u'`', u'@', u'/', u':', u' ', u'\0', u'\uFF11'}) {
    EXPECT_FALSE(IsSha256Text(filled(63) + unit)) << static_cast<int>(unit);
  }
}

}  // namespace
}  // namespace vorn
