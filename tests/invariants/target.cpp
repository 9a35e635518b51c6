#include "tests/invariants/target.h"

#include "base/text.h"
#include "platform/simulated/crypto_model.h"
#include "platform/simulated/inf_text.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <variant>

namespace vorn::tests {

namespace model = platform::simulated;

namespace {

/// Whether another process put an INF with these bytes in place of the target's.
bool WasGivenByOthers(const Observation& run, const model::Bytes& inf) {
  return run.OthersDid("-inf") && model::ReadWholeFile(run.after.files, kSampleInf) == inf;
}

/// Whether the command proves what a journal names.
bool GoesByJournal(Command command) {
  return command == Command::Verify || command == Command::HotActivate;
}

}  // namespace

DriverVerWords DriverVerOf(const model::Bytes& inf) {
  const auto read = model::ParseInf(inf);
  const auto* parsed = std::get_if<model::ParsedInf>(&read);
  if (parsed == nullptr) return {};
  return {parsed->Value(u"Version", u"DriverVer", 1).value_or(u""),
          parsed->Value(u"Version", u"DriverVer", 2).value_or(u"")};
}

bool HoldsText(const model::Bytes& journal, std::u16string_view text) {
  model::Bytes units;
  for (const char16_t unit : text) {
    units.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    units.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return std::search(journal.begin(), journal.end(), units.begin(), units.end()) != journal.end();
}

bool WasAskedFor(const Observation& run, const model::Bytes& inf) {
  if (GoesByJournal(run.command)) {
    const auto journal = model::ReadWholeFile(run.before.files, kSampleJournal);
    return journal && HoldsText(*journal, ToUtf16(model::Sha256Hex(inf)));
  }
  return model::ReadWholeFile(run.before.files, kSampleInf) == inf || WasGivenByOthers(run, inf);
}

bool KnowsFormerEndpoints(const Observation& run) {
  if (!GoesByJournal(run.command)) return IsInstall(run.command);
  const auto journal = model::ReadWholeFile(run.before.files, kSampleJournal);
  return journal && HoldsText(*journal, u"\nfresh=0");
}

}  // namespace vorn::tests
