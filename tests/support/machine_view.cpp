#include "tests/support/machine_view.h"

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/registry.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace vorn::tests {

namespace model = platform::simulated;
using model::Device;
using model::Machine;

namespace {

constexpr std::size_t kEndpoints = 20;
constexpr std::uint32_t kCables = 10;
constexpr char16_t kChildPrefix[] = u"SWD\\MMDEVAPI\\";

bool IsRoot(const Device& device) {
  return EqualsIgnoringCase(device.enumerator, u"ROOT") &&
         std::any_of(device.hardwareIds.begin(), device.hardwareIds.end(),
                     [](const auto& id) { return EqualsIgnoringCase(id, kSampleHardwareId); });
}

std::optional<std::string> WhyImageIsWrong(const Device& root, std::u16string_view version) {
  if (!root.resident) return "no image is resident";
  const model::DriverImage sound = model::SoundImage(version);
  if (root.resident->loadedVersion != sound.loadedVersion ||
      root.resident->revision != sound.revision) {
    return "another image is resident";
  }
  if (root.resident->lifecycleAbi != sound.lifecycleAbi) return "the image has another interface";
  if (root.resident->pool != sound.pool) return "the image's pool is not whole";
  return std::nullopt;
}

std::optional<std::string> WhyEndpointsAreWrong(const Machine& machine, const Device& root) {
  std::set<model::CableFlow> identities;
  std::set<std::u16string> active;
  std::size_t count = 0;
  for (const model::AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (!model::IsSameDevice(endpoint.root, root.instanceId)) continue;
    if (endpoint.state == platform::DEVICE_STATE_NOTPRESENT) continue;  // hidden, or long gone
    ++count;
    if (!endpoint.cable) return "an endpoint has no cable";
    identities.insert({endpoint.cable->value, endpoint.capture ? 1U : 0U});
    if (endpoint.state == platform::DEVICE_STATE_ACTIVE)
      active.insert(ToUpperAscii(kChildPrefix + endpoint.id));
  }
  if (count != kEndpoints || identities.size() != kEndpoints) {
    return "the catalog has " + std::to_string(count) + " endpoints of " +
           std::to_string(identities.size()) + " cables";
  }
  std::set<std::u16string> started;
  for (const Device& device : machine.devices.devices) {
    if (model::IsSameDevice(device.parent, root.instanceId) && device.present &&
        model::IsStarted(device)) {
      started.insert(ToUpperAscii(device.instanceId));
    }
  }
  if (started != active) return "started children and active endpoints differ";
  return std::nullopt;
}

bool IsOf(const Device* root, const model::AudioEndpoint& endpoint) {
  return root != nullptr && model::IsSameDevice(endpoint.root, root->instanceId);
}

bool HasStartedChild(const Machine& machine, const model::AudioEndpoint& endpoint) {
  const Device* child = machine.devices.Find(kChildPrefix + endpoint.id);
  return child != nullptr && child->present && model::IsStarted(*child);
}

bool HasOwnMarker(const model::Registry& registry, const std::u16string& record) {
  const model::RegistryValue* marker =
      model::FindValue(registry, record + u"\\Properties", model::kCableMarkerName);
  std::uint32_t cable = kCables;
  if (marker == nullptr || marker->type != platform::REG_DWORD ||
      marker->data.size() != sizeof cable) {
    return false;
  }
  std::memcpy(&cable, marker->data.data(), sizeof cable);
  return cable < kCables;
}

std::vector<std::u16string> RecordsThat(const Machine& machine, bool owned) {
  std::vector<std::u16string> names;
  for (const std::u16string flow : {u"Render", u"Capture"}) {
    const std::u16string path = model::kEndpointRecordsPath + (u"\\" + flow);
    const auto key = model::FindKey(machine.registry, path);
    if (!key) continue;
    for (const model::KeyId record : machine.registry.keys.at(*key).children) {
      const std::u16string& name = machine.registry.keys.at(record).name;
      if (HasOwnMarker(machine.registry, path + u"\\" + name) == owned) {
        names.push_back(flow + u"\\" + name);
      }
    }
  }
  return names;
}

}  // namespace

std::vector<const Device*> InstalledRoots(const Machine& machine) {
  std::vector<const Device*> roots;
  for (const Device& device : machine.devices.devices) {
    if (IsRoot(device)) roots.push_back(&device);
  }
  return roots;
}

std::vector<std::u16string> InstalledRootIds(const Machine& machine) {
  std::vector<std::u16string> ids;
  for (const Device* root : InstalledRoots(machine))
    ids.push_back(root->instanceId);
  return ids;
}

const Device* OnlyPresentRoot(const Machine& machine) {
  const Device* only = nullptr;
  for (const Device* root : InstalledRoots(machine)) {
    if (!root->present) continue;
    if (only != nullptr) return nullptr;
    only = root;
  }
  return only;
}

Device& RootOf(Machine& machine) {
  Device* root = machine.devices.Find(kRootId);
  if (root == nullptr) throw std::logic_error("the machine has no root device");
  return *root;
}

std::string ResidentVersion(const Machine& machine) {
  const Device* root = OnlyPresentRoot(machine);
  if (root == nullptr || !root->resident) return {};
  const model::DriverImage& image = *root->resident;
  char text[64];
  std::snprintf(text, sizeof text, "%u.%u.%u.%u", image.loadedVersion >> 16 & 0xFF,
                image.loadedVersion >> 8 & 0xFF, image.loadedVersion & 0xFF, image.revision);
  return text;
}

std::string BoundVersion(const Machine& machine) {
  const Device* root = OnlyPresentRoot(machine);
  return root == nullptr ? std::string() : ToUtf8(StringProperty(*root, model::kDriverVersionKey));
}

std::string PendingPackage(const Machine& machine) {
  const Device* root = OnlyPresentRoot(machine);
  return root == nullptr ? std::string() : ToUtf8(root->pendingInf);
}

std::size_t CountPackagesWithInf(const Machine& machine, const model::Bytes& inf) {
  const auto& packages = machine.store.packages;
  return static_cast<std::size_t>(
      std::count_if(packages.begin(), packages.end(), [&](const model::PublishedPackage& package) {
        return !package.foreign &&
               model::ReadWholeFile(machine.files,
                                    PublishedInfPath(machine, package.publishedInf)) == inf;
      }));
}

std::set<std::u16string> ActiveEndpointIds(const Machine& machine) {
  std::set<std::u16string> active;
  for (const Device* root : InstalledRoots(machine)) {
    for (const model::AudioEndpoint& endpoint : machine.audio.endpoints) {
      if (endpoint.state == platform::DEVICE_STATE_ACTIVE &&
          model::IsSameDevice(endpoint.root, root->instanceId)) {
        active.insert(endpoint.id);
      }
    }
  }
  return active;
}

std::size_t VisibleEndpoints(const Machine& machine) {
  const Device* root = OnlyPresentRoot(machine);
  const auto& endpoints = machine.audio.endpoints;
  return static_cast<std::size_t>(
      std::count_if(endpoints.begin(), endpoints.end(), [&](const model::AudioEndpoint& endpoint) {
        return endpoint.state == platform::DEVICE_STATE_ACTIVE && IsOf(root, endpoint) &&
               HasStartedChild(machine, endpoint);
      }));
}

std::vector<std::string> EndpointIds(const Machine& machine) {
  constexpr std::uint32_t kInView = platform::DEVICE_STATE_ACTIVE | platform::DEVICE_STATE_DISABLED;
  const Device* root = OnlyPresentRoot(machine);
  std::vector<std::string> ids;
  for (const model::AudioEndpoint& endpoint : machine.audio.endpoints) {
    if ((endpoint.state & kInView) != 0 && IsOf(root, endpoint)) ids.push_back(ToUtf8(endpoint.id));
  }
  return ids;
}

std::optional<std::string> WhyNotRunning(const Machine& machine, std::u16string_view version) {
  const Device* root = OnlyPresentRoot(machine);
  if (root == nullptr) return "there is not exactly one present root";
  if (!model::IsStarted(*root)) return "the root is not started";
  if (root->service != u"VornAudio") return "another service is bound";
  if (auto why = WhyImageIsWrong(*root, version)) return why;
  if (!model::AudioServicesRun(machine)) return "an audio service does not run";
  return WhyEndpointsAreWrong(machine, *root);
}

std::vector<std::u16string> OwnedRecords(const Machine& machine) {
  return RecordsThat(machine, true);
}

std::vector<std::u16string> OtherRecords(const Machine& machine) {
  return RecordsThat(machine, false);
}

bool HasFile(const Machine& machine, std::u16string_view path) {
  return model::FindNode(machine.files, path).has_value();
}

std::string TextOf(const Machine& machine, std::u16string_view path) {
  const auto content = model::ReadWholeFile(machine.files, path);
  if (!content) throw std::logic_error("the file does not exist");
  return {content->begin(), content->end()};
}

std::vector<std::u16string> SnapshotFolders(const Machine& machine, std::u16string_view folder) {
  std::vector<std::u16string> names = model::ListFolder(machine.files, folder);
  std::erase_if(names, [](const auto& name) { return !name.starts_with(kSnapshotPrefix); });
  return names;
}

std::vector<std::u16string> SnapshotFolders(const Machine& machine) {
  return SnapshotFolders(machine, machine.files.tempFolder);
}

std::vector<std::string> TracesOf(const Machine& machine) {
  std::vector<std::string> traces;
  for (const Device& device : machine.devices.devices) {
    if (IsRoot(device) || device.service == u"VornAudio") {
      traces.push_back("device " + ToUtf8(device.instanceId));
    }
  }
  for (const model::PublishedPackage& package : machine.store.packages) {
    if (package.originalInf == u"vorn_audio.inf") {
      traces.push_back("package " + ToUtf8(package.publishedInf));
    }
  }
  for (const auto& [id, key] : machine.registry.keys) {
    if (model::FindValue(*key, model::kCableMarkerName) != nullptr) {
      traces.push_back("record " + ToUtf8(machine.registry.keys.at(key->parent).name));
    }
  }
  for (const model::AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (endpoint.cable && endpoint.state != platform::DEVICE_STATE_NOTPRESENT) {
      traces.push_back("endpoint " + ToUtf8(endpoint.id));
    }
  }
  for (const std::u16string& name : model::ListFolder(machine.files, machine.files.tempFolder))
    traces.push_back("temporary " + ToUtf8(name));
  return traces;
}

}  // namespace vorn::tests
