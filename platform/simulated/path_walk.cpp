#include "platform/simulated/path_walk.h"

#include "base/text.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <array>
#include <vector>

namespace vorn::platform::simulated {

namespace {

/// Documented: a name that passes more reparse points than this counts as a loop.
constexpr int kMostLinks = 63;

/// By unit: control characters, separators and wildcards.
constexpr auto kIsRefused = [] {
  std::array<bool, 0x80> refused = {};
  std::fill_n(refused.begin(), 0x20, true);
  for (const char16_t unit : std::u16string_view(u"\"*/:<>?|\\"))
    refused[unit] = true;
  return refused;
}();

constexpr std::u16string_view kDosDevices[] = {u"\\??\\", u"\\DosDevices\\", u"\\GLOBAL??\\"};

std::vector<std::u16string_view> SplitSteps(std::u16string_view text) {
  std::vector<std::u16string_view> pieces;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t end = std::min(text.find(u'\\', start), text.size());
    pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return pieces;
}

std::u16string Join(const std::vector<std::u16string_view>& pieces, std::size_t from) {
  std::u16string text;
  for (std::size_t i = from; i < pieces.size(); ++i) {
    text += u'\\';
    text += pieces[i];
  }
  return text;
}

/// Resolves a relative link's target from the folder that holds the link; "." and ".." are steps.
std::u16string Resolve(std::u16string folder, std::u16string_view target) {
  for (const std::u16string_view step : SplitSteps(target)) {
    if (step.empty() || step == u".") continue;
    if (step == u"..") {
      const std::size_t last = folder.rfind(u'\\');
      if (last != std::u16string::npos) folder.resize(last);
    } else {
      folder += u'\\';
      folder += step;
    }
  }
  return folder;
}

/// The native name that a link points to.
std::u16string LinkTarget(const FileSystem& files, const Node& link, NodeId folder) {
  const std::u16string& target = link.reparseTarget;
  const bool native = target.starts_with(u"\\??\\") || target.starts_with(u"\\Device\\");
  if (native) return target;
  const std::u16string& device = VolumeOf(files, link).device;
  const bool drive = target.size() >= 2 && target[1] == u':';
  if (drive) return u"\\??\\" + target;
  if (target.starts_with(u'\\')) return device + target;
  const std::u16string above = PathBelowRoot(files, files.nodes.at(folder).place);
  return Resolve(device + (above == u"\\" ? std::u16string() : above), target);
}

/// A walk in progress: each link rewrites the name until no link is left.
class Walker {
 public:
  Walker(const FileSystem& files, const WalkOptions& options) : files_(files), options_(options) {}

  Walked FromRoot(std::u16string name) {
    for (int links = 0; links <= kMostLinks; ++links) {
      next_.clear();
      Walked walked = Once(name);
      if (next_.empty()) return walked;
      if (options_.dontReparse) return Failed(STATUS_REPARSE_POINT_ENCOUNTERED);
      name = std::move(next_);
    }
    return Failed(STATUS_REPARSE_POINT_NOT_RESOLVED);
  }

  Walked FromFolder(NodeId start, const Place& startPlace, std::u16string_view name) {
    next_.clear();
    Walked walked = Below(start, startPlace, name);
    if (next_.empty()) return walked;
    if (options_.dontReparse) return Failed(STATUS_REPARSE_POINT_ENCOUNTERED);
    return FromRoot(std::move(next_));
  }

 private:
  static Walked Failed(NTSTATUS status) {
    Walked walked;
    walked.status = status;
    return walked;
  }

  /// Walks to the end, or to the first link, which leaves the rewritten name in `next_`.
  Walked Once(const std::u16string& name) {
    if (!name.starts_with(u'\\')) return Failed(STATUS_OBJECT_PATH_SYNTAX_BAD);
    for (const std::u16string_view root : kDosDevices) {
      if (StartsWithName(name, root))
        return ThroughDosDevice(std::u16string_view(name).substr(root.size()));
    }
    for (const Volume& volume : files_.volumes) {
      if (!StartsWithName(name, volume.device)) continue;
      const std::u16string_view rest = std::u16string_view(name).substr(volume.device.size());
      if (rest.empty()) {
        Walked raw;
        raw.rawVolume = true;
        raw.node = volume.root;
        return raw;
      }
      if (rest.front() == u'\\') return Below(volume.root, Place{}, rest.substr(1));
    }
    return UnknownObject(name);
  }

