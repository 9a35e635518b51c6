#include "platform/owners.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/simulated/audio_machine.h"

#include <gtest/gtest.h>
#include <memory>

namespace vorn::platform::simulated {
namespace {

constexpr PROPERTYKEY kCable = {
    {0x4B7A2E8F, 0x3C5D, 0x4E91, {0x8A, 0x67, 0x2F, 0x9B, 0x1E, 0x3D, 0x5C, 0x7A}}, 2};
constexpr std::uint32_t kActiveOrDisabled = DEVICE_STATE_ACTIVE | DEVICE_STATE_DISABLED;
constexpr HRESULT kPlanned = static_cast<HRESULT>(0x80070057);

/// A run on a machine with 20 endpoints, in the multithreaded apartment.
class AudioCatalogCalls : public testing::Test {
 protected:
  AudioCatalogCalls() { EXPECT_EQ(CoInitializeEx(COINIT_MULTITHREADED), S_OK); }

  ComObject<IMMDeviceEnumerator> CreateEnumerator() {
    ComObject<IMMDeviceEnumerator> enumerator;
    void* object = nullptr;
    result =
        CoCreateInstance(CLSID_MMDeviceEnumerator, CLSCTX_ALL, IID_IMMDeviceEnumerator, &object);
    return ComObject<IMMDeviceEnumerator>(static_cast<IMMDeviceEnumerator*>(object));
  }

  ComObject<IMMDeviceCollection> List(EDataFlow flow, std::uint32_t stateMask = kActiveOrDisabled) {
    const auto enumerator = CreateEnumerator();
    ComObject<IMMDeviceCollection> collection;
    result = enumerator.Get()->EnumAudioEndpoints(flow, stateMask, collection.Receive());
    return collection;
  }

  ComObject<IMMDevice> Item(std::uint32_t index, EDataFlow flow = eRender) {
    const auto collection = List(flow);
    ComObject<IMMDevice> device;
    result = collection.Get()->Item(index, device.Receive());
    return device;
  }

  ComObject<IDeviceTopology> Activate(IMMDevice* device) {
    void* object = nullptr;
    result = device->Activate(IID_IDeviceTopology, CLSCTX_ALL, nullptr, &object);
    return ComObject<IDeviceTopology>(static_cast<IDeviceTopology*>(object));
  }

  std::uint32_t Count(EDataFlow flow, std::uint32_t stateMask = kActiveOrDisabled) {
    std::uint32_t count = 0;
    const auto collection = List(flow, stateMask);
    EXPECT_EQ(collection.Get()->GetCount(&count), S_OK);
    return count;
  }

  void Fail(const char* call) {
    process.faults.push_back(
        {call, 1, kEveryLaterCall, FaultKind::Fail, static_cast<std::uint32_t>(kPlanned), 0, {}});
  }

  std::size_t Open(ObjectKind kind) { return process.OpenObjects()[kind]; }

