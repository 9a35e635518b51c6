#include "rehearsal/playing.h"

namespace vorn::rehearsal {

std::int32_t Play(const Recording& recording, std::uint32_t speed, const Stage& stage) {
  std::uint64_t waited = 0;
  // Each wait ends at a moment of the whole run, so that roundings do not add up.
  const auto waitUntil = [&](std::uint64_t milliseconds) {
    if (speed == 0) return;
    const std::uint64_t due = milliseconds / speed;
    if (due > waited) stage.wait(due - waited);
    waited = due;
  };
  for (const RecordedPiece& piece : recording.pieces) {
    waitUntil(piece.milliseconds);
    stage.print(piece.error, piece.text);
  }
  waitUntil(recording.milliseconds);
  return recording.status.value_or(kKilledStatus);
}

}  // namespace vorn::rehearsal
