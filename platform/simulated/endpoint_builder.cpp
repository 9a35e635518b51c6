#include "platform/simulated/endpoint_builder.h"

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/registry.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/device_removal.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/registry_values.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace vorn::platform::simulated {

namespace {

constexpr std::u16string_view kChildPrefix = u"SWD\\MMDEVAPI\\";
constexpr std::u16string_view kRenderPrefix = u"{0.0.0.00000000}.";
constexpr std::u16string_view kCapturePrefix = u"{0.0.1.00000000}.";
constexpr std::u16string_view kNameProperty = u"{a45c254e-df1c-4efd-8020-67d146a850e0},2";

// ------------------------------------------------------------------------------------------------
// Identities.

/// Spreads a counter over 64 bits, each value once.
std::uint64_t Spread(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

std::u16string NextId(AudioCatalog& audio, bool capture) {
  const std::uint32_t number = audio.nextGuid++;
  const std::uint64_t mixed = Spread(number);
  char text[40];
  std::snprintf(text, sizeof text, "{%08x-%04x-4%03x-8%03x-%04x%08x}",
                static_cast<unsigned>(mixed >> 32), static_cast<unsigned>(mixed >> 16 & 0xFFFF),
                static_cast<unsigned>(mixed >> 4 & 0xFFF), static_cast<unsigned>(mixed & 0xFFF),
                static_cast<unsigned>(mixed >> 40 & 0xFFFF), static_cast<unsigned>(number));
  return std::u16string(capture ? kCapturePrefix : kRenderPrefix) + ToUtf16(text);
}

/// An id that no endpoint of the catalog has, even if the counter was set back; it contains the
/// flow.
std::u16string MintId(AudioCatalog& audio, bool capture) {
  const auto isTaken = [&audio](const std::u16string& id) {
    const auto& endpoints = std::as_const(audio.endpoints);
    return std::any_of(endpoints.begin(), endpoints.end(), [&id](const AudioEndpoint& endpoint) {
      return IsSameName(endpoint.id, id);
    });
  };
  std::u16string id = NextId(audio, capture);
  while (isTaken(id))
    id = NextId(audio, capture);
  return id;
}

std::u16string ChildId(const AudioEndpoint& endpoint) {
  std::u16string id;
  id.reserve(kChildPrefix.size() + endpoint.id.size());
  id += kChildPrefix;
  id += endpoint.id;
  return id;
}

/// The device id of the filter behind an endpoint of the device.
std::u16string FilterId(std::u16string_view root, const std::u16string& pin) {
  constexpr std::u16string_view kStart = u"{2}.\\\\?\\";
  constexpr std::u16string_view kAudioInterface = u"#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\";
  std::u16string id;
  id.reserve(kStart.size() + root.size() + kAudioInterface.size() + pin.size());
  id += kStart;
  for (const char16_t unit : root)
    id += unit == u'\\' ? u'#' : ToLowerAscii(unit);
  id += kAudioInterface;
  id += pin;
  return id;
}

std::u16string CableName(CableFlow cable) {
  return u"VORN Cable " + ToUtf16(std::to_string(cable.first + 1)) +
         (cable.second == 0 ? u" Render" : u" Capture");
}

std::u16string CablePin(CableFlow cable) {
  return (cable.second == 0 ? u"render" : u"capture") + ToUtf16(std::to_string(cable.first));
}

bool InView(const AudioEndpoint& endpoint) {
  return endpoint.state != DEVICE_STATE_NOTPRESENT;
}

bool BelongsTo(const AudioEndpoint& endpoint, std::u16string_view root) {
  return IsSameDevice(endpoint.root, root);
}

/// The cable of the device that an endpoint in view belongs to. What it was built for decides, or
/// its property if the builder did not build it.
std::optional<CableFlow> CableInView(const AudioEndpoint& endpoint, std::u16string_view root) {
  if (!InView(endpoint) || !BelongsTo(endpoint, root)) return std::nullopt;
  if (endpoint.builtFor) return endpoint.builtFor;
  if (!endpoint.cable) return std::nullopt;
  return CableFlow{endpoint.cable->value, endpoint.capture ? 1U : 0U};
}

bool IsCable(const AudioEndpoint& endpoint, std::u16string_view root, CableFlow cable) {
  return CableInView(endpoint, root) == cable;
}

// ------------------------------------------------------------------------------------------------
// Records in the registry.

constexpr std::u16string_view kRenderRecords =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\Render";
constexpr std::u16string_view kCaptureRecords =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\Capture";

std::u16string_view RecordsOfFlow(bool capture) {
  return capture ? kCaptureRecords : kRenderRecords;
}

/// The record is named after the last part of its endpoint's id.
std::u16string_view RecordName(std::u16string_view endpointId) {
  const std::size_t guid = endpointId.rfind(u'{');
  return guid == std::u16string_view::npos ? endpointId : endpointId.substr(guid);
}

std::optional<KeyId> FindRecord(const Registry& registry, std::u16string_view endpointId,
                                bool capture) {
  const auto records = FindKey(registry, RecordsOfFlow(capture));
  return records ? FindKey(registry, *records, RecordName(endpointId)) : std::nullopt;
}

void WriteCableMarker(Key& properties, CableProperty property) {
  if (property.type == VT_UI4 || property.type == VT_I4) {
    PutDword(properties, kCableMarkerName, property.value);
  } else {
    PutString(properties, kCableMarkerName, ToUtf16(std::to_string(property.value)));
  }
}

void WriteRecord(Machine& machine, const AudioEndpoint& endpoint, std::u16string_view name) {
  Registry& registry = machine.registry;
  const KeyId record = MakeKey(registry, MakeKey(registry, RecordsOfFlow(endpoint.capture)),
                               RecordName(endpoint.id));
  PutDword(registry.keys.at(record), u"DeviceState", endpoint.state);
  MakeChild(registry, record, u"FxProperties");
  Key& properties = registry.keys.at(MakeChild(registry, record, u"Properties"));
  PutString(properties, kNameProperty, name);
  if (endpoint.cable) WriteCableMarker(properties, *endpoint.cable);
}

/// A record's state follows the catalog. Assumed: a deleted record stays deleted. Question: does
/// the endpoint builder write a record again that was deleted while its device was gone?
void UpdateRecord(Machine& machine, const AudioEndpoint& endpoint) {
  const auto record = FindRecord(machine.registry, endpoint.id, endpoint.capture);
  if (record) PutDword(machine.registry.keys.at(*record), u"DeviceState", endpoint.state);
}

// ------------------------------------------------------------------------------------------------
// PnP children.

/// Assumed: a disabled endpoint's child is present, and also disabled. Question
/// (disabled-endpoint): which status and problem has the child of an endpoint that the user
/// disabled?
void SetChildState(Device& child, std::uint32_t endpointState) {
  const bool started = endpointState == DEVICE_STATE_ACTIVE;
  child.status = started ? DN_STARTED : DN_HAS_PROBLEM;
  child.problem = started ? 0 : CM_PROB_DISABLED;
}

void AddChildDevice(Machine& machine, const AudioEndpoint& endpoint) {
  if (std::as_const(machine.devices).Find(ChildId(endpoint)) != nullptr) return;
  Device child;
  child.instanceId = ChildId(endpoint);
  child.enumerator = u"SWD";
  child.parent = endpoint.root;
  child.classGuid = kAudioEndpointClass;
  child.className = u"AudioEndpoint";
  child.hardwareIds = {u"MMDEVAPI\\AudioEndpoints"};
  SetChildState(child, endpoint.state);
  machine.devices.Insert(std::move(child));
}

/// Assumed: the child of an endpoint that is not present leaves no trace in the device tree.
/// Question: are the children of a removed or disabled device still listed without DIGCF_PRESENT?
void EraseChild(Machine& machine, const AudioEndpoint& endpoint) {
  EraseSubtree(machine, ChildId(endpoint));
}

void EraseChildren(Machine& machine, std::u16string_view root) {
  const Devices& devices = machine.devices.devices;
  std::vector<std::u16string> children;
  for (const Device* child = devices.FirstBelow(root); child != nullptr;
       child = devices.NextBelow(*child)) {
    if (child->classGuid == kAudioEndpointClass) children.push_back(child->instanceId);
  }
  for (const std::u16string& child : children)
    EraseSubtree(machine, child);
}

// ------------------------------------------------------------------------------------------------
// Planned building.

bool IsPlanned(const Machine& machine, EventKind kind, std::u16string_view root) {
  return std::any_of(
      machine.clock.events.begin(), machine.clock.events.end(),
      [&](const Event& event) { return event.kind == kind && IsSameName(event.subject, root); });
}

void PlanOnce(Machine& machine, std::uint64_t delay, EventKind kind, std::u16string_view root) {
  if (!IsPlanned(machine, kind, root)) Plan(machine, delay, kind, std::u16string(root));
}

void CancelBuilding(Machine& machine, std::u16string_view root) {
  std::erase_if(machine.clock.events, [&](const Event& event) {
    const bool building = event.kind == EventKind::PublishEndpoints ||
                          event.kind == EventKind::PublishLateEndpoints ||
                          event.kind == EventKind::PublishEndpointChildren;
    return building && IsSameName(event.subject, root);
  });
}

// ------------------------------------------------------------------------------------------------
// Publication.

/// The cables that the device's image exposes and does not hide, in the image's order; a cable is
/// repeated for each endpoint that it is to have.
std::vector<CableFlow> WantedCables(const Machine& machine, const Device& device) {
  std::vector<CableFlow> wanted;
  for (const PoolEntry& entry : device.resident->pool) {
    const CableFlow cable = {entry.cable, entry.flow == 0 ? 0 : 1};
    if (device.hidden.contains(cable) || machine.audio.neverPublished.contains(cable)) continue;
    wanted.push_back(cable);
    if (machine.audio.doubled.contains(cable)) wanted.push_back(cable);
  }
  return wanted;
}

/// The id for a cable's endpoint: its previous one, unless its record is gone or new ids are due.
/// Documented: an endpoint keeps its id across restarts, and may get another one when its driver is
/// updated.
std::u16string IdOfCable(Machine& machine, CableFlow cable, RememberedEndpoint& memory) {
  const bool capture = cable.second != 0;
  const bool known =
      !memory.id.empty() && FindRecord(machine.registry, memory.id, capture).has_value();
  if (known && machine.audio.remintNext == 0) return memory.id;
  if (!known) memory.disabledByUser = false;
  if (machine.audio.remintNext > 0) --machine.audio.remintNext;
  memory.id = MintId(machine.audio, capture);
  return memory.id;
}

/// The id for a second endpoint of a cable: one that is out of view, or a new one.
std::u16string IdOfDouble(Machine& machine, std::u16string_view root, CableFlow cable,
                          const RememberedEndpoint& memory) {
  for (const AudioEndpoint& endpoint : std::as_const(machine.audio.endpoints)) {
    if (!InView(endpoint) && BelongsTo(endpoint, root) && endpoint.builtFor == cable &&
        !IsSameName(endpoint.id, memory.id)) {
      return endpoint.id;
    }
  }
  return MintId(machine.audio, cable.second != 0);
}

/// The catalog's entry of an id, created when it is missing.
AudioEndpoint& EntryOf(Machine& machine, const std::u16string& id) {
  AudioEndpoint* endpoint = FindEndpoint(machine, id);
  if (endpoint != nullptr) return *endpoint;
  AudioEndpoint made;
  made.id = id;
  machine.audio.endpoints.push_back(std::move(made));
  return machine.audio.endpoints.back();
}

void PublishCable(Machine& machine, std::u16string_view root, CableFlow cable, bool isDouble) {
  AudioCatalog& audio = machine.audio;
  RememberedEndpoint& memory = audio.remembered[ToUpperName(root)][cable];
  const std::u16string id =
      isDouble ? IdOfDouble(machine, root, cable, memory) : IdOfCable(machine, cable, memory);
  AudioEndpoint& endpoint = EntryOf(machine, id);
  const bool disabled = memory.disabledByUser && !audio.activated.contains(cable);
  endpoint.capture = cable.second != 0;
  endpoint.state = disabled ? DEVICE_STATE_DISABLED : DEVICE_STATE_ACTIVE;
  const auto property = audio.properties.find(cable);
  endpoint.cable =
      property != audio.properties.end() ? property->second : CableProperty{VT_UI4, cable.first};
  endpoint.connectedTo = FilterId(root, CablePin(cable));
  endpoint.root = root;
  endpoint.builtFor = cable;
  WriteRecord(machine, endpoint, CableName(cable));
  if (audio.childLags) return;
  if (audio.childDelay > 0) {
    PlanOnce(machine, audio.childDelay, EventKind::PublishEndpointChildren, root);
  } else {
    AddChildDevice(machine, endpoint);
  }
}

/// How many endpoints of each of the device's cables are in view.
std::map<CableFlow, std::size_t> CountInView(const Machine& machine, std::u16string_view root) {
  std::map<CableFlow, std::size_t> counts;
  for (const AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (const auto cable = CableInView(endpoint, root)) ++counts[*cable];
  }
  return counts;
}

/// The device, if the builder builds endpoints for it now: null when it has no driver that runs, or
/// when an audio service is stopped.
const Device* DeviceToBuildFor(const Machine& machine, std::u16string_view root) {
  const Device* device = machine.devices.Find(root);
  const bool runs = device != nullptr && device->present && device->resident && IsStarted(*device);
  return runs && AudioServicesRun(machine) ? device : nullptr;
}

/// Publishes the wanted endpoints that are not in view, of one cable or of all.
void PublishWanted(Machine& machine, std::u16string_view root, std::optional<CableFlow> only,
                   bool withLate) {
  const Device* device = DeviceToBuildFor(machine, root);
  if (device == nullptr) return;
  MakeEndpointRecordKeys(machine);
  const std::u16string id = device->instanceId;
  std::map<CableFlow, std::size_t> inView = CountInView(machine, id);
  std::map<CableFlow, std::size_t> numbers;
  for (const CableFlow& cable : WantedCables(machine, *device)) {
    const std::size_t number = ++numbers[cable];
    if (only && *only != cable) continue;
    if (!withLate && machine.audio.late.contains(cable)) {
      PlanOnce(machine, machine.audio.lateDelay, EventKind::PublishLateEndpoints, id);
    } else if (inView[cable] < number) {
      PublishCable(machine, id, cable, number > 1);
      ++inView[cable];
    }
  }
}

void HideCable(Machine& machine, std::u16string_view root, CableFlow cable) {
  for (AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (!IsCable(endpoint, root, cable)) continue;
    endpoint.state = DEVICE_STATE_NOTPRESENT;
    EraseChild(machine, endpoint);
    UpdateRecord(machine, endpoint);
  }
}

}  // namespace

std::u16string EndpointRecordPath(const AudioEndpoint& endpoint) {
  std::u16string path(RecordsOfFlow(endpoint.capture));
  path += u'\\';
  path += RecordName(endpoint.id);
  return path;
}

// Assumed: administrators may only read the endpoint records, and delete them only by privilege.
// Question (endpoint-record): which owner and access list has an endpoint record, and do both opens
// of the program succeed?
void MakeEndpointRecordKeys(Machine& machine) {
  Registry& registry = machine.registry;
  if (FindKey(registry, kEndpointRecordsPath)) return;
  constexpr std::uint8_t kInheritedByKeys = 0x2;  // CONTAINER_INHERIT_ACE
  SecurityRecord security;
  security.owner = kTrustedInstaller;
  security.daclProtected = true;
  security.entries = {{0, kInheritedByKeys, KEY_ALL_ACCESS, kTrustedInstaller},
                      {0, kInheritedByKeys, KEY_ALL_ACCESS, kLocalSystem},
                      {0, kInheritedByKeys, KEY_READ, kAdministrators},
                      {0, kInheritedByKeys, KEY_READ, kUsers}};
  SecureKey(registry, kEndpointRecordsPath, std::move(security));
  MakeKey(registry, kRenderRecords);
  MakeKey(registry, kCaptureRecords);
}

void BuildEndpointsSoon(Machine& machine, std::u16string_view rootInstanceId) {
  CancelBuilding(machine, rootInstanceId);
  Plan(machine, machine.audio.buildDelay, EventKind::PublishEndpoints,
       std::u16string(rootInstanceId));
}

void PublishEndpoints(Machine& machine, std::u16string_view rootInstanceId) {
  PublishWanted(machine, rootInstanceId, std::nullopt, machine.audio.lateDelay == 0);
}

void PublishLateEndpoints(Machine& machine, std::u16string_view rootInstanceId) {
  PublishWanted(machine, rootInstanceId, std::nullopt, true);
}

void PublishEndpointChildren(Machine& machine, std::u16string_view rootInstanceId) {
  for (const AudioEndpoint& endpoint : std::as_const(machine.audio.endpoints)) {
    if (InView(endpoint) && BelongsTo(endpoint, rootInstanceId)) AddChildDevice(machine, endpoint);
  }
}

void WithdrawEndpoints(Machine& machine, std::u16string_view rootInstanceId) {
  const std::u16string root(rootInstanceId);  // may be part of what is erased
  CancelBuilding(machine, root);
  bool withdrawn = false;
  for (AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (!InView(endpoint) || !BelongsTo(endpoint, root)) continue;
    endpoint.state = DEVICE_STATE_NOTPRESENT;
    withdrawn = true;
  }
  EraseChildren(machine, root);
  if (!withdrawn || machine.audio.recordsStayActive) return;
  if (machine.audio.recordDelay > 0) {
    PlanOnce(machine, machine.audio.recordDelay, EventKind::IdleEndpointRecords, root);
  } else {
    IdleEndpointRecords(machine, root);
  }
}

void IdleEndpointRecords(Machine& machine, std::u16string_view rootInstanceId) {
  for (const AudioEndpoint& endpoint : std::as_const(machine.audio.endpoints)) {
    if (!InView(endpoint) && BelongsTo(endpoint, rootInstanceId)) UpdateRecord(machine, endpoint);
  }
}

void ChangeEndpointVisibility(Machine& machine, std::u16string_view rootInstanceId, CableFlow cable,
                              bool visible) {
  const std::u16string root(rootInstanceId);
  Device* device = machine.devices.Find(root);
  if (device == nullptr) return;
  if (!visible) {
    device->hidden.insert(cable);
    HideCable(machine, root, cable);
    return;
  }
  device->hidden.erase(cable);
  // Whatever is still to be built is published with the rest.
  if (!IsPlanned(machine, EventKind::PublishEndpoints, root)) {
    PublishWanted(machine, root, cable, !IsPlanned(machine, EventKind::PublishLateEndpoints, root));
  }
}

AudioEndpoint* FindEndpoint(Machine& machine, std::u16string_view endpointId) {
  for (AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (IsSameName(endpoint.id, endpointId)) return &endpoint;
  }
  return nullptr;
}

AudioEndpoint* FindEndpoint(Machine& machine, std::u16string_view rootInstanceId, CableFlow cable) {
  for (AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (IsCable(endpoint, rootInstanceId, cable)) return &endpoint;
  }
  return nullptr;
}

void SetEndpointDisabled(Machine& machine, std::u16string_view endpointId, bool disabled) {
  AudioEndpoint* endpoint = FindEndpoint(machine, endpointId);
  if (endpoint == nullptr) return;
  for (auto& [root, cables] : machine.audio.remembered) {
    for (auto& [cable, memory] : cables) {
      if (IsSameName(memory.id, endpointId)) memory.disabledByUser = disabled;
    }
  }
  if (!InView(*endpoint)) return;
  endpoint->state = disabled ? DEVICE_STATE_DISABLED : DEVICE_STATE_ACTIVE;
  UpdateRecord(machine, *endpoint);
  if (Device* child = machine.devices.Find(ChildId(*endpoint))) {
    SetChildState(*child, endpoint->state);
  }
}

std::u16string AddForeignEndpoint(Machine& machine, bool capture,
                                  std::u16string_view rootInstanceId,
                                  std::optional<CableProperty> cable) {
  AudioEndpoint endpoint;
  endpoint.id = MintId(machine.audio, capture);
  endpoint.capture = capture;
  endpoint.cable = cable;
  endpoint.connectedTo = FilterId(rootInstanceId, capture ? u"wavein" : u"waveout");
  endpoint.root = rootInstanceId;
  MakeEndpointRecordKeys(machine);
  WriteRecord(machine, endpoint, capture ? u"Microphone" : u"Speakers");
  AddChildDevice(machine, endpoint);
  machine.audio.endpoints.push_back(endpoint);
  return endpoint.id;
}

bool RemintEndpoints(Machine& machine, std::u16string_view rootInstanceId) {
  AudioCatalog& audio = machine.audio;
  if (DeviceToBuildFor(machine, rootInstanceId) == nullptr) return false;
  const auto inView = std::count_if(
      audio.endpoints.begin(), audio.endpoints.end(), [&](const AudioEndpoint& endpoint) {
        return InView(endpoint) && BelongsTo(endpoint, rootInstanceId);
      });
  if (inView == 0) return false;
  const std::uint32_t planned = std::exchange(audio.remintNext, static_cast<std::uint32_t>(inView));
  WithdrawEndpoints(machine, rootInstanceId);
  PublishLateEndpoints(machine, rootInstanceId);
  audio.remintNext = planned;
  return true;
}

void LoseEndpoint(Machine& machine, std::u16string_view endpointId) {
  const AudioEndpoint* endpoint = FindEndpoint(machine, endpointId);
  if (endpoint == nullptr) return;
  EraseChild(machine, *endpoint);
  std::vector<AudioEndpoint>& endpoints = machine.audio.endpoints.Write();
  endpoints.erase(endpoints.begin() + (endpoint - endpoints.data()));
}

}  // namespace vorn::platform::simulated
