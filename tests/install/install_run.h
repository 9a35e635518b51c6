#pragma once

// Installs of the sample package, their lines on the console, and their device control calls.

#include "base/text.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/judged_run.h"
#include "tests/support/run_command.h"
#include "tests/support/world.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

inline const auto kPersisted = Out("vorn_devnode: persisted protected pre-bind activation state");
inline const auto kUpdated =
    Out("vorn_devnode: Root\\VornAudio driver updated on existing devnode");
inline const auto kUntouched =
    Out("vorn_devnode: Root\\VornAudio already runs the target package; device left untouched");
inline const auto kNotQuiesced =
    Err("vorn_devnode: VORN endpoints could not be quiesced; binding directly");
inline const auto kRejected = Err("vorn_devnode: RESULT=BIND_REFUSED - Windows rejected the bind");
inline const auto kRollbackSelected =
    Err("vorn_devnode: RESULT=REBOOT_REQUIRED - rollback package selected; Windows loads it at the "
        "next restart");

inline ConsoleLine Deferred(const std::string& code, bool restored) {
  return Err("vorn_devnode: RESULT=" + code +
             " - Windows deferred the driver switch to a restart; " +
             (restored ? "previous package selection restored; rolling back"
                       : "the previous selection could not be restored, so PnP metadata may name "
                         "the staged package until the next update converges; rolling back"));
}

inline ConsoleLine Proven(const std::string& date, const std::string& version,
                          const std::string& inf, std::size_t active = 20) {
  return Out("vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, package=" + date + " " + version +
             " (" + inf + "), catalog=20, active=" + std::to_string(active) +
             ", present-pnp=" + std::to_string(active) + ", kernel=20");
}

inline const auto kSampleProven = Proven("08/10/2026", "26.8.10.5", "oem4.inf");

inline RunResult Install(platform::simulated::Machine& machine, const RunOptions& options = {}) {
  return RunJudged(machine, Command::Install, {u"install", kSampleInf, kSampleJournal}, options);
}

inline RunResult InstallRollback(platform::simulated::Machine& machine,
                                 const RunOptions& options = {}) {
  return RunJudged(machine, Command::InstallRollback,
                   {u"install", kSampleInf, kSampleJournal, u"--rollback"}, options);
}

/// The control codes that were sent, in order.
inline std::vector<std::string> ControlCodes(const RunResult& run) {
  std::vector<std::string> codes;
  for (const platform::simulated::CallRecord& call : run.CallsOf("DeviceIoControl"))
    codes.push_back(call.Argument("controlCode"));
  return codes;
}

inline std::size_t CountOf(const std::vector<std::string>& texts, const std::string& text) {
  return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
}

inline constexpr const char* kAcquire = "0x226000";
inline constexpr const char* kRelease = "0x22A004";
inline constexpr const char* kVisibility = "0x22A01C";

/// Makes a bind of the sample package need a restart; a bind of the previous package needs none.
inline void MakeSampleDefer(platform::simulated::Machine& machine) {
  AddPackage(machine, u"C:\\pkg\\driver", u"26.8.10.5", u"08/10/2026",
             [](platform::simulated::DriverImage& image) { image.needsRestart = true; });
}

}  // namespace vorn::tests
