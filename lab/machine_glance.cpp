#include "lab/machine_glance.h"

#include "base/text.h"
#include "journal/activation_state.h"
#include "lab/machine_report.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/inf_text.h"
#include "product/product.h"

#include <algorithm>

namespace vorn::lab {

using namespace platform::simulated;

namespace {

constexpr char16_t kProductInf[] = u"vorn_audio.inf";

bool IsProductRoot(const Device& device) {
  return std::any_of(
      device.hardwareIds.begin(), device.hardwareIds.end(),
      [](const std::u16string& id) { return EqualsIgnoringCase(id, kRootHardwareId); });
}

DeviceGlance GlanceAt(const Device& device) {
  DeviceGlance glance;
  glance.instanceId = ToUtf8(device.instanceId);
  glance.state = DeviceState(device);
  glance.package = ToUtf8(device.publishedInf);
  glance.pendingPackage = ToUtf8(device.pendingInf);
  if (device.resident) glance.image = VersionText(*device.resident);
  return glance;
}

EndpointGlance GlanceAtState(std::uint32_t state) {
  switch (state) {
    case platform::DEVICE_STATE_ACTIVE:
      return EndpointGlance::Active;
    case platform::DEVICE_STATE_DISABLED:
      return EndpointGlance::Disabled;
    case platform::DEVICE_STATE_UNPLUGGED:
      return EndpointGlance::Unplugged;
    default:
      return EndpointGlance::NotPresent;
  }
}

/// The endpoints of the product's devices. Of two for one cable and flow, the one that a user can
/// rather use counts: the states stand in that order.
void GlanceAtEndpoints(const Machine& machine, MachineGlance& glance) {
  for (const AudioEndpoint& endpoint : machine.audio.endpoints) {
    const auto built = endpoint.builtFor;
    const std::uint32_t cable = built            ? built->first
                                : endpoint.cable ? endpoint.cable->value
                                                 : kCableCount;
    if (cable >= kCableCount) continue;
    EndpointGlance& seen = glance.endpoints[endpoint.capture ? 1 : 0][cable];
    const EndpointGlance state = GlanceAtState(endpoint.state);
    if (seen == EndpointGlance::None || state < seen) seen = state;
  }
}

}  // namespace

const char* NameOf(EndpointGlance state) {
  switch (state) {
    case EndpointGlance::None:
      return "none";
    case EndpointGlance::Active:
      return "active";
    case EndpointGlance::Unplugged:
      return "unplugged";
    case EndpointGlance::Disabled:
      return "disabled";
    case EndpointGlance::NotPresent:
      break;
  }
  return "not present";
}

GlanceTaker::GlanceTaker(std::u16string journalName) : journalName_(std::move(journalName)) {}

MachineGlance GlanceTaker::Take(const Machine& machine) {
  MachineGlance glance;
  for (const Device& device : machine.devices.devices)
    if (IsProductRoot(device)) glance.devices.push_back(GlanceAt(device));
  for (const PublishedPackage& package : machine.store.packages) {
    if (!EqualsIgnoringCase(package.originalInf, kProductInf)) continue;
    glance.packages.push_back(
        {ToUtf8(package.publishedInf), VersionOf(machine, package.publishedInf)});
  }
  GlanceAtEndpoints(machine, glance);
  for (const Volume& volume : machine.files.volumes) {
    if (volume.letter == 0) continue;
    FindJournals(machine.files, machine.files.nodes.at(volume.root), {volume.letter, u':'},
                 glance.journals);
  }
  return glance;
}

std::string GlanceTaker::VersionOf(const Machine& machine, const std::u16string& inf) {
  const auto known = versions_.find(inf);
  if (known != versions_.end()) return known->second;
  std::string version;
  if (const auto content =
          ReadWholeFile(machine.files, machine.files.windowsFolder + u"\\INF\\" + inf)) {
    const auto parsed = ParseInf(*content);
    if (const auto* text = std::get_if<0>(&parsed))
      version = ToUtf8(text->Value(u"Version", u"DriverVer", 2).value_or(u""));
  }
  return versions_[inf] = version;
}

void GlanceTaker::FindJournals(const FileSystem& files, const Node& folder,
                               const std::u16string& path, std::vector<JournalGlance>& journals) {
  for (const auto& [key, entry] : folder.entries) {
    const Node& node = files.nodes.at(entry.node);
    if (node.directory) {
      FindJournals(files, node, path + u"\\" + entry.name, journals);
    } else if (EqualsIgnoringCase(entry.name, journalName_)) {
      const std::string journal = ToUtf8(path + u"\\" + entry.name);
      journals.push_back({journal, AboutJournal(journal, node)});
    }
  }
}

std::string GlanceTaker::AboutJournal(const std::string& path, const Node& file) {
  KnownText& known = journals_[path];
  if (known.content == file.content) return known.about;
  known.content = file.content;
  const std::optional<ActivationState> state = ParseActivationState(Utf16Content(file));
  if (state) {
    known.about = "names " + ToUtf8(state->target.version) + (state->fresh ? " (fresh)" : "");
  } else {
    known.about = file.content->empty() ? "empty" : "unreadable";
  }
  return known.about;
}

}  // namespace vorn::lab
