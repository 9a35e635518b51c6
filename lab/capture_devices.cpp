#include "lab/capture_devices.h"

#include "base/text.h"
#include "lab/driver_facts.h"
#include "platform/config_manager.h"
#include "platform/simulated/driver_package.h"
#include "platform/simulated/driver_replies.h"
#include "platform/simulated/file_tree.h"

#include <algorithm>
#include <set>
#include <utility>

namespace vorn::lab {

using platform::simulated::CatalogLine;
using platform::simulated::Device;
using platform::simulated::Devices;
using platform::simulated::DriverImage;
using platform::simulated::FindNode;
using platform::simulated::IsSameDevice;
using platform::simulated::kAudioEndpointClass;
using platform::simulated::kAudioInterfaceClass;
using platform::simulated::kControlInterfaceClass;
using platform::simulated::Machine;
using platform::simulated::Node;
using platform::simulated::NodeId;
using platform::simulated::ParseImage;
using platform::simulated::PoolEntry;
using platform::simulated::PublishedPackage;
using platform::simulated::ReadDriverPackage;
using platform::simulated::SoundImage;
using platform::simulated::VersionText;

namespace {

constexpr std::u16string_view kHardwareId = u"Root\\VornAudio";
constexpr std::uint32_t kPoolCode = 0x226020;
constexpr std::uint32_t kStatusCode = 0x226010;

// The replies' layouts.
constexpr std::size_t kLifecycleAbi = 104;
constexpr std::size_t kSharedMemoryAbi = 108;
constexpr std::size_t kCapabilities = 112;
constexpr std::size_t kRevision = 120;
constexpr std::size_t kPoolHeader = 4;
constexpr std::size_t kPoolEntry = 140;
constexpr std::size_t kEntryFlow = 4;
constexpr std::size_t kEntryName = 12;
constexpr std::size_t kNameUnits = 64;

/// No driver of ours replies with more.
constexpr std::size_t kMostReplyBytes = 65536;

/// As the model's own roots have it.
constexpr std::uint32_t kStartedStatus =
    platform::simulated::DN_ROOT_ENUMERATED | platform::simulated::DN_NT_ENUMERATOR |
    platform::simulated::DN_NT_DRIVER | platform::simulated::DN_DRIVER_LOADED |
    platform::DN_STARTED | platform::simulated::DN_DISABLEABLE;

/// The word at an offset; nothing beyond the end.
std::optional<std::uint32_t> WordAt(const Bytes& bytes, std::size_t offset) {
  if (offset + 4 > bytes.size()) return std::nullopt;
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < 4; ++i)
    word |= std::uint32_t{bytes[offset + i]} << (8 * i);
  return word;
}

std::u16string NameAt(const Bytes& bytes, std::size_t offset) {
  std::u16string name;
  for (std::size_t i = 0; i < kNameUnits && offset + 2 * i + 1 < bytes.size(); ++i) {
    const auto unit = static_cast<char16_t>(bytes[offset + 2 * i] | bytes[offset + 2 * i + 1] << 8);
    if (unit == u'\0') break;
    name.push_back(unit);
  }
  return name;
}

/// The sound image of the version that a status reply reports, with all else that it reports.
DriverImage ImageOfStatus(const Bytes& reply, const std::u16string& boundVersion) {
  DriverImage versions;
  versions.loadedVersion = WordAt(reply, 0).value_or(0);
  // An older driver does not say the fourth part.
  const DriverImage bound = SoundImage(boundVersion);
  const bool same = bound.loadedVersion == versions.loadedVersion;
  versions.revision = WordAt(reply, kRevision).value_or(same ? bound.revision : 0);
  DriverImage image = SoundImage(ToUtf16(VersionText(versions)));
  image.loadedVersion = versions.loadedVersion;
  image.revision = versions.revision;
  image.lifecycleAbi = WordAt(reply, kLifecycleAbi).value_or(image.lifecycleAbi);
  image.sharedMemoryAbi = WordAt(reply, kSharedMemoryAbi).value_or(image.sharedMemoryAbi);
  image.capabilities = WordAt(reply, kCapabilities).value_or(image.capabilities);
  image.statusBytes = static_cast<std::uint32_t>(reply.size());
  if (platform::simulated::StatusReply(image) != reply) image.replies[kStatusCode] = reply;
  return image;
}

/// The pool that a reply lists. A reply that lists none leaves the image its pool: what a driver
/// has is not known by what it fails to say.
void TakePool(const Bytes& reply, DriverImage& image) {
  image.poolBytes = static_cast<std::uint32_t>(reply.size());
  image.poolCount = WordAt(reply, 0).value_or(0);
  const std::vector<PoolEntry> usual = std::exchange(image.pool, {});
  for (std::size_t offset = kPoolHeader; image.pool.size() < image.poolCount;
       offset += kPoolEntry) {
    const auto cable = WordAt(reply, offset);
    if (!cable) break;
    image.pool.push_back({*cable, WordAt(reply, offset + kEntryFlow).value_or(0),
                          NameAt(reply, offset + kEntryName)});
  }
  if (image.pool.empty()) image.pool = usual;
  if (PoolReply(image) != reply) image.replies[kPoolCode] = reply;
}

const CapturedReply* ReplyTo(std::uint32_t code, const std::vector<CapturedReply>& replies) {
  const auto found =
      std::find_if(replies.begin(), replies.end(),
                   [code](const CapturedReply& reply) { return reply.code == code; });
  return found == replies.end() ? nullptr : &*found;
}

bool HasInterface(const Device& device, const platform::GUID& interfaceClass) {
  return std::any_of(
      device.interfaces.begin(), device.interfaces.end(),
      [&](const auto& interface) { return interface.interfaceClass == interfaceClass; });
}

/// The image in memory: what answered, or else what a started device must run.
DriverImage ResidentImage(const Device& device, const std::vector<CapturedReply>& replies) {
  const CapturedReply* const status = ReplyTo(kStatusCode, replies);
  const CapturedReply* const pool = ReplyTo(kPoolCode, replies);
  const std::u16string bound = StringProperty(device, platform::simulated::kDriverVersionKey);
  DriverImage image =
      status != nullptr && status->reply ? ImageOfStatus(*status->reply, bound) : SoundImage(bound);
  if (pool != nullptr && pool->reply) TakePool(*pool->reply, image);
  for (const CapturedReply* const reply : {status, pool}) {
    if (reply != nullptr && !reply->reply) image.failures[reply->code] = reply->error;
  }
  image.registersControlInterface = HasInterface(device, kControlInterfaceClass);
  image.registersAudioInterface = HasInterface(device, kAudioInterfaceClass);
  return image;
}

bool NoChanges(const Json& changes) {
  return changes.As<Json::Object>()->empty();
}

/// The image with other values of some keys.
DriverImage WithChanges(const DriverImage& image, const Json& changes) {
  Json json = ToJson(image);
  for (const auto& [key, value] : *changes.As<Json::Object>())
    json[key] = value;
  DriverImage changed;
  FromJson(json, "--image", changed);
  return changed;
}

void CheckReplies(const std::vector<CapturedReply>& replies, std::size_t device) {
  for (std::size_t i = 0; i < replies.size(); ++i) {
    if (replies[i].reply && replies[i].reply->size() > kMostReplyBytes) {
      throw BadInput(PathOfElement(PathOfElement("devices", device) + ".driver", i) + ".reply",
                     "is longer than " + std::to_string(kMostReplyBytes) + " bytes");
    }
  }
}

std::u16string EnumeratorOf(const std::u16string& instanceId) {
  return instanceId.substr(0, instanceId.find(u'\\'));
}

void CheckIds(const Devices& devices) {
  std::set<std::u16string> ids;
  std::size_t i = 0;
  for (const Device& device : devices) {
    const std::string path = PathOfElement("devices", i++);
    if (device.instanceId.find(u'\\') == std::u16string::npos) {
      throw BadInput(path + ".instanceId", "must be an enumerator and a name");
    }
    if (!ids.insert(ToUpperAscii(device.instanceId)).second) {
      throw BadInput(path + ".instanceId", "appears twice");
    }
    // The model walks the tree downwards, and a parent before its children cannot be below them.
    if (!device.parent.empty() && !ids.contains(ToUpperAscii(device.parent))) {
      throw BadInput(path + ".parent", "must be an earlier device");
    }
    if (IsSameDevice(device.parent, device.instanceId)) {
      throw BadInput(path + ".parent", "must be another device");
    }
  }
}

}  // namespace

