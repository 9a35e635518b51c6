#pragma once

// One run of "remove" on a machine, judged by what must hold for every run, and the lines that the
// command ends with.

#include "platform/simulated/machine.h"
#include "removal_world.h"
#include "tests/support/device_world.h"
#include "tests/support/judged_run.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

inline const ConsoleLine kQuiesced =
    Err("vorn_devnode: quiesced all endpoints of ROOT\\MEDIA\\0000");
inline const ConsoleLine kLetGo =
    Err("vorn_devnode: query-remove succeeded on attempt 1 after 0 ms");
inline const ConsoleLine kPackageRemoved =
    Out("vorn_devnode: removed authenticated driver package oem3.inf");
inline const ConsoleLine kRefused =
    Err("vorn_devnode: RESULT=REMOVE_FAILED - expected INF could not be authenticated; no device "
        "was touched");
inline const ConsoleLine kBusy =
    Err("vorn_devnode: RESULT=REMOVE_BUSY - the device is still held after 10 s; nothing was "
        "removed and no restart scheduled");
inline const ConsoleLine kPendingRestart =
    Out("vorn_devnode: RESULT=REBOOT_REQUIRED - removal is pending restart");
inline const ConsoleLine kResidue =
    Err("vorn_devnode: RESULT=REMOVE_FAILED - device roots are absent but exact driver-package "
        "cleanup could not be proven; residue retained");

inline ConsoleLine Partial(int roots) {
  return Err(
      "vorn_devnode: RESULT=REMOVE_FAILED - partial or unverifiable removal; installed "
      "roots=" +
      std::to_string(roots));
}

inline ConsoleLine Remain(const std::string& code, int roots) {
  return Err("vorn_devnode: RESULT=" + code + " - " + std::to_string(roots) +
             " installed root(s) remain after removal");
}

/// The lines of both, one after the other.
inline Console operator+(Console left, const Console& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

/// A machine with the device installed, to be changed and then run on.
class RemoveCommand : public ::testing::Test {
 protected:
  /// Runs the command and looks at what must hold for every run.
  RunResult Run(std::vector<platform::simulated::Fault> faults = {},
                const std::u16string& infPath = kSampleInf) {
    // 2026-03-04 05:06:07.089 UTC
    machine.clock.utcAtTickZero = 1'772'600'767'089 - machine.clock.tick;
    before = machine;
    RunOptions options;
    options.faults = std::move(faults);
    options.token = token;
    // The checkers know only the log in its default place.
    RunResult result = infPath == kSampleInf
                           ? RunJudged(machine, Command::Remove, {u"remove", infPath}, options)
                           : Remove(machine, options, infPath);
    EXPECT_EQ(BrokenPromises(before, machine), std::vector<std::string>{});
    EXPECT_TRUE(result.openObjects.empty());
    EXPECT_TRUE(platform::simulated::ListFolder(machine.files, machine.files.tempFolder).empty());
    return result;
  }

  platform::simulated::Device& Root(std::u16string_view id = kRootId) {
    return *machine.devices.Find(id);
  }

  /// A fault that ends the nth list of devices of a run with another error than its end.
  platform::simulated::Fault LastEnumerationFails(std::size_t nthList) const {
    platform::simulated::Machine copy = machine;
    std::uint32_t enumerated = 0;
    std::size_t lists = 0;
    for (const auto& call : Remove(copy).calls) {
      if (call.name == "SetupDiGetClassDevsW") ++lists;
      if (lists > nthList) break;
      if (call.name == "SetupDiEnumDeviceInfo") ++enumerated;
    }
    return FailingCall("SetupDiEnumDeviceInfo", 13, enumerated);
  }

  /// Checks that records and packages are what they were.
  void ExpectNothingCleaned() const {
    EXPECT_EQ(machine.store, before.store);
    EXPECT_EQ(OwnedRecords(machine), OwnedRecords(before));
  }

  std::uint64_t Took() const { return machine.clock.tick - before.clock.tick; }

  platform::simulated::Machine machine = platform::simulated::InstalledMachine();
  platform::simulated::Machine before;
  platform::simulated::Token token;
};

/// How many endpoints the driver was asked to show: the requests under the second lease.
inline std::size_t Shown(const RunResult& result) {
  std::size_t shown = 0;
  std::size_t leases = 0;
  for (const auto& call : result.CallsOf("DeviceIoControl")) {
    const std::string code = call.Argument("controlCode");
    if (code == "0x226000") ++leases;
    if (code == "0x22A01C" && leases == 2) ++shown;
  }
  return shown;
}

}  // namespace vorn::tests
