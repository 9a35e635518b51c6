// The verification engine when its platform calls fail, and when it is killed.

#include "base/text.h"
#include "platform/simulated/audio_values.h"
#include "tests/support/activation.h"
#include "tests/verify/engine_lines.h"

#include <gtest/gtest.h>
#include <set>

namespace vorn {
namespace {

using platform::simulated::Fault;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using tests::EngineRun;
using tests::RunEngine;
using tests::UpdateTarget;

/// An error that means failure in every kind of error code.
constexpr auto kAnyError = static_cast<std::uint32_t>(platform::E_FAIL);

Fault FailFrom(std::string call, std::uint32_t first, std::uint32_t last) {
  Fault fault;
  fault.call = std::move(call);
  fault.first = first;
  fault.last = last;
  fault.error = kAnyError;
  return fault;
}

bool GivesSomethingBack(const std::string& call) {
  static const std::set<std::string> kCalls = {"CloseHandle",
                                               "CloseServiceHandle",
                                               "SetupDiDestroyDeviceInfoList",
                                               "SetupCloseInfFile",
                                               "BCryptCloseAlgorithmProvider",
                                               "BCryptDestroyHash",
                                               "CoTaskMemFree",
                                               "CoUninitialize",
                                               "PropVariantClear",
                                               "LocalFree"};
  return kCalls.contains(call);
}

TEST(LiveVerificationFaults, OfASingleCallAreOvercomeByTheNextPoll) {
  Machine sound = InstalledMachine();
  const ActivationState state = UpdateTarget(sound);
  const EngineRun whole = RunEngine(sound, state, VerificationMode::Quick);
  ASSERT_EQ(whole.status, kExitOk);
  for (std::uint32_t nth = 1; nth <= whole.callCount; ++nth) {
    Machine machine = sound;
    const std::string& call = whole.calls[nth - 1].name;
    const EngineRun run =
        RunEngine(machine, state, VerificationMode::Reporting, {FailFrom("*", nth, nth)});
    EXPECT_EQ(run.status, kExitOk)
        << call << " " << nth << ": " << testing::PrintToString(run.console);
    if (GivesSomethingBack(call)) continue;
    EXPECT_TRUE(run.openObjects.empty()) << call << " " << nth;
    EXPECT_EQ(run.apartments, 0) << call << " " << nth;
  }
}

TEST(LiveVerificationFaults, OfEveryLaterCallNeverEndInAFalseProof) {
  Machine sound = InstalledMachine();
  const ActivationState state = UpdateTarget(sound);
  const EngineRun whole = RunEngine(sound, state, VerificationMode::Quick);
  std::set<std::string> names;
  for (const auto& call : whole.calls)
    names.insert(call.name);
  // Everything can be proven without these calls.
  const std::set<std::string> needless = {"OpenSCManagerW", "OpenServiceW", "StartServiceW",
                                          "GetTickCount64"};
  for (const std::string& name : names) {
    Machine machine = sound;
    const EngineRun run = RunEngine(machine, state, VerificationMode::Quick,
                                    {FailFrom(name, 1, platform::simulated::kEveryLaterCall)});
    const bool harmless = needless.contains(name) || GivesSomethingBack(name);
    EXPECT_EQ(run.status == kExitOk, harmless) << name << " " << run.status;
    if (GivesSomethingBack(name)) continue;
    EXPECT_TRUE(run.openObjects.empty()) << name;
  }
}

TEST(LiveVerificationFaults, OfThePrintingDoNotFailTheRun) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  for (const char* call : {"fputws", "fflush"}) {
    EXPECT_EQ(RunEngine(machine, state, VerificationMode::Reporting,
                        {FailFrom(call, 1, platform::simulated::kEveryLaterCall)})
                  .status,
              kExitOk)
        << call;
  }
}

}  // namespace
}  // namespace vorn