void GiveDevicesTheirDrivers(const CaptureDocument& capture, const Json& changes,
                             Machine& machine) {
  CheckIds(machine.devices.devices);
  std::size_t next = 0;
  for (Device& device : machine.devices.devices) {
    const std::size_t i = next++;
    CheckReplies(capture.replies[i], i);
    device.enumerator = EnumeratorOf(device.instanceId);
    if (!device.parent.empty()) {
      // The text that the platform gives for the class of an endpoint's node.
      const std::string usual = FormatGuid(kAudioEndpointClass);
      if (!device.classGuidText || EqualsIgnoringCase(*device.classGuidText, ToUtf16(usual))) {
        device.classGuid = kAudioEndpointClass;
        device.className = u"AudioEndpoint";
        device.hardwareIds = {u"MMDEVAPI\\AudioEndpoints"};
      }
      if (device.classGuidText && *device.classGuidText == ToUtf16(usual)) {
        device.classGuidText.reset();
      }
      continue;
    }
    device.service = StringProperty(device, platform::simulated::kServiceKey);
    device.publishedInf = StringProperty(device, platform::simulated::kDriverInfPathKey);
    if (device.classGuid == platform::simulated::kMediaClass) device.className = u"MEDIA";
    if (device.statusError != 0 && !capture.replies[i].empty()) {
      // Its status is unknown, but its driver was there to answer.
      device.status = kStartedStatus;
      device.problem = 0;
    }
    if (!device.foreign && device.present && IsStarted(device) && !device.publishedInf.empty()) {
      device.resident = WithChanges(ResidentImage(device, capture.replies[i]), changes);
    }
  }
}

