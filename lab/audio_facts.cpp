#include "lab/audio_facts.h"

#include "lab/driver_facts.h"

namespace vorn::lab {

using platform::simulated::AudioCatalog;
using platform::simulated::AudioEndpoint;
using platform::simulated::CableFlow;
using platform::simulated::CableProperty;
using platform::simulated::RememberedEndpoint;

namespace {

/// What the builder remembers of one cable of a device.
struct RememberedItem {
  CableFlow key;
  RememberedEndpoint value;
};

/// The cable property of one cable's endpoint.
struct CablePropertyItem {
  CableFlow key;
  CableProperty value;
};

/// What the builder remembers of one device.
struct RememberedDevice {
  std::u16string key;
  std::map<CableFlow, RememberedEndpoint> value;
};

template <class Facts>
void Describe(Facts& facts, RememberedItem& item) {
  Describe(facts, item.key);
  facts.Fact("id", item.value.id);
  facts.Fact("disabledByUser", item.value.disabledByUser);
}

template <class Facts>
void Describe(Facts& facts, CablePropertyItem& item) {
  Describe(facts, item.key);
  facts.Fact("type", item.value.type);
  facts.Fact("value", item.value.value);
}

template <class Facts>
void Describe(Facts& facts, RememberedDevice& device) {
  facts.Required("device", device.key);
  facts.template List<RememberedItem>("endpoints", device.value);
}

}  // namespace

template <class Facts>
void Describe(Facts& facts, CableProperty& property) {
  const CableProperty usual;
  facts.Unusual("type", property.type, usual.type);
  facts.Fact("value", property.value);
}

template <class Facts>
void Describe(Facts& facts, AudioEndpoint& endpoint) {
  facts.Required("id", endpoint.id);
  facts.Choice("flow", endpoint.capture, kFlowNames);
  facts.Fact("state", endpoint.state);
  facts.Unusual("cable", endpoint.cable);
  facts.Fact("connectedTo", endpoint.connectedTo);
  facts.Fact("root", endpoint.root);
  facts.Unusual("builtFor", endpoint.builtFor);
  facts.Unusual("propertyStoreError", Coded{endpoint.propertyStoreError});
  facts.Unusual("propertyError", Coded{endpoint.propertyError});
  facts.Unusual("topologyError", Coded{endpoint.topologyError});
  facts.Unusual("connectorError", Coded{endpoint.connectorError});
  facts.Unusual("connectedError", Coded{endpoint.connectedError});
  facts.Unusual("idError", Coded{endpoint.idError});
  facts.Unusual("nullId", endpoint.nullId);
  facts.Unusual("stateError", Coded{endpoint.stateError});
}

namespace {

template <class Facts>
void DescribeCatalog(Facts& facts, AudioCatalog& audio) {
  facts.Fact("endpoints", audio.endpoints);
  facts.template List<RememberedDevice>("remembered", audio.remembered);
  facts.Fact("buildDelay", audio.buildDelay);
  facts.Fact("late", audio.late);
  facts.Fact("lateDelay", audio.lateDelay);
  facts.Fact("remintNext", audio.remintNext);
  facts.Fact("neverPublished", audio.neverPublished);
  facts.Fact("doubled", audio.doubled);
  facts.template List<CablePropertyItem>("properties", audio.properties);
  facts.Fact("activated", audio.activated);
  facts.Fact("childDelay", audio.childDelay);
  facts.Fact("childLags", audio.childLags);
  facts.Fact("recordDelay", audio.recordDelay);
  facts.Fact("recordsStayActive", audio.recordsStayActive);
  facts.Fact("nextGuid", audio.nextGuid);
  facts.Unusual("redirected", audio.redirected);
  facts.Unusual("coInitializeResult", Coded{audio.coInitializeResult});
  facts.Unusual("createError", Coded{audio.createError});
  facts.Unusual("enumError", Coded{audio.enumError});
  facts.Unusual("countError", Coded{audio.countError});
  facts.Unusual("itemError", Coded{audio.itemError});
}

}  // namespace

void Describe(FactWriter& facts, AudioCatalog& audio) {
  DescribeCatalog(facts, audio);
}
void Describe(FactReader& facts, AudioCatalog& audio) {
  DescribeCatalog(facts, audio);
}

}  // namespace vorn::lab
