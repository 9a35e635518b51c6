#include "journal/activation_state.h"

#include "base/format.h"
#include "base/text.h"
#include "catalog/endpoint_sets.h"
#include "package/content_hash.h"
#include "product/endpoint_identity.h"
#include "product/product.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

namespace vorn {

namespace {

constexpr std::u16string_view kHeader = u"VORN_DRIVER_ACTIVATION_STATE_V2";

// Lines before the catalog entries, including catalogCount. presentCount is one more.
constexpr std::size_t kLinesBeforeCatalog = 7;
constexpr std::size_t kFixedLines = kLinesBeforeCatalog + 1;

using Lines = std::vector<std::u16string_view>;

/// The non-empty lines; a line may end in CR LF.
Lines SplitLines(std::u16string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(u'\n'), text.size());
    std::u16string_view line = text.substr(0, end);
    if (line.ends_with(u'\r')) line.remove_suffix(1);
    if (!line.empty()) lines.push_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// The text after `prefix`, if the line begins with it.
std::optional<std::u16string_view> Rest(std::u16string_view line, std::u16string_view prefix) {
  if (!line.starts_with(prefix)) return std::nullopt;
  return line.substr(prefix.size());
}

bool IsBlank(char16_t unit) {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}

enum class Sign { Plus, Minus };

/// Converts digits as wcstoul does for 32 bits: an overflow yields the largest number. Nothing if
/// there is any other character.
std::optional<std::uint32_t> ReadDigits(std::u16string_view digits, Sign sign) {
  constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t value = 0;
  for (const char16_t digit : digits) {
    if (!IsAsciiDigit(digit)) return std::nullopt;
    value = std::min<std::uint64_t>(value * 10 + (digit - u'0'), std::uint64_t{kLargest} + 1);
  }
  if (value > kLargest) return kLargest;
  const auto number = static_cast<std::uint32_t>(value);
  return sign == Sign::Minus ? 0 - number : number;
}

/// Converts all of `text` as wcstoul does for base 10 and 32 bits: blanks and a sign may lead, and
/// a minus sign negates modulo 2^32. An empty text is 0; nothing for blanks or a sign alone.
std::optional<std::uint32_t> ReadNumber(std::u16string_view text) {
  if (text.empty()) return 0;
  text.remove_prefix(
      static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), IsBlank) - text.begin()));
  const bool negative = text.starts_with(u'-');
  if (negative || text.starts_with(u'+')) text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  return ReadDigits(text, negative ? Sign::Minus : Sign::Plus);
}

/// The number of entries that a line with that prefix announces, at most kEndpointCount.
std::optional<std::size_t> ReadCount(std::u16string_view line, std::u16string_view prefix) {
  const auto rest = Rest(line, prefix);
  if (!rest) return std::nullopt;
  const auto count = ReadNumber(*rest);
  if (!count || *count > kEndpointCount) return std::nullopt;
  return *count;
}

/// "C|3|1|id": flow, cable index, active, endpoint id. The id may hold bars of its own.
std::optional<CatalogEndpoint> ReadCatalogEndpoint(std::u16string_view value) {
  const std::size_t first = value.find(u'|');
  if (first != 1) return std::nullopt;
  const std::size_t second = value.find(u'|', first + 1);
  if (second == std::u16string_view::npos) return std::nullopt;
  const std::size_t third = value.find(u'|', second + 1);
  if (third != second + 2 || third + 1 == value.size()) return std::nullopt;

  const char16_t flow = value[0];
  const auto cableIndex = ReadNumber(value.substr(first + 1, second - first - 1));
  const char16_t active = value[second + 1];
  if (flow != u'C' && flow != u'R') return std::nullopt;
  if (!cableIndex || *cableIndex >= kCableCount) return std::nullopt;
  if (active != u'0' && active != u'1') return std::nullopt;
  return CatalogEndpoint{.cableIndex = *cableIndex,
                         .capture = flow == u'C',
                         .active = active == u'1',
                         .endpointId = std::u16string(value.substr(third + 1))};
}

