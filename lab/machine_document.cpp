#include "lab/machine_document.h"

#include "base/text.h"
#include "lab/audio_facts.h"
#include "lab/device_facts.h"
#include "lab/driver_facts.h"
#include "lab/fault_spec.h"
#include "lab/json_text.h"
#include "lab/near_word.h"
#include "lab/registry_facts.h"
#include "lab/twins.h"
#include "platform/simulated/modules.h"

#include <algorithm>
#include <map>

namespace vorn::lab {

using platform::simulated::Clock;
using platform::simulated::Device;
using platform::simulated::DeviceTree;
using platform::simulated::Event;
using platform::simulated::EventKind;
using platform::simulated::Machine;
using platform::simulated::PublishedPackage;
using platform::simulated::Service;
using platform::simulated::Token;
using platform::simulated::ToUpperName;

namespace {

/// The version of the document's format.
constexpr std::uint32_t kFormat = 1;

constexpr const char* kEventKinds[] = {
    "startDevice",     "removeDevice",      "publishEndpoints", "publishLateEndpoints",
    "publishChildren", "withdrawEndpoints", "idleRecords",      "announceReplug",
};

// Records of the document's lists, one for each entry of a map.

struct NamedService {
  std::u16string key;
  Service value;
};
struct DosDevice {
  std::u16string key;
  std::u16string value;
};
struct ClassName {
  std::u16string key;
  std::u16string value;
};

/// The GUID of a setup class, as the text by which the model finds it.
struct ClassGuid {
  std::u16string& text;
};
Json ToJson(const ClassGuid& guid) {
  return lab::ToJson(guid.text);
}
void FromJson(const Json& json, const std::string& path, ClassGuid guid) {
  platform::GUID parsed = {};
  lab::FromJson(json, path, parsed);
  lab::FromJson(json, path, guid.text);
}

template <class Facts>
void Describe(Facts& facts, NamedService& service) {
  facts.Required("name", service.key);
  facts.Fact("running", service.value.running);
  facts.Unusual("openError", Coded{service.value.openError});
  facts.Unusual("startError", Coded{service.value.startError});
}

template <class Facts>
void Describe(Facts& facts, DosDevice& device) {
  facts.Required("name", device.key);
  facts.Required("target", device.value);
}

template <class Facts>
void Describe(Facts& facts, ClassName& name) {
  facts.Required("class", ClassGuid{name.key});
  facts.Required("name", name.value);
}

/// A parent that is no device would hide the device from every walk of the tree.
void RefuseOrphans(const DeviceTree& tree, const std::string& path) {
  std::size_t i = 0;
  for (const Device& device : tree.devices) {
    if (!device.parent.empty() && tree.Find(device.parent) == nullptr) {
      throw BadInput(PathOfElement(path, i) + ".parent", "is no device of the machine");
    }
    ++i;
  }
}

/// Every device must stand below the top of the tree, or a walk up or down would not end.
void RefuseCircles(const DeviceTree& tree, const std::string& path) {
  std::size_t i = 0;
  for (const Device& device : tree.devices) {
    const Device* above = &device;
    for (std::size_t steps = 0; above != nullptr && steps <= tree.devices.size(); ++steps)
      above = above->parent.empty() ? nullptr : tree.Find(above->parent);
    if (above != nullptr) throw BadInput(PathOfElement(path, i) + ".parent", "leads in a circle");
    ++i;
  }
}

/// The model looks these names up by their capitals, however they are written.
template <class Value>
void FoldNames(std::map<std::u16string, Value>& named, const std::string& path) {
  std::map<std::u16string, Value> folded;
  for (auto& [name, value] : named) {
    if (!folded.emplace(ToUpperName(name), std::move(value)).second) {
      throw BadInput(path, "names " + ToUtf8(name) + " twice");
    }
  }
  named = std::move(folded);
}

/// The same where the model keeps the names as they are written.
template <class Value>
void RefuseNamesTwice(std::map<std::u16string, Value> named, const std::string& path) {
  FoldNames(named, path);
}

void RefuseTwinVolumes(const std::vector<VolumeFacts>& volumes, const std::string& path) {
  using Name = std::optional<std::u16string>;
  const auto given = [](const std::u16string& name) { return name.empty() ? Name() : Name(name); };
  RefuseTwins(
      volumes,
      [](const VolumeFacts& facts) {
        return facts.volume.letter == 0 ? Name() : Name({facts.volume.letter});
      },
      "letter", path);
  RefuseTwins(
      volumes, [&](const VolumeFacts& facts) { return given(facts.volume.device); }, "device",
      path);
  RefuseTwins(
      volumes, [&](const VolumeFacts& facts) { return given(facts.volume.guid); }, "guid", path);
}

/// What happens to a device itself needs one; the endpoint builder also acts for those that went.
void RefuseIdleEvents(const Machine& machine, const std::string& path) {
  std::size_t i = 0;
  for (const Event& event : machine.clock.events) {
    const bool ofDevice = event.kind == EventKind::StartDevice ||
                          event.kind == EventKind::RemoveDevice ||
                          event.kind == EventKind::AnnounceReplug;
    if (ofDevice && machine.devices.Find(event.subject) == nullptr) {
      throw BadInput(PathOfElement(path, i) + ".subject", "is no device of the machine");
    }
    ++i;
  }
}

void RefuseBadFaults(const std::vector<std::string>& faults, const std::string& path) {
  for (std::size_t i = 0; i < faults.size(); ++i) {
    try {
      ParseFault(faults[i]);
    } catch (const BadInput& bad) {
      throw BadInput(PathOfElement(path, i), bad.what());
    }
  }
}

/// Checks what the values of single keys do not show.
void CheckDocument(MachineDocument& document, const FactReader& facts) {
  Machine& machine = document.machine;
  FoldNames(machine.files.dosDevices, facts.PathOf("dosDevices"));
  FoldNames(machine.classNames, facts.PathOf("classNames"));
  FoldNames(machine.audio.remembered, facts.PathOf("audio") + ".remembered");
  RefuseNamesTwice(machine.services, facts.PathOf("services"));
  RefuseBadFaults(document.process.faults, facts.PathOf("process") + ".faults");
  const std::string devices = facts.PathOf("devices");
  const auto idOf = [](const Device& device) { return std::optional(device.instanceId); };
  RefuseTwins(machine.devices.devices, idOf, "instanceId", devices);
  RefuseOrphans(machine.devices, devices);
  RefuseCircles(machine.devices, devices);
  const auto infOf = [](const PublishedPackage& each) { return std::optional(each.publishedInf); };
  RefuseTwins(machine.store.packages, infOf, "publishedInf", facts.PathOf("store") + ".packages");
  RefuseTwinVolumes(document.volumes, facts.PathOf("volumes"));
  auto& events = machine.clock.events;
  RefuseIdleEvents(machine, facts.PathOf("clock") + ".events");
  std::stable_sort(events.begin(), events.end(),
                   [](const Event& left, const Event& right) { return left.due < right.due; });
}

/// Functions of ntdll.dll by their names.
struct ExportNames {
  std::vector<std::string>& names;
};
Json ToJson(const ExportNames& value) {
  return lab::ToJson(value.names);
}
void FromJson(const Json& json, const std::string& path, ExportNames value) {
  lab::FromJson(json, path, value.names);
  const std::vector<std::string_view> known = platform::simulated::NtdllExports();
  for (std::size_t i = 0; i < value.names.size(); ++i) {
    if (std::find(known.begin(), known.end(), value.names[i]) != known.end()) continue;
    throw BadInput(PathOfElement(path, i), "must be one of " + Listed(known));
  }
}

/// The devices as one value of the document.
struct DeviceFacts {
  platform::simulated::Devices& devices;
};
Json ToJson(const DeviceFacts& value) {
  Json list = Json::List();
  for (const Device& device : std::as_const(value.devices))
    list.push_back(lab::ToJson(device));
  return list;
}
void FromJson(const Json& json, const std::string& path, DeviceFacts value) {
  std::vector<Device> devices;
  lab::FromJson(json, path, devices);
  value.devices.clear();
  for (Device& device : devices)
    value.devices.push_back(std::move(device));
}

/// The registry as one value of the document.
struct RegistryFact {
  platform::simulated::Registry& registry;
};
Json ToJson(const RegistryFact& value) {
  return RegistryToJson(value.registry);
}
void FromJson(const Json& json, const std::string& path, RegistryFact value) {
  RegistryFromJson(json, path, value.registry);
}

}  // namespace

template <class Facts>
void Describe(Facts& facts, Event& event) {
  facts.Required("due", event.due);
  facts.RequiredChoice("kind", event.kind, kEventKinds);
  facts.Required("subject", event.subject);
}

template <class Facts>
void Describe(Facts& facts, Clock& clock) {
  facts.Fact("tick", clock.tick);
  facts.Fact("utcAtTickZero", clock.utcAtTickZero);
  facts.Fact("events", clock.events);
}

template <class Facts>
void Describe(Facts& facts, Token& token) {
  facts.Fact("sids", token.sids);
  facts.Fact("owner", token.owner);
  facts.Fact("holdsBackup", token.holdsBackup);
  facts.Fact("holdsRestore", token.holdsRestore);
  facts.Fact("backupEnabled", token.backupEnabled);
  facts.Fact("restoreEnabled", token.restoreEnabled);
}

template <class Facts>
void Describe(Facts& facts, ProcessFacts& process) {
  facts.Fact("token", process.token);
  facts.Fact("standardOutputClosed", process.standardOutputClosed);
  facts.Fact("ntdllMissing", process.ntdllMissing);
  facts.Fact("missingExports", ExportNames{process.missingExports});
  facts.Unusual("faults", process.faults);
}

namespace {

template <class Facts>
void DescribeDocument(Facts& facts, MachineDocument& document) {
  Machine& machine = document.machine;
  facts.Fact("windowsFolder", machine.files.windowsFolder);
  facts.Fact("tempFolder", machine.files.tempFolder);
  facts.Fact("modulePath", machine.files.modulePath);
  facts.Fact("currentFolder", machine.files.currentFolder);
  facts.Fact("process", document.process);
  facts.Fact("clock", machine.clock);
  facts.Fact("randomState", Coded{machine.randomState});
  facts.template List<NamedService>("services", machine.services);
  facts.Unusual("serviceManagerError", Coded{machine.serviceManagerError});
  facts.template List<ClassName>("classNames", machine.classNames);
  facts.Fact("devices", DeviceFacts{machine.devices.devices});
  facts.Fact("store", machine.store);
  facts.Fact("audio", machine.audio);
  facts.template List<DosDevice>("dosDevices", machine.files.dosDevices);
  facts.Fact("heldFiles", document.heldFiles);
  facts.Unusual("scanMs", machine.files.scanMs);
  facts.Fact("registry", RegistryFact{machine.registry});
  facts.Fact("volumes", document.volumes);
}

}  // namespace

void Describe(FactWriter& facts, MachineDocument& document) {
  facts.Fact("format", kFormat);
  DescribeDocument(facts, document);
}

void Describe(FactReader& facts, MachineDocument& document) {
  std::uint32_t format = 0;
  facts.Required("format", format);
  if (format != kFormat) throw BadInput(facts.PathOf("format"), "must be 1");
  DescribeDocument(facts, document);
  CheckDocument(document, facts);
  if (facts.Has("dosDevices")) return;
  for (const VolumeFacts& volume : document.volumes) {
    const char16_t letter = ToUpperAscii(volume.volume.letter);
    if (letter != 0) document.machine.files.dosDevices[{letter, u':'}] = volume.volume.device;
  }
}

std::string WriteDocument(const MachineDocument& document) {
  return ToReadableText(ToJson(document));
}

MachineDocument ReadDocument(std::string_view text) {
  return ReadDocumentFrom(ParseJson(text));
}

MachineDocument ReadDocumentFrom(const Json& json) {
  MachineDocument document;
  FromJson(json, "", document);
  return document;
}

}  // namespace vorn::lab
