#include "lab/world_change.h"

#include "base/text.h"
#include "lab/fact_values.h"
#include "platform/files.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/services.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
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

void WriteText(Machine& machine, const ChangeWords& words) {
  PutFile(machine.files, words[0], ToUtf8(words[1]));
}

void CopyFile(Machine& machine, const ChangeWords& words) {
  if (const auto content = ReadWholeFile(machine.files, words[0])) {
    PutFile(machine.files, words[1], *content);
  }
}

void GrowFile(Machine& machine, const ChangeWords& words) {
  std::uint64_t count = 0;
  ParseNumber(ToUtf8(words[1]), count);
  NodeAt(machine.files, words[0]).zeroTail += count;
}

void HoldForWriting(Machine& machine, const ChangeWords& words) {
  HoldOpen(machine.files, words[0], FILE_GENERIC_WRITE,
           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
}

void Secure(Machine& machine, const ChangeWords& words) {
  NodeAt(machine.files, words[0]).security = ParseSddl(words[1]).value();
}

void FillVolume(Machine& machine, const ChangeWords& words) {
  for (Volume& volume : machine.files.volumes) {
    if (words[0] == std::u16string{volume.letter, u':'}) volume.freeBytes = 0;
  }
}

struct ChangeKind {
  std::string_view name;
  std::size_t words;
  void (*make)(Machine& machine, const ChangeWords& words);
};

constexpr ChangeKind kKinds[] = {
    {"delete", 1, [](Machine& m, const ChangeWords& w) { RemovePath(m.files, w[0]); }},
    {"write", 2, WriteText},
    {"copy", 2, CopyFile},
    {"move", 2, [](Machine& m, const ChangeWords& w) { MovePath(m.files, w[0], w[1]); }},
    {"grow", 2, GrowFile},
    {"folder", 1, [](Machine& m, const ChangeWords& w) { MakeFolder(m.files, w[0]); }},
    {"hardlink", 2, [](Machine& m, const ChangeWords& w) { AddHardLink(m.files, w[0], w[1]); }},
    {"junction", 2,
     [](Machine& m, const ChangeWords& w) {
       PutLink(m.files, w[0], ReparseKind::Junction, w[1], /*directory=*/true);
     }},
    {"symlink", 2,
     [](Machine& m, const ChangeWords& w) {
       PutLink(m.files, w[0], ReparseKind::SymbolicLink, w[1], /*directory=*/false);
     }},
    {"hold", 1, HoldForWriting},
    {"readonly", 1,
     [](Machine& m, const ChangeWords& w) {
       NodeAt(m.files, w[0]).attributes |= FILE_ATTRIBUTE_READONLY;
     }},
    {"security", 2, Secure},
    {"fill", 1, FillVolume},
    {"remap", 2,
     [](Machine& m, const ChangeWords& w) { m.files.dosDevices[ToUpperAscii(w[0])] = w[1]; }},
    {"vanish", 1, [](Machine& m, const ChangeWords& w) { RemoveDeviceNode(m, w[0]); }},
    {"disable", 1, [](Machine& m, const ChangeWords& w) { DisableDevice(m, w[0]); }},
    {"enable", 1, [](Machine& m, const ChangeWords& w) { EnableDevice(m, w[0]); }},
    {"stop-service", 1, [](Machine& m, const ChangeWords& w) { StopService(m, w[0]); }},
    {"lose-endpoint", 1, [](Machine& m, const ChangeWords& w) { LoseEndpoint(m, w[0]); }},
};

ChangeWords SplitWords(const std::string& text) {
  ChangeWords words;
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t end = std::min(text.find(kSeparator, from), text.size());
    words.push_back(ToUtf16(text.substr(from, end - from)));
    from = end + 1;
  }
  return words;
}

/// What can be checked before the machine is known.
void Check(const ChangeKind& kind, const ChangeWords& words) {
  const std::string name(kind.name);
  const bool complete =
      words.size() == kind.words && std::none_of(words.begin(), words.end() - (name == "write"),
                                                 [](const auto& word) { return word.empty(); });
  if (!complete) {
    throw BadInput(name + " needs " + std::to_string(kind.words) + " value(s), separated by |");
  }
  std::uint64_t number = 0;
  if (name == "grow" && !ParseNumber(ToUtf8(words[1]), number)) {
    throw BadInput("grow needs a path and a number of bytes");
  }
  if (name == "security" && !ParseSddl(words[1])) {
    throw BadInput("security needs a path and a descriptor in SDDL");
  }
}

}  // namespace

std::optional<WorldChange> ParseWorldChange(std::string_view name, const std::string& arguments) {
  const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                 [name](const ChangeKind& known) { return known.name == name; });
  if (kind == std::end(kKinds)) return std::nullopt;
  ChangeWords words = SplitWords(arguments);
  Check(*kind, words);
  return [make = kind->make, words = std::move(words)](Machine& machine) {
    try {
      make(machine, words);
    } catch (const std::invalid_argument&) {
      // The object to change no longer exists: the other process fails, not this one.
    }
  };
}

}  // namespace vorn::lab
