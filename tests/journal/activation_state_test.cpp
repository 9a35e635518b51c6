#include "journal/activation_state.h"

#include "base/format.h"
#include "base/text.h"
#include "product/endpoint_identity.h"
#include "tests/support/catalog_lists.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <ostream>
#include <random>

namespace vorn {
namespace {

using tests::CompleteCatalog;
using tests::ConsistentEndpoints;
using tests::EndpointAt;

const std::u16string kHash = u"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

ActivationState FreshState() {
  ActivationState state;
  state.fresh = true;
  state.target.version = u"26.8.10.5";
  state.target.date = u"08/10/2026";
  state.target.service = u"VornAudio";
  state.target.infSha256 = kHash;
  return state;
}

ActivationState UpdateState(std::size_t catalogCount, std::size_t presentCount) {
  ActivationState state = FreshState();
  state.fresh = false;
  state.catalog = ConsistentEndpoints(catalogCount);
  for (std::size_t i = 0; i < presentCount; ++i) {
    state.present.push_back(Format(u"SWD\\MMDEVAPI\\{A}%zu", i));
  }
  return state;
}

bool Parses(std::u16string_view text) {
  return ParseActivationState(text).has_value();
}

// ------------------------------------------------------------------------------------------------
// A journal as its lines, so that each can be damaged.

using Lines = std::vector<std::u16string>;

Lines SoundLines() {
  return {u"VORN_DRIVER_ACTIVATION_STATE_V2",
          u"version=26.8.10.5",
          u"date=08/10/2026",
          u"service=VornAudio",
          u"infSha256=" + kHash,
          u"fresh=0",
          u"catalogCount=3",
          u"catalog=R|0|1|{0.0.0.00000000}.{a}",
          u"catalog=R|9|0|{0.0.0.00000000}.{b}",
          u"catalog=C|0|1|{0.0.1.00000000}.{c}",
          u"presentCount=2",
          u"present=SWD\\MMDEVAPI\\{0.0.0.00000000}.{A}",
          u"present=SWD\\MMDEVAPI\\{0.0.1.00000000}.{C}"};
}

std::u16string Joined(const Lines& lines, std::u16string_view end = u"\n") {
  std::u16string text;
  for (const std::u16string& line : lines) {
    text += line;
    text += end;
  }
  return text;
}

/// The sound journal with line `index` (from 0) replaced.
std::u16string With(std::size_t index, std::u16string line) {
  Lines lines = SoundLines();
  lines[index] = std::move(line);
  return Joined(lines);
}

constexpr std::size_t kVersionLine = 1;
constexpr std::size_t kDateLine = 2;
constexpr std::size_t kServiceLine = 3;
constexpr std::size_t kHashLine = 4;
constexpr std::size_t kFreshLine = 5;
constexpr std::size_t kCatalogCountLine = 6;
constexpr std::size_t kFirstCatalogLine = 7;
constexpr std::size_t kPresentCountLine = 10;
constexpr std::size_t kFirstPresentLine = 11;

// ------------------------------------------------------------------------------------------------

TEST(ActivationStateText, HasTheseLinesInThisOrder) {
  ActivationState state = FreshState();
  EXPECT_EQ(ToUtf8(SerializeActivationState(state)),
            "VORN_DRIVER_ACTIVATION_STATE_V2\n"
            "version=26.8.10.5\n"
            "date=08/10/2026\n"
            "service=VornAudio\n"
            "infSha256=0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef\n"
            "fresh=1\n"
            "catalogCount=0\n"
            "presentCount=0\n");

  state.fresh = false;
  state.target.infSha256 = ToUpperAscii(kHash);
  state.catalog = {{0, false, true, u"{0.0.0.00000000}.{a}"}, {9, true, false, u"x|y"}};
  state.present = {u"SWD\\MMDEVAPI\\B", u"SWD\\MMDEVAPI\\A"};
  EXPECT_EQ(ToUtf8(SerializeActivationState(state)),
            "VORN_DRIVER_ACTIVATION_STATE_V2\n"
            "version=26.8.10.5\n"
            "date=08/10/2026\n"
            "service=VornAudio\n"
            "infSha256=0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF\n"
            "fresh=0\n"
            "catalogCount=2\n"
            "catalog=R|0|1|{0.0.0.00000000}.{a}\n"
            "catalog=C|9|0|x|y\n"
            "presentCount=2\n"
            "present=SWD\\MMDEVAPI\\B\n"
            "present=SWD\\MMDEVAPI\\A\n");
}

TEST(ActivationStateText, IsWrittenWithoutAnyValidation) {
  ActivationState state;
  state.catalog = {{4294967295, false, true, u""}};
  EXPECT_EQ(ToUtf8(SerializeActivationState(state)),
            "VORN_DRIVER_ACTIVATION_STATE_V2\nversion=\ndate=\nservice=\ninfSha256=\nfresh=0\n"
            "catalogCount=1\ncatalog=R|4294967295|1|\npresentCount=0\n");
}

TEST(ActivationStateText, ParsesBackToAnEqualRecordForEveryNumberOfEntries) {
  for (std::size_t catalogCount = 0; catalogCount <= kEndpointCount; ++catalogCount) {
    for (const std::size_t presentCount : {std::size_t{0}, std::size_t{1}, std::size_t{20}}) {
      const ActivationState state = UpdateState(catalogCount, presentCount);
      EXPECT_EQ(ParseActivationState(SerializeActivationState(state)), state)
          << catalogCount << " " << presentCount;
    }
  }
  EXPECT_EQ(ParseActivationState(SerializeActivationState(FreshState())), FreshState());
}

TEST(ActivationStateText, ParsesBackToAnEqualRecordWhateverTheEntriesHold) {
  // Bars, blanks, and code units that are not characters on their own.
  constexpr char16_t kUnits[] = {u'|', u'=', u' ', u'\t', u'\u00FC', 0xD83D, 0xDE00};
  std::mt19937 random(20260810);
  for (int round = 0; round < 300; ++round) {
    ActivationState state = UpdateState(random() % 21, random() % 21);
    for (CatalogEndpoint& endpoint : state.catalog) {
      endpoint.active = random() % 2 == 0;
      for (std::size_t i = random() % 4; i > 0; --i) {
        endpoint.endpointId += kUnits[random() % std::size(kUnits)];
      }
    }
    std::shuffle(state.catalog.begin(), state.catalog.end(), random);
    std::shuffle(state.present.begin(), state.present.end(), random);
    EXPECT_EQ(ParseActivationState(SerializeActivationState(state)), state) << round;
  }
}

// ------------------------------------------------------------------------------------------------

TEST(ActivationStateParser, ReadsASoundJournal) {
  const std::optional<ActivationState> state = ParseActivationState(Joined(SoundLines()));
  ASSERT_TRUE(state);
  EXPECT_FALSE(state->fresh);
  EXPECT_EQ(state->target.version, u"26.8.10.5");
  EXPECT_EQ(state->target.date, u"08/10/2026");
  EXPECT_EQ(state->target.service, u"VornAudio");
  EXPECT_EQ(state->target.infSha256, kHash);
  const std::vector<CatalogEndpoint> catalog = {{0, false, true, u"{0.0.0.00000000}.{a}"},
                                                {9, false, false, u"{0.0.0.00000000}.{b}"},
                                                {0, true, true, u"{0.0.1.00000000}.{c}"}};
  EXPECT_EQ(state->catalog, catalog);
  const Lines present = {u"SWD\\MMDEVAPI\\{0.0.0.00000000}.{A}",
                         u"SWD\\MMDEVAPI\\{0.0.1.00000000}.{C}"};
  EXPECT_EQ(state->present, present);
}

TEST(ActivationStateParser, AcceptsEveryLineEnd) {
  const std::optional<ActivationState> expected = ParseActivationState(Joined(SoundLines()));
  ASSERT_TRUE(expected);
  std::u16string unfinished = Joined(SoundLines());
  unfinished.pop_back();
  const std::pair<const char*, std::u16string> texts[] = {
      {"CR LF", Joined(SoundLines(), u"\r\n")},
      {"blank lines", Joined(SoundLines(), u"\n\n")},
      {"blank CR LF lines", Joined(SoundLines(), u"\r\n\r\n\r\n")},
      {"leading blank lines", u"\n\r\n" + Joined(SoundLines())},
      {"no last line feed", unfinished},
      {"a last CR without line feed", unfinished + u"\r"},
  };
  for (const auto& [name, text] : texts) {
    EXPECT_EQ(ParseActivationState(text), expected) << name;
  }
}

TEST(ActivationStateParser, StripsOnlyOneCarriageReturn) {
  // The second one is part of the value, which must not contain any.
  EXPECT_FALSE(Parses(With(kVersionLine, u"version=26.8.10.5\r\r")));
  EXPECT_FALSE(Parses(With(kDateLine, u"date=08/10/2026\r\r")));
  EXPECT_FALSE(Parses(With(kVersionLine, u"version=26\r.8.10.5")));
  // A line of two carriage returns is not blank.
  EXPECT_FALSE(Parses(u"\r\r\n" + Joined(SoundLines())));
}

TEST(ActivationStateParser, RefusesTextsOfFewerThanEightLines) {
  EXPECT_FALSE(Parses(u""));
  EXPECT_FALSE(Parses(u"\n\n\n\n\n\n\n\n\n\n"));
  Lines lines;
  ActivationState fresh = FreshState();
  const std::u16string text = SerializeActivationState(fresh);
  ASSERT_TRUE(Parses(text));
  for (std::size_t end = 0; end + 1 < text.size(); ++end) {
    // presentCount= without its 0 reads as 0 too.
    if (text.substr(0, end).ends_with(u"presentCount=")) continue;
    EXPECT_FALSE(Parses(text.substr(0, end))) << end;
  }
}

TEST(ActivationStateParser, RefusesAJournalWithAnyLineMissing) {
  for (std::size_t i = 0; i < SoundLines().size(); ++i) {
    Lines lines = SoundLines();
    lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_FALSE(Parses(Joined(lines))) << i;
  }
}

TEST(ActivationStateParser, RefusesAJournalWithAnyLineTwice) {
  for (std::size_t i = 0; i < SoundLines().size(); ++i) {
    Lines lines = SoundLines();
    const std::u16string twice = lines[i];
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(i), twice);
    EXPECT_FALSE(Parses(Joined(lines))) << i;
  }
}

TEST(ActivationStateParser, RefusesAJournalWithAnyTwoLinesOfDifferentKindsSwapped) {
  const auto kind = [](const std::u16string& line) { return line.substr(0, line.find(u'=')); };
  for (std::size_t i = 0; i < SoundLines().size(); ++i) {
    for (std::size_t j = i + 1; j < SoundLines().size(); ++j) {
      Lines lines = SoundLines();
      if (kind(lines[i]) == kind(lines[j])) continue;
      std::swap(lines[i], lines[j]);
      EXPECT_FALSE(Parses(Joined(lines))) << i << " " << j;
    }
  }
}

TEST(ActivationStateParser, RefusesAJournalWithADamagedKeyInAnyLine) {
  for (std::size_t i = 0; i < SoundLines().size(); ++i) {
    const std::u16string line = SoundLines()[i];
    const std::size_t keyLength = std::min(line.find(u'='), line.size() - 1) + 1;
    const std::pair<const char*, std::u16string> damages[] = {
        {"a leading blank", u" " + line},
        {"a byte-order mark", u"\uFEFF" + line},
        {"its first letter missing", line.substr(1)},
        {"its key missing", line.substr(keyLength)},
        {"its equals sign doubled or its end extended", line.substr(0, keyLength - 1) + u"=="},
        {"only its key without the equals sign", line.substr(0, keyLength - 1)},
    };
    for (const auto& [name, damaged] : damages) {
      // A present id may be "=".
      if (i >= kFirstPresentLine && damaged == u"present==") continue;
      // A version and a date may be "=".
      if ((i == kVersionLine || i == kDateLine) && damaged.ends_with(u"==")) continue;
      EXPECT_FALSE(Parses(With(i, damaged))) << i << ": " << name;
    }
    // Keys are case-sensitive. Each letter changes its case in turn.
    for (std::size_t k = 0; k < keyLength; ++k) {
      std::u16string turned = line;
      turned[k] = ToUpperAscii(line[k]) != line[k] ? ToUpperAscii(line[k]) : ToLowerAscii(line[k]);
      if (turned == line) continue;
      EXPECT_FALSE(Parses(With(i, turned))) << i << ": letter " << k;
    }
    // Each unit is replaced in turn by one that no key contains.
    for (std::size_t k = 0; k < keyLength; ++k) {
      std::u16string replaced = line;
      replaced[k] = u'~';
      EXPECT_FALSE(Parses(With(i, replaced))) << i << ": unit " << k;
    }
  }
}

TEST(ActivationStateParser, RefusesADamageWhicheverCheckFindsIt) {
  // Damage that the first check finds, one in the middle, and the last.
  for (const std::u16string& text :
       {With(0, u"VORN_DRIVER_ACTIVATION_STATE_V1"),
        With(kFirstCatalogLine + 2, u"catalog=C|0|2|c"),
        With(kFirstPresentLine + 1, u"present=swd\\mmdevapi\\{0.0.0.00000000}.{a}")}) {
    EXPECT_FALSE(Parses(text)) << ToUtf8(text);
  }
}

// ------------------------------------------------------------------------------------------------

struct LineCase {
  const char* name;
  std::size_t index;
  std::u16string line;
  bool accepted;
};

void PrintTo(const LineCase& row, std::ostream* stream) {
  *stream << row.name;
}

class JournalLine : public testing::TestWithParam<LineCase> {};

TEST_P(JournalLine, IsAcceptedOrRefused) {
  const LineCase& row = GetParam();
  EXPECT_EQ(Parses(With(row.index, row.line)), row.accepted)
      << row.name << ": " << ToUtf8(row.line);
}

TEST(JournalLine, KnowsTwoFlowsAndTwoStatesAndNoOther) {
  for (char16_t unit = 1; unit < 0x180; ++unit) {
    const std::u16string_view flows = u"CR";
    const std::u16string_view states = u"01";
    const std::u16string flow = u"catalog=" + std::u16string(1, unit) + u"|1|1|x";
    const std::u16string state = u"catalog=C|1|" + std::u16string(1, unit) + u"|x";
    EXPECT_EQ(Parses(With(kFirstCatalogLine, flow)), flows.find(unit) != flows.npos) << int{unit};
    EXPECT_EQ(Parses(With(kFirstCatalogLine, state)), states.find(unit) != states.npos)
        << int{unit};
  }
}

std::u16string Many(std::size_t count) {
  return std::u16string(count, u'9');
}

INSTANTIATE_TEST_SUITE_P(
    Target, JournalLine,
    testing::Values(
        LineCase{"older header", 0, u"VORN_DRIVER_ACTIVATION_STATE_V1", false},
        LineCase{"header in other case", 0, u"vorn_driver_activation_state_v2", false},
        LineCase{"header and more", 0, u"VORN_DRIVER_ACTIVATION_STATE_V2 ", false},
        LineCase{"no version", kVersionLine, u"version=", false},
        LineCase{"short version", kVersionLine, u"version=1", true},
        LineCase{"version of any text", kVersionLine, u"version= not a version=", true},
        LineCase{"version of 64", kVersionLine, u"version=" + Many(64), true},
        LineCase{"version of 65", kVersionLine, u"version=" + Many(65), false},
        LineCase{"no date", kDateLine, u"date=", false},
        LineCase{"date of 32", kDateLine, u"date=" + Many(32), true},
        LineCase{"date of 33", kDateLine, u"date=" + Many(33), false},
        LineCase{"no service", kServiceLine, u"service=", false},
        LineCase{"service in lower case", kServiceLine, u"service=vornaudio", true},
        LineCase{"service in upper case", kServiceLine, u"service=VORNAUDIO", true},
        LineCase{"another service", kServiceLine, u"service=VornAudi0", false},
        LineCase{"service and a blank", kServiceLine, u"service=VornAudio ", false},
        LineCase{"no hash", kHashLine, u"infSha256=", false},
        LineCase{"hash of 63", kHashLine, u"infSha256=" + kHash.substr(1), false},
        LineCase{"hash of 65", kHashLine, u"infSha256=" + kHash + u"0", false},
        LineCase{"hash with a g", kHashLine, u"infSha256=g" + kHash.substr(1), false},
        LineCase{"hash with a blank", kHashLine, u"infSha256= " + kHash.substr(1), false},
        LineCase{"hash in upper case", kHashLine, u"infSha256=" + ToUpperAscii(kHash), true},
        LineCase{"fresh=1 with entries", kFreshLine, u"fresh=1", false},
        LineCase{"fresh=true", kFreshLine, u"fresh=true", false},
        LineCase{"fresh=false", kFreshLine, u"fresh=false", false},
        LineCase{"fresh=", kFreshLine, u"fresh=", false},
        LineCase{"fresh=1 and more", kFreshLine, u"fresh=10", false},
        LineCase{"fresh=00", kFreshLine, u"fresh=00", false},
        LineCase{"fresh= 0", kFreshLine, u"fresh= 0", false},
        LineCase{"fresh=2", kFreshLine, u"fresh=2", false}));

INSTANTIATE_TEST_SUITE_P(
    Counts, JournalLine,
    testing::Values(
        LineCase{"too small", kCatalogCountLine, u"catalogCount=2", false},
        LineCase{"too large", kCatalogCountLine, u"catalogCount=4", false},
        LineCase{"zero", kCatalogCountLine, u"catalogCount=0", false},
        LineCase{"nothing", kCatalogCountLine, u"catalogCount=", false},
        LineCase{"21", kCatalogCountLine, u"catalogCount=21", false},
        LineCase{"all lines that are left", kCatalogCountLine, u"catalogCount=6", false},
        LineCase{"beyond the text", kCatalogCountLine, u"catalogCount=20", false},
        LineCase{"leading zeros", kCatalogCountLine, u"catalogCount=003", true},
        LineCase{"leading blanks", kCatalogCountLine, u"catalogCount= \t\v\f\r3", true},
        LineCase{"a blank outside ASCII", kCatalogCountLine, u"catalogCount=\u00A03", false},
        LineCase{"what comes before the blanks", kCatalogCountLine, u"catalogCount=\b3", false},
        LineCase{"what comes after the blanks", kCatalogCountLine, u"catalogCount=\u000E3", false},
        LineCase{"a plus sign", kCatalogCountLine, u"catalogCount=+3", true},
        LineCase{"blanks and a plus sign", kCatalogCountLine, u"catalogCount=  +3", true},
        LineCase{"3 below zero, modulo 2^32", kCatalogCountLine, u"catalogCount=-4294967293", true},
        LineCase{"a blank and a minus sign", kCatalogCountLine, u"catalogCount= -4294967293", true},
        LineCase{"a minus sign", kCatalogCountLine, u"catalogCount=-3", false},
        LineCase{"3 and 2^32 saturates", kCatalogCountLine, u"catalogCount=4294967299", false},
        LineCase{"3 and 2^64 saturates", kCatalogCountLine, u"catalogCount=18446744073709551619",
                 false},
        LineCase{"saturates before it is negated", kCatalogCountLine,
                 u"catalogCount=-18446744073709551613", false},
        LineCase{"a trailing blank", kCatalogCountLine, u"catalogCount=3 ", false},
        LineCase{"hexadecimal", kCatalogCountLine, u"catalogCount=0x3", false},
        LineCase{"a fraction", kCatalogCountLine, u"catalogCount=3.0", false},
        LineCase{"two signs", kCatalogCountLine, u"catalogCount=+-3", false},
        LineCase{"a blank after the sign", kCatalogCountLine, u"catalogCount=+ 3", false},
        LineCase{"only blanks", kCatalogCountLine, u"catalogCount=   ", false},
        LineCase{"only a sign", kCatalogCountLine, u"catalogCount=+", false},
        LineCase{"a letter", kCatalogCountLine, u"catalogCount=x", false},
        LineCase{"another script's digit", kCatalogCountLine, u"catalogCount=\u0663", false},
        LineCase{"present too small", kPresentCountLine, u"presentCount=1", false},
        LineCase{"present too large", kPresentCountLine, u"presentCount=3", false},
        LineCase{"present nothing", kPresentCountLine, u"presentCount=", false},
        LineCase{"present 21", kPresentCountLine, u"presentCount=21", false},
        LineCase{"present leading blank", kPresentCountLine, u"presentCount= 2", true},
        LineCase{"present negated", kPresentCountLine, u"presentCount=-4294967294", true},
        LineCase{"present trailing blank", kPresentCountLine, u"presentCount=2 ", false}));

INSTANTIATE_TEST_SUITE_P(
    Entries, JournalLine,
    testing::Values(
        LineCase{"other identity", kFirstCatalogLine, u"catalog=R|1|1|x", true},
        LineCase{"disabled", kFirstCatalogLine, u"catalog=R|1|0|x", true},
        LineCase{"bars in the id", kFirstCatalogLine, u"catalog=C|1|1|a|b", true},
        LineCase{"a bar as the id", kFirstCatalogLine, u"catalog=C|1|1||", true},
        LineCase{"a blank as the id", kFirstCatalogLine, u"catalog=C|1|1| ", true},
        LineCase{"index 10", kFirstCatalogLine, u"catalog=R|10|1|x", false},
        LineCase{"index beyond 32 bits", kFirstCatalogLine, u"catalog=R|4294967297|1|x", false},
        LineCase{"an empty index reads as 0, taken by C 0", kFirstCatalogLine, u"catalog=C||1|x",
                 false},
        LineCase{"an empty index reads as 0", kFirstCatalogLine, u"catalog=R||1|x", true},
        LineCase{"a negated index", kFirstCatalogLine, u"catalog=R|-4294967295|1|x", true},
        LineCase{"an index with a plus sign", kFirstCatalogLine, u"catalog=R|+1|1|x", true},
        LineCase{"a negated zero", kFirstCatalogLine, u"catalog=R|-0|1|x", true},
        LineCase{"2^32 saturates", kFirstCatalogLine, u"catalog=R|4294967296|1|x", false},
        LineCase{"2^32 below zero saturates", kFirstCatalogLine, u"catalog=R|-4294967296|1|x",
                 false},
        LineCase{"a negative index", kFirstCatalogLine, u"catalog=R|-1|1|x", false},
        LineCase{"a blank before the index", kFirstCatalogLine, u"catalog=R| 1|1|x", true},
        LineCase{"a blank after the index", kFirstCatalogLine, u"catalog=R|1 |1|x", false},
        LineCase{"a blank as the index", kFirstCatalogLine, u"catalog=R| |1|x", false},
        LineCase{"a letter as the index", kFirstCatalogLine, u"catalog=R|a|1|x", false},
        LineCase{"a sign after the index", kFirstCatalogLine, u"catalog=R|1-|1|x", false},
        LineCase{"no flow of these", kFirstCatalogLine, u"catalog=X|1|1|x", false},
        LineCase{"flow in lower case", kFirstCatalogLine, u"catalog=r|1|1|x", false},
        LineCase{"the other flow in lower case", kFirstCatalogLine, u"catalog=c|1|1|x", false},
        LineCase{"no flow", kFirstCatalogLine, u"catalog=|1|1|x", false},
        LineCase{"a bar as the flow", kFirstCatalogLine, u"catalog=||1|1|x", false},
        LineCase{"two flow letters", kFirstCatalogLine, u"catalog=RR|1|1|x", false},
        LineCase{"no such state", kFirstCatalogLine, u"catalog=C|1|2|x", false},
        LineCase{"two state characters", kFirstCatalogLine, u"catalog=C|1|11|x", false},
        LineCase{"no state character", kFirstCatalogLine, u"catalog=C|1||x", false},
        LineCase{"a bar as the state", kFirstCatalogLine, u"catalog=C|1|||x", false},
        LineCase{"no id", kFirstCatalogLine, u"catalog=C|1|1|", false},
        LineCase{"no third bar", kFirstCatalogLine, u"catalog=C|1|1", false},
        LineCase{"no second bar", kFirstCatalogLine, u"catalog=C|1", false},
        LineCase{"no bar", kFirstCatalogLine, u"catalog=C", false},
        LineCase{"nothing", kFirstCatalogLine, u"catalog=", false},
        LineCase{"an identity twice", kFirstCatalogLine, u"catalog=R|9|1|x", false},
        LineCase{"an id twice, other case", kFirstCatalogLine,
                 u"catalog=R|1|1|{0.0.0.00000000}.{B}", false},
        LineCase{"any present id", kFirstPresentLine, u"present=x", true},
        LineCase{"an empty present id", kFirstPresentLine, u"present=", false},
        LineCase{"a present id twice, other case", kFirstPresentLine,
                 u"present=swd\\mmdevapi\\{0.0.1.00000000}.{c}", false}));

/// The record of a journal that must be accepted.
ActivationState Parsed(std::u16string_view text) {
  std::optional<ActivationState> state = ParseActivationState(text);
  EXPECT_TRUE(state) << ToUtf8(text);
  return state.value_or(ActivationState());
}

TEST(ActivationStateParser, KeepsTheServiceAndTheHashAsWritten) {
  EXPECT_EQ(Parsed(With(kServiceLine, u"service=vornaudio")).target.service, u"vornaudio");
  EXPECT_EQ(Parsed(With(kHashLine, u"infSha256=" + ToUpperAscii(kHash))).target.infSha256,
            ToUpperAscii(kHash));
}

TEST(ActivationStateParser, ReadsEverythingAfterTheThirdBarAsTheEndpointId) {
  const ActivationState state = Parsed(With(kFirstCatalogLine, u"catalog=C|1|1|a|b"));
  ASSERT_FALSE(state.catalog.empty());
  EXPECT_EQ(state.catalog[0], (CatalogEndpoint{1, true, true, u"a|b"}));
}

TEST(ActivationStateParser, ReadsAnIndexModuloTwoToThe32) {
  const ActivationState state = Parsed(With(kFirstCatalogLine, u"catalog=R|-4294967295|1|x"));
  ASSERT_FALSE(state.catalog.empty());
  EXPECT_EQ(state.catalog[0], (CatalogEndpoint{1, false, true, u"x"}));
}

TEST(ActivationStateParser, ReadsAnEmptyCountAsZero) {
  Lines head = SoundLines();
  head.resize(kFreshLine);
  for (const std::u16string& fresh : {std::u16string(u"fresh=0"), std::u16string(u"fresh=1")}) {
    Lines lines = head;
    lines.insert(lines.end(), {fresh, u"catalogCount=", u"presentCount="});
    const std::optional<ActivationState> state = ParseActivationState(Joined(lines));
    ASSERT_TRUE(state);
    EXPECT_TRUE(state->catalog.empty());
    EXPECT_TRUE(state->present.empty());
    EXPECT_EQ(state->fresh, fresh == u"fresh=1");
  }
}

TEST(ActivationStateParser, RefusesEntriesOfAFreshJournal) {
  ActivationState state = FreshState();
  state.catalog = ConsistentEndpoints(1);
  EXPECT_FALSE(Parses(SerializeActivationState(state)));
  state.catalog.clear();
  state.present = {u"SWD\\MMDEVAPI\\x"};
  EXPECT_FALSE(Parses(SerializeActivationState(state)));
}

TEST(ActivationStateParser, RefusesTwentyOneEntriesOfEitherList) {
  ASSERT_TRUE(Parses(SerializeActivationState(UpdateState(20, 20))));
  ActivationState state = UpdateState(20, 20);
  state.catalog.push_back({0, false, true, u"one more"});
  EXPECT_FALSE(Parses(SerializeActivationState(state)));
  EXPECT_FALSE(Parses(SerializeActivationState(UpdateState(20, 21))));
}

TEST(ActivationStateParser, RefusesAPresentLineBeyondTheCount) {
  EXPECT_FALSE(Parses(Joined(SoundLines()) + u"present=SWD\\MMDEVAPI\\more\n"));
  EXPECT_FALSE(Parses(Joined(SoundLines()) + u" \n"));
}

TEST(ActivationStateParser, RefusesANulWhereANumberIsRead) {
  using namespace std::string_literals;
  EXPECT_FALSE(Parses(With(kCatalogCountLine, u"catalogCount=3\0"s)));
  EXPECT_FALSE(Parses(With(kCatalogCountLine, u"catalogCount=\0"s)));
}

TEST(ActivationStateParser, AcceptsADamagedUnitOnlyWhereTheResultIsWritable) {
  // Whatever replaces a unit, a text that is accepted is a record that the serializer can write.
  const std::u16string text = Joined(SoundLines());
  for (std::size_t i = 0; i < text.size(); ++i) {
    for (const char16_t unit : {u'\0', u'\n', u'\r', u' ', u'|', u'=', u'0', u'1', u'9', u'-', u'C',
                                char16_t{0xD800}, char16_t{0xFFFF}}) {
      std::u16string damaged = text;
      damaged[i] = unit;
      const std::optional<ActivationState> state = ParseActivationState(damaged);
      if (!state) continue;
      EXPECT_EQ(ParseActivationState(SerializeActivationState(*state)), state) << i;
    }
  }
}

// ------------------------------------------------------------------------------------------------

TEST(ActivationTarget, IsValidWithinItsLimits) {
  EXPECT_TRUE(IsValidTarget(FreshState().target));
  EXPECT_FALSE(IsValidTarget(DriverIdentity{}));
  const auto with = [](auto change) {
    DriverIdentity target = FreshState().target;
    change(target);
    return IsValidTarget(target);
  };
  EXPECT_TRUE(with([](auto& target) { target.version = Many(64); }));
  EXPECT_FALSE(with([](auto& target) { target.version = Many(65); }));
  EXPECT_FALSE(with([](auto& target) { target.version = u""; }));
  EXPECT_FALSE(with([](auto& target) { target.version = u"1\n2"; }));
  EXPECT_FALSE(with([](auto& target) { target.version = u"1\r2"; }));
  EXPECT_TRUE(with([](auto& target) { target.date = Many(32); }));
  EXPECT_FALSE(with([](auto& target) { target.date = Many(33); }));
  EXPECT_FALSE(with([](auto& target) { target.date = u""; }));
  EXPECT_FALSE(with([](auto& target) { target.date = u"1\n"; }));
  EXPECT_FALSE(with([](auto& target) { target.date = u"\r1"; }));
  EXPECT_TRUE(with([](auto& target) { target.service = u"VORNaudio"; }));
  EXPECT_FALSE(with([](auto& target) { target.service = u"VornAudio2"; }));
  EXPECT_TRUE(with([](auto& target) { target.infSha256 = ToUpperAscii(kHash); }));
  EXPECT_FALSE(with([](auto& target) { target.infSha256.pop_back(); }));
  EXPECT_FALSE(with([](auto& target) { target.infSha256.back() = u'g'; }));
}

}  // namespace
}  // namespace vorn
