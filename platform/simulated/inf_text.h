#pragma once

// ParsedInf: what an INF's bytes mean to the platform. A reader of any bytes: it either gives the
// sections, lines and fields, or says what is wrong and where, in time and memory that grow with
// the file's size only.
//
// The rules:
// - Encoding: UTF-16 little endian or UTF-8 with a byte-order mark (documented), else Windows-1252
//   (assumed; Windows takes the system's code page, and guesses at UTF-16 without a mark).
// - Lines end with a line feed; a carriage return elsewhere is white space, kept within a field
//   (observed). Ctrl-Z ends the text, NUL reads as a blank (observed).
// - A semicolon starts a comment, a backslash before a line's end joins the next line (documented).
// - A line is `key = field, field` or `field, field`; white space around fields goes (documented).
//   Only an equals sign before the first comma makes a key, and a line of one field is its own key
//   (observed).
// - A section name stands in brackets, its blanks included, and what follows on its line is ignored
//   (observed). Text before the first section is an error, or ignored where there is [Strings]
//   (observed).
// - Double quotes keep white space, commas, semicolons and equals signs; two of them inside quotes
//   are one; quotes end with their line (documented, the last observed).
// - Sections of one name are one section; names are found without regard to case (documented).
// - %key% is the first field of that key in [Strings], %% is a percent sign, and an unknown key
//   stays as it is (documented; the last observed). The lists for a language ([Strings.0409]) and
//   directory numbers (%12%) are not looked at: no field that is read here depends on them.
// - A field is cut at 511 units before substitution (documented, observed) and at 4095 after it
//   (documented; the cut assumed).

#include "platform/simulated/file_system.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vorn::platform::simulated {

class ParsedInf {
 public:
  using Section = std::uint32_t;  // index, in order of first appearance
  using Line = std::uint32_t;     // index within a section

  Section SectionCount() const { return static_cast<Section>(sections_.size()); }
  const std::u16string& SectionName(Section section) const { return sections_[section].name; }
  std::optional<Section> FindSection(std::u16string_view name) const;

  Line LineCount(Section section) const;

  /// The first line from `from` on with that key, whose own strings are substituted first; case is
  /// ignored.
  std::optional<Line> FindLine(Section section, std::u16string_view key, Line from = 0) const;

  /// Number of the line's fields, the key not counted.
  std::uint32_t FieldCount(Section section, Line line) const;

  /// A field with its strings substituted; 0 is the key, which a line of one field without key has
  /// as well. Nothing when the line has no such field.
  std::optional<std::u16string> Field(Section section, Line line, std::uint32_t index) const;

  /// The field of the first line with that key in a section.
  std::optional<std::u16string> Value(std::u16string_view section, std::u16string_view key,
                                      std::uint32_t index = 1) const;

 private:
  friend class InfParser;

  struct Piece {  // of text_
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
  };
  struct LineRecord {
    std::uint32_t firstField = 0;
    std::uint32_t fieldCount = 0;  // with the key
    bool hasKey = false;
  };
  struct SectionRecord {
    std::u16string name;
    std::vector<std::uint32_t> lines;
  };

  std::optional<std::u16string_view> RawField(Section section, Line line,
                                              std::uint32_t index) const;
  std::u16string Substitute(std::u16string_view raw) const;

  std::u16string text_;
  std::vector<Piece> fields_;
  std::vector<LineRecord> lines_;
  std::vector<SectionRecord> sections_;
  std::map<std::u16string, Section> sectionsByName_;  // lower-cased
  std::map<std::u16string, std::u16string> strings_;  // [Strings] by lower-cased key
};

/// Why an INF cannot be opened.
struct InfError {
  std::uint32_t error = 0;  // ERROR_WRONG_INF_STYLE and its like
  std::uint32_t line = 0;   // counted from 1; 0 when no line is to blame
};

/// Reads an INF of the current style, which needs a [Version] section with a known Signature.
std::variant<ParsedInf, InfError> ParseInf(const Bytes& content);

}  // namespace vorn::platform::simulated
