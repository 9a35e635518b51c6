#include "platform/simulated/neighbours.h"

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/crypto_model.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/machine.h"

#include <algorithm>

// Ours: the devices, packages and endpoints of other makers are invented. Nothing that the program
// does may change them.

namespace vorn::platform::simulated {

namespace {

constexpr GUID kSystemClass = {
    0x4d36e97d, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr char16_t kAudioDeviceId[] =
    u"HDAUDIO\\FUNC_01&VEN_F0AB&DEV_0280&SUBSYS_F0AB0001\\4&1A2B3C4D&0&0001";

// ------------------------------------------------------------------------------------------------
// Adding.

struct ForeignPackage {
  const char16_t* publishedInf;
  const char16_t* originalInf;
  const char16_t* originalCatalog;
  const char* className;
  const char* classGuid;
  const char* driverVer;
};

constexpr ForeignPackage kPackages[] = {
    {u"oem0.inf", u"fabprint.inf", u"fabprint.cat", "Printer",
     "{4d36e979-e325-11ce-bfc1-08002be10318}", "06/21/2006,10.0.19041.1"},
    {u"oem1.inf", u"fabnet.inf", u"fabnet.cat", "Net", "{4d36e972-e325-11ce-bfc1-08002be10318}",
     "03/14/2024,4.2.0.77"},
    {u"oem2.inf", u"fabaudio.inf", u"fabaudio.cat", "MEDIA",
     "{4d36e96c-e325-11ce-bfc1-08002be10318}", "11/05/2025,6.0.9235.1"},
};

std::string InfTextOf(const ForeignPackage& package) {
  return std::string("[Version]\r\nSignature = \"$Windows NT$\"\r\nClass = ") + package.className +
         "\r\nClassGuid = " + package.classGuid +
         "\r\nProvider = %Provider%\r\nCatalogFile = " + ToUtf8(package.originalCatalog) +
         "\r\nDriverVer = " + package.driverVer +
         "\r\n\r\n[Strings]\r\nProvider = \"Fabrikam\"\r\n";
}

void AddPackages(Machine& machine) {
  for (const ForeignPackage& package : kPackages) {
    PublishedPackage published;
    published.publishedInf = package.publishedInf;
    published.originalInf = package.originalInf;
    published.originalCatalog = package.originalCatalog;
    published.foreign = true;
    PutFile(machine.files, PublishedInfPath(machine, package.publishedInf), InfTextOf(package));
    machine.store.packages.push_back(std::move(published));
  }
}

void AddSystemDevice(Machine& machine) {
  Device device;
  device.instanceId = u"ROOT\\SYSTEM\\0000";
  device.enumerator = u"ROOT";
  device.classGuid = kSystemClass;
  device.className = u"System";
  device.hardwareIds = {u"ROOT\\FabrikamBus"};
  device.status =
      DN_ROOT_ENUMERATED | DN_DRIVER_LOADED | DN_STARTED | DN_NT_ENUMERATOR | DN_NT_DRIVER;
  device.service = u"FabrikamBus";
  device.publishedInf = u"machine.inf";
  device.foreign = true;
  SetStringProperty(device, kDriverInfPathKey, u"machine.inf");
  SetStringProperty(device, kDriverVersionKey, u"10.0.19041.1");
  SetStringProperty(device, kServiceKey, device.service);
  machine.devices.Insert(std::move(device));
}

void AddAudioDevice(Machine& machine) {
  Device device;
  device.instanceId = kAudioDeviceId;
  device.enumerator = u"HDAUDIO";
  device.classGuid = kMediaClass;
  device.className = u"MEDIA";
  device.hardwareIds = {u"HDAUDIO\\FUNC_01&VEN_F0AB&DEV_0280&SUBSYS_F0AB0001&REV_1000",
                        u"HDAUDIO\\FUNC_01&VEN_F0AB&DEV_0280&SUBSYS_F0AB0001"};
  device.status = DN_DRIVER_LOADED | DN_STARTED | DN_DISABLEABLE | DN_NT_ENUMERATOR | DN_NT_DRIVER;
  device.interfaces = {{kAudioInterfaceClass,
                        u"\\\\?\\hdaudio#func_01&ven_f0ab&dev_0280&subsys_f0ab0001#"
                        u"4&1a2b3c4d&0&0001#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\eSpeakerWave",
                        true, 0}};
  device.service = u"FabrikamAudio";
  device.publishedInf = u"oem2.inf";
  device.foreign = true;
  SetStringProperty(device, kDriverInfPathKey, u"oem2.inf");
  SetStringProperty(device, kDriverVersionKey, u"6.0.9235.1");
  SetStringProperty(device, kServiceKey, device.service);
  machine.devices.Insert(std::move(device));
  AddForeignEndpoint(machine, false, kAudioDeviceId);
  AddForeignEndpoint(machine, true, kAudioDeviceId);
}

// ------------------------------------------------------------------------------------------------
// Describing.

/// The fields of a thing, joined so that different things never give the same text.
class Description {
 public:
  explicit Description(std::u16string_view kind) : text_(kind) {}

  Description& Add(std::u16string_view field) {
    text_ += u"|";
    text_ += field;
    return *this;
  }
  Description& Add(std::uint64_t number) { return Add(ToUtf16(RenderNumber(number))); }
  Description& Add(const GUID& guid) { return Add(ToUtf16(RenderGuid(guid))); }
  Description& Add(const Bytes& content) { return Add(ToUtf16(Sha256Hex(content))); }

  std::u16string Take() { return std::move(text_); }

 private:
  std::u16string text_;
};

bool IsForeign(const Machine& machine, const Device& device) {
  if (device.foreign) return true;
  const Device* parent = device.parent.empty() ? nullptr : machine.devices.Find(device.parent);
  return parent != nullptr && IsForeign(machine, *parent);
}

std::u16string DescribeForeign(const Device& device) {
  Description text(u"device");
  text.Add(device.instanceId).Add(device.parent).Add(device.present).Add(device.status);
  text.Add(device.problem).Add(device.classGuid).Add(device.service).Add(device.publishedInf);
  text.Add(device.pendingInf).Add(device.removalPending).Add(device.queryRemoved);
  for (const std::u16string& id : device.hardwareIds)
    text.Add(id);
  for (const DeviceProperty& property : device.properties)
    text.Add(property.key.fmtid).Add(property.key.pid).Add(property.type).Add(property.data);
  for (const DeviceInterface& each : device.interfaces)
    text.Add(each.interfaceClass).Add(each.path).Add(each.enabled);
  return text.Take();
}

std::u16string DescribeForeign(const Machine& machine, const PublishedPackage& package) {
  Description text(u"package");
  text.Add(package.publishedInf).Add(package.originalInf).Add(package.originalCatalog);
  text.Add(package.image);
  const auto inf = ReadWholeFile(machine.files, PublishedInfPath(machine, package.publishedInf));
  return inf ? text.Add(*inf).Take() : text.Add(u"no INF").Take();
}

std::u16string DescribeForeign(const AudioEndpoint& endpoint) {
  Description text(u"endpoint");
  text.Add(endpoint.id).Add(endpoint.capture).Add(endpoint.state).Add(endpoint.connectedTo);
  text.Add(endpoint.root).Add(endpoint.cable.has_value());
  if (endpoint.cable) text.Add(endpoint.cable->type).Add(endpoint.cable->value);
  return text.Take();
}

void DescribeKey(const Registry& registry, KeyId id, std::u16string_view path,
                 std::vector<std::u16string>& parts) {
  const Key& key = registry.keys.at(id);
  Description text(u"key");
  text.Add(path);
  for (const RegistryValue& value : key.values)
    text.Add(value.name).Add(value.type).Add(value.data);
  parts.push_back(text.Take());
  for (const KeyId child : key.children) {
    DescribeKey(registry, child, std::u16string(path) + u"\\" + registry.keys.at(child).name,
                parts);
  }
}

/// Whether a record carries the marker of the product's endpoints, whatever its type and value.
bool HasMarker(const Registry& registry, KeyId record) {
  const auto properties = FindChild(registry, record, u"Properties");
  return properties && FindValue(registry.keys.at(*properties), kCableMarkerName) != nullptr;
}

void DescribeForeignRecords(const Registry& registry, std::vector<std::u16string>& parts) {
  for (const std::u16string_view flow : {u"Render", u"Capture"}) {
    const std::u16string path = kEndpointRecordsPath + std::u16string(u"\\") + std::u16string(flow);
    const auto key = FindKey(registry, path);
    if (!key) continue;
    for (const KeyId record : registry.keys.at(*key).children) {
      if (HasMarker(registry, record)) continue;
      DescribeKey(registry, record, path + u"\\" + registry.keys.at(record).name, parts);
    }
  }
}

}  // namespace

void AddNeighbours(Machine& machine) {
  AddPackages(machine);
  AddSystemDevice(machine);
  AddAudioDevice(machine);
}

std::vector<std::u16string> DescribeForeignParts(const Machine& machine) {
  std::vector<std::u16string> parts;
  for (const Device& device : machine.devices.devices) {
    if (IsForeign(machine, device)) parts.push_back(DescribeForeign(device));
  }
  for (const PublishedPackage& package : machine.store.packages) {
    if (package.foreign) parts.push_back(DescribeForeign(machine, package));
  }
  for (const AudioEndpoint& endpoint : machine.audio.endpoints) {
    const Device* owner = machine.devices.Find(endpoint.root);
    if (owner != nullptr && owner->foreign) parts.push_back(DescribeForeign(endpoint));
  }
  DescribeForeignRecords(machine.registry, parts);
  return parts;
}

}  // namespace vorn::platform::simulated
