#include "verify/audio_services.h"

#include "platform/last_error.h"
#include "tests/support/activation.h"
#include "tests/verify/engine_lines.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::Fault;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::StopService;
using tests::EngineRun;
using tests::ExpectProven;
using tests::FreshTarget;
using tests::RunEngine;

TEST(LiveVerificationServices, AreStartedInOrderAndGivenBack) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  for (const VerificationMode mode : {VerificationMode::Reporting, VerificationMode::Quick}) {
    const EngineRun run = RunEngine(machine, state, mode);
    const std::vector<std::string> expected = {
        "OpenSCManagerW", "OpenServiceW",  "StartServiceW",      "CloseServiceHandle",
        "OpenServiceW",   "StartServiceW", "CloseServiceHandle", "CloseServiceHandle"};
    ASSERT_GT(run.calls.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(run.calls[i].name, expected[i]) << i;
    }
    EXPECT_EQ(run.calls[0].Argument("desiredAccess"), "0x1");
    EXPECT_EQ(run.calls[1].Argument("name"), "AudioEndpointBuilder");
    EXPECT_EQ(run.calls[1].Argument("desiredAccess"), "0x10");
    EXPECT_EQ(run.calls[4].Argument("name"), "Audiosrv");
    EXPECT_EQ(run.calls[4].Argument("desiredAccess"), "0x10");
    EXPECT_EQ(run.CountOf("OpenSCManagerW"), 1u);
  }
}

TEST(LiveVerificationServices, AreStartedInEitherMode) {
  for (const VerificationMode mode : {VerificationMode::Reporting, VerificationMode::Quick}) {
    Machine machine = InstalledMachine();
    const ActivationState state = FreshTarget(machine);
    StopService(machine, u"Audiosrv");
    StopService(machine, u"AudioEndpointBuilder");
    RunEngine(machine, state, mode);
    EXPECT_TRUE(IsRunning(machine, u"AudioEndpointBuilder"));
    EXPECT_TRUE(IsRunning(machine, u"Audiosrv"));
  }
}

TEST(LiveVerificationServices, MayFailToStart) {
  const std::pair<const char*, std::uint32_t> failures[] = {{"OpenSCManagerW", 1},
                                                            {"OpenServiceW", 1},
                                                            {"OpenServiceW", 2},
                                                            {"StartServiceW", 1},
                                                            {"StartServiceW", 2}};
  for (const auto& [call, nth] : failures) {
    Machine machine = InstalledMachine();
    const ActivationState state = FreshTarget(machine);
    Fault fault;
    fault.call = call;
    fault.first = fault.last = nth;
    fault.error = platform::ERROR_ACCESS_DENIED;
    ExpectProven(machine, RunEngine(machine, state, VerificationMode::Reporting, {fault}));
  }
}

TEST(LiveVerificationServices, AreTriedOneByOne) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  machine.services.erase(u"AudioEndpointBuilder");
  const EngineRun run = RunEngine(machine, state, VerificationMode::Quick);
  EXPECT_EQ(run.CountOf("OpenServiceW"), 2u);
  EXPECT_EQ(run.CountOf("StartServiceW"), 1u);
  EXPECT_EQ(run.CountOf("CloseServiceHandle"), 2u);
}

TEST(LiveVerificationServices, AreNotTouchedWithoutAManager) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  machine.serviceManagerError = platform::ERROR_ACCESS_DENIED;
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.CountOf("OpenServiceW"), 0u);
  EXPECT_EQ(run.CountOf("CloseServiceHandle"), 0u);
}

}  // namespace
}  // namespace vorn
