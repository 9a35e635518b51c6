#include "package/inf_identity.h"
#include "package_world.h"
#include "privileged_input/input_file.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>
#include <optional>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;
using privileged_input::File;
using privileged_input::OpenInputFile;

constexpr char16_t kInvalid[] = u"vorn_devnode: INF has no valid DriverVer date/version\n";

struct Reading {
  std::optional<DriverVer> driverVer;
  std::u16string output;
  std::u16string errorOutput;
};

Reading Read(Machine machine, std::vector<Fault> faults = {}) {
  Process process(machine);
  process.faults = std::move(faults);
  Reading reading;
  reading.driverVer = ReadExpectedDriverVer(OpenInputFile(kSampleInf));
  reading.output = process.Output();
  reading.errorOutput = process.ErrorOutput();
  EXPECT_TRUE(NothingIsOpen(process));
  return reading;
}

Reading ReadDriverVer(const std::string& driverVer) {
  return Read(MachineWithInf(InfWith("DriverVer=08/10/2026,26.8.10.5\n", driverVer + "\n")));
}

TEST(ReadExpectedDriverVer, ReadsDateAndVersion) {
  const Reading reading = Read(MachineWithInf());
  ASSERT_TRUE(reading.driverVer);
  EXPECT_EQ(reading.driverVer->date, u"08/10/2026");
  EXPECT_EQ(reading.driverVer->version, u"26.8.10.5");
  EXPECT_EQ(reading.output + reading.errorOutput, u"");
}

TEST(ReadExpectedDriverVer, ReadsNothingElseOfTheInf) {
  const Reading reading = Read(MachineWithInf("[Version]\nSignature=$Chicago$\nDriverVer=a,b\n"));
  ASSERT_TRUE(reading.driverVer);
  EXPECT_EQ(reading.driverVer->date, u"a");
  EXPECT_EQ(reading.driverVer->version, u"b");
}

TEST(ReadExpectedDriverVer, JudgesTheFieldsByTheirLength) {
  struct Row {
    std::string driverVer;
    bool ok;
  };
  const std::string v = "1.2.3.4";
  for (const Row& row : {
           Row{"DriverVer=d," + v, true},
           Row{"DriverVer=" + std::string(32, 'd') + "," + v, true},
           Row{"DriverVer=" + std::string(33, 'd') + "," + v, false},
           Row{"DriverVer=" + std::string(64, 'd') + "," + v, false},
           Row{"DriverVer=d," + std::string(64, '1'), true},
           Row{"DriverVer=d," + std::string(65, '1'), false},
           Row{"DriverVer=d," + std::string(128, '1'), false},
           Row{"DriverVer=d," + v + ",more", true},
           Row{"DriverVer=," + v, false},
           Row{"DriverVer=d,", false},
           Row{"DriverVer=d", false},
           Row{"DriverVer=", false},
           Row{"DriverVer", false},
           Row{"DriverVersion=d," + v, false},
           Row{"DriverVer=d\rd," + v, false},
           Row{"DriverVer=d,1\r2", false},
       }) {
    const Reading reading = ReadDriverVer(row.driverVer);
    EXPECT_EQ(reading.driverVer.has_value(), row.ok) << row.driverVer;
    EXPECT_EQ(reading.errorOutput, row.ok ? u"" : kInvalid) << row.driverVer;
    EXPECT_EQ(reading.output, u"");
  }
}

TEST(ReadExpectedDriverVer, UsesBuffersOf64And128) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(ReadExpectedDriverVer(OpenInputFile(kSampleInf)));
  EXPECT_EQ(ArgumentsOf(process, "SetupGetStringFieldW", "Size"),
            (std::vector<std::string>{"64", "128"}));
  EXPECT_EQ(ArgumentsOf(process, "SetupGetStringFieldW", "FieldIndex"),
            (std::vector<std::string>{"1", "2"}));
  EXPECT_EQ(ArgumentsOf(process, "SetupOpenInfFileW", "InfStyle"),
            std::vector<std::string>{"0x22"});
}

TEST(ReadExpectedDriverVer, SaysNothingAboutAMissingFile) {
  const Reading reading = Read(BareMachine());
  EXPECT_FALSE(reading.driverVer);
  EXPECT_EQ(reading.output + reading.errorOutput, u"");
}