// ------------------------------------------------------------------------------------------------
// Packages.

namespace {

Bytes BytesOf(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

/// Whether bytes are what the model runs or checks, rather than Windows.
bool IsModelText(const Node& node, std::string_view start) {
  const Bytes& content = *node.content;
  return content.size() >= start.size() && std::equal(start.begin(), start.end(), content.begin());
}

/// Lines that the model ignores, up to the size that the file had.
Bytes Padded(std::string_view text, std::uint64_t size) {
  Bytes content = BytesOf(text);
  if (content.size() < size) content.resize(static_cast<std::size_t>(size), std::uint8_t{'\n'});
  return content;
}

/// Larger files are cut: an image of the model is a short text.
constexpr std::uint64_t kMostPadding = std::uint64_t{16} << 20;

/// The node of a file in a folder; null when there is none.
Node* FileIn(Machine& machine, NodeId folder, const std::u16string& name) {
  const platform::simulated::Entry* const entry =
      name.empty() ? nullptr : FindEntry(machine.files.nodes.Get(folder), name);
  if (entry == nullptr) return nullptr;
  Node& node = machine.files.nodes.at(entry->node);
  const bool file = !node.directory && node.reparse == platform::simulated::ReparseKind::None;
  return file ? &node : nullptr;
}

void Replace(Node& node, const std::string& text) {
  const std::uint64_t size = std::min(FileSize(node), kMostPadding);
  node.content = std::make_shared<const Bytes>(Padded(text, size));
  node.zeroTail = 0;
}

/// A package of ours in a folder of the captured machine.
struct FolderPackage {
  Bytes inf;
  Bytes image;
};

/// Makes the image and the catalog of a package those of the model, unless they are already.
std::optional<FolderPackage> MakeRunnable(Machine& machine, NodeId folder, const Bytes& inf,
                                          const Json& changes) {
  std::uint32_t error = 0;
  const auto package = ReadDriverPackage(inf, kHardwareId, &error);
  if (!package || !package->hasModel) return std::nullopt;
  FolderPackage made = {inf, {}};
  Node* const binary = FileIn(machine, folder, package->image);
  if (binary != nullptr) {
    const bool model = IsModelText(*binary, "version=");
    const DriverImage image = model ? ParseImage(*binary->content) : SoundImage(package->version);
    if (!model || !NoChanges(changes)) {
      Replace(*binary, ToImageText(WithChanges(image, changes)));
    }
    made.image = *binary->content;
  }
  Node* const catalog = FileIn(machine, folder, package->catalog);
  if (catalog != nullptr && (!NoChanges(changes) || !IsModelText(*catalog, "sha256="))) {
    Replace(*catalog, CatalogLine(inf) + "\r\n" +
                          (binary == nullptr ? "" : CatalogLine(made.image) + "\r\n"));
  }
  return made;
}

bool EndsInInf(const std::u16string& upperName) {
  return upperName.ends_with(u".INF");
}

/// All packages of ours in folders other than the one of published INFs.
std::vector<FolderPackage> MakePackagesRunnable(Machine& machine, const Json& changes) {
  const auto infFolder = FindNode(machine.files, machine.files.windowsFolder + u"\\INF");
  std::vector<std::pair<NodeId, Bytes>> infs;
  for (const auto& [id, node] : machine.files.nodes) {
    if (!node->directory || infFolder == id) continue;
    for (const auto& [name, entry] : node->entries) {
      const Node& file = machine.files.nodes.Get(entry.node);
      if (EndsInInf(name) && !file.directory && !file.content->empty()) {
        infs.emplace_back(id, *file.content);
      }
    }
  }
  std::vector<FolderPackage> packages;
  for (const auto& [folder, inf] : infs) {
    if (auto package = MakeRunnable(machine, folder, inf, changes)) {
      packages.push_back(std::move(*package));
    }
  }
  return packages;
}

/// What the image of a published package is: the one in memory where that is of its version, the
/// one of a folder with the same INF, or the model's usual.
Bytes ImageOfPublished(const Machine& machine, const std::u16string& name, const Bytes& inf,
                       const std::vector<FolderPackage>& packages, const Json& changes) {
  std::uint32_t error = 0;
  const auto package = ReadDriverPackage(inf, kHardwareId, &error);
  const std::u16string version = package ? package->version : std::u16string();
  for (const Device& device : machine.devices.devices) {
    if (device.resident && EqualsIgnoringCase(device.publishedInf, name) &&
        ToUtf16(VersionText(*device.resident)) == version) {
      // What it replies is the image's; that it failed may have been the moment's.
      DriverImage same = *device.resident;
      same.failures.clear();
      return BytesOf(ToImageText(same));
    }
  }
  for (const FolderPackage& folder : packages) {
    if (folder.inf == inf && !folder.image.empty()) return folder.image;
  }
  return BytesOf(ToImageText(WithChanges(SoundImage(version), changes)));
}

/// The number in oem<n>.inf, if it has a usual size.
std::optional<std::uint32_t> NumberOf(const std::u16string& name) {
  constexpr std::size_t kMostDigits = 9;
  constexpr std::size_t kPrefix = 3;
  constexpr std::size_t kSuffix = 4;
  if (name.size() <= kPrefix + kSuffix || name.size() > kPrefix + kSuffix + kMostDigits) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (std::size_t i = kPrefix; i < name.size() - kSuffix; ++i)
    number = number * 10 + static_cast<std::uint32_t>(name[i] - u'0');
  return number;
}

void CheckPublished(const CapturedPackage& package, std::size_t index,
                    std::set<std::u16string>& names) {
  const std::string path = PathOfElement("published", index) + ".name";
  if (!platform::simulated::IsPublishedName(package.name)) {
    throw BadInput(path, "must be oem<digits>.inf");
  }
  if (!names.insert(ToUpperAscii(package.name)).second) throw BadInput(path, "appears twice");
}

}  // namespace

void FillDriverStore(const CaptureDocument& capture, const Json& changes, Machine& machine) {
  const std::vector<FolderPackage> packages = MakePackagesRunnable(machine, changes);
  std::set<std::u16string> names;
  for (std::size_t i = 0; i < capture.published.size(); ++i) {
    const CapturedPackage& captured = capture.published[i];
    CheckPublished(captured, i, names);
    PublishedPackage package;
    package.publishedInf = captured.name;
    package.foreign = !captured.ours;
    if (captured.ours) {
      package.originalInf = captured.originalInf;
      package.originalCatalog = captured.originalCatalog;
      const auto inf = ReadWholeFile(machine.files, PublishedInfPath(machine, captured.name));
      package.image =
          ImageOfPublished(machine, captured.name, inf.value_or(Bytes()), packages, changes);
    }
    if (const auto number = NumberOf(captured.name)) {
      machine.store.nextNumber = std::max(machine.store.nextNumber, *number + 1);
    }
    machine.store.packages.push_back(std::move(package));
  }
}

}  // namespace vorn::lab
