#include "package/inf_identity.h"
#include "package_world.h"
#include "privileged_input/file.h"
#include "privileged_input/input_file.h"
#include "product/product.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;
using privileged_input::File;
using privileged_input::OpenInputFile;

DriverIdentity SoundDriverIdentity() {
  const InfIdentity identity = SoundIdentity();
  return {identity.driverVersion, identity.driverDate, u"VornAudio", identity.infSha256};
}

TEST(ReadIdentity, NamesThePackageOfAnInf) {
  Machine machine = MachineWithInf();
  Process process(machine);
  EXPECT_EQ(ReadIdentity(OpenInputFile(kSampleInf)), SoundDriverIdentity());
  EXPECT_EQ(process.Output() + process.ErrorOutput(), u"");
  EXPECT_TRUE(NothingIsOpen(process));
}

TEST(ReadIdentity, TakesTheServiceFromTheProductAndNotFromTheInf) {
  Machine machine = MachineWithInf("[Version]\nSignature=$Chicago$\nDriverVer=a,b\n");
  Process process(machine);
  const std::optional<DriverIdentity> identity = ReadIdentity(OpenInputFile(kSampleInf));
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->date, u"a");
  EXPECT_EQ(identity->version, u"b");
  EXPECT_EQ(identity->service, kDriverServiceName);
}

TEST(ReadIdentity, ReadsDriverVerBeforeItHashes) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  ASSERT_TRUE(ReadIdentity(OpenInputFile(kSampleInf)));
  std::vector<std::string> order;
  for (const CallRecord& call : process.calls) {
    if (call.name == "SetupOpenInfFileW" || call.name == "SetupCloseInfFile" ||
        call.name == "BCryptOpenAlgorithmProvider" || call.name == "BCryptFinishHash") {
      order.push_back(call.name);
    }
  }
  EXPECT_EQ(order, (std::vector<std::string>{"SetupOpenInfFileW", "SetupCloseInfFile",
                                             "BCryptOpenAlgorithmProvider", "BCryptFinishHash"}));
}

TEST(ReadIdentity, ReadsTheOpenFileAndLeavesItOpen) {
  Machine machine = MachineWithInf();
  Process process(machine);
  const File file = OpenInputFile(kSampleInf);
  process.logCalls = true;
  EXPECT_EQ(ReadIdentity(file), SoundDriverIdentity());
  EXPECT_TRUE(CallsOf(process, "NtCreateFile").empty());
  EXPECT_TRUE(CallsOf(process, "CloseHandle").empty());
  EXPECT_TRUE(file);
}

TEST(ReadIdentity, DoesNotHashAnInfWithoutDriverVer) {
  Machine machine = MachineWithInf(InfWith("DriverVer", "DriverVersion"));
  Process process(machine);
  process.logCalls = true;
  EXPECT_FALSE(ReadIdentity(OpenInputFile(kSampleInf)));
  EXPECT_TRUE(CallsOf(process, "BCryptOpenAlgorithmProvider").empty());
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: INF has no valid DriverVer date/version\n");
}

TEST(ReadIdentity, SaysNothingAboutAHashThatFails) {
  Machine machine = MachineWithInf();
  Process process(machine);
  Fault fault;
  fault.call = "BCryptFinishHash";
  process.faults = {fault};
  EXPECT_FALSE(ReadIdentity(OpenInputFile(kSampleInf)));
  EXPECT_EQ(process.Output() + process.ErrorOutput(), u"");
}

TEST(ReadIdentity, MakesNoCallForAFileThatIsNotOpen) {
  Machine machine = MachineWithInf();
  Process process(machine);
  process.logCalls = true;
  EXPECT_FALSE(ReadIdentity(File()));
  EXPECT_TRUE(process.calls.empty());
}

TEST(ReadIdentity, IsNothingWhenAnyCallFails) {
  FailEachCall(MachineWithInf(), [](Process&, const std::string& failing) {
    const std::optional<DriverIdentity> identity = ReadIdentity(OpenInputFile(kSampleInf));
    if (failing.empty() || IsRelease(failing)) {
      EXPECT_EQ(identity, SoundDriverIdentity());
    } else {
      EXPECT_FALSE(identity);
    }
  });
}

}  // namespace
}  // namespace vorn
