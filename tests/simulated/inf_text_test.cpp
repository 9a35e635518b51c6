#include "platform/simulated/inf_text.h"

#include "base/text.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"

#include <gtest/gtest.h>
#include <random>

namespace vorn::platform::simulated {
namespace {

constexpr char kVersion[] = "[Version]\nSignature=\"$Windows NT$\"\n";

Bytes ToBytes(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

ParsedInf Parse(const Bytes& content) {
  auto parsed = ParseInf(content);
  if (const InfError* error = std::get_if<InfError>(&parsed)) {
    ADD_FAILURE() << "refused with " << std::hex << error->error << ", line " << std::dec
                  << error->line;
    return {};
  }
  return std::get<ParsedInf>(std::move(parsed));
}

/// One line of a section as "key=|field|field"; "-" stands for no key.
std::string Render(const ParsedInf& inf, ParsedInf::Section section, ParsedInf::Line line) {
  const auto key = inf.Field(section, line, 0);
  std::string text = key ? ToUtf8(*key) + "=" : "-";
  for (std::uint32_t field = 1; field <= inf.FieldCount(section, line); ++field)
    text += "|" + ToUtf8(inf.Field(section, line, field).value_or(u"<none>"));
  return text;
}

using Lines = std::vector<std::string>;

Lines RenderSection(const ParsedInf& inf, std::u16string_view name) {
  const auto section = inf.FindSection(name);
  if (!section) return {"no section"};
  Lines lines;
  for (ParsedInf::Line line = 0; line < inf.LineCount(*section); ++line)
    lines.push_back(Render(inf, *section, line));
  return lines;
}

/// The lines of a section with that text, in an INF that defines some strings.
Lines LinesOf(std::string_view text) {
  return RenderSection(Parse(ToBytes(std::string(kVersion) +
                                     "[Strings]\nname=Value\nquoted=\"a, \"\"b\"\"\"\nempty=\n"
                                     "nested=%name%\nalone\nname=Second\n[T]\n" +
                                     std::string(text))),
                       u"T");
}

InfError ErrorOf(const Bytes& content) {
  const auto parsed = ParseInf(content);
  const InfError* error = std::get_if<InfError>(&parsed);
  return error != nullptr ? *error : InfError{};
}

void ExpectError(std::string_view text, std::uint32_t error, std::uint32_t line) {
  const InfError actual = ErrorOf(ToBytes(text));
  EXPECT_EQ(actual.error, error) << text;
  EXPECT_EQ(actual.line, line) << text;
}

// ------------------------------------------------------------------------------------------------

struct LineCase {
  const char* name;
  const char* text;
  Lines lines;
};

void PrintTo(const LineCase& row, std::ostream* out) {
  *out << row.name;
}

class InfLines : public ::testing::TestWithParam<LineCase> {};

TEST_P(InfLines, AreReadAsThePlatformDoes) {
  EXPECT_EQ(LinesOf(GetParam().text), GetParam().lines) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Rules, InfLines,
    ::testing::Values(
        LineCase{"Key", "a=b\n", {"a=|b"}}, LineCase{"NoLineEnd", "a=b", {"a=|b"}},
        LineCase{"Fields", "a = b , c d ,e\n", {"a=|b|c d|e"}},
        LineCase{"NoKey", "a,b\n", {"-|a|b"}}, LineCase{"OneFieldIsItsOwnKey", " a \n", {"a=|a"}},
        LineCase{"EmptyFields", "a=,,b,\n", {"a=|||b|"}}, LineCase{"EmptyValue", "a=\n", {"a=|"}},
        LineCase{"EmptyKey", "=b\n", {"=|b"}}, LineCase{"OnlyAComma", ",\n", {"-||"}},
        LineCase{"EqualsAfterAComma", "a,b=c\n", {"-|a|b=c"}},
        LineCase{"SecondEquals", "a=b=c\n", {"a=|b=c"}},
        LineCase{"BlankLines", "\n  \n\t\r\na=b\n\n", {"a=|b"}},
        LineCase{"Tabs", "\ta\t=\tb\t\n", {"a=|b"}},
        LineCase{"CarriageReturns", "a=b\r\nc=d\r\n", {"a=|b", "c=|d"}},
        LineCase{"CarriageReturnWithin", "a=b\rc\n", {"a=|b\rc"}},
        LineCase{"CarriageReturnAround", "a=\rb\r,\rc\n", {"a=|b|c"}},
        LineCase{"Comment", "a=b ; c\n;d=e\n  ; f\n", {"a=|b"}},
        LineCase{"CommentAfterAComma", "a=b,;c\n", {"a=|b|"}},
        LineCase{"Quotes", "a=\" b,c;d=e \"\n", {"a=| b,c;d=e "}},
        LineCase{"QuotedKey", "\"a b=c\" = d\n", {"a b=c=|d"}},
        LineCase{"DoubledQuotes", "a=\"b \"\"c\"\" d\"\n", {"a=|b \"c\" d"}},
        LineCase{"OnlyDoubledQuotes", "a=\"\"\n", {"a=|"}},
        LineCase{"QuotesWithin", "a=b\" \"c\n", {"a=|b c"}},
        LineCase{"QuotesEndWithTheirLine", "a=\"b\nc=d\n", {"a=|b", "c=|d"}},
        LineCase{"BlanksAfterQuotesGo", "a=\"b \"  ,c\n", {"a=|b |c"}},
        LineCase{"Continuation", "a=b,\\\n  c\n", {"a=|b|c"}},
        LineCase{"ContinuationWithBlanks", "a=b \\ \r\n  c\n", {"a=|bc"}},
        LineCase{"ContinuationWithComment", "a=b,\\ ; x\nc\n", {"a=|b|c"}},
        LineCase{"ContinuationOfAKey", "a\\\nb=c\n", {"ab=|c"}},
        LineCase{"ContinuationIntoASectionName", "a=b,\\\n[c]\nd=e\n", {"a=|b|[c]", "d=|e"}},
        LineCase{"ContinuationAtTheEnd", "a=b,c\\", {"a=|b|c"}},
        LineCase{"ManyContinuations", "a=\\\\\\\nb\n", {"a=|b"}},
        LineCase{"Backslash", "a=C:\\b\\c.sys\n", {"a=|C:\\b\\c.sys"}},
        LineCase{"BackslashAndBlanks", "a=\\ b\\ ,c\n", {"a=|\\ b\\ |c"}},
        LineCase{"BackslashInQuotes", "a=\"b\\\"\nc=d\n", {"a=|b\\", "c=|d"}},
        LineCase{"BracketWithin", "a=b[c]\n", {"a=|b[c]"}},
        LineCase{"String", "a=%name%\n", {"a=|Value"}},
        LineCase{"StringInAnyCase", "a=%NAME%\n", {"a=|Value"}},
        LineCase{"StringsWithin", "a=x%name%y%name%\n", {"a=|xValueyValue"}},
        LineCase{"StringOfAKey", "%name%=b\n", {"Value=|b"}},
        LineCase{"QuotedString", "a=%quoted%,c\n", {"a=|a, \"b\"|c"}},
        LineCase{"EmptyString", "a=x%empty%y\n", {"a=|xy"}},
        LineCase{"StringWithAStringWithin", "a=%nested%\n", {"a=|%name%"}},
        LineCase{"StringOfALineWithoutKey", "a=%alone%\n", {"a=|alone"}},
        LineCase{"UnknownString", "a=%unknown%\n", {"a=|%unknown%"}},
        LineCase{"PercentSign", "a=100%%\n", {"a=|100%"}},
        LineCase{"PercentSignsAroundAName", "a=%%name%%\n", {"a=|%name%"}},
        LineCase{"LonePercentSign", "a=b%c\n", {"a=|b%c"}},
        LineCase{"LonePercentSignAtTheEnd", "a=b%\n", {"a=|b%"}},
        LineCase{"DirectoryNumber", "a=%12%\\x.sys\n", {"a=|%12%\\x.sys"}},
        LineCase{"CtrlZEndsTheText",
                 "a=b\x1A"
                 "c\nd=e\n",
                 {"a=|b"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ParseInf, ReadsNulAsABlank) {
  EXPECT_EQ(LinesOf(std::string_view("a=b\0c\nd=e\n", 10)), (Lines{"a=|b c", "d=|e"}));
}

TEST(ParseInf, AcceptsUnicodeWhiteSpace) {
  const std::string text =
      "\xEF\xBB\xBF" + std::string(kVersion) + "[T]\na=\xC2\xA0\xE2\x80\x83 b\xE3\x80\x80\n";
  EXPECT_EQ(RenderSection(Parse(ToBytes(text)), u"T"), (Lines{"a=|b"}));
}

// ------------------------------------------------------------------------------------------------

TEST(ParseInf, MergesSectionsOfOneNameInAnyCase) {
  const ParsedInf inf = Parse(ToBytes("[T]\na=1\n[Version]\nSignature=$Chicago$\n[t]\nb=2\n"));
  EXPECT_EQ(RenderSection(inf, u"T"), (Lines{"a=|1", "b=|2"}));
  EXPECT_EQ(inf.SectionCount(), 2U);
  EXPECT_EQ(inf.SectionName(0), u"T");
}

TEST(ParseInf, KeepsTheBlanksOfASectionName) {
  const ParsedInf inf = Parse(ToBytes(std::string(kVersion) + "[ T ] ignored = x\na=b\n"));
  EXPECT_EQ(RenderSection(inf, u"T"), Lines{"no section"});
  EXPECT_EQ(RenderSection(inf, u" T "), Lines{"a=|b"});
}

TEST(ParseInf, FindsTheFirstOfDuplicateKeys) {
  const ParsedInf inf = Parse(ToBytes(std::string(kVersion) + "[T]\na=1\nA=2\nb=3\nalone\n"));
  const auto section = inf.FindSection(u"T");
  ASSERT_TRUE(section);
  EXPECT_EQ(inf.FindLine(*section, u"A"), 0U);
  EXPECT_EQ(inf.FindLine(*section, u"a", 1), 1U);
  EXPECT_EQ(inf.FindLine(*section, u"a", 2), std::nullopt);
  EXPECT_EQ(inf.FindLine(*section, u"alone"), 3U);
  EXPECT_EQ(inf.FindLine(*section, u"missing"), std::nullopt);
  EXPECT_EQ(inf.Value(u"t", u"B"), u"3");
  EXPECT_EQ(inf.Value(u"t", u"B", 2), std::nullopt);
  EXPECT_EQ(inf.Value(u"t", u"missing"), std::nullopt);
  EXPECT_EQ(inf.Value(u"missing", u"a"), std::nullopt);
}

TEST(ParseInf, IgnoresTextBeforeTheFirstSectionWhereThereAreStrings) {
  const ParsedInf inf = Parse(
      ToBytes("text\nkey=value\nmore [T] rest\na=b\n" + std::string(kVersion) + "[Strings]\n"));
  EXPECT_EQ(RenderSection(inf, u"T"), Lines{"a=|b"});
}

// ------------------------------------------------------------------------------------------------

TEST(ParseInf, ReadsEachEncoding) {
  const std::string text = std::string(kVersion) + "[T]\na=";
  const auto valueOf = [](const Bytes& content) { return Parse(content).Value(u"T", u"a"); };

  Bytes utf16 = {0xFF, 0xFE};
  for (const char character : text) {
    utf16.push_back(static_cast<std::uint8_t>(character));
    utf16.push_back(0);
  }
  utf16.insert(utf16.end(), {0xAC, 0x20, 0x3D, 0xD8, 0x00, 0xDE, 0x0A, 0x00, 0x41});
  EXPECT_EQ(valueOf(utf16), u"\u20AC\U0001F600") << "a half unit at the end is ignored";

  EXPECT_EQ(valueOf(ToBytes("\xEF\xBB\xBF" + text + "\xE2\x82\xAC\n")), u"\u20AC");
  EXPECT_EQ(valueOf(ToBytes(text + "\x80\x9F\xA9\xFF\x81\n")), u"\u20AC\u0178\u00A9\u00FF\u0081");
}

TEST(ParseInf, AcceptsTheSignaturesOfTheCurrentStyle) {
  for (const char* signature : {"$Windows NT$", "\"$WINDOWS NT$\"", "$chicago$", "$Windows 95$",
                                "$Chicago$,more", "$Chicago$\nSignature=other"}) {
    EXPECT_EQ(ErrorOf(ToBytes("[version]\nx=y\nSIGNATURE=" + std::string(signature))).error, 0U)
        << signature;
  }
}

TEST(ParseInf, RefusesAnInfWithoutAKnownSignature) {
  for (const char* text :
       {"\n", "[Version]\n", "[Version]\nSignature=\n", "[Version]\nSignature=$Windows XP$\n",
        "[Version]\n$Chicago$\n", "[Version]\nSignature=,$Chicago$\n",
        "[Version]\nSignature=\" $Chicago$\"\n", "[ Version ]\nSignature=$Chicago$\n",
        "[Version]\nSignature=x\nSignature=$Chicago$\n", "[Other]\nSignature=$Chicago$\n",
        "[Version]\nSignature=%s%\n[Strings]\ns=$Chicago$\n"}) {
    ExpectError(text, ERROR_WRONG_INF_STYLE, 0);
  }
}

TEST(ParseInf, RefusesAnEmptyFile) {
  ExpectError("", ERROR_FILE_INVALID, 0);
}

TEST(ParseInf, ReportsTheLineOfTextOutsideSections) {
  ExpectError("text", ERROR_EXPECTED_SECTION_NAME, 1);
  ExpectError("\n; comment\n  key=value\n[T]\na=b\n", ERROR_EXPECTED_SECTION_NAME, 3);
  ExpectError("text\n[Strings]\n", ERROR_WRONG_INF_STYLE, 0);
}

TEST(ParseInf, ReportsTheLineOfABadSectionName) {
  ExpectError("[Version\nSignature=$Chicago$\n", ERROR_BAD_SECTION_NAME_LINE, 1);
  ExpectError(std::string(kVersion) + "\n [T\n]\n", ERROR_BAD_SECTION_NAME_LINE, 4);
  ExpectError("text [\n", ERROR_BAD_SECTION_NAME_LINE, 1);
  ExpectError(std::string(kVersion) + "a=b\\\nc\n[T", ERROR_BAD_SECTION_NAME_LINE, 5);
}

TEST(ParseInf, LimitsSectionNamesTo255) {
  const std::string name(255, 's');
  const ParsedInf inf = Parse(ToBytes(std::string(kVersion) + "[" + name + "]\na=b\n"));
  EXPECT_EQ(RenderSection(inf, std::u16string(255, u's')), Lines{"a=|b"});
  ExpectError(std::string(kVersion) + "[" + name + "s]\n", ERROR_SECTION_NAME_TOO_LONG, 3);
}

TEST(ParseInf, CutsFieldsAt511AndSubstitutedFieldsAt4095) {
  const std::string longText(600, 'x');
  const ParsedInf inf = Parse(ToBytes(
      std::string(kVersion) + "[Strings]\ns=" + std::string(500, 'y') + "\n[T]\n" + longText + "=" +
      longText + ",\"" + longText + "\",end\nb=" + "%s%%s%%s%%s%%s%%s%%s%%s%%s%%s%\n"));
  const auto section = *inf.FindSection(u"T");
  for (const std::uint32_t field : {0U, 1U, 2U})
    EXPECT_EQ(inf.Field(section, 0, field), std::u16string(511, u'x')) << field;
  EXPECT_EQ(inf.Field(section, 0, 3), u"end");
  EXPECT_EQ(inf.Field(section, 1, 1), std::u16string(4095, u'y'));
}

// ------------------------------------------------------------------------------------------------

TEST(ParseInf, ReadsLargeFilesOfEveryPattern) {
  constexpr std::size_t kSize = 1 << 18;
  for (const char* pattern : {"\\", "\\ ", ",", "\n", "=", "\"", "%", "% ", ";", " ", "a\n",
                              "[a]\n", "[a]\nb=%c%\n", "\\\n", "a=b,\\\n", "\"\"", "\r"}) {
    std::string text = std::string(kVersion) + "[T]\n";
    while (text.size() < kSize)
      text += pattern;
    EXPECT_EQ(ErrorOf(ToBytes(text + "x\n")).error, 0U) << pattern;
  }
}

/// Reads everything in a parsed INF.
std::size_t Walk(const ParsedInf& inf) {
  std::size_t units = 0;
  for (ParsedInf::Section section = 0; section < inf.SectionCount(); ++section) {
    for (ParsedInf::Line line = 0; line < inf.LineCount(section); ++line) {
      for (std::uint32_t field = 0; field <= inf.FieldCount(section, line) + 1; ++field)
        units += inf.Field(section, line, field).value_or(u"").size();
    }
  }
  return units;
}

TEST(ParseInfOnce, TellsContentsApartHoweverManyThereWere) {
  for (int turn = 0; turn < 2; ++turn) {
    for (int number = 0; number < 20; ++number) {
      const std::string value = std::to_string(number);
      const auto read = ParseInfOnce(ToBytes(kVersion + ("Key=" + value)));
      EXPECT_EQ(std::get<ParsedInf>(*read).Value(u"Version", u"Key"), ToUtf16(value));
    }
    EXPECT_EQ(std::get<InfError>(*ParseInfOnce({})).error, ERROR_FILE_INVALID);
  }
}

TEST(ParseInf, SurvivesAnyBytes) {
  constexpr std::string_view kPieces[] = {"[Version]\nSignature=$Chicago$\n",
                                          "[Strings]\n",
                                          "[",
                                          "]",
                                          "\n",
                                          "\r\n",
                                          "=",
                                          ",",
                                          ";",
                                          "\"",
                                          "\\",
                                          "%",
                                          "a",
                                          " ",
                                          "\x1A",
                                          "\\\n"};
  std::mt19937 random(20260810);
  std::size_t sound = 0;
  for (int run = 0; run < 4000; ++run) {
    SCOPED_TRACE(run);
    Bytes content;
    if (run % 4 == 1) content = {0xFF, 0xFE};
    if (run % 4 == 2) content = {0xEF, 0xBB, 0xBF};
    if (run % 2 == 0) {
      const Bytes version = ToBytes(kVersion);
      content.insert(content.end(), version.begin(), version.end());
    }
    for (auto left = random() % 60; left > 0; --left) {
      if (random() % 4 == 0) {
        content.push_back(static_cast<std::uint8_t>(random()));
      } else {
        const std::string_view piece = kPieces[random() % std::size(kPieces)];
        content.insert(content.end(), piece.begin(), piece.end());
      }
    }
    const auto parsed = ParseInf(content);
    if (const ParsedInf* inf = std::get_if<ParsedInf>(&parsed)) {
      ++sound;
      EXPECT_GT(Walk(*inf), 0U);
    } else {
      EXPECT_NE(std::get<InfError>(parsed).error, 0U);
    }
  }
  EXPECT_GT(sound, 1000U);
}

}  // namespace
}  // namespace vorn::platform::simulated
