// The control channel when any one platform call fails, or when the process dies there.

#include "control/endpoint_pool.h"
#include "control/endpoint_quiesce.h"
#include "control/resident_status.h"
#include "tests/control/control_world.h"
#include "tests/support/each_call.h"
#include "tests/support/machine_view.h"
#include "verify/resume_endpoints.h"

#include <algorithm>
#include <string>

namespace vorn {
namespace {

using platform::simulated::CallRecord;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;
using tests::kRootId;
using tests::OnlyPresentRoot;
using tests::WithEachCallGoingWrong;

/// The root with a sound driver, and a second way to it.
Machine MachineWithADriver() {
  Machine machine;
  platform::simulated::Device& root = tests::AddStartedRoot(machine);
  root.resident = platform::simulated::SoundImage(u"26.8.10.5");
  root.interfaces = {{kControlInterfaceClass, tests::kControlPath, true, 0},
                     {platform::KSCATEGORY_AUDIO, tests::kAudioPath, true, 0}};
  return machine;
}

std::size_t CountOfCode(const Process& process, const std::string& code, bool succeeded) {
  return static_cast<std::size_t>(
      std::count_if(process.calls.begin(), process.calls.end(), [&](const CallRecord& call) {
        return call.name == "DeviceIoControl" && call.Argument("controlCode") == code &&
               (!succeeded || call.result == "true");
      }));
}

constexpr bool kShowsAgain = true;

/// A hide, a show, and the guard's end, which shows again what could not be shown.
bool HideAndShow() {
  QuiesceGuard guard(kRootId);
  const bool hidden = guard.Hide();
  const bool shown = guard.Show();
  return hidden && shown;
}

TEST(AFailingCall, NeverLeavesAnEndpointHiddenInSilence) {
  for (const FaultKind kind : {FaultKind::Fail, FaultKind::FailAfterEffect}) {
    WithEachCallGoingWrong(
        MachineWithADriver(), kind, HideAndShow,
        [](const Process& process, const Machine& machine, bool done) {
          if (!OnlyPresentRoot(machine)->hidden.empty()) {
            EXPECT_NE(process.ErrorOutput(), u"");
          }
          if (!done) {
            EXPECT_NE(process.ErrorOutput(), u"");
          }
        },
        kShowsAgain);
  }
}

TEST(AFailingCall, NeverKeepsTheLease) {
  WithEachCallGoingWrong(
      MachineWithADriver(), FaultKind::Fail, HideAndShow,
      [](const Process& process, const Machine&, bool) {
        EXPECT_EQ(CountOfCode(process, "0x226000", true), CountOfCode(process, "0x22A004", false));
      },
      kShowsAgain);
  WithEachCallGoingWrong(MachineWithADriver(), FaultKind::Fail, ResumeEndpoints,
                         [](const Process& process, const Machine&, ExitStatus) {
                           EXPECT_EQ(CountOfCode(process, "0x226000", true),
                                     CountOfCode(process, "0x22A004", false));
                         });
}

TEST(AFailingCall, NeverMakesAnIncompletePoolSound) {
  Machine machine = MachineWithADriver();
  machine.devices.Find(kRootId)->resident->poolCount = 19;
  const auto query = [] { return QueryEndpointPool(kRootId); };
  WithEachCallGoingWrong(machine, FaultKind::Fail, query,
                         [](const Process&, const Machine&, const CheckResult& result) {
                           EXPECT_FALSE(result.ok);
                           EXPECT_NE(result.reason, u"");
                         });
}

TEST(AFailingCall, NeverProvesAnotherImage) {
  Machine machine = MachineWithADriver();
  machine.devices.Find(kRootId)->resident = platform::simulated::SoundImage(u"26.8.9.5");
  const auto query = [] { return QueryResidentStatus(kRootId, u"26.8.10.5"); };
  WithEachCallGoingWrong(machine, FaultKind::Fail, query,
                         [](const Process&, const Machine&, const CheckResult& result) {
                           EXPECT_FALSE(result.ok);
                           EXPECT_NE(result.reason, u"");
                         });
}

TEST(AFailingCall, OnTheOnlyWayToTheDriverIsMadeOnce) {
  Machine machine = MachineWithADriver();
  machine.devices.Find(kRootId)->interfaces.pop_back();
  const auto queries = [] {
    return QueryEndpointPool(kRootId).ok && QueryResidentStatus(kRootId, u"26.8.10.5").ok;
  };
  WithEachCallGoingWrong(machine, FaultKind::Fail, queries,
                         [](const Process&, const Machine&, bool) {});
  WithEachCallGoingWrong(machine, FaultKind::Fail, ResumeEndpoints,
                         [](const Process&, const Machine&, ExitStatus) {});
}

TEST(AFailingCall, MakesResumeReportWhatIsNotShown) {
  Machine machine = MachineWithADriver();
  for (const EndpointIdentity& endpoint : AllEndpointIdentities()) {
    machine.devices.Find(kRootId)->hidden.insert({endpoint.cableIndex, endpoint.capture ? 1U : 0U});
  }
  WithEachCallGoingWrong(machine, FaultKind::Fail, ResumeEndpoints,
                         [](const Process& process, const Machine& after, ExitStatus status) {
                           EXPECT_EQ(status == kExitOk, OnlyPresentRoot(after)->hidden.empty());
                           EXPECT_EQ(status == kExitOk, process.ErrorOutput().empty());
                         });
}

}  // namespace
}  // namespace vorn