  /// Drive letters and volume names are symbolic links of the object manager.
  Walked ThroughDosDevice(std::u16string_view name) {
    const std::size_t end = std::min(name.find(u'\\'), name.size());
    const std::u16string_view device = name.substr(0, end);
    const std::u16string_view rest = name.substr(end);
    const auto found = files_.dosDevices.find(ToUpperName(device));
    if (found != files_.dosDevices.end()) {
      next_ = std::u16string(found->second.c_str()) + std::u16string(rest);
      return {};
    }
    for (const Volume& volume : files_.volumes) {
      if (volume.guid.empty()) continue;
      if (!IsSameName(device, u"Volume{" + volume.guid + u"}")) continue;
      next_ = volume.device + std::u16string(rest);
      return {};
    }
    const bool network = IsSameName(device, u"UNC");
    if (network) return Failed(STATUS_BAD_NETWORK_PATH);
    return Failed(rest.empty() ? STATUS_OBJECT_NAME_NOT_FOUND : STATUS_OBJECT_PATH_NOT_FOUND);
  }

  /// The object manager's own rule: only the last name of "\Device\X" is a name.
  static Walked UnknownObject(std::u16string_view name) {
    const std::size_t depth = static_cast<std::size_t>(std::count(name.begin(), name.end(), u'\\'));
    return Failed(depth <= 2 ? STATUS_OBJECT_NAME_NOT_FOUND : STATUS_OBJECT_PATH_NOT_FOUND);
  }

  Walked Below(NodeId start, const Place& startPlace, std::u16string_view path) {
    Walked walked;
    walked.node = start;
    walked.place = startPlace;
    const bool trailing = path.ends_with(u'\\');
    if (trailing) path.remove_suffix(1);
    if (path.empty()) return trailing ? Failed(STATUS_OBJECT_NAME_INVALID) : walked;
    const std::vector<std::u16string_view> names = SplitSteps(path);
    if (!std::all_of(names.begin(), names.end(), IsValidNtName)) {
      return Failed(STATUS_OBJECT_NAME_INVALID);
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
      const bool last = i + 1 == names.size();
      const NodeId folder = walked.node;
      if (!files_.nodes.at(folder).directory) return Failed(STATUS_OBJECT_PATH_NOT_FOUND);
      std::u16string key;
      const Entry* entry = FindEntry(files_.nodes.at(folder), names[i], &key);
      if (entry == nullptr) return Missing(folder, names[i], last);
      walked.node = entry->node;
      walked.place = {folder, std::move(key)};
      const Node& node = files_.nodes.at(entry->node);
      const bool passes = node.reparse != ReparseKind::None && !(last && options_.openLastLink);
      if (passes) return Through(node, folder, Join(names, i + 1));
    }
    // Assumed: NTFS accepts a trailing separator only after a folder's name. Question: what does
    // NtCreateFile return for the name of a file with a separator after it?
    const bool file = !files_.nodes.at(walked.node).directory;
    if (trailing && file) return Failed(STATUS_OBJECT_NAME_INVALID);
    return walked;
  }

  static Walked Missing(NodeId folder, std::u16string_view name, bool last) {
    if (!last) return Failed(STATUS_OBJECT_PATH_NOT_FOUND);
    Walked walked = Failed(STATUS_OBJECT_NAME_NOT_FOUND);
    walked.place = PlaceOf(folder, name);
    walked.name = name;
    return walked;
  }

  Walked Through(const Node& link, NodeId folder, const std::u16string& rest) {
    if (link.reparse == ReparseKind::Other && !options_.dontReparse) {
      // Documented: a tag that no filter of the machine handles fails the open.
      return Failed(STATUS_IO_REPARSE_TAG_NOT_HANDLED);
    }
    next_ = LinkTarget(files_, link, folder) + rest;
    return {};
  }

  const FileSystem& files_;
  const WalkOptions& options_;
  std::u16string next_;
};

}  // namespace

Walked Walk(const FileSystem& files, std::optional<NodeId> start, const Place& startPlace,
            std::u16string_view name, const WalkOptions& options) {
  Walker walker(files, options);
  if (!start) return walker.FromRoot(std::u16string(name));
  if (name.starts_with(u'\\')) {
    Walked walked;
    walked.status = STATUS_OBJECT_NAME_INVALID;
    return walked;
  }
  return walker.FromFolder(*start, startPlace, name);
}

Walked Walk(const FileSystem& files, std::u16string_view name, const WalkOptions& options) {
  return Walk(files, std::nullopt, Place{}, name, options);
}

bool IsValidNtName(std::u16string_view component) {
  constexpr std::size_t kLongestName = 255;
  if (component.empty() || component.size() > kLongestName) return false;
  if (component == u"." || component == u"..") return false;
  return std::none_of(component.begin(), component.end(),
                      [](char16_t unit) { return unit < kIsRefused.size() && kIsRefused[unit]; });
}

}  // namespace vorn::platform::simulated
