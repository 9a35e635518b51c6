#include "base/text.h"
#include "catalog/catalog_snapshot.h"
#include "platform/audio_endpoints.h"
#include "platform/simulated/audio_values.h"
#include "product/endpoint_identity.h"
#include "tests/catalog/taken_snapshot.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AudioEndpoint;
using platform::simulated::CallRecord;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;
using tests::AllEndpoints;
using tests::Endpoint;
using tests::ExpectNothingLeft;
using tests::Ids;
using tests::InstanceIds;
using tests::kCatalogRoot;
using tests::kIncomplete;
using tests::MachineWith;
using tests::Snapshot;
using tests::Taken;

TEST(CatalogSnapshotCom, JoinsTheMultithreadedApartmentAndLeavesIt) {
  const Taken taken = Snapshot(AllEndpoints());
  ASSERT_FALSE(taken.calls.empty());
  EXPECT_EQ(taken.calls.front().name, "CoInitializeEx");
  EXPECT_EQ(taken.calls.front().Argument("concurrencyModel"), "0x0");
  EXPECT_EQ(taken.CountOf("CoInitializeEx"), 1u);
  EXPECT_EQ(taken.calls.back().name, "CoUninitialize");
  EXPECT_EQ(taken.CountOf("CoUninitialize"), 1u);
}

TEST(CatalogSnapshotCom, EndsWhenTheApartmentCannotBeJoined) {
  Machine machine = MachineWith(AllEndpoints());
  machine.audio.coInitializeResult = platform::E_OUTOFMEMORY;
  const Taken taken = Snapshot(machine, {}, PnpComparison::Children);
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "COM initialization failed");
  EXPECT_EQ(taken.callCount, 1u);
  EXPECT_TRUE(taken.snapshot.endpoints.empty());
}

TEST(CatalogSnapshotCom, UsesAnApartmentOfAnotherModeAndDoesNotLeaveIt) {
  Machine machine = MachineWith(AllEndpoints());
  machine.audio.coInitializeResult = platform::RPC_E_CHANGED_MODE;
  const Taken taken = Snapshot(machine, {}, PnpComparison::None);
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "");
  EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount);
  EXPECT_EQ(taken.CountOf("CoUninitialize"), 0u);
  ExpectNothingLeft(taken);
}

TEST(CatalogSnapshotCom, LeavesAnApartmentThatWasJoinedBefore) {
  Machine machine = MachineWith(AllEndpoints());
  Process process(machine);
  EXPECT_GE(platform::CoInitializeEx(platform::COINIT_MULTITHREADED), 0);
  EXPECT_TRUE(TakeCatalogSnapshot(kCatalogRoot, {}, PnpComparison::None).ok);
  EXPECT_EQ(process.comInitialized, 1);
  platform::CoUninitialize();
  EXPECT_EQ(process.comInitialized, 0);
}

TEST(CatalogSnapshotCom, EndsWithoutAnEnumerator) {
  Machine machine = MachineWith(AllEndpoints());
  machine.audio.createError = platform::REGDB_E_CLASSNOTREG;
  const Taken taken = Snapshot(machine, {}, PnpComparison::None);
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "MMDevice enumerator unavailable");
  EXPECT_EQ(taken.CountOf("CoUninitialize"), 1u);
  ExpectNothingLeft(taken);
}

TEST(CatalogSnapshotCom, EndsWhenASuccessfulCallReturnsANullEnumerator) {
  Machine machine = MachineWith(AllEndpoints());
  Fault lie;
  lie.call = "CoCreateInstance";
  lie.kind = FaultKind::SucceedWithoutEffect;
  const Taken taken = Snapshot(machine, {}, PnpComparison::None, {lie});
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "MMDevice enumerator unavailable");
  ExpectNothingLeft(taken);
}

// ------------------------------------------------------------------------------------------------

/// A fault at the n-th of all calls.
Fault At(std::uint64_t nth, FaultKind kind) {
  Fault fault;
  fault.first = fault.last = static_cast<std::uint32_t>(nth);
  fault.kind = kind;
  fault.error = static_cast<std::uint32_t>(platform::E_FAIL);
  return fault;
}

TEST(CatalogSnapshotFaults, MakeTheSnapshotIncompleteWhicheverItemTheyHit) {
  for (std::uint32_t nth = 1; nth <= 20; ++nth) {
    Fault fault;
    fault.call = "IMMDeviceCollection::Item";
    fault.first = fault.last = nth;
    fault.error = static_cast<std::uint32_t>(platform::E_FAIL);
    Machine machine = MachineWith(AllEndpoints());
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {fault});
    EXPECT_EQ(ToUtf8(taken.snapshot.reason), kIncomplete) << nth;
    EXPECT_EQ(taken.snapshot.endpoints.size(), 19U) << nth;
  }
}

