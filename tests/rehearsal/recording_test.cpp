#include "rehearsal/recording.h"

#include "rehearsal/escaped_text.h"

#include <gtest/gtest.h>

namespace vorn::rehearsal {
namespace {

const Recording kRefusedUpdate = {
    .arguments = {"install", R"(C:\pkg 2\driver\vorn_audio.inf)"},
    .pieces = {{0, false, "vorn_devnode: quiesced all endpoints of ROOT\\MEDIA\\0000\n"},
               {90'250, true, "vorn_devnode: RESULT=ENDPOINTS_MISSING - ...\n"}},
    .milliseconds = 90'500,
    .status = 11};

constexpr const char* kRefusedUpdateText =
    "VORN_RECORDING_V1\n"
    "argument install\n"
    "argument C:\\pkg 2\\driver\\vorn_audio.inf\n"
    "0 out vorn_devnode: quiesced all endpoints of ROOT\\MEDIA\\0000\n"
    "90250 err vorn_devnode: RESULT=ENDPOINTS_MISSING - ...\n"
    "90500 exit 11\n";

/// What the parser says of a bad text; empty when it takes it.
std::string Refusal(const std::string& text) {
  try {
    ParseRecording(text);
    return {};
  } catch (const BadRecording& bad) {
    return bad.what();
  }
}

TEST(EscapedText, HasTwoDigitsBehindEachPercentSign) {
  EXPECT_EQ(Unescape("%41%7f%7F%25"), "A\x7F\x7F%");
  for (const char* const text : {"%", "%4", "a%4", "%4g", "%g4", "% 4", "%+4", "%-1"})
    EXPECT_EQ(Unescape(text), std::nullopt) << text;
}

TEST(EscapedText, EscapesControlsAndThePercentSignAlone) {
  EXPECT_EQ(Escape("a%\n\x7F\x1F \xC3\xA4"), "a%25%0A%7F%1F \xC3\xA4");
}

TEST(Recording, IsWrittenAsLinesThatPeopleCanRead) {
  EXPECT_EQ(ToText(kRefusedUpdate), kRefusedUpdateText);
}

TEST(Recording, IsReadFromItsText) {
  EXPECT_EQ(ParseRecording(kRefusedUpdateText), kRefusedUpdate);
}

TEST(Recording, KeepsEveryCharacter) {
  Recording recording = kRefusedUpdate;
  recording.arguments = {"",           " ", "a\tb\r\n", "100 %", "%0A", "p\u00E4th \U0001F50A",
                         "# no remark"};
  recording.pieces = {{1, true, "\r\n"}, {1, true, "\n"}, {2, false, "%\x01\x7F end\n"}};
  EXPECT_EQ(ParseRecording(ToText(recording)), recording);
}

TEST(Recording, HasNoControlCharacterInItsText) {
  Recording recording = kRefusedUpdate;
  recording.pieces = {{0, false, "100 %\t\x1B\x7F\r\n"}};
  EXPECT_NE(ToText(recording).find("\n0 out 100 %25%09%1B%7F%0D\n"), std::string::npos);
}

TEST(Recording, KeepsALineThatNeverEnded) {
  Recording recording = kRefusedUpdate;
  recording.pieces = {{5, false, "begun"}, {5, true, "between\n"}, {6, false, ""}};
  EXPECT_EQ(ParseRecording(ToText(recording)), recording);
}

TEST(Recording, TellsAnEndedProcessFromAStatus) {
  Recording recording = kRefusedUpdate;
  recording.status = std::nullopt;
  EXPECT_TRUE(ToText(recording).ends_with("\n90500 killed\n"));
  EXPECT_EQ(ParseRecording(ToText(recording)), recording);
}

TEST(Recording, KeepsANegativeStatus) {
  Recording recording = kRefusedUpdate;
  recording.status = -1073741819;
  EXPECT_EQ(ParseRecording(ToText(recording)), recording);
}

TEST(Recording, IsReadAfterAnEditorHasSavedItWithWindowsLineEnds) {
  std::string text = kRefusedUpdateText;
  for (std::size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 2))
    text.insert(at, "\r");
  EXPECT_EQ(ParseRecording(text), kRefusedUpdate);
}

TEST(Recording, MayHaveRemarksAndEmptyLinesAndNoLastLineFeed) {
  EXPECT_EQ(ParseRecording("VORN_RECORDING_V1\n# 11 after the bind\n\nargument verify\n"
                           "# nothing is printed\n3 exit 11"),
            (Recording{.arguments = {"verify"}, .pieces = {}, .milliseconds = 3, .status = 11}));
}

TEST(Recording, NamesTheLineAtFault) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "line 0: must be VORN_RECORDING_V1"},
      {"VORN_RECORDING_V2\n0 exit 0\n", "line 1: must be VORN_RECORDING_V1"},
      {"VORN_RECORDING_V1\n", "line 1: the recording ends before its run"},
      {"VORN_RECORDING_V1\nargument\n0 out x\n", "line 3: the recording ends before its run"},
      {"VORN_RECORDING_V1\nword\n0 exit 0\n", "line 2: begins with \"argument\" or a time in ms"},
      {"VORN_RECORDING_V1\n-1 exit 0\n", "line 2: begins with \"argument\" or a time in ms"},
      {"VORN_RECORDING_V1\n1000000001 exit 0\n",
       "line 2: begins with \"argument\" or a time in ms"},
      {"VORN_RECORDING_V1\n0 out x\nargument y\n0 exit 0\n",
       "line 3: an argument stands before what was printed"},
      {"VORN_RECORDING_V1\n9 out x\n8 exit 0\n", "line 3: is earlier than the line before"},
      {"VORN_RECORDING_V1\n0 said x\n0 exit 0\n",
       "line 2: a time is followed by out, err, out-begun, err-begun, exit or killed"},
      {"VORN_RECORDING_V1\n0 killed 9\n",
       "line 2: a time is followed by out, err, out-begun, err-begun, exit or killed"},
      {"VORN_RECORDING_V1\n0 exit\n", "line 2: exit needs a status"},
      {"VORN_RECORDING_V1\n0 exit 4294967296\n", "line 2: exit needs a status"},
      {"VORN_RECORDING_V1\n0 out 5%\n0 exit 0\n", "line 2: % needs two hexadecimal digits"},
      {"VORN_RECORDING_V1\n0 out %0x\n0 exit 0\n", "line 2: % needs two hexadecimal digits"},
      {"VORN_RECORDING_V1\n0 out a%0Ab\n0 exit 0\n",
       "line 2: a line feed ends a line and is not written in it"},
      {"VORN_RECORDING_V1\n0 out \xFF\n0 exit 0\n", "line 2: must be UTF-8"},
      {"VORN_RECORDING_V1\n0 exit 0\n\n0 exit 0\n", "line 4: follows the end of the run"},
  };
  for (const auto& [text, refusal] : cases)
    EXPECT_EQ(Refusal(text), refusal) << text;
}

}  // namespace
}  // namespace vorn::rehearsal
