#pragma once

// ParsedInf: what an INF's bytes mean to the platform. The reader accepts any bytes. It either
// returns the sections, lines and fields, or reports what is wrong and where, using time and memory
// proportional to the file's size.
//
// The rules, those of the parser itself aside:
// - Documented: the encoding is UTF-16 little endian or UTF-8 after a byte-order mark.
// - Assumed: any other text is Windows-1252. Question: which letters does an INF without a mark
// have
//   on a system with another code page?
// - Observed: lines end with a line feed; a carriage return elsewhere is white space, kept within a
//   field.
// - Observed: Ctrl-Z ends the text.
// - Documented: a semicolon starts a comment, and a backslash before a line's end joins the next
// line.
// - Documented: a line is `key = field, field` or `field, field`, and white space around fields is
//   dropped.
// - Observed: only an equals sign before the first comma makes a key, and a line of one field is
// its
//   own key.
// - Observed: text before the first section is an error, unless there is [Strings].
// - Documented: double quotes keep white space, commas, semicolons and equals signs, and two of
// them
//   inside quotes are one.
// - Observed: quotes end with their line.
// - Documented: sections with the same name are one section, and names ignore case.
// - Documented: %key% is the first field of that key in [Strings], and %% is a percent sign.
// - Observed: an unknown key stays as it is.
// - Observed: a field is truncated at 511 units before substitution.
// - Assumed: a field is truncated at 4095 units after substitution. Question: how much of a longer
//   field does SetupGetStringFieldW return?
//
// Language-specific lists ([Strings.0409]) and directory numbers (%12%) are not supported: no field
// that is read here depends on them.

#include "platform/simulated/file_system.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vorn::platform::simulated {

class ParsedInf {
 public:
  using Section = std::uint32_t;  // in order of first appearance
  using Line = std::uint32_t;     // within its section

  Section SectionCount() const { return static_cast<Section>(sections_.size()); }
  const std::u16string& SectionName(Section section) const { return sections_[section].name; }
  std::optional<Section> FindSection(std::u16string_view name) const;

  Line LineCount(Section section) const;

  /// The first line at or after `from` with that key. Strings in keys are substituted first; case
  /// is ignored.
  std::optional<Line> FindLine(Section section, std::u16string_view key, Line from = 0) const;

  /// The number of the line's fields, without the key.
  std::uint32_t FieldCount(Section section, Line line) const;

  /// A field with its strings substituted. Field 0 is the key; the single field of a line without a
  /// key is its key as well. Nothing when the line has no such field.
  std::optional<std::u16string> Field(Section section, Line line, std::uint32_t index) const;

  /// That field of the section's first line with that key.
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
    std::uint32_t fieldCount = 0;  // including the key
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
  std::uint32_t line = 0;   // from 1; 0 when no line is at fault
};

/// Reads an INF of the current style, which requires a [Version] section with a known Signature.
using InfReading = std::variant<ParsedInf, InfError>;
InfReading ParseInf(const Bytes& content);

/// The same, for one of the last few contents without parsing it again: a command has its INF read
/// many times, and so has each of thousands of runs.
std::shared_ptr<const InfReading> ParseInfOnce(const Bytes& content);

}  // namespace vorn::platform::simulated
