#include "lab/capture_audio.h"

#include "base/text.h"
#include "catalog/endpoint_recognition.h"
#include "platform/audio_endpoints.h"
#include "platform/registry.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "product/endpoint_identity.h"
#include "product/product.h"

#include <algorithm>
#include <charconv>

namespace vorn::lab {

using platform::simulated::AudioCatalog;
using platform::simulated::AudioEndpoint;
using platform::simulated::CableFlow;
using platform::simulated::Device;
using platform::simulated::FindChild;
using platform::simulated::FindKey;
using platform::simulated::FindValue;
using platform::simulated::IsSameDevice;
using platform::simulated::Key;
using platform::simulated::KeyId;
using platform::simulated::Machine;
using platform::simulated::PoolEntry;
using platform::simulated::Registry;
using platform::simulated::RegistryValue;

namespace {

/// A record of ours in the registry.
struct EndpointRecord {
  std::u16string id;
  CableFlow cable;
  std::uint32_t state = 0;
};

std::optional<std::uint32_t> DwordOf(const RegistryValue* value) {
  if (value == nullptr || value->type != platform::REG_DWORD || value->data.size() != 4) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i)
    number |= std::uint32_t{value->data[i]} << (8 * i);
  return number;
}

std::vector<EndpointRecord> ListRecords(const Registry& registry) {
  std::vector<EndpointRecord> records;
  for (const std::uint32_t flow : {0U, 1U}) {
    const auto key = FindKey(registry, std::u16string(platform::simulated::kEndpointRecordsPath) +
                                           (flow == 0 ? u"\\Render" : u"\\Capture"));
    if (!key) continue;
    for (const KeyId child : registry.keys.at(*key).children) {
      const auto properties = FindChild(registry, child, u"Properties");
      if (!properties) continue;
      const auto cable = DwordOf(FindValue(registry.keys.at(*properties), kCableIndexValueName));
      if (!cable || *cable >= kCableCount) continue;
      const Key& record = registry.keys.at(child);
      records.push_back({(flow == 0 ? u"{0.0.0.00000000}." : u"{0.0.1.00000000}.") + record.name,
                         CableFlow{*cable, flow},
                         DwordOf(FindValue(record, u"DeviceState")).value_or(0)});
    }
  }
  return records;
}

/// The device that records without an endpoint are taken to belong to: the one that is present, or
/// else any of ours.
const Device* MainRoot(const Machine& machine) {
  const Device* main = nullptr;
  for (const Device& device : machine.devices.devices) {
    if (device.foreign || !device.parent.empty()) continue;
    if (main == nullptr || (device.present && !main->present)) main = &device;
  }
  return main;
}

const Device* OwnerOf(const Machine& machine, const AudioEndpoint& endpoint) {
  for (const Device& device : machine.devices.devices) {
    const bool root = !device.foreign && device.parent.empty();
    if (root && IsConnectedToRoot(endpoint.connectedTo, device.instanceId)) return &device;
  }
  return nullptr;
}

/// The device id of the filter behind an endpoint, as the endpoint builder gives it.
std::u16string FilterOf(const Device& root, CableFlow cable) {
  std::u16string id = ToLowerAscii(root.instanceId);
  std::replace(id.begin(), id.end(), u'\\', u'#');
  return u"{2}.\\\\?\\" + id + u"#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\" +
         (cable.second == 0 ? u"render" : u"capture") + ToUtf16(std::to_string(cable.first));
}

void Remember(Machine& machine, const AudioEndpoint& endpoint, bool disabled) {
  if (endpoint.root.empty() || !endpoint.builtFor) return;
  machine.audio.remembered[ToUpperAscii(endpoint.root)].try_emplace(
      *endpoint.builtFor,
      platform::simulated::RememberedEndpoint{.id = endpoint.id, .disabledByUser = disabled});
}

const EndpointRecord* RecordOf(const std::vector<EndpointRecord>& records,
                               const std::u16string& id) {
  const auto found =
      std::find_if(records.begin(), records.end(),
                   [&](const EndpointRecord& record) { return EqualsIgnoringCase(record.id, id); });
  return found == records.end() ? nullptr : &*found;
}

/// Which cable's endpoint it is: by its record, whatever its property says, or else by that.
std::optional<CableFlow> CableOf(const AudioEndpoint& endpoint, const EndpointRecord* record) {
  if (record != nullptr) return record->cable;
  if (!endpoint.cable || endpoint.cable->value >= kCableCount) return std::nullopt;
  const bool number =
      endpoint.cable->type == platform::VT_UI4 || endpoint.cable->type == platform::VT_I4;
  if (!number) return std::nullopt;
  return CableFlow{endpoint.cable->value, endpoint.capture ? 1U : 0U};
}

void GiveOwner(Machine& machine, AudioEndpoint& endpoint, const Device* owner,
               const EndpointRecord* record) {
  if (owner == nullptr) return;
  endpoint.root = owner->instanceId;
  endpoint.builtFor = CableOf(endpoint, record);
  const bool knownId = endpoint.idError == 0 && !endpoint.nullId;
  if (!knownId && record == nullptr) return;
  Remember(machine, endpoint, endpoint.state == platform::DEVICE_STATE_DISABLED);
}

bool FailsToTell(const AudioEndpoint& endpoint) {
  return endpoint.propertyStoreError != 0 || endpoint.propertyError != 0 ||
         endpoint.topologyError != 0 || endpoint.connectorError != 0 ||
         endpoint.connectedError != 0 || endpoint.idError != 0 || endpoint.nullId;
}

bool IsListed(const AudioCatalog& audio, const std::u16string& id) {
  return std::any_of(
      audio.endpoints.begin(), audio.endpoints.end(),
      [&](const AudioEndpoint& endpoint) { return EqualsIgnoringCase(endpoint.id, id); });
}

/// The record that an endpoint must have whose reads failed: one of its flow, and of its cable if
/// that is known, that no other endpoint has.
const EndpointRecord* FindRecordFor(const AudioEndpoint& endpoint, const AudioCatalog& audio,
                                    const std::vector<EndpointRecord>& records) {
  for (const EndpointRecord& record : records) {
    const bool flow = (record.cable.second != 0) == endpoint.capture;
    const bool cable = !endpoint.cable || endpoint.cable->value == record.cable.first;
    if (flow && cable && !IsListed(audio, record.id)) return &record;
  }
  return nullptr;
}

void Identify(Machine& machine, AudioEndpoint& endpoint, const Device& root,
              const std::vector<EndpointRecord>& records) {
  const EndpointRecord* record = RecordOf(records, endpoint.id);
  if (record == nullptr) record = FindRecordFor(endpoint, machine.audio, records);
  if (record == nullptr) return;
  endpoint.id = record->id;
  // What its reads refuse to tell is there all the same.
  if (!endpoint.cable) {
    endpoint.cable = platform::simulated::CableProperty{platform::VT_UI4, record->cable.first};
  }
  if (endpoint.connectedTo.empty()) endpoint.connectedTo = FilterOf(root, record->cable);
  GiveOwner(machine, endpoint, &root, record);
}

void IdentifyFailing(Machine& machine, const std::vector<EndpointRecord>& records) {
  const Device* const root = MainRoot(machine);
  if (root == nullptr) return;
  // Those whose cable is known leave less to choose from for the others.
  for (const bool known : {true, false}) {
    for (AudioEndpoint& endpoint : machine.audio.endpoints) {
      const bool identified = endpoint.builtFor && RecordOf(records, endpoint.id) != nullptr;
      if (FailsToTell(endpoint) && !identified && endpoint.cable.has_value() == known) {
        Identify(machine, endpoint, *root, records);
      }
    }
  }
}

/// Where an endpoint of that cable stands in the catalog, which lists them by cable.
std::vector<AudioEndpoint>::iterator PlaceFor(AudioCatalog& audio, const Device& root,
                                              CableFlow cable) {
  return std::find_if(
      audio.endpoints.begin(), audio.endpoints.end(), [&](const AudioEndpoint& endpoint) {
        return endpoint.builtFor && IsSameDevice(endpoint.root, root.instanceId) &&
               endpoint.builtFor->second == cable.second && endpoint.builtFor->first > cable.first;
      });
}

/// An item that could not be read stands for an endpoint whose record is read.
void DropUnreadItem(AudioCatalog& audio, bool capture) {
  if (audio.itemError == 0) return;
  std::vector<AudioEndpoint>& endpoints = audio.endpoints.Write();
  const auto item =
      std::find_if(endpoints.begin(), endpoints.end(), [capture](const AudioEndpoint& endpoint) {
        return endpoint.capture == capture && endpoint.root.empty();
      });
  if (item != endpoints.end()) endpoints.erase(item);
}

/// An endpoint that has a record and was not listed. While nobody could list any, its record tells
/// its state.
void AddUnlisted(Machine& machine, const EndpointRecord& record, bool listable) {
  const Device* const root = MainRoot(machine);
  if (root == nullptr || IsListed(machine.audio, record.id)) return;
  constexpr std::uint32_t kStateMask = 0xF;
  AudioEndpoint endpoint;
  endpoint.id = record.id;
  endpoint.capture = record.cable.second != 0;
  endpoint.state = listable ? platform::DEVICE_STATE_NOTPRESENT : record.state & kStateMask;
  endpoint.cable = platform::simulated::CableProperty{platform::VT_UI4, record.cable.first};
  endpoint.connectedTo = FilterOf(*root, record.cable);
  endpoint.root = root->instanceId;
  endpoint.builtFor = record.cable;
  Remember(machine, endpoint, (record.state & kStateMask) == platform::DEVICE_STATE_DISABLED);
  if (endpoint.state != platform::DEVICE_STATE_NOTPRESENT) {
    DropUnreadItem(machine.audio, endpoint.capture);
  }
  machine.audio.endpoints.Write().insert(PlaceFor(machine.audio, *root, record.cable), endpoint);
}

bool IsUnread(const Registry& registry, const std::u16string& flowPath) {
  const auto flow = FindKey(registry, flowPath);
  if (!flow) return false;
  const Key& key = registry.keys.at(*flow);
  return key.openError != 0 || key.listError != 0;
}

/// An endpoint whose record nobody could list has it there. So has every endpoint of a machine that
/// keeps its records elsewhere: without one, the model would give it another id at its next start.
void AddUnreadRecords(Machine& machine) {
  Registry& registry = machine.registry;
  const bool elsewhere = !FindKey(registry, platform::simulated::kEndpointRecordsPath);
  for (const AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (endpoint.root.empty() || !endpoint.builtFor) continue;
    const std::u16string path = EndpointRecordPath(endpoint);
    if (!elsewhere && !IsUnread(registry, path.substr(0, path.rfind(u'\\')))) continue;
    if (elsewhere) MakeEndpointRecordKeys(machine);
    PutDword(registry, path, u"DeviceState", endpoint.state);
    PutDword(registry, path + u"\\Properties", kCableIndexValueName, endpoint.builtFor->first);
  }
}

bool IsInView(const Machine& machine, const Device& root, CableFlow cable) {
  return std::any_of(machine.audio.endpoints.begin(), machine.audio.endpoints.end(),
                     [&](const AudioEndpoint& endpoint) {
                       return endpoint.state != platform::DEVICE_STATE_NOTPRESENT &&
                              endpoint.builtFor == cable &&
                              IsSameDevice(endpoint.root, root.instanceId);
                     });
}

void HideWhatIsMissing(Machine& machine) {
  for (Device& device : machine.devices.devices) {
    if (!device.resident || !IsStarted(device)) continue;
    for (const PoolEntry& entry : device.resident->pool) {
      const CableFlow cable = {entry.cable, entry.flow == 0 ? 0U : 1U};
      if (!IsInView(machine, device, cable)) device.hidden.insert(cable);
    }
  }
}

/// A number above that of every endpoint, as the model counts its own.
std::uint32_t NextGuid(const AudioCatalog& audio) {
  constexpr std::size_t kNumberDigits = 8;
  constexpr std::uint32_t kMostCounted = 0xFFFF;
  auto next = static_cast<std::uint32_t>(audio.endpoints.size());
  for (const AudioEndpoint& endpoint : audio.endpoints) {
    const std::string id = ToUtf8(endpoint.id);
    if (id.size() <= kNumberDigits + 1) continue;
    std::uint32_t number = 0;
    const char* const end = id.data() + id.size() - 1;
    const auto read = std::from_chars(end - kNumberDigits, end, number, 16);
    if (read.ec == std::errc() && read.ptr == end && number <= kMostCounted) {
      next = std::max(next, number);
    }
  }
  return next + 1;
}

/// A catalog that lists endpoints is served by somebody. A service that is not there stays one that
/// cannot be opened.
void LetServicesRunThatAnswered(Machine& machine) {
  using namespace platform::simulated;
  const AudioCatalog& audio = machine.audio;
  const bool answered = audio.coInitializeResult >= 0 && audio.createError == 0 &&
                        audio.enumError == 0 && machine.serviceManagerError == 0;
  if (!answered) return;
  for (const char16_t* const name : {kEndpointBuilderService, kAudioService}) {
    if (FindService(machine, name) == nullptr) {
      machine.services[name].openError = platform::ERROR_SERVICE_DOES_NOT_EXIST;
    }
    FindService(machine, name)->running = true;
  }
}

}  // namespace

