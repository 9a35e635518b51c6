// Recordings of arbitrary bytes: a bad one is refused with one line, and a good one survives a
// round trip.

#include "rehearsal/recording.h"

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <optional>
#include <string_view>

namespace vorn::tests {

namespace recording {
namespace {

std::optional<rehearsal::Recording> Read(std::string_view text) {
  try {
    return rehearsal::ParseRecording(text);
  } catch (const rehearsal::BadRecording& refusal) {
    const std::string_view line = refusal.what();
    Require(line.starts_with("line ") && line.find('\n') == line.npos,
            "one line says what is wrong and where");
    return std::nullopt;
  }
}

/// What the player relies on.
void CheckPieces(const rehearsal::Recording& run) {
  std::uint64_t before = 0;
  for (const rehearsal::RecordedPiece& piece : run.pieces) {
    Require(piece.milliseconds >= before, "time does not go back");
    before = piece.milliseconds;
    const std::size_t lineFeed = piece.text.find('\n');
    Require(lineFeed == piece.text.npos || lineFeed + 1 == piece.text.size(),
            "a piece is a line at most");
  }
  Require(run.milliseconds >= before, "a run lasts until its last piece");
}

}  // namespace
}  // namespace recording

void FuzzRecording(std::span<const std::uint8_t> input) {
  const auto run = recording::Read({reinterpret_cast<const char*>(input.data()), input.size()});
  if (!run) return;
  recording::CheckPieces(*run);
  const std::string text = rehearsal::ToText(*run);
  Require(recording::Read(text) == run, "a recording says the same after a round trip");
}

}  // namespace vorn::tests
