#include "platform/simulated/inf_text.h"

#include "base/text.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"

#include <algorithm>
#include <array>
#include <limits>

namespace vorn::platform::simulated {

namespace {

constexpr std::size_t kMaxFieldUnits = 511;         // before substitution, without terminator
constexpr std::size_t kMaxSubstitutedUnits = 4095;  // MAX_INF_STRING_LENGTH less the terminator
constexpr std::size_t kMaxSectionNameUnits = 255;   // MAX_INF_SECTION_NAME_LENGTH
constexpr char16_t kCtrlZ = 0x1A;

// Windows-1252 from 0x80 to 0x9F; five of the bytes stand for the control characters with their
// number.
constexpr char16_t kWindows1252[32] = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

bool StartsWith(const Bytes& content, std::initializer_list<std::uint8_t> mark) {
  return content.size() >= mark.size() && std::equal(mark.begin(), mark.end(), content.begin());
}

std::u16string DecodeUtf16(const Bytes& content) {
  std::u16string text;
  text.reserve(content.size() / 2);
  for (std::size_t i = 2; i + 1 < content.size(); i += 2) {
    text.push_back(static_cast<char16_t>(content[i] | content[i + 1] << 8));
  }
  return text;
}

std::u16string DecodeAnsi(const Bytes& content) {
  std::u16string text(content.size(), u'\0');
  std::transform(content.begin(), content.end(), text.begin(), [](std::uint8_t byte) {
    return byte >= 0x80 && byte < 0xA0 ? kWindows1252[byte - 0x80] : char16_t{byte};
  });
  return text;
}

std::u16string Decode(const Bytes& content) {
  if (StartsWith(content, {0xFF, 0xFE})) return DecodeUtf16(content);
  if (StartsWith(content, {0xEF, 0xBB, 0xBF})) {
    return ToUtf16(
        std::string_view(reinterpret_cast<const char*>(content.data()) + 3, content.size() - 3));
  }
  return DecodeAnsi(content);
}

/// The text up to the character that ends it.
std::u16string DecodeToEnd(const Bytes& content) {
  std::u16string text = Decode(content);
  text.resize(std::min(text.size(), text.find(kCtrlZ)));
  return text;
}

/// Observed: white space of any script is blank, except the line feed.
bool IsBlank(char16_t unit) {
  if (unit > u' ' && unit < 0x80) return false;  // most units of an INF
  constexpr std::u16string_view kBlanks =
      u" \t\v\f\r\u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009"
      u"\u200A"
      u"\u2028\u2029\u202F\u205F\u3000";
  return kBlanks.find(unit) != std::u16string_view::npos;
}

/// Whether a unit is part of a field whatever stands around it.
bool IsOrdinary(char16_t unit) {
  return unit > u' ' && unit < 0x80 && unit != u',' && unit != u';' && unit != u'=' &&
         unit != u'"' && unit != u'\\';
}

}  // namespace

// ------------------------------------------------------------------------------------------------

/// Reads the text once, front to back.
class InfParser {
 public:
  explicit InfParser(std::u16string source) : source_(std::move(source)) {
    inf_.text_.reserve(source_.size());
  }

  InfReading Parse() {
    while (!AtEnd()) {
      if (const auto error = ParseLine()) return *error;
    }
    // Observed: a NUL in an INF is part of its field, and reads as a blank.
    std::replace(inf_.text_.begin(), inf_.text_.end(), u'\0', u' ');
    CollectStrings();
    // Text before the first section is ignored when there is [Strings].
    if (lineOutsideSections_ != 0 && !inf_.FindSection(u"Strings")) {
      return InfError{ERROR_EXPECTED_SECTION_NAME, lineOutsideSections_};
    }
    if (!HasKnownSignature()) return InfError{ERROR_WRONG_INF_STYLE, 0};
    return std::move(inf_);
  }

 private:
  bool AtEnd() const { return position_ == source_.size(); }
  bool AtLineEnd() const { return AtEnd() || source_[position_] == u'\n'; }
  char16_t Here() const { return AtEnd() ? u'\0' : source_[position_]; }

  void SkipBlanks() {
    while (!AtEnd() && IsBlank(Here()))
      ++position_;
  }

  void SkipToLineEnd() { position_ = std::min(source_.find(u'\n', position_), source_.size()); }

  void PassLineEnd() {
    if (AtEnd()) return;
    ++position_;
    ++line_;
  }

  std::optional<InfError> ParseLine() {
    SkipBlanks();
    if (!section_) SkipToSectionName();
    if (Here() == u'[') {
      if (const auto error = ParseSectionName()) return error;
    } else if (!AtLineEnd() && Here() != u';') {
      ParseFields();
    }
    SkipToLineEnd();
    PassLineEnd();
    return std::nullopt;
  }

