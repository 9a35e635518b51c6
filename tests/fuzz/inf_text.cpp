// INFs of arbitrary bytes: reading one stays within bounds that grow with its size, and the same
// text in another form, which is another encoding or has other line ends, means the same. What the
// program reads through the platform's calls is what the text says.

#include "platform/simulated/inf_text.h"

#include "base/text.h"
#include "package/inf_identity.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "privileged_input/input_file.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <variant>

namespace vorn::tests {

namespace inf_text {
namespace {

using platform::simulated::Bytes;
using platform::simulated::InfError;
using platform::simulated::ParsedInf;
using platform::simulated::ParseInf;

using ReadInf = std::variant<ParsedInf, InfError>;

/// The content of an INF of that many bytes: each section, line and field, or its error.
std::u16string Told(const ReadInf& read, std::size_t size) {
  constexpr char16_t kEnd = 0xFFFF;
  if (const auto* error = std::get_if<InfError>(&read)) {
    return u"error" + std::u16string{static_cast<char16_t>(error->error),
                                     static_cast<char16_t>(error->error >> 16),
                                     static_cast<char16_t>(error->line)};
  }
  const ParsedInf& inf = std::get<ParsedInf>(read);
  Require(inf.SectionCount() <= size, "no more sections than bytes");
  std::u16string told;
  told.reserve(2 * size);
  std::size_t fields = 0;
  for (ParsedInf::Section section = 0; section < inf.SectionCount(); ++section) {
    told += inf.SectionName(section) + kEnd;
    const auto found = inf.FindSection(inf.SectionName(section));
    Require(found == section, "a section is found by its name");
    for (ParsedInf::Line line = 0; line < inf.LineCount(section); ++line) {
      const std::uint32_t count = inf.FieldCount(section, line);
      for (std::uint32_t field = 0; field <= count; ++field) {
        const auto value = inf.Field(section, line, field);
        Require(value.has_value() || field == 0, "every counted field can be read");
        Require(!value || value->size() <= 4095, "a field has its limit");
        told += value ? std::u16string_view(*value) : u"none";
        told += kEnd;
        ++fields;
      }
      Require(!inf.Field(section, line, count + 1), "no field after the last");
      told += kEnd;
    }
  }
  Require(fields <= 2 * size + 2, "no more fields than bytes");
  return told;
}

std::u16string Told(const Bytes& content) {
  return Told(ParseInf(content), content.size());
}

bool IsAscii(const Bytes& content) {
  return std::all_of(content.begin(), content.end(), [](auto byte) { return byte < 0x80; });
}

Bytes AsUtf16(std::u16string_view text) {
  Bytes bytes;
  bytes.reserve(2 * text.size() + 2);
  bytes = {0xFF, 0xFE};
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

Bytes AsUtf8(std::u16string_view text) {
  Bytes bytes = {0xEF, 0xBB, 0xBF};
  const std::string encoded = ToUtf8(text);
  bytes.insert(bytes.end(), encoded.begin(), encoded.end());
  return bytes;
}

/// The text with a carriage return added before each line feed that has none.
std::u16string WithCarriageReturns(std::u16string_view text) {
  std::u16string result;
  for (const char16_t unit : text) {
    if (unit == u'\n' && !result.ends_with(u'\r')) result += u'\r';
    result += unit;
  }
  return result;
}

/// Whether some line may leave quotes open, where a carriage return is part of the quoted text.
bool MayLeaveQuotesOpen(std::u16string_view text) {
  bool open = false;
  for (const char16_t unit : text) {
    if (unit == u'\n' && open) return true;
    if (unit == u'"') open = !open;
  }
  return false;
}

/// The text of an INF that has other forms: it is ASCII, or UTF-16 that UTF-8 can say.
std::optional<std::u16string> TextWithForms(const Bytes& content) {
  if (content.size() >= 2 && content[0] == 0xFF && content[1] == 0xFE) {
    std::u16string text = UnitsOf(std::span(content).subspan(2));
    if (content.size() % 2 != 0 || ToUtf16(ToUtf8(text)) != text) return std::nullopt;
    return text;
  }
  if (!IsAscii(content)) return std::nullopt;
  return std::u16string(content.begin(), content.end());
}

/// Compares an INF with one other form of it. Its bytes decide with which, so that its neighbours
/// take the others: reading each in every form would be most of a run.
void CheckForms(const Bytes& content, const std::u16string& told) {
  const std::optional<std::u16string> text = TextWithForms(content);
  if (!text) return;
  switch (std::accumulate(content.begin(), content.end(), 0U) % 3) {
    case 0:
      Require(Told(AsUtf8(*text)) == told, "the same with the mark of UTF-8");
      break;
    case 1:
      Require(Told(AsUtf16(*text)) == told, "the same in UTF-16");
      break;
    default:
      Require(MayLeaveQuotesOpen(*text) || Told(AsUtf16(WithCarriageReturns(*text))) == told,
              "the same with other line ends");
  }
}

bool HasModelLine(const ParsedInf& inf) {
  const auto models = inf.FindSection(u"VornAudioDevices.NTamd64.10.0...19041");
  if (!models) return false;
  for (ParsedInf::Line line = 0; line < inf.LineCount(*models); ++line) {
    if (EqualsIgnoringCase(inf.Field(*models, line, 1).value_or(u""), u"VornAudio_Install") &&
        EqualsIgnoringCase(inf.Field(*models, line, 2).value_or(u""), kSampleHardwareId)) {
      return true;
    }
  }
  return false;
}

/// Compares an identity that was read through the platform's calls with the text itself.
void CheckRead(const ParsedInf& inf, const InfIdentity& identity) {
  Require(IsSingleLine(identity.driverDate, 32), "a date of 1 to 32 units");
  Require(IsSingleLine(identity.driverVersion, 64), "a version of 1 to 64 units");
  Require(identity.driverDate == inf.Value(u"Version", u"DriverVer"), "the date");
  Require(identity.driverVersion == inf.Value(u"Version", u"DriverVer", 2), "the version");
  Require(identity.className == inf.Value(u"Version", u"Class"), "the class");
  Require(identity.classGuid == inf.Value(u"Version", u"ClassGuid"), "the class's GUID");
  Require(identity.catalogFile == inf.Value(u"Version", u"CatalogFile"), "the catalog");
  Require(identity.providerName == inf.Value(u"Strings", u"ProviderName"), "the provider");
  Require(identity.hasExactModel == HasModelLine(inf), "the model");
  Require(
      identity.hasExactService ==
          EqualsIgnoringCase(inf.Value(u"VornAudio_Install.Services", u"AddService").value_or(u""),
                             u"VornAudio"),
      "the service");
  Require(identity.infSha256.size() == 64, "a hash of 64 digits");
  Require(identity.originalInfName == u"vorn_audio.inf", "its own name");
}

/// So is a DriverVer that was read by itself.
void CheckDriverVer(const ParsedInf& inf, const DriverVer& driverVer) {
  Require(driverVer.date == inf.Value(u"Version", u"DriverVer"), "the date alone");
  Require(driverVer.version == inf.Value(u"Version", u"DriverVer", 2), "the version alone");
}

/// The program's reader, for the texts that it can get something from.
void CheckIdentity(const ReadInf& read, const Bytes& content) {
  const auto* inf = std::get_if<ParsedInf>(&read);
  if (inf == nullptr || !inf->Value(u"Version", u"DriverVer")) return;
  static const platform::simulated::Machine kStart = platform::simulated::CleanMachine();
  const std::u16string path = kSampleInf;
  platform::simulated::Machine machine = kStart;
  PutFile(machine.files, path, content);
  platform::simulated::Process process(machine);

  {
    const privileged_input::File file = privileged_input::OpenInputFile(path);
    if (const auto identity = ReadInfIdentity(file)) CheckRead(*inf, *identity);
    const auto driverVer = ReadExpectedDriverVer(file);
    if (driverVer) CheckDriverVer(*inf, *driverVer);
    Require(driverVer.has_value() == process.ErrorOutput().empty(), "a line for what is refused");
  }
  for (const auto& [kind, count] : process.OpenObjects())
    Require(count == 0, "nothing is left open");
}

}  // namespace
}  // namespace inf_text

void FuzzInfText(std::span<const std::uint8_t> input) {
  const platform::simulated::Bytes content(input.begin(), input.end());
  const inf_text::ReadInf read = platform::simulated::ParseInf(content);
  const std::u16string told = inf_text::Told(read, content.size());
  // An empty file has an error of its own, a file with only a mark does not.
  if (!content.empty()) inf_text::CheckForms(content, told);
  inf_text::CheckIdentity(read, content);
}

}  // namespace vorn::tests
