#include "lab/machine_report.h"

#include "base/text.h"
#include "journal/activation_state.h"
#include "platform/config_manager.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/crypto_model.h"
#include "platform/simulated/driver_image.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/inf_text.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>

namespace vorn::lab {

using namespace platform::simulated;

namespace {

constexpr char16_t kJournalHeader[] = u"VORN_DRIVER_ACTIVATION_STATE";
constexpr char16_t kLogName[] = u"vorn_devnode.log";
constexpr char16_t kSnapshotPrefix[] = u"VORN-input-";

std::string FlowOf(bool capture) {
  return capture ? "capture" : "render";
}

DeviceReport ReportDevice(const Device& device) {
  DeviceReport report;
  report.instanceId = device.instanceId;
  report.state = DeviceState(device);
  report.hardwareIds = device.hardwareIds;
  report.service = device.service;
  report.package = device.publishedInf;
  report.pendingPackage = device.pendingInf;
  report.version = StringProperty(device, kDriverVersionKey);
  if (device.resident) report.resident = VersionText(*device.resident);
  for (const CableFlow& cable : device.hidden)
    report.hiddenEndpoints.push_back(FlowOf(cable.second != 0) + " " + std::to_string(cable.first));
  return report;
}

PackageReport ReportPackage(const Machine& machine, const PublishedPackage& package) {
  PackageReport report;
  report.publishedInf = package.publishedInf;
  report.originalInf = package.originalInf;
  report.foreign = package.foreign;
  const std::u16string path = machine.files.windowsFolder + u"\\INF\\" + package.publishedInf;
  if (const auto content = ReadWholeFile(machine.files, path)) {
    report.infSha256 = Sha256Hex(*content);
    const auto inf = ParseInf(*content);
    if (const auto* text = std::get_if<0>(&inf)) {
      report.date = text->Value(u"Version", u"DriverVer", 1).value_or(u"");
      report.version = text->Value(u"Version", u"DriverVer", 2).value_or(u"");
    }
  }
  for (const Device& device : machine.devices.devices) {
    if (IsSameName(device.publishedInf, package.publishedInf)) {
      report.usedBy.push_back(device.instanceId);
    }
  }
  return report;
}

std::string EndpointState(std::uint32_t state) {
  switch (state) {
    case platform::DEVICE_STATE_ACTIVE:
      return "active";
    case platform::DEVICE_STATE_DISABLED:
      return "disabled";
    case platform::DEVICE_STATE_NOTPRESENT:
      return "not present";
    case platform::DEVICE_STATE_UNPLUGGED:
      return "unplugged";
    default:
      return "state " + std::to_string(state);
  }
}

EndpointReport ReportEndpoint(const Machine& machine, const AudioEndpoint& endpoint) {
  EndpointReport report;
  report.id = endpoint.id;
  report.flow = FlowOf(endpoint.capture);
  if (endpoint.cable) report.cable = endpoint.cable->value;
  report.state = EndpointState(endpoint.state);
  report.device = endpoint.root;
  const Device* const child = machine.devices.Find(u"SWD\\MMDEVAPI\\" + endpoint.id);
  report.pnpChild = child != nullptr && child->present && IsStarted(*child);
  return report;
}

/// Paths of the registry records that carry the driver's marker.
std::vector<std::u16string> MarkedRecords(const Registry& registry) {
  std::vector<std::u16string> records;
  for (const char16_t* const flow : {u"Render", u"Capture"}) {
    const std::u16string flowPath = std::u16string(kEndpointRecordsPath) + u"\\" + flow;
    const auto key = FindKey(registry, flowPath);
    if (!key) continue;
    for (const KeyId child : registry.keys.at(*key).children) {
      const std::u16string& name = registry.keys.at(child).name;
      const std::u16string properties = flowPath + u"\\" + name + u"\\Properties";
      if (FindValue(registry, properties, kCableMarkerName) != nullptr) {
        records.push_back(std::u16string(flow) + u"\\" + name);
      }
    }
  }
  return records;
}

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// Finds what the program left on the volumes: journals, logs, snapshots.
class VolumeSearch {
 public:
  VolumeSearch(const Machine& machine, MachineReport& report)
      : files_(machine.files), report_(report) {
    for (const Volume& volume : files_.volumes) {
      const std::u16string root = volume.letter != 0 ? std::u16string{volume.letter, u':'}
                                                     : u"\\\\?\\Volume{" + volume.guid + u"}";
      SearchFolder(files_.nodes.at(volume.root), root);
    }
  }

 private:
  void SearchFolder(const Node& folder, const std::u16string& path) {
    for (const auto& [key, entry] : folder.entries) {
      const Node& node = files_.nodes.at(entry.node);
      const std::u16string childPath = path + u"\\" + entry.name;
      if (node.directory) {
        if (entry.name.starts_with(kSnapshotPrefix)) report_.snapshots.push_back(childPath);
        SearchFolder(node, childPath);
      } else {
        LookAtFile(node, entry.name, childPath);
      }
    }
  }

  void LookAtFile(const Node& file, const std::u16string& name, const std::u16string& path) {
    const std::u16string text = Utf16Content(file);
    if (text.starts_with(kJournalHeader) || name == u".vorn-driver-activation-state") {
      const bool wellFormed = file.content->size() % 2 == 0 &&
                              text.find(u'\0') == std::u16string::npos &&
                              ParseActivationState(text).has_value();
      report_.journals.push_back({path, wellFormed, LinesOf(ToUtf8(text))});
    }
    if (IsSameName(name, kLogName)) {
      std::string_view content(reinterpret_cast<const char*>(file.content->data()),
                               file.content->size());
      if (content.starts_with("\xEF\xBB\xBF")) content.remove_prefix(3);
      report_.logs.push_back({path, true, LinesOf(content)});
    }
  }

  const FileSystem& files_;
  MachineReport& report_;
};

std::string UtcTime(const Clock& clock) {
  const std::uint64_t milliseconds = clock.utcAtTickZero + clock.tick;
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm parts = {};
  gmtime_r(&seconds, &parts);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03u", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                static_cast<unsigned>(milliseconds % 1000));
  return text;
}

}  // namespace

std::string DeviceState(const Device& device) {
  if (!device.present) return "absent";
  if (IsStarted(device)) return "started";
  if (device.problem == platform::CM_PROB_DISABLED) return "disabled";
  return device.problem != 0 ? "problem " + std::to_string(device.problem) : "stopped";
}

std::u16string Utf16Content(const Node& file) {
  std::u16string text;
  const Bytes& bytes = *file.content;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
    text.push_back(static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8));
  return text;
}

MachineReport Examine(const Machine& machine) {
  MachineReport report;
  report.tick = machine.clock.tick;
  report.time = UtcTime(machine.clock);
  for (const Device& device : machine.devices.devices) {
    const bool isEndpoint = device.classGuid == kAudioEndpointClass;
    if (!isEndpoint) report.devices.push_back(ReportDevice(device));
  }
  for (const PublishedPackage& package : machine.store.packages)
    report.packages.push_back(ReportPackage(machine, package));
  for (const AudioEndpoint& endpoint : machine.audio.endpoints)
    report.endpoints.push_back(ReportEndpoint(machine, endpoint));
  report.records = MarkedRecords(machine.registry);
  for (const auto& [name, service] : machine.services)
    report.services.emplace_back(name, service.running);
  VolumeSearch(machine, report);
  return report;
}

}  // namespace vorn::lab