  // Observed: before the first section, a section name may start anywhere in its line.
  void SkipToSectionName() {
    if (AtLineEnd() || Here() == u'[' || Here() == u';') return;
    if (lineOutsideSections_ == 0) lineOutsideSections_ = line_;
    position_ = std::min(source_.find_first_of(u"[;\n", position_), source_.size());
  }

  // Observed: the rest of the line after a section's name is ignored, and the name keeps its
  // blanks.
  std::optional<InfError> ParseSectionName() {
    const std::size_t start = ++position_;
    SkipToLineEnd();
    const std::u16string_view rest = std::u16string_view(source_).substr(start, position_ - start);
    const std::size_t length = rest.find(u']');
    if (length == std::u16string_view::npos) return InfError{ERROR_BAD_SECTION_NAME_LINE, line_};
    if (length > kMaxSectionNameUnits) return InfError{ERROR_SECTION_NAME_TOO_LONG, line_};
    OpenSection(rest.substr(0, length));
    return std::nullopt;
  }

  void OpenSection(std::u16string_view name) {
    const auto [found, isNew] =
        inf_.sectionsByName_.emplace(ToLowerAscii(name), inf_.SectionCount());
    if (isNew) inf_.sections_.push_back({std::u16string(name), {}});
    section_ = found->second;
  }

  void ParseFields() {
    ParsedInf::LineRecord record;
    record.firstField = static_cast<std::uint32_t>(inf_.fields_.size());
    bool another = true;
    while (another) {
      const bool keyAllowed = inf_.fields_.size() == record.firstField;
      ParseField(keyAllowed);
      another = Here() == u',' || (keyAllowed && Here() == u'=');
      if (another) {
        record.hasKey = record.hasKey || Here() == u'=';
        ++position_;
      }
    }
    record.fieldCount = static_cast<std::uint32_t>(inf_.fields_.size()) - record.firstField;
    inf_.sections_[*section_].lines.push_back(static_cast<std::uint32_t>(inf_.lines_.size()));
    inf_.lines_.push_back(record);
  }

  // Stops at whatever ends the field: a comma, the equals sign of a key, a comment or the end of
  // the line.
  void ParseField(bool keyAllowed) {
    const std::size_t start = inf_.text_.size();
    std::size_t end = start;  // of the field so far, without trailing blanks
    SkipBlanks();
    while (!AtLineEnd() && Here() != u',' && Here() != u';' && !(keyAllowed && Here() == u'=')) {
      if (IsBlank(Here())) {
        inf_.text_.push_back(source_[position_++]);
        continue;
      }
      if (IsOrdinary(Here())) {
        ParseOrdinary();
      } else if (Here() == u'\\') {
        ParseBackslashes(end);
      } else if (Here() == u'"') {
        ParseQuoted();
      } else {
        inf_.text_.push_back(source_[position_++]);
      }
      end = inf_.text_.size();
    }
    inf_.text_.resize(std::min(end, start + kMaxFieldUnits));
    inf_.fields_.push_back(
        {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(inf_.text_.size() - start)});
  }

  void ParseOrdinary() {
    const std::size_t start = position_;
    while (!AtEnd() && IsOrdinary(source_[position_]))
      ++position_;
    inf_.text_.append(source_, start, position_ - start);
  }

  void ParseQuoted() {
    ++position_;
    while (!AtLineEnd()) {
      if (Here() == u'"') {
        ++position_;
        if (Here() != u'"') return;
      }
      inf_.text_.push_back(Here());
      ++position_;
    }
  }

  // Observed: backslashes that are followed only by blanks or a comment join the next line;
  // otherwise the whole run is text, including its blanks.
  void ParseBackslashes(std::size_t endOfField) {
    const std::size_t start = position_;
    while (!AtEnd() && (Here() == u'\\' || IsBlank(Here())))
      ++position_;
    if (!AtLineEnd() && Here() != u';') {
      inf_.text_.append(source_, start, position_ - start);
      return;
    }
    inf_.text_.resize(endOfField);
    SkipToLineEnd();
    PassLineEnd();
    SkipBlanks();
  }

  // Observed: of two entries of [Strings] with the same key the first one counts.
  void CollectStrings() {
    const auto section = inf_.FindSection(u"Strings");
    if (!section) return;
    for (ParsedInf::Line line = 0; line < inf_.LineCount(*section); ++line) {
      const auto key = inf_.RawField(*section, line, 0);
      const auto value = inf_.RawField(*section, line, 1);
      if (key && value) inf_.strings_.emplace(ToLowerAscii(*key), *value);
    }
  }

  // Observed: strings are not substituted in the signature.
  bool HasKnownSignature() const {
    const auto section = inf_.FindSection(u"Version");
    const auto line = section ? inf_.FindLine(*section, u"Signature") : std::nullopt;
    const auto signature = line ? inf_.RawField(*section, *line, 1) : std::nullopt;
    return signature && (EqualsIgnoringCase(*signature, u"$Windows NT$") ||
                         EqualsIgnoringCase(*signature, u"$Chicago$") ||
                         EqualsIgnoringCase(*signature, u"$Windows 95$"));
  }

