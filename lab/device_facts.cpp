#include "lab/device_facts.h"

#include "base/text.h"
#include "lab/driver_facts.h"
#include "lab/twins.h"
#include "lab/typed_data.h"
#include "platform/device_setup.h"

namespace vorn::lab {

using platform::DEVPROPKEY;
using platform::simulated::Device;
using platform::simulated::DeviceInterface;
using platform::simulated::DeviceProperty;
using platform::simulated::DeviceTemper;

namespace {

/// "{a8b865dd-2e3d-4094-ad97-e593a70c75d6} 3".
struct PropertyKey {
  DEVPROPKEY& key;
};

std::u16string TextOf(const DEVPROPKEY& key) {
  return ToUtf16(FormatGuid(key.fmtid) + " " + std::to_string(key.pid));
}

Json ToJson(const PropertyKey& property) {
  return lab::ToJson(TextOf(property.key));
}

void FromJson(const Json& json, const std::string& path, PropertyKey property) {
  const std::string& text = ReadString(json, path);
  const std::size_t blank = text.find(' ');
  std::uint64_t number = 0;
  if (blank == std::string::npos || !ParseGuid(text.substr(0, blank), property.key.fmtid) ||
      !ParseNumber(text.substr(blank + 1), number) ||
      number > std::numeric_limits<std::uint32_t>::max()) {
    throw BadInput(path, "must be a GUID, a blank and a number");
  }
  property.key.pid = static_cast<std::uint32_t>(number);
}

}  // namespace

template <class Facts>
void Describe(Facts& facts, DeviceProperty& property) {
  facts.Required("key", PropertyKey{property.key});
  DescribeTypedData(facts, property.type, property.data, platform::DEVPROP_TYPE_STRING);
}

template <class Facts>
void Describe(Facts& facts, DeviceInterface& interface) {
  facts.Required("class", interface.interfaceClass);
  facts.Required("path", interface.path);
  facts.Fact("enabled", interface.enabled);
  facts.Unusual("openError", Coded{interface.openError});
}

template <class Facts>
void Describe(Facts& facts, DeviceTemper& temper) {
  const DeviceTemper usual;
  facts.Unusual("vetoes", temper.vetoes);
  facts.Unusual("vetoUntil", temper.vetoUntil);
  facts.Unusual("vetoType", temper.vetoType, usual.vetoType);
  facts.Unusual("vetoName", temper.vetoName, usual.vetoName);
  facts.Unusual("queryRemoveResult", Coded{temper.queryRemoveResult});
  facts.Unusual("removeError", Coded{temper.removeError});
  facts.Unusual("removeNeedsRestart", temper.removeNeedsRestart);
  facts.Unusual("removeKeepsNodeUntilRestart", temper.removeKeepsNodeUntilRestart);
  facts.Unusual("removeDelay", temper.removeDelay);
  facts.Unusual("restartError", Coded{temper.restartError});
  facts.Unusual("restartNeedsReboot", temper.restartNeedsReboot);
  facts.Unusual("restartProblem", temper.restartProblem);
}

namespace {

template <class Facts>
void DescribeDevice(Facts& facts, Device& device) {
  facts.Required("instanceId", device.instanceId);
  facts.Fact("enumerator", device.enumerator);
  facts.Fact("parent", device.parent);
  facts.Fact("present", device.present);
  facts.Fact("status", Coded{device.status});
  facts.Fact("problem", device.problem);
  facts.Fact("classGuid", device.classGuid);
  facts.Unusual("classGuidText", device.classGuidText);
  facts.Fact("className", device.className);
  facts.Fact("hardwareIds", device.hardwareIds);
  facts.Unusual("hardwareIdData", device.hardwareIdData);
  facts.Fact("service", device.service);
  facts.Fact("publishedInf", device.publishedInf);
  facts.Unusual("pendingInf", device.pendingInf);
  facts.Unusual("properties", device.properties);
  facts.Unusual("interfaces", device.interfaces);
  facts.Unusual("resident", device.resident);
  facts.Unusual("leaseHeld", device.leaseHeld);
  facts.Unusual("hidden", device.hidden);
  facts.Unusual("generation", device.generation);
  facts.Unusual("installFlags", Coded{device.installFlags});
  facts.Unusual("statusError", Coded{device.statusError});
  facts.Unusual("removalPending", device.removalPending);
  facts.Unusual("queryRemoved", device.queryRemoved);
  facts.Unusual("foreign", device.foreign);
  facts.Unusual("temper", device.temper);
}

}  // namespace

void Describe(FactWriter& facts, Device& device) {
  DescribeDevice(facts, device);
}
void Describe(FactReader& facts, Device& device) {
  DescribeDevice(facts, device);
  if (!facts.Has("enumerator")) {
    device.enumerator = device.instanceId.substr(0, device.instanceId.find(u'\\'));
  }
  RefuseTwins(
      device.properties,
      [](const DeviceProperty& property) { return std::optional(TextOf(property.key)); }, "key",
      facts.PathOf("properties"));
}

}  // namespace vorn::lab