  Machine machine = PublishedMachine();
  Process process{machine};
  HRESULT result = S_OK;
};

// ------------------------------------------------------------------------------------------------
// Apartments and creation.

TEST_F(AudioCatalogCalls, CountApartmentsUntilEachIsLeft) {
  EXPECT_EQ(process.comInitialized, 1);
  EXPECT_EQ(CoInitializeEx(COINIT_MULTITHREADED), S_FALSE);
  EXPECT_EQ(process.comInitialized, 2);
  CoUninitialize();
  CoUninitialize();
  EXPECT_EQ(process.comInitialized, 0);
  CoUninitialize();
  EXPECT_EQ(process.comInitialized, 0);
}

TEST_F(AudioCatalogCalls, ListNoneOfTheMachinesEndpointsInASessionWithRedirectedAudio) {
  ASSERT_EQ(Count(eRender), 10U);
  machine.audio.redirected = true;
  EXPECT_EQ(Count(eRender), 0U);
  EXPECT_EQ(Count(eCapture), 0U);
  EXPECT_EQ(result, S_OK);
}

TEST_F(AudioCatalogCalls, CreateNothingOutsideAnApartment) {
  CoUninitialize();
  EXPECT_FALSE(CreateEnumerator());
  EXPECT_EQ(result, CO_E_NOTINITIALIZED);
}

TEST_F(AudioCatalogCalls, UseTheApartmentThatAnotherOwnerJoined) {
  CoUninitialize();
  machine.audio.coInitializeResult = RPC_E_CHANGED_MODE;
  EXPECT_EQ(CoInitializeEx(COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
  EXPECT_EQ(process.comInitialized, 0);
  EXPECT_TRUE(CreateEnumerator());
}

TEST_F(AudioCatalogCalls, JoinNoApartmentWhenJoiningWasMadeToFail) {
  process.faults.push_back({"CoInitializeEx",
                            2,
                            2,
                            FaultKind::FailAfterEffect,
                            static_cast<std::uint32_t>(E_OUTOFMEMORY),
                            0,
                            {}});
  EXPECT_EQ(CoInitializeEx(COINIT_MULTITHREADED), E_OUTOFMEMORY);
  EXPECT_EQ(process.comInitialized, 1);
}

TEST_F(AudioCatalogCalls, CreateOnlyTheEnumerator) {
  void* object = &object;
  EXPECT_EQ(CoCreateInstance(IID_IDeviceTopology, CLSCTX_ALL, IID_IMMDeviceEnumerator, &object),
            REGDB_E_CLASSNOTREG);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(CoCreateInstance(CLSID_MMDeviceEnumerator, 4, IID_IMMDeviceEnumerator, &object),
            REGDB_E_CLASSNOTREG);
  EXPECT_EQ(CoCreateInstance(CLSID_MMDeviceEnumerator, CLSCTX_ALL, IID_IDeviceTopology, &object),
            E_NOINTERFACE);
  EXPECT_EQ(
      CoCreateInstance(CLSID_MMDeviceEnumerator, CLSCTX_ALL, IID_IMMDeviceEnumerator, nullptr),
      E_POINTER);
  machine.audio.createError = E_ACCESSDENIED;
  EXPECT_FALSE(CreateEnumerator());
  EXPECT_EQ(result, E_ACCESSDENIED);
  EXPECT_EQ(Open(ObjectKind::Com), 0u);
}

// ------------------------------------------------------------------------------------------------
// References.

TEST_F(AudioCatalogCalls, CountAnObjectAsOpenUntilItsLastRelease) {
  IMMDeviceEnumerator* enumerator = nullptr;
  CoCreateInstance(CLSID_MMDeviceEnumerator, CLSCTX_ALL, IID_IMMDeviceEnumerator,
                   reinterpret_cast<void**>(&enumerator));
  void* same = nullptr;
  EXPECT_EQ(enumerator->QueryInterface(IID_IMMDeviceEnumerator, &same), S_OK);
  EXPECT_EQ(same, enumerator);
  EXPECT_EQ(enumerator->AddRef(), 3u);
  EXPECT_EQ(enumerator->Release(), 2u);
  EXPECT_EQ(enumerator->Release(), 1u);
  EXPECT_EQ(Open(ObjectKind::Com), 1u);
  EXPECT_EQ(enumerator->QueryInterface(IID_IDeviceTopology, &same), E_NOINTERFACE);
  EXPECT_EQ(same, nullptr);
  EXPECT_EQ(enumerator->Release(), 0u);
  EXPECT_EQ(Open(ObjectKind::Com), 0u);
}

TEST_F(AudioCatalogCalls, LeaveNothingOpenAfterAWholeWalk) {
  {
    const auto device = Item(0);
    ComObject<IPropertyStore> store;
    device.Get()->OpenPropertyStore(STGM_READ, store.Receive());
    const auto topology = Activate(device.Get());
    ComObject<IConnector> connector;
    topology.Get()->GetConnector(0, connector.Receive());
    TaskString text;
    connector.Get()->GetDeviceIdConnectedTo(text.Receive());
    EXPECT_EQ(Open(ObjectKind::Com), 4u);
    EXPECT_EQ(Open(ObjectKind::Memory), 1u);
  }
  EXPECT_TRUE(process.OpenObjects().empty());
}

TEST_F(AudioCatalogCalls, ShowALeakedObjectAndALeakedString) {
  auto device = Item(0);
  char16_t* id = nullptr;
  device.Get()->GetId(&id);
  device.Get()->AddRef();
  device.Reset();
  EXPECT_EQ(Open(ObjectKind::Com), 1u);
  EXPECT_EQ(Open(ObjectKind::Memory), 1u);
}

TEST_F(AudioCatalogCalls, MayHangUntilSomebodyEndsTheProcess) {
  const auto device = Item(0);
  process.faults.push_back({"IMMDevice::GetState", 1, 1, FaultKind::Hang, 0, 0, {}});
  const std::uint64_t start = machine.clock.tick;
  std::uint32_t state = 7;
  EXPECT_LT(device.Get()->GetState(&state), S_OK);
  EXPECT_TRUE(process.killed);
  EXPECT_EQ(state, 7u);
  EXPECT_EQ(machine.clock.tick - start, 3'600'000u);
}

TEST_F(AudioCatalogCalls, LetAKilledProcessReleaseWhatItStillHolds) {
  const auto device = Item(0);
  ComObject<IPropertyStore> store;
  device.Get()->OpenPropertyStore(STGM_READ, store.Receive());
  process.faults.push_back({"IMMDevice::GetId", 1, 1, FaultKind::KillAfter, 0, 0, {}});
  TaskString id;
  EXPECT_EQ(device.Get()->GetId(id.Receive()), S_OK);
  EXPECT_TRUE(process.killed);
  EXPECT_EQ(id.Get()[0], u'{');
  std::uint32_t state = 7;
  EXPECT_LT(device.Get()->GetState(&state), S_OK);
  EXPECT_EQ(state, 7u);
  PROPVARIANT value = {};
  EXPECT_LT(store.Get()->GetValue(kCable, &value), S_OK);
}

TEST_F(AudioCatalogCalls, FreeWhatAKilledProcessCanNoLongerRelease) {
  FindEndpoint(machine, kRootId, {0, 0})->cable = CableProperty{VT_LPWSTR, 0};
  {
    const auto device = Item(0);
    ComObject<IPropertyStore> store;
    device.Get()->OpenPropertyStore(STGM_READ, store.Receive());
    PROPVARIANT value = {};
    EXPECT_EQ(store.Get()->GetValue(kCable, &value), S_OK);
    ASSERT_EQ(value.vt, VT_LPWSTR);
    process.Kill();
    EXPECT_LT(PropVariantClear(&value), S_OK);
    device.Get()->AddRef();
  }
  // The string that was not cleared and the device with an extra reference are freed with the
  // process, as the leak checker confirms. A dead process has nothing open.
  EXPECT_TRUE(process.OpenObjects().empty());
}

// ------------------------------------------------------------------------------------------------
// Listing.

TEST_F(AudioCatalogCalls, ListTheEndpointsOfAFlowInCatalogOrder) {
  const auto collection = List(eCapture);
  std::uint32_t count = 0;
  EXPECT_EQ(collection.Get()->GetCount(&count), S_OK);
  ASSERT_EQ(count, 10u);
  for (std::uint32_t i = 0; i < count; ++i) {
    ComObject<IMMDevice> device;
    ASSERT_EQ(collection.Get()->Item(i, device.Receive()), S_OK);
    TaskString id;
    ASSERT_EQ(device.Get()->GetId(id.Receive()), S_OK);
    EXPECT_EQ(id.Get(), FindEndpoint(machine, kRootId, {i, 1})->id);
  }
}

TEST_F(AudioCatalogCalls, ListOnlyTheRequestedStates) {
  SetEndpointDisabled(machine, FindEndpoint(machine, kRootId, {0, 0})->id, true);
  ChangeEndpointVisibility(machine, kRootId, {1, 0}, false);
  FindEndpoint(machine, kRootId, {2, 0})->state = DEVICE_STATE_UNPLUGGED;
  EXPECT_EQ(Count(eRender, DEVICE_STATE_ACTIVE), 7u);
  EXPECT_EQ(Count(eRender, DEVICE_STATE_DISABLED), 1u);
  EXPECT_EQ(Count(eRender), 8u);
  EXPECT_EQ(Count(eRender, DEVICE_STATE_NOTPRESENT), 1u);
  EXPECT_EQ(Count(eRender, 0xF), 10u);
  EXPECT_EQ(Count(static_cast<EDataFlow>(2)), 18u);
}

TEST_F(AudioCatalogCalls, RefuseAnUnknownFlowOrState) {
  EXPECT_FALSE(List(static_cast<EDataFlow>(3)));
  EXPECT_EQ(result, E_INVALIDARG);
  EXPECT_FALSE(List(eRender, 0));
  EXPECT_EQ(result, E_INVALIDARG);
  EXPECT_FALSE(List(eRender, 0x10));
  EXPECT_EQ(result, E_INVALIDARG);
  EXPECT_EQ(CreateEnumerator().Get()->EnumAudioEndpoints(eRender, 1, nullptr), E_POINTER);
}

TEST_F(AudioCatalogCalls, ListNothingWhileAnAudioServiceIsDown) {
  StopService(machine, kAudioService);
  EXPECT_FALSE(List(eRender));
  EXPECT_EQ(result, AUDCLNT_E_SERVICE_NOT_RUNNING);
}

TEST_F(AudioCatalogCalls, FailEachStepOfTheListingAsConfigured) {
  const auto collection = List(eRender);
  machine.audio.countError = E_FAIL;
  std::uint32_t count = 7;
  EXPECT_EQ(collection.Get()->GetCount(&count), E_FAIL);
  EXPECT_EQ(count, 7u);
  machine.audio.itemError = E_OUTOFMEMORY;
  ComObject<IMMDevice> device;
  EXPECT_EQ(collection.Get()->Item(0, device.Receive()), E_OUTOFMEMORY);
  EXPECT_FALSE(device);
  machine.audio.enumError = E_ACCESSDENIED;
  EXPECT_FALSE(List(eRender));
  EXPECT_EQ(result, E_ACCESSDENIED);
}

TEST_F(AudioCatalogCalls, KeepACollectionAsASnapshot) {
  const auto collection = List(eRender);
  ChangeEndpointVisibility(machine, kRootId, {0, 0}, false);
  std::uint32_t count = 0;
  collection.Get()->GetCount(&count);
  EXPECT_EQ(count, 10u);
  ComObject<IMMDevice> device;
  EXPECT_EQ(collection.Get()->Item(0, device.Receive()), S_OK);
  std::uint32_t state = 0;
  EXPECT_EQ(device.Get()->GetState(&state), S_OK);
  EXPECT_EQ(state, DEVICE_STATE_NOTPRESENT);
  EXPECT_EQ(collection.Get()->Item(10, device.Receive()), E_INVALIDARG);
}

TEST_F(AudioCatalogCalls, DistinguishTwoEndpointsWithTheSameId) {
  machine.audio.endpoints[1].id = machine.audio.endpoints[0].id;
  const auto second = Item(1);
  machine.audio.endpoints[1].state = DEVICE_STATE_DISABLED;
  std::uint32_t state = 0;
  EXPECT_EQ(second.Get()->GetState(&state), S_OK);
  EXPECT_EQ(state, DEVICE_STATE_DISABLED);
}

// ------------------------------------------------------------------------------------------------
// One endpoint.

TEST_F(AudioCatalogCalls, ReadTheCablePropertyInItsType) {
  machine.audio.endpoints[1].cable = CableProperty{VT_I4, 0xFFFFFFFF};
  machine.audio.endpoints[2].cable = CableProperty{VT_LPWSTR, 42};
  machine.audio.endpoints[3].cable.reset();
  PROPVARIANT values[4] = {};
  for (std::uint32_t i = 0; i < 4; ++i) {
    ComObject<IPropertyStore> store;
    ASSERT_EQ(Item(i).Get()->OpenPropertyStore(STGM_READ, store.Receive()), S_OK);
    ASSERT_EQ(store.Get()->GetValue(kCable, &values[i]), S_OK);
  }
  EXPECT_EQ(values[0].vt, VT_UI4);
  EXPECT_EQ(values[0].ulVal, 0u);
  EXPECT_EQ(values[1].vt, VT_I4);
  EXPECT_EQ(values[1].lVal, -1);
  EXPECT_EQ(values[2].vt, VT_LPWSTR);
  EXPECT_EQ(std::u16string(static_cast<const char16_t*>(values[2].pointer)), u"42");
  EXPECT_EQ(values[3].vt, VT_EMPTY);
  EXPECT_EQ(Open(ObjectKind::Memory), 1u);
  for (PROPVARIANT& value : values)
    EXPECT_EQ(PropVariantClear(&value), S_OK);
  EXPECT_EQ(values[2].vt, VT_EMPTY);
  EXPECT_EQ(Open(ObjectKind::Memory), 0u);
}

TEST_F(AudioCatalogCalls, ReadAMissingPropertyAsEmpty) {
  ComObject<IPropertyStore> store;
  Item(0).Get()->OpenPropertyStore(STGM_READ, store.Receive());
  PROPERTYKEY other = kCable;
  other.pid = 3;
  PROPVARIANT value = {};
  value.vt = VT_I4;
  EXPECT_EQ(store.Get()->GetValue(other, &value), S_OK);
  EXPECT_EQ(value.vt, VT_EMPTY);
}

TEST_F(AudioCatalogCalls, NameTheFilterThatTheOnlyConnectorLeadsTo) {
  const auto topology = Activate(Item(0).Get());
  ComObject<IConnector> connector;
  EXPECT_EQ(topology.Get()->GetConnector(1, connector.Receive()), E_INVALIDARG);
  ASSERT_EQ(topology.Get()->GetConnector(0, connector.Receive()), S_OK);
  TaskString id;
  EXPECT_EQ(connector.Get()->GetDeviceIdConnectedTo(id.Receive()), S_OK);
  EXPECT_EQ(id.Get(), machine.audio.endpoints[0].connectedTo);
  machine.audio.endpoints[0].connectedTo.clear();
  EXPECT_EQ(connector.Get()->GetDeviceIdConnectedTo(id.Receive()), E_NOTFOUND);
  EXPECT_FALSE(id);
}

TEST_F(AudioCatalogCalls, ActivateOnlyTheTopology) {
  const auto device = Item(0);
  void* object = &object;
  EXPECT_EQ(device.Get()->Activate(IID_IMMDeviceEnumerator, CLSCTX_ALL, nullptr, &object),
            E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
}

TEST_F(AudioCatalogCalls, ActivateADisabledEndpointButNotAMissingOne) {
  SetEndpointDisabled(machine, machine.audio.endpoints[0].id, true);
  const auto device = Item(0);
  EXPECT_TRUE(Activate(device.Get()));
  ChangeEndpointVisibility(machine, kRootId, {0, 0}, false);
  EXPECT_FALSE(Activate(device.Get()));
  EXPECT_EQ(result, AUDCLNT_E_DEVICE_INVALIDATED);
}

TEST_F(AudioCatalogCalls, FailEachStepOfAnEndpointAsConfigured) {
  AudioEndpoint& endpoint = machine.audio.endpoints[0];
  const auto device = Item(0);
  const auto topology = Activate(device.Get());
  ComObject<IConnector> connector;
  topology.Get()->GetConnector(0, connector.Receive());
  ComObject<IPropertyStore> store;
  device.Get()->OpenPropertyStore(STGM_READ, store.Receive());
  endpoint.propertyStoreError = static_cast<std::int32_t>(0x80000001);
  endpoint.propertyError = static_cast<std::int32_t>(0x80000002);
  endpoint.topologyError = static_cast<std::int32_t>(0x80000003);
  endpoint.connectorError = static_cast<std::int32_t>(0x80000004);
  endpoint.connectedError = static_cast<std::int32_t>(0x80000005);
  endpoint.idError = static_cast<std::int32_t>(0x80000006);
  endpoint.stateError = static_cast<std::int32_t>(0x80000007);
  PROPVARIANT value = {};
  TaskString text;
  std::uint32_t state = 7;
  EXPECT_EQ(device.Get()->OpenPropertyStore(STGM_READ, store.Receive()),
            endpoint.propertyStoreError);
  EXPECT_FALSE(store);
  EXPECT_FALSE(Activate(device.Get()));
  EXPECT_EQ(result, endpoint.topologyError);
  EXPECT_EQ(connector.Get()->GetDeviceIdConnectedTo(text.Receive()), endpoint.connectedError);
  EXPECT_EQ(topology.Get()->GetConnector(0, connector.Receive()), endpoint.connectorError);
  EXPECT_EQ(device.Get()->GetId(text.Receive()), endpoint.idError);
  EXPECT_EQ(device.Get()->GetState(&state), endpoint.stateError);
  EXPECT_FALSE(text);
  EXPECT_EQ(state, 7u);
  endpoint.propertyStoreError = S_OK;
  device.Get()->OpenPropertyStore(STGM_READ, store.Receive());
  EXPECT_EQ(store.Get()->GetValue(kCable, &value), endpoint.propertyError);
}

TEST_F(AudioCatalogCalls, ReturnANullIdWhereConfigured) {
  machine.audio.endpoints[0].nullId = true;
  TaskString id;
  EXPECT_EQ(Item(0).Get()->GetId(id.Receive()), S_OK);
  EXPECT_FALSE(id);
}

TEST_F(AudioCatalogCalls, FailEveryStepOnALostEndpoint) {
  const auto device = Item(0);
  LoseEndpoint(machine, machine.audio.endpoints[0].id);
  TaskString id;
  std::uint32_t state = 7;
  ComObject<IPropertyStore> store;
  EXPECT_EQ(device.Get()->GetId(id.Receive()), AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_EQ(device.Get()->GetState(&state), AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_EQ(device.Get()->OpenPropertyStore(STGM_READ, store.Receive()),
            AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_FALSE(Activate(device.Get()));
}

// ------------------------------------------------------------------------------------------------
// Planned failures.

TEST_F(AudioCatalogCalls, FailByNameWithoutHandingOutAnObject) {
  const auto device = Item(0);
  const auto topology = Activate(device.Get());
  ComObject<IConnector> connector;
  topology.Get()->GetConnector(0, connector.Receive());
  ComObject<IPropertyStore> store;
  device.Get()->OpenPropertyStore(STGM_READ, store.Receive());
  const std::size_t before = Open(ObjectKind::Com);
  for (const char* call :
       {"IMMDevice::OpenPropertyStore", "IMMDevice::Activate", "IMMDevice::GetId",
        "IMMDevice::GetState", "IDeviceTopology::GetConnector", "IPropertyStore::GetValue",
        "IConnector::GetDeviceIdConnectedTo", "PropVariantClear"})
    Fail(call);
  ComObject<IPropertyStore> otherStore;
  ComObject<IConnector> otherConnector;
  TaskString text;
  PROPVARIANT value = {};
  std::uint32_t state = 0;
  EXPECT_EQ(device.Get()->OpenPropertyStore(STGM_READ, otherStore.Receive()), kPlanned);
  EXPECT_EQ(topology.Get()->GetConnector(0, otherConnector.Receive()), kPlanned);
  EXPECT_EQ(device.Get()->GetId(text.Receive()), kPlanned);
  EXPECT_EQ(device.Get()->GetState(&state), kPlanned);
  EXPECT_EQ(store.Get()->GetValue(kCable, &value), kPlanned);
  EXPECT_EQ(connector.Get()->GetDeviceIdConnectedTo(text.Receive()), kPlanned);
  EXPECT_EQ(PropVariantClear(&value), kPlanned);
  EXPECT_FALSE(Activate(device.Get()));
  EXPECT_EQ(result, kPlanned);
  EXPECT_EQ(Open(ObjectKind::Com), before);
  EXPECT_EQ(Open(ObjectKind::Memory), 0u);
}

TEST_F(AudioCatalogCalls, ReleaseWhatWasCreatedWhenTheCallFailsAfterItsEffect) {
  process.faults.push_back({"*",
                            1,
                            kEveryLaterCall,
                            FaultKind::FailAfterEffect,
                            static_cast<std::uint32_t>(kPlanned),
                            0,
                            {}});
  EXPECT_FALSE(CreateEnumerator());
  EXPECT_EQ(result, kPlanned);
  EXPECT_TRUE(process.OpenObjects().empty());
}

TEST_F(AudioCatalogCalls, ReportSuccessWithoutAnObject) {
  process.faults.push_back({"*", 1, kEveryLaterCall, FaultKind::SucceedWithoutEffect, 0, 0, {}});
  void* object = &object;
  EXPECT_EQ(
      CoCreateInstance(CLSID_MMDeviceEnumerator, CLSCTX_ALL, IID_IMMDeviceEnumerator, &object),
      S_OK);
  EXPECT_EQ(object, nullptr);
}

TEST_F(AudioCatalogCalls, ReadAPlannedErrorCodeAsAFailure) {
  process.faults.push_back({"CoCreateInstance", 1, 1, FaultKind::Fail, ERROR_ACCESS_DENIED, 0, {}});
  EXPECT_FALSE(CreateEnumerator());
  EXPECT_EQ(result, E_ACCESSDENIED);
}

TEST_F(AudioCatalogCalls, FreeAndLeaveDespitePlannedFaults) {
  Fail("CoTaskMemFree");
  Fail("CoUninitialize");
  {
    TaskString id;
    Item(0).Get()->GetId(id.Receive());
    EXPECT_EQ(Open(ObjectKind::Memory), 1u);
  }
  CoTaskMemFree(nullptr);
  CoUninitialize();
  EXPECT_EQ(Open(ObjectKind::Memory), 0u);
  EXPECT_EQ(process.comInitialized, 0);
}

TEST_F(AudioCatalogCalls, LogEveryMethodUnderItsName) {
  process.logCalls = true;
  {
    const auto device = Item(3);
    std::uint32_t state = 0;
    device.Get()->GetState(&state);
  }
  std::vector<std::string> names;
  for (const CallRecord& call : process.calls)
    names.push_back(call.name);
  EXPECT_EQ(names,
            (std::vector<std::string>{"CoCreateInstance", "IMMDeviceEnumerator::EnumAudioEndpoints",
                                      "IMMDeviceCollection::Item", "IMMDevice::GetState"}));
  EXPECT_EQ(process.calls[1].Argument("stateMask"), "0x3");
  EXPECT_EQ(process.calls[2].Argument("index"), "3");
}

}  // namespace
}  // namespace vorn::platform::simulated
