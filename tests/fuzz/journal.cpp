// Journals of arbitrary bytes: an accepted one satisfies every rule of the format, and what the
// program writes for it reads back as the same state.

#include "base/text.h"
#include "journal/activation_state.h"
#include "journal/activation_storage.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/protected_files.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace vorn::tests {

namespace journal {
namespace {

bool HasLineBreak(const std::u16string& text) {
  return text.find_first_of(u"\r\n") != text.npos;
}

bool IsText(const std::u16string& text, std::size_t most) {
  return !text.empty() && text.size() <= most && !HasLineBreak(text);
}

void CheckRules(const ActivationState& state) {
  Require(IsText(state.target.version, 64), "a version of 1 to 64 units");
  Require(IsText(state.target.date, 32), "a date of 1 to 32 units");
  Require(ToLowerAscii(state.target.service) == u"vornaudio", "the service's name");
  Require(state.target.infSha256.size() == 64, "a hash of 64 digits");
  for (const char16_t digit : ToLowerAscii(state.target.infSha256)) {
    Require((digit >= u'0' && digit <= u'9') || (digit >= u'a' && digit <= u'f'), "a hash in hex");
  }
  Require(state.catalog.size() <= 20 && state.present.size() <= 20, "20 entries a list");
  Require(!state.fresh || (state.catalog.empty() && state.present.empty()), "fresh is empty");
  std::set<std::pair<std::uint32_t, bool>> identities;
  std::set<std::u16string> ids;
  for (const CatalogEndpoint& endpoint : state.catalog) {
    Require(endpoint.cableIndex < 10 && !endpoint.endpointId.empty(), "a sound endpoint");
    Require(identities.emplace(endpoint.cableIndex, endpoint.capture).second, "one of an identity");
    Require(ids.insert(ToLowerAscii(endpoint.endpointId)).second, "one of an endpoint id");
  }
}

bool HasLineBreakInIds(const ActivationState& state) {
  for (const CatalogEndpoint& endpoint : state.catalog) {
    if (HasLineBreak(endpoint.endpointId)) return true;
  }
  for (const std::u16string& id : state.present) {
    if (HasLineBreak(id)) return true;
  }
  return false;
}

/// The writer refuses some states that the parser accepts; what it writes reads back unchanged.
void CheckStorage(const ActivationState& state) {
  static const platform::simulated::Machine kStart = platform::simulated::CleanMachine();
  platform::simulated::Machine machine = kStart;
  platform::simulated::Process process(machine);
  const std::u16string path = u"C:\\pkg\\journal";
  {
    privileged_input::ProtectedFiles files;
    Journal journal(files, privileged_input::AbsolutePath::Parse(path));
    if (journal.Write(state)) {
      files = {};  // the next run has none of this one's handles
      const std::optional<ActivationState> read = journal.Read();
      Require(read.has_value(), "what was written can be read");
      Require(read == state, "what was written is what is read");
      journal.Delete();
    }
  }
  Require(!platform::simulated::FindNode(machine.files, path), "no journal is left");
}

void Check(std::u16string_view text) {
  const std::optional<ActivationState> state = ParseActivationState(text);
  if (!state) return;
  CheckRules(*state);
  if (!HasLineBreakInIds(*state)) {
    const std::optional<ActivationState> again =
        ParseActivationState(SerializeActivationState(*state));
    Require(again.has_value(), "accepted once more");
    Require(again == state, "the same once more");
  }
  // A file with a NUL is refused before its text is parsed, and no id of the platform has one.
  if (text.find(u'\0') == text.npos) CheckStorage(*state);
}

}  // namespace
}  // namespace journal

void FuzzJournal(std::span<const std::uint8_t> input) {
  // Read as UTF-16, and with one byte for each unit, which reaches the ASCII of the format sooner.
  journal::Check(UnitsOf(input));
  journal::Check(std::u16string(input.begin(), input.end()));
}

}  // namespace vorn::tests
