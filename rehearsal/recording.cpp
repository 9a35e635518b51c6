#include "rehearsal/recording.h"

#include "base/text.h"
#include "rehearsal/escaped_text.h"
#include "rehearsal/number_text.h"

namespace vorn::rehearsal {

namespace {

constexpr std::string_view kHeader = "VORN_RECORDING_V1";

/// Eleven days, longer than any run: a number above it is a mistake.
constexpr std::uint64_t kLongestRunMs = 1'000'000'000;

std::string_view StreamWord(const RecordedPiece& piece) {
  if (piece.text.ends_with('\n')) return piece.error ? "err" : "out";
  return piece.error ? "err-begun" : "out-begun";
}

std::string_view WithoutLineFeed(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  return text;
}

/// Cuts the text up to the first blank off, with the blank.
std::string_view TakeWord(std::string_view& rest) {
  const std::size_t blank = rest.find(' ');
  const std::string_view word = rest.substr(0, blank);
  rest.remove_prefix(blank == std::string_view::npos ? rest.size() : blank + 1);
  return word;
}

class Parser {
 public:
  explicit Parser(std::string_view text) : rest_(text) {}

  Recording Parse() {
    if (!NextLine() || line_ != kHeader) Refuse("must be " + std::string(kHeader));
    while (!ended_ && NextLine()) {
      if (line_.empty() || line_.starts_with('#')) continue;
      ReadLine();
    }
    if (!ended_) Refuse("the recording ends before its run");
    while (NextLine()) {
      if (!line_.empty() && !line_.starts_with('#')) Refuse("follows the end of the run");
    }
    return std::move(recording_);
  }

 private:
  [[noreturn]] void Refuse(const std::string& why) const {
    throw BadRecording("line " + std::to_string(number_) + ": " + why);
  }

  bool NextLine() {
    if (rest_.empty()) return false;
    const std::size_t end = rest_.find('\n');
    line_ = rest_.substr(0, end);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    if (line_.ends_with('\r')) line_.remove_suffix(1);
    ++number_;
    return true;
  }

  void ReadLine() {
    std::string_view rest = line_;
    const std::string_view first = TakeWord(rest);
    if (first == "argument") {
      if (timed_) Refuse("an argument stands before what was printed");
      recording_.arguments.push_back(Text(rest));
      return;
    }
    timed_ = true;
    ReadTime(first);
    const std::string_view word = TakeWord(rest);
    if (word == "exit") {
      recording_.status = ParseNumber<std::int32_t>(rest);
      if (!recording_.status) Refuse("exit needs a status");
      ended_ = true;
    } else if (word == "killed" && rest.empty()) {
      ended_ = true;
    } else if (word == "out" || word == "err") {
      AddPiece(word == "err", Text(rest) + "\n");
    } else if (word == "out-begun" || word == "err-begun") {
      AddPiece(word == "err-begun", Text(rest));
    } else {
      Refuse("a time is followed by out, err, out-begun, err-begun, exit or killed");
    }
  }

  void ReadTime(std::string_view word) {
    const std::optional<std::uint64_t> time = ParseNumber<std::uint64_t>(word);
    if (!time || *time > kLongestRunMs) Refuse("begins with \"argument\" or a time in ms");
    if (*time < recording_.milliseconds) Refuse("is earlier than the line before");
    recording_.milliseconds = *time;
  }

  void AddPiece(bool error, std::string text) {
    if (text.find('\n') < text.size() - 1)
      Refuse("a line feed ends a line and is not written in it");
    recording_.pieces.push_back({recording_.milliseconds, error, std::move(text)});
  }

  /// The text that the file has in escaped form. The console gets UTF-16, so what is not UTF-8
  /// could not be played.
  std::string Text(std::string_view escaped) const {
    std::optional<std::string> text = Unescape(escaped);
    if (!text) Refuse("% needs two hexadecimal digits");
    if (ToUtf8(ToUtf16(*text)) != *text) Refuse("must be UTF-8");
    return *std::move(text);
  }

  std::string_view rest_;
  std::string_view line_;
  std::size_t number_ = 0;
  bool timed_ = false;
  bool ended_ = false;
  Recording recording_;
};

}  // namespace

std::string ToText(const Recording& recording) {
  std::string text = std::string(kHeader) + "\n";
  for (const std::string& argument : recording.arguments)
    text.append("argument ").append(Escape(argument)).append("\n");
  for (const RecordedPiece& piece : recording.pieces) {
    text.append(std::to_string(piece.milliseconds)).append(" ").append(StreamWord(piece));
    text.append(" ").append(Escape(WithoutLineFeed(piece.text))).append("\n");
  }
  text += std::to_string(recording.milliseconds);
  if (recording.status) {
    text.append(" exit ").append(std::to_string(*recording.status));
  } else {
    text += " killed";
  }
  return text + "\n";
}

Recording ParseRecording(std::string_view text) {
  return Parser(text).Parse();
}

}  // namespace vorn::rehearsal
