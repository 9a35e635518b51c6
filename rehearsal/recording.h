#pragma once

// Recording: what one run of vorn_devnode printed on each stream, when and in which order, its
// command line and its end. The lab writes recordings, the rehearsal program plays them; the text
// form is theirs alone, so it is as small as the two need.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::rehearsal {

/// A line of the console, or the beginning of one that ended with the run or was interrupted.
struct RecordedPiece {
  std::uint64_t milliseconds = 0;  // since the run began
  bool error = false;              // to standard error instead of standard output
  std::string text;                // UTF-8; a line feed only at the end

  friend bool operator==(const RecordedPiece&, const RecordedPiece&) = default;
};

struct Recording {
  std::vector<std::string> arguments;  // without the program's name, UTF-8
  std::vector<RecordedPiece> pieces;   // in the order printed
  std::uint64_t milliseconds = 0;      // how long the run took
  std::optional<std::int32_t> status;  // none when something ended the process

  friend bool operator==(const Recording&, const Recording&) = default;
};

/// A text is no recording. What it says is one line, which names the line at fault.
class BadRecording : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The text form, which ends with a line feed:
///
///     VORN_RECORDING_V1
///     argument install
///     argument C:\pkg\driver\vorn_audio.inf
///     0 out vorn_devnode: ...
///     90000 err vorn_devnode: RESULT=...
///     90000 exit 11
///
/// A piece without a line feed is written with "out-begun" or "err-begun". A run that something
/// ended has "killed" instead of "exit" and the status. In a text, a control character and "%" are
/// written as "%" and two hexadecimal digits.
std::string ToText(const Recording& recording);

/// The recording of a text. Empty lines and lines that begin with "#" say nothing; line ends may be
/// CR LF. Throws BadRecording.
Recording ParseRecording(std::string_view text);

}  // namespace vorn::rehearsal