  std::u16string source_;
  std::size_t position_ = 0;
  std::uint32_t line_ = 1;
  std::uint32_t lineOutsideSections_ = 0;
  std::optional<ParsedInf::Section> section_;
  ParsedInf inf_;
};

InfReading ParseInf(const Bytes& content) {
  std::u16string text = DecodeToEnd(content);
  // Observed: an empty file is an invalid file, not an INF without sections.
  if (content.empty()) return InfError{ERROR_FILE_INVALID, 0};
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    return InfError{ERROR_NOT_ENOUGH_MEMORY, 0};
  }
  return InfParser(std::move(text)).Parse();
}

std::shared_ptr<const InfReading> ParseInfOnce(const Bytes& content) {
  struct Remembered {
    Bytes content;
    std::shared_ptr<const InfReading> reading;
  };
  constexpr std::size_t kMostBytes = 65536;
  static std::array<Remembered, 8> lately;
  static std::size_t next = 0;
  for (const Remembered& each : lately) {
    if (each.reading != nullptr && each.content == content) return each.reading;
  }
  auto reading = std::make_shared<const InfReading>(ParseInf(content));
  if (content.size() <= kMostBytes) lately[next++ % lately.size()] = {content, reading};
  return reading;
}

// ------------------------------------------------------------------------------------------------

std::optional<ParsedInf::Section> ParsedInf::FindSection(std::u16string_view name) const {
  const auto found = sectionsByName_.find(ToLowerAscii(name));
  if (found == sectionsByName_.end()) return std::nullopt;
  return found->second;
}

ParsedInf::Line ParsedInf::LineCount(Section section) const {
  return static_cast<Line>(sections_[section].lines.size());
}

std::optional<ParsedInf::Line> ParsedInf::FindLine(Section section, std::u16string_view key,
                                                   Line from) const {
  for (Line line = from; line < LineCount(section); ++line) {
    const auto itsKey = Field(section, line, 0);
    if (itsKey && EqualsIgnoringCase(*itsKey, key)) return line;
  }
  return std::nullopt;
}

std::uint32_t ParsedInf::FieldCount(Section section, Line line) const {
  const LineRecord& record = lines_[sections_[section].lines[line]];
  return record.fieldCount - (record.hasKey ? 1 : 0);
}

std::optional<std::u16string> ParsedInf::Field(Section section, Line line,
                                               std::uint32_t index) const {
  const auto raw = RawField(section, line, index);
  if (!raw) return std::nullopt;
  return Substitute(*raw);
}

std::optional<std::u16string_view> ParsedInf::RawField(Section section, Line line,
                                                       std::uint32_t index) const {
  const LineRecord& record = lines_[sections_[section].lines[line]];
  const std::uint32_t first = record.hasKey || record.fieldCount == 1 ? 0 : 1;
  if (index < first || index > FieldCount(section, line)) return std::nullopt;
  const std::uint32_t place = record.hasKey || index == 0 ? index : index - 1;
  const Piece& piece = fields_[record.firstField + place];
  return std::u16string_view(text_).substr(piece.offset, piece.length);
}

std::optional<std::u16string> ParsedInf::Value(std::u16string_view section, std::u16string_view key,
                                               std::uint32_t index) const {
  const auto where = FindSection(section);
  if (!where) return std::nullopt;
  const auto line = FindLine(*where, key);
  if (!line) return std::nullopt;
  return Field(*where, *line, index);
}

std::u16string ParsedInf::Substitute(std::u16string_view raw) const {
  if (raw.size() <= kMaxSubstitutedUnits && raw.find(u'%') == std::u16string_view::npos) {
    return std::u16string(raw);
  }
  std::u16string result;
  while (!raw.empty() && result.size() < kMaxSubstitutedUnits) {
    const std::size_t start = std::min(raw.find(u'%'), raw.size());
    result += raw.substr(0, start);
    raw.remove_prefix(start);
    const std::size_t end = raw.find(u'%', 1);
    if (raw.empty() || end == std::u16string_view::npos) break;
    const std::u16string_view name = raw.substr(1, end - 1);
    const auto known = strings_.find(ToLowerAscii(name));
    if (name.empty()) {
      result += u'%';
    } else if (known != strings_.end()) {
      result += known->second;
    } else {
      result += raw.substr(0, end + 1);
    }
    raw.remove_prefix(end + 1);
  }
  result += raw;
  if (result.size() > kMaxSubstitutedUnits) result.resize(kMaxSubstitutedUnits);
  return result;
}

}  // namespace vorn::platform::simulated