TEST(CatalogSnapshotFaults, NeverPassForAWholeCatalogAndLeaveNothingBehind) {
  const auto all = AllEndpoints();
  const Ids children = InstanceIds(all);
  Machine sound = MachineWith(all);
  const Taken whole = Snapshot(sound, children, PnpComparison::Children);
  ASSERT_TRUE(whole.snapshot.ok);
  ASSERT_GT(whole.callCount, 100u);
  for (const FaultKind kind :
       {FaultKind::Fail, FaultKind::FailAfterEffect, FaultKind::SucceedWithoutEffect}) {
    for (std::uint64_t nth = 1; nth <= whole.callCount; ++nth) {
      const std::string& name = whole.calls[nth - 1].name;
      Machine machine = MachineWith(all);
      const Taken taken = Snapshot(machine, children, PnpComparison::Children, {At(nth, kind)});
      const std::string where = name + " " + std::to_string(nth);
      if (taken.snapshot.ok) {
        EXPECT_EQ(taken.snapshot.endpoints, whole.snapshot.endpoints) << where;
      }
      // Only a call that gives something back may leave it behind when it is made to fail.
      if (name == "CoUninitialize" || name == "CoTaskMemFree" || name == "CoInitializeEx") continue;
      EXPECT_EQ(taken.apartments, 0) << where;
      EXPECT_TRUE(taken.open.empty()) << where;
    }
  }
}

/// A call that takes effect and fails all the same, the first of its name.
Fault FailingAfterItsEffect(const char* call) {
  Fault fault;
  fault.call = call;
  fault.kind = FaultKind::FailAfterEffect;
  fault.error = static_cast<std::uint32_t>(platform::E_FAIL);
  return fault;
}

TEST(CatalogSnapshotFaults, OfACallThatRecognisesADeviceSkipItWhateverTheCallBroughtBack) {
  for (const char* call :
       {"IMMDevice::OpenPropertyStore", "IPropertyStore::GetValue", "IMMDevice::Activate",
        "IDeviceTopology::GetConnector", "IConnector::GetDeviceIdConnectedTo"}) {
    Machine machine = MachineWith(AllEndpoints());
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {FailingAfterItsEffect(call)});
    EXPECT_EQ(taken.CountOf(call), kEndpointCount) << call;
    EXPECT_EQ(ToUtf8(taken.snapshot.reason), "") << call;
    EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount - 1) << call;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfACallThatReadsARecognisedDeviceMakeItIncompleteWhateverCameBack) {
  for (const char* call : {"IMMDevice::GetId", "IMMDevice::GetState"}) {
    Machine machine = MachineWith(AllEndpoints());
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {FailingAfterItsEffect(call)});
    EXPECT_EQ(ToUtf8(taken.snapshot.reason), kIncomplete) << call;
    EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount - 1) << call;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfACallThatListsMakeItIncompleteWhateverCameBack) {
  for (const char* call : {"IMMDeviceEnumerator::EnumAudioEndpoints",
                           "IMMDeviceCollection::GetCount", "IMMDeviceCollection::Item"}) {
    Machine machine = MachineWith(AllEndpoints());
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {FailingAfterItsEffect(call)});
    EXPECT_EQ(ToUtf8(taken.snapshot.reason), kIncomplete) << call;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfTheCreationLeaveNoEnumeratorWhateverCameBack) {
  Machine machine = MachineWith(AllEndpoints());
  const Taken taken =
      Snapshot(machine, {}, PnpComparison::None, {FailingAfterItsEffect("CoCreateInstance")});
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "MMDevice enumerator unavailable");
  EXPECT_EQ(taken.CountOf("IMMDeviceEnumerator::EnumAudioEndpoints"), 0u);
  ExpectNothingLeft(taken);
}

TEST(CatalogSnapshotFaults, OfTheListingMakeItIncompleteAndTheRestIsRecorded) {
  // The render flow fails to list; the capture flow is recorded all the same.
  for (const char* name : {"IMMDeviceEnumerator::EnumAudioEndpoints",
                           "IMMDeviceCollection::GetCount", "IMMDeviceCollection::Item"}) {
    Machine machine = MachineWith(AllEndpoints());
    Fault fault;
    fault.call = name;
    fault.error = static_cast<std::uint32_t>(platform::E_FAIL);
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {fault});
    EXPECT_EQ(ToUtf8(taken.snapshot.reason), kIncomplete) << name;
    const bool oneItem = std::string_view(name) == "IMMDeviceCollection::Item";
    EXPECT_EQ(taken.snapshot.endpoints.size(), oneItem ? 19u : 10u) << name;
    ASSERT_FALSE(taken.snapshot.endpoints.empty());
    EXPECT_TRUE(taken.snapshot.endpoints.back().capture) << name;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfTheListingOfTheSecondFlowMakeItIncompleteToo) {
  Machine machine = MachineWith(AllEndpoints());
  Fault fault = FailingAfterItsEffect("IMMDeviceEnumerator::EnumAudioEndpoints");
  fault.first = fault.last = 2;
  const Taken taken = Snapshot(machine, {}, PnpComparison::None, {fault});
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), kIncomplete);
  EXPECT_EQ(taken.snapshot.endpoints.size(), 10u);
}