TEST(ReadExpectedDriverVer, MakesNoCallForAFileThatIsNotOpen) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  EXPECT_FALSE(ReadExpectedDriverVer(File()));
  EXPECT_TRUE(process.calls.empty());
}

TEST(ReadExpectedDriverVer, ReportsAnInfThatDoesNotOpen) {
  struct Row {
    std::string text;
    std::u16string line;
  };
  const std::u16string label = u"vorn_devnode: SetupOpenInfFile(expected DriverVer) failed (error ";
  for (const Row& row :
       {Row{"", label + u"0x000003EE)\n"},
        Row{"[Version]\nSignature=?\n", label + u"0xE0000100)\n"},
        Row{"no section", label + u"0xE0000000)\n"}, Row{"[Version\n", label + u"0xE0000001)\n"},
        Row{"[" + std::string(256, 's') + "]\n", label + u"0xE0000002)\n"}}) {
    const Reading reading = Read(MachineWithInf(row.text));
    EXPECT_FALSE(reading.driverVer) << row.text;
    EXPECT_EQ(reading.errorOutput, row.line) << row.text;
    EXPECT_EQ(reading.output, u"");
  }
}

TEST(ReadExpectedDriverVer, ReportsTheErrorOfTheOpeningItself) {
  Fault fault;
  fault.call = "SetupOpenInfFileW";
  fault.error = 0xE0000199;
  EXPECT_EQ(Read(MachineWithInf(), {fault}).errorOutput,
            u"vorn_devnode: SetupOpenInfFile(expected DriverVer) failed (error 0xE0000199)\n");
}

TEST(ReadExpectedDriverVer, OpensTheHandlesPathAndKeepsTheCallersFileOpen) {
  Machine machine = MachineWithInf();
  Process process(machine);
  const File file = OpenInputFile(kSampleInf);
  process.logCalls = true;
  ASSERT_TRUE(ReadExpectedDriverVer(file));
  EXPECT_EQ(ArgumentsOf(process, "SetupOpenInfFileW", "FileName"),
            std::vector<std::string>{"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\pkg\\"
                                     "driver\\vorn_audio.inf"});
  EXPECT_TRUE(CallsOf(process, "NtCreateFile").empty());
  EXPECT_TRUE(CallsOf(process, "CloseHandle").empty());
}

TEST(ReadExpectedDriverVer, FailsWhenAnyCallFails) {
  FailEachCall(MachineWithInf(), [](Process& process, const std::string& failing) {
    const std::optional<DriverVer> read = ReadExpectedDriverVer(OpenInputFile(kSampleInf));
    EXPECT_EQ(read.has_value(), failing.empty() || IsRelease(failing));
    const bool aboutTheInf = failing.starts_with("Setup") && !IsRelease(failing);
    EXPECT_EQ(process.ErrorOutput().empty(), !aboutTheInf);
  });
}

TEST(ReadExpectedDriverVer, BelievesNoAnswerOfACallThatFailed) {
  FailEachCallAfterItsEffect(MachineWithInf(), [](Process&, const std::string& failing) {
    const std::optional<DriverVer> read = ReadExpectedDriverVer(OpenInputFile(kSampleInf));
    EXPECT_EQ(read.has_value(), failing.empty() || IsRelease(failing));
  });
}

TEST(ReadExpectedDriverVer, ReadsAVersionOfOneUnit) {
  const Reading reading = ReadDriverVer("DriverVer=d,1");
  ASSERT_TRUE(reading.driverVer);
  EXPECT_EQ(reading.driverVer->version, u"1");
}

TEST(ReadExpectedDriverVer, RefusesAVersionThatTheReadDoesNotBringBack) {
  for (const FaultKind kind : {FaultKind::SucceedWithoutEffect, FaultKind::Short}) {
    Fault fault;
    fault.call = "SetupGetStringFieldW";
    fault.first = fault.last = 2;
    fault.kind = kind;
    const Reading reading = Read(MachineWithInf(), {fault});
    EXPECT_FALSE(reading.driverVer);
    EXPECT_EQ(reading.errorOutput, kInvalid);
  }
}

}  // namespace
}  // namespace vorn
