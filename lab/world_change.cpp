#include "lab/world_change.h"

#include "base/text.h"
#include "lab/fact_values.h"
#include "platform/config_manager.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/other_process.h"
#include "platform/simulated/process.h"
#include "platform/simulated/services.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vorn::lab {

using namespace platform::simulated;
using platform::FILE_ATTRIBUTE_READONLY;
using platform::FILE_GENERIC_WRITE;
using platform::FILE_SHARE_DELETE;
using platform::FILE_SHARE_READ;
using platform::FILE_SHARE_WRITE;

namespace {

using ChangeWords = std::vector<std::u16string>;

constexpr char kSeparator = '|';  // no path contains one

/// Documented: NTFS with clusters of 4 KB has files of up to 16 TB less 64 KB.
constexpr std::uint64_t kLargestFile = (std::uint64_t{1} << 44) - (1 << 16);

/// There is nothing of that name, or it is already what the change would make of it.
class NothingToChange : public std::invalid_argument {
 public:
  NothingToChange(const char* what, const std::u16string& name)
      : std::invalid_argument(std::string(what) + " " + ToUtf8(name)) {}
};

const std::u16string& DemandFile(const Machine& machine, const std::u16string& path) {
  if (!FindNode(machine.files, path)) throw NothingToChange("there is no file or folder", path);
  return path;
}

void DeletePath(Machine& machine, const ChangeWords& words) {
  RemovePath(machine.files, DemandFile(machine, words[0]));
  if (FindNode(machine.files, words[0])) throw NothingToChange("nobody can delete", words[0]);
}

void WriteText(Machine& machine, const ChangeWords& words) {
  PutFile(machine.files, words[0], ToUtf8(words[1]));
}

void CopyFile(Machine& machine, const ChangeWords& words) {
  const auto content = ReadWholeFile(machine.files, words[0]);
  if (!content) throw NothingToChange("there is no file", words[0]);
  PutFile(machine.files, words[1], *content);
}

std::uint64_t NumberIn(const std::u16string& text) {
  std::uint64_t number = 0;
  ParseNumber(ToUtf8(text), number);
  return number;
}

void GrowFile(Machine& machine, const ChangeWords& words) {
  Node& file = NodeAt(machine.files, DemandFile(machine, words[0]));
  if (file.directory) throw NothingToChange("there is no file", words[0]);
  const std::uint64_t count = NumberIn(words[1]);
  if (count > kLargestFile - std::min(kLargestFile, FileSize(file))) {
    throw NothingToChange("no file can be so large:", words[0]);
  }
  file.zeroTail += count;
}

void HoldForWriting(Machine& machine, const ChangeWords& words) {
  HoldOpen(machine.files, DemandFile(machine, words[0]), FILE_GENERIC_WRITE,
           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
}

void MakeReadOnly(Machine& machine, const ChangeWords& words) {
  NodeAt(machine.files, DemandFile(machine, words[0])).attributes |= FILE_ATTRIBUTE_READONLY;
}

void Secure(Machine& machine, const ChangeWords& words) {
  ReplaceSecurity(NodeAt(machine.files, DemandFile(machine, words[0])).security,
                  ParseSddl(words[1]).value());
}

/// The letter of "C" and "C:", in upper case; 0 for another text.
char16_t LetterOf(const std::u16string& text) {
  const bool isDrive = !text.empty() && IsAsciiLetter(text[0]) &&
                       (text.size() == 1 || (text.size() == 2 && text[1] == u':'));
  return isDrive ? ToUpperAscii(text[0]) : u'\0';
}

void FillVolume(Machine& machine, const ChangeWords& words) {
  for (Volume& volume : machine.files.volumes) {
    if (ToUpperAscii(volume.letter) != LetterOf(words[0])) continue;
    if (std::exchange(volume.freeBytes, 0) == 0) throw NothingToChange("already full:", words[0]);
    return;
  }
  throw NothingToChange("there is no volume", words[0]);
}

void Remap(Machine& machine, const ChangeWords& words) {
  std::u16string& target = machine.files.dosDevices[{LetterOf(words[0]), u':'}];
  if (std::exchange(target, words[1]) == words[1]) {
    throw NothingToChange("already leads there:", words[0]);
  }
}

Device& DemandDevice(Machine& machine, const std::u16string& id) {
  Device* const device = machine.devices.Find(id);
  if (device == nullptr) throw NothingToChange("there is no device", id);
  return *device;
}

void Vanish(Machine& machine, const ChangeWords& words) {
  DemandDevice(machine, words[0]);
  RemoveDeviceNode(machine, words[0]);
}

void Disable(Machine& machine, const ChangeWords& words) {
  const Device& device = DemandDevice(machine, words[0]);
  if (!device.present) throw NothingToChange("not present:", words[0]);
  if (device.problem == platform::CM_PROB_DISABLED)
    throw NothingToChange("already disabled:", words[0]);
  DisableDevice(machine, words[0]);
}

void Enable(Machine& machine, const ChangeWords& words) {
  const Device& device = DemandDevice(machine, words[0]);
  if (device.problem != platform::CM_PROB_DISABLED)
    throw NothingToChange("not disabled:", words[0]);
  EnableDevice(machine, words[0]);
}

void AddBareRoot(Machine& machine, const ChangeWords& words) {
  if (machine.devices.Find(words[0]) != nullptr) {
    throw NothingToChange("there already is a device", words[0]);
  }
  AddRoot(machine, words[0]);
}

void SetStatus(Machine& machine, const ChangeWords& words) {
  Device& device = DemandDevice(machine, words[0]);
  const std::pair reported(device.status, device.problem);
  device.status = static_cast<std::uint32_t>(NumberIn(words[1]));
  device.problem = static_cast<std::uint32_t>(NumberIn(words[2]));
  if (reported == std::pair(device.status, device.problem)) {
    throw NothingToChange("already reports that:", words[0]);
  }
}

void Remint(Machine& machine, const ChangeWords& words) {
  DemandDevice(machine, words[0]);
  if (!RemintEndpoints(machine, words[0])) {
    throw NothingToChange("no endpoints are built for", words[0]);
  }
}

void StopNamedService(Machine& machine, const ChangeWords& words) {
  const auto service =
      std::find_if(machine.services.begin(), machine.services.end(),
                   [&words](const auto& named) { return IsSameName(named.first, words[0]); });
  if (service == machine.services.end()) throw NothingToChange("there is no service", words[0]);
  if (!service->second.running) throw NothingToChange("not running:", words[0]);
  StopService(machine, service->first);
}

void LoseNamedEndpoint(Machine& machine, const ChangeWords& words) {
  if (FindEndpoint(machine, words[0]) == nullptr) {
    throw NothingToChange("there is no endpoint", words[0]);
  }
  LoseEndpoint(machine, words[0]);
}

// What a change to files finds done already, before anything is tried.

void RefuseFolderThatIs(const Machine& machine, const ChangeWords& words) {
  const auto node = FindNode(machine.files, words[0]);
  if (node && machine.files.nodes.Get(*node).directory) {
    throw NothingToChange("there already is a folder", words[0]);
  }
}

void RefuseSameName(const Machine&, const ChangeWords& words) {
  if (words[0] == words[1]) throw NothingToChange("already has that name:", words[0]);
}

void RefuseReadOnly(const Machine& machine, const ChangeWords& words) {
  const auto node = FindNode(machine.files, words[0]);
  if (node && (machine.files.nodes.Get(*node).attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    throw NothingToChange("already read-only:", words[0]);
  }
}

void RefuseSameSecurity(const Machine& machine, const ChangeWords& words) {
  const auto node = FindNode(machine.files, words[0]);
  if (!node) return;
  const SecurityRecord& own = machine.files.nodes.Get(*node).security;
  SecurityRecord changed = own;
  ReplaceSecurity(changed, ParseSddl(words[1]).value());
  if (changed == own) throw NothingToChange("already has that security:", words[0]);
}

/// What another process does through the platform; returns 0 or the error that it meets.
using Act = std::uint32_t (*)(OtherProcess& other, const ChangeWords& words);

struct ChangeKind {
  ChangeName name;
  std::size_t words = 0;
  void (*make)(Machine& machine, const ChangeWords& words) = nullptr;

  // Of a change to files, which may be refused; then `make` is its forced form.
  Act act = nullptr;
  void (*refuseDone)(const Machine& machine, const ChangeWords& words) = nullptr;
};

constexpr ChangeKind kKinds[] = {
    {{"delete", "PATH", "removes a file or a tree"},
     1,
     DeletePath,
     [](OtherProcess& p, const ChangeWords& w) { return p.Delete(w[0]); }},
    {{"folder", "PATH", "makes a folder"},
     1,
     [](Machine& m, const ChangeWords& w) { MakeFolder(m.files, w[0]); },
     [](OtherProcess& p, const ChangeWords& w) { return p.MakeFolder(w[0]); },
     RefuseFolderThatIs},
    {{"write", "PATH|TEXT", "writes a file"},
     2,
     WriteText,
     [](OtherProcess& p, const ChangeWords& w) { return p.Write(w[0], ToUtf8(w[1])); }},
    {{"grow", "PATH|BYTES", "appends zeros"},
     2,
     GrowFile,
     [](OtherProcess& p, const ChangeWords& w) { return p.Grow(w[0], NumberIn(w[1])); }},
    {{"copy", "FROM|TO", "copies a file"},
     2,
     CopyFile,
     [](OtherProcess& p, const ChangeWords& w) { return p.Copy(w[0], w[1]); }},
    {{"move", "FROM|TO", "moves a name"},
     2,
     [](Machine& m, const ChangeWords& w) { MovePath(m.files, w[0], w[1]); },
     [](OtherProcess& p, const ChangeWords& w) { return p.Move(w[0], w[1]); },
     RefuseSameName},
    {{"hardlink", "EXISTING|NAME", "gives a file a second name"},
     2,
     [](Machine& m, const ChangeWords& w) { AddHardLink(m.files, w[0], w[1]); },
     [](OtherProcess& p, const ChangeWords& w) { return p.Link(w[0], w[1]); }},
    {{"junction", "PATH|TARGET", "replaces what is there with a junction"},
     2,
     [](Machine& m, const ChangeWords& w) {
       PutLink(m.files, w[0], ReparseKind::Junction, w[1], /*directory=*/true);
     },
     [](OtherProcess& p, const ChangeWords& w) {
       return p.PutLink(w[0], ReparseKind::Junction, w[1], /*directory=*/true);
     }},
    {{"symlink", "PATH|TARGET", "replaces what is there with a symbolic link"},
     2,
     [](Machine& m, const ChangeWords& w) {
       PutLink(m.files, w[0], ReparseKind::SymbolicLink, w[1], /*directory=*/false);
     },
     [](OtherProcess& p, const ChangeWords& w) {
       return p.PutLink(w[0], ReparseKind::SymbolicLink, w[1], /*directory=*/false);
     }},
    {{"hold", "PATH", "opens the file for writing and keeps it open"},
     1,
     HoldForWriting,
     [](OtherProcess& p, const ChangeWords& w) { return p.Hold(w[0], FILE_GENERIC_WRITE); }},
    {{"readonly", "PATH", "sets the attribute"},
     1,
     MakeReadOnly,
     [](OtherProcess& p, const ChangeWords& w) { return p.MakeReadOnly(w[0]); },
     RefuseReadOnly},
    {{"security", "PATH|SDDL", "changes owner and access list"},
     2,
     Secure,
     [](OtherProcess& p, const ChangeWords& w) { return p.Secure(w[0], ParseSddl(w[1]).value()); },
     RefuseSameSecurity},
    {{"fill", "LETTER", "leaves no free byte on the volume"}, 1, FillVolume},
    {{"remap", "LETTER|TARGET", "makes the drive letter lead elsewhere"}, 2, Remap},
    {{"vanish", "DEVICE", "removes a device, by its instance id"}, 1, Vanish},
    {{"disable", "DEVICE", "disables it"}, 1, Disable},
    {{"enable", "DEVICE", "enables it"}, 1, Enable},
    {{"appear", "DEVICE", "another root appears, ROOT\\...\\..., without a driver"},
     1,
     AddBareRoot},
    {{"status", "DEVICE|FLAGS|PROBLEM", "what the device reports from now on"}, 3, SetStatus},
    {{"remint", "DEVICE", "its endpoints vanish and come back under new ids"}, 1, Remint},
    {{"stop-service", "NAME", "a service stops"}, 1, StopNamedService},
    {{"lose-endpoint", "ID", "an endpoint leaves the catalog"}, 1, LoseNamedEndpoint},
};

constexpr std::string_view kForce = "force-";

constexpr std::pair<std::uint32_t, std::string_view> kRefusals[] = {
    {platform::ERROR_FILE_NOT_FOUND, "there is nothing of that name"},
    {platform::ERROR_PATH_NOT_FOUND, "there is no such folder"},
    {platform::ERROR_ACCESS_DENIED, "access is denied"},
    {platform::ERROR_NOT_SAME_DEVICE, "it is on another volume"},
    {platform::ERROR_WRITE_PROTECT, "the volume is read-only"},
    {platform::ERROR_SHARING_VIOLATION, "another process uses the file"},
    {platform::ERROR_DISK_FULL, "the volume is full"},
    {platform::ERROR_INVALID_NAME, "the name is not valid"},
    {platform::ERROR_DIR_NOT_EMPTY, "the folder is not empty"},
    {platform::ERROR_ALREADY_EXISTS, "the name is taken"},
    {platform::ERROR_INVALID_OWNER, "only a privilege names that owner"},
};

/// What a change does through the platform. Returns why Windows refuses it.
std::string ActAsAnother(Machine& machine, Act act, const ChangeWords& given) {
  OtherProcess other(machine, Process::Current().token);
  const std::uint32_t error = act(other, given);
  if (error == 0) return {};
  const auto words = std::find_if(std::begin(kRefusals), std::end(kRefusals),
                                  [error](const auto& known) { return known.first == error; });
  return "Windows refuses it with error " + std::to_string(error) +
         (words == std::end(kRefusals) ? "" : ": " + std::string(words->second));
}

ChangeWords SplitWords(const std::string& text) {
  ChangeWords words;
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t end = std::min(text.find(kSeparator, from), text.size());
    words.push_back(ToUtf16(text.substr(from, end - from)));
    from = end + 1;
  }
  return words;
}

/// Whether a text is "ROOT", a device's name and its number, with backslashes between.
bool IsRootId(const std::u16string& text) {
  constexpr std::u16string_view kPrefix = u"ROOT\\";
  const std::size_t second = text.find(u'\\', kPrefix.size());
  return StartsWithName(text, kPrefix) && second != std::u16string::npos &&
         second != kPrefix.size() && second + 1 != text.size() &&
         text.find(u'\\', second + 1) == std::u16string::npos;
}

/// What can be checked before the machine is known.
void Check(const ChangeKind& kind, const ChangeWords& words) {
  const std::string name(kind.name.name);
  const bool complete =
      words.size() == kind.words && std::none_of(words.begin(), words.end() - (name == "write"),
                                                 [](const auto& word) { return word.empty(); });
  if (!complete) {
    throw BadInput("must be " + name + "=" + std::string(kind.name.arguments));
  }
  std::uint64_t number = 0;
  const bool isSize = name != "grow" || (ParseNumber(ToUtf8(words[1]), number) && number != 0 &&
                                         number <= kLargestFile);
  if (!isSize) {
    throw BadInput("grow needs a path and a number of bytes from 1 to " +
                   std::to_string(kLargestFile));
  }
  const auto isCode = [](const std::u16string& text) {
    std::uint64_t code = 0;
    return ParseNumber(ToUtf8(text), code) && code <= std::numeric_limits<std::uint32_t>::max();
  };
  if (name == "status" && !(isCode(words[1]) && isCode(words[2]))) {
    throw BadInput("status needs a device, DN_ flags and a CM_PROB_ code");
  }
  if (name == "appear" && !IsRootId(words[0]))
    throw BadInput("appear needs an id like ROOT\\MEDIA\\0001");
  const bool hasLetter = name == "fill" || name == "remap";
  if (hasLetter && LetterOf(words[0]) == 0) throw BadInput(name + " needs a drive letter");
  if (name == "security" && !ParseSddl(words[1])) {
    throw BadInput("security needs a path and a descriptor in SDDL");
  }
}

}  // namespace

std::span<const ChangeName> ChangeNames() {
  static const std::vector<ChangeName> names = [] {
    std::vector<ChangeName> list;
    for (const ChangeKind& kind : kKinds)
      list.push_back(kind.name);
    return list;
  }();
  return names;
}

std::optional<WorldChange> ParseWorldChange(std::string_view name, const std::string& arguments) {
  const bool forced = name.starts_with(kForce);
  if (forced) name.remove_prefix(kForce.size());
  const auto kind =
      std::find_if(std::begin(kKinds), std::end(kKinds),
                   [name](const ChangeKind& known) { return known.name.name == name; });
  if (kind == std::end(kKinds) || (forced && kind->act == nullptr)) return std::nullopt;
  ChangeWords words = SplitWords(arguments);
  Check(*kind, words);
  const Act act = forced ? nullptr : kind->act;
  return [act, kind, words = std::move(words)](Machine& machine) -> std::string {
    try {
      if (kind->refuseDone != nullptr) kind->refuseDone(machine, words);
      if (act != nullptr) return ActAsAnother(machine, act, words);
      kind->make(machine, words);
    } catch (const std::invalid_argument& failed) {
      return failed.what();
    }
    return {};
  };
}

}  // namespace vorn::lab