TEST(CatalogSnapshotFaults, OfACallThatGivesNullWhileItRecognisesADeviceSkipIt) {
  for (const char* call : {"IMMDevice::OpenPropertyStore", "IMMDevice::Activate",
                           "IDeviceTopology::GetConnector", "IConnector::GetDeviceIdConnectedTo"}) {
    Machine machine = MachineWith(AllEndpoints());
    Fault lie;
    lie.call = call;
    lie.kind = FaultKind::SucceedWithoutEffect;
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {lie});
    EXPECT_EQ(ToUtf8(taken.snapshot.reason), "") << call;
    EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount - 1) << call;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfANullDeviceOrListMakeItIncomplete) {
  for (const char* name :
       {"IMMDeviceEnumerator::EnumAudioEndpoints", "IMMDeviceCollection::Item"}) {
    Machine machine = MachineWith(AllEndpoints());
    Fault fault;
    fault.call = name;
    fault.kind = FaultKind::SucceedWithoutEffect;
    EXPECT_EQ(ToUtf8(Snapshot(machine, {}, PnpComparison::None, {fault}).snapshot.reason),
              kIncomplete)
        << name;
  }
}

TEST(CatalogSnapshotCalls, AskForTheseFlowsStatesAndInterfaces) {
  const Taken taken = Snapshot(AllEndpoints());
  std::vector<std::string> listings;
  for (const CallRecord& call : taken.calls) {
    if (call.name == "IMMDeviceEnumerator::EnumAudioEndpoints") {
      listings.push_back(call.Argument("flow") + " " + call.Argument("stateMask"));
    }
    if (call.name == "CoCreateInstance") {
      EXPECT_EQ(call.Argument("classId"), "{BCDE0395-E52F-467C-8E3D-C4579291692E}");
      EXPECT_EQ(call.Argument("iid"), "{A95664D2-9614-4F35-A746-DE8DB63617E6}");
      EXPECT_EQ(call.Argument("context"), "0x17");
    }
    if (call.name == "IMMDevice::Activate") {
      EXPECT_EQ(call.Argument("iid"), "{2A07407E-6497-4A18-9787-32F79BD0D98F}");
      EXPECT_EQ(call.Argument("context"), "0x17");
    }
    if (call.name == "IMMDevice::OpenPropertyStore") {
      EXPECT_EQ(call.Argument("access"), "0x0");
    }
    if (call.name == "IDeviceTopology::GetConnector") {
      EXPECT_EQ(call.Argument("index"), "0");
    }
  }
  EXPECT_EQ(listings, (std::vector<std::string>{"0 0x3", "1 0x3"}));
  EXPECT_EQ(taken.CountOf("PropVariantClear"), kEndpointCount);
}

TEST(CatalogSnapshotCalls, AskADeviceWhoseItIsBeforeItsIdAndItsState) {
  const Taken taken = Snapshot({Endpoint(4, false)});
  const std::vector<std::string> asked = {"IMMDevice::OpenPropertyStore",
                                          "IPropertyStore::GetValue",
                                          "PropVariantClear",
                                          "IMMDevice::Activate",
                                          "IDeviceTopology::GetConnector",
                                          "IConnector::GetDeviceIdConnectedTo",
                                          "IMMDevice::GetId",
                                          "IMMDevice::GetState"};
  std::vector<std::string> calls;
  for (const CallRecord& call : taken.calls) {
    if (std::find(asked.begin(), asked.end(), call.name) != asked.end()) calls.push_back(call.name);
  }
  EXPECT_EQ(calls, asked);
}

TEST(CatalogSnapshotCalls, AskADeviceWithoutTheCablePropertyNothingMore) {
  AudioEndpoint other = Endpoint(4, false);
  other.cable.reset();
  const Taken taken = Snapshot({other});
  EXPECT_EQ(taken.CountOf("PropVariantClear"), 1u);
  EXPECT_EQ(taken.CountOf("IMMDevice::Activate"), 0u);
  EXPECT_EQ(taken.CountOf("IMMDevice::GetId"), 0u);
}

}  // namespace
}  // namespace vorn