/// The lines that stand at fixed places: the header, the target and the fresh flag.
bool ReadTarget(const Lines& lines, ActivationState& state) {
  const auto version = Rest(lines[1], u"version=");
  const auto date = Rest(lines[2], u"date=");
  const auto service = Rest(lines[3], u"service=");
  const auto infSha256 = Rest(lines[4], u"infSha256=");
  if (lines[0] != kHeader || !version || !date || !service || !infSha256) return false;
  if (lines[5] != u"fresh=0" && lines[5] != u"fresh=1") return false;
  state.target = {.version = std::u16string(*version),
                  .date = std::u16string(*date),
                  .service = std::u16string(*service),
                  .infSha256 = std::u16string(*infSha256)};
  state.fresh = lines[5] == u"fresh=1";
  return true;
}

/// Both counts and the entries that they announce, which must be all that is left.
bool ReadLists(const Lines& lines, ActivationState& state) {
  const auto catalogCount = ReadCount(lines[kLinesBeforeCatalog - 1], u"catalogCount=");
  if (!catalogCount) return false;
  const std::size_t presentAt = kLinesBeforeCatalog + *catalogCount;
  if (presentAt >= lines.size()) return false;
  const auto presentCount = ReadCount(lines[presentAt], u"presentCount=");
  if (!presentCount || lines.size() != kFixedLines + *catalogCount + *presentCount) return false;

  for (std::size_t i = kLinesBeforeCatalog; i < presentAt; ++i) {
    const auto value = Rest(lines[i], u"catalog=");
    auto endpoint = value ? ReadCatalogEndpoint(*value) : std::nullopt;
    if (!endpoint) return false;
    state.catalog.push_back(std::move(*endpoint));
  }
  for (std::size_t i = presentAt + 1; i < lines.size(); ++i) {
    const auto id = Rest(lines[i], u"present=");
    if (!id) return false;
    state.present.emplace_back(*id);
  }
  return true;
}

bool HasValidLists(const ActivationState& state) {
  if (state.fresh) return state.catalog.empty() && state.present.empty();
  return CheckCatalogEndpoints(state.catalog).ok &&
         CompareInstanceSets(state.present, state.present, state.Origin()).ok;
}

}  // namespace

std::u16string SerializeActivationState(const ActivationState& state) {
  std::u16string text =
      Format(u"%ls\nversion=%ls\ndate=%ls\nservice=%ls\ninfSha256=%ls\n", kHeader,
             state.target.version, state.target.date, state.target.service, state.target.infSha256);
  text += state.fresh ? u"fresh=1\n" : u"fresh=0\n";
  text += Format(u"catalogCount=%zu\n", state.catalog.size());
  for (const CatalogEndpoint& endpoint : state.catalog) {
    text += Format(u"catalog=%ls|%u|%ls|%ls\n", endpoint.capture ? u"C" : u"R", endpoint.cableIndex,
                   endpoint.active ? u"1" : u"0", endpoint.endpointId);
  }
  text += Format(u"presentCount=%zu\n", state.present.size());
  for (const std::u16string& id : state.present) {
    text += Format(u"present=%ls\n", id);
  }
  return text;
}

std::optional<ActivationState> ParseActivationState(std::u16string_view text) {
  const Lines lines = SplitLines(text);
  if (lines.size() < kFixedLines) return std::nullopt;
  ActivationState state;
  if (!ReadTarget(lines, state) || !ReadLists(lines, state)) return std::nullopt;
  if (!IsValidTarget(state.target) || !HasValidLists(state)) return std::nullopt;
  return state;
}

bool IsValidTarget(const DriverIdentity& target) {
  return IsSingleLine(target.version, kMaxVersionLength) &&
         IsSingleLine(target.date, kMaxDateLength) &&
         EqualsIgnoringCase(target.service, kDriverServiceName) && IsSha256Text(target.infSha256);
}

}  // namespace vorn