void GiveEndpointsTheirDevices(bool remote, Machine& machine) {
  AudioCatalog& audio = machine.audio;
  const std::vector<EndpointRecord> records = ListRecords(machine.registry);
  for (AudioEndpoint& endpoint : audio.endpoints) {
    if (endpoint.cable) {
      GiveOwner(machine, endpoint, OwnerOf(machine, endpoint), RecordOf(records, endpoint.id));
    }
  }
  IdentifyFailing(machine, records);
  LetServicesRunThatAnswered(machine);
  const bool running = AudioServicesRun(machine);
  // The services say so themselves, and may run when the program has started them.
  if (!running && audio.enumError == platform::AUDCLNT_E_SERVICE_NOT_RUNNING) audio.enumError = 0;
  const bool anyOfOurs = std::any_of(audio.endpoints.begin(), audio.endpoints.end(),
                                     [](const auto& endpoint) { return !endpoint.root.empty(); });
  audio.redirected = remote && !anyOfOurs;
  const bool complete = audio.coInitializeResult >= 0 && audio.createError == 0 &&
                        audio.enumError == 0 && audio.countError == 0 && audio.itemError == 0;
  const bool listable = running && complete && !audio.redirected;
  for (const EndpointRecord& record : records)
    AddUnlisted(machine, record, listable);
  AddUnreadRecords(machine);
  if (listable) HideWhatIsMissing(machine);
  audio.nextGuid = NextGuid(audio);
}

}  // namespace vorn::lab
