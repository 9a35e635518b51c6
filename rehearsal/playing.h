#pragma once

// Plays a recording: its pieces in their order, with the waits between them.

#include "rehearsal/recording.h"

#include <cstdint>
#include <functional>
#include <string>

namespace vorn::rehearsal {

/// Ours: the status of a run that something ended. Task Manager and taskkill give it to the
/// processes that they end.
inline constexpr std::int32_t kKilledStatus = 1;

/// Where a recording is played.
struct Stage {
  std::function<void(bool error, const std::string& text)> print;
  std::function<void(std::uint64_t milliseconds)> wait;
};

/// Plays a recording `speed` times as fast as it was recorded; at speed 0 nothing waits. Returns
/// the status that the player ends with.
std::int32_t Play(const Recording& recording, std::uint32_t speed, const Stage& stage);

}  // namespace vorn::rehearsal
