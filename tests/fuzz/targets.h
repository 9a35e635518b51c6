#pragma once

// The readers of bytes that others can write. Each target accepts any bytes, terminates, and stops
// the run (Require) when a promise is broken.

#include <cstdint>
#include <span>

namespace vorn::tests {

void FuzzCapture(std::span<const std::uint8_t> input);
void FuzzCommandLine(std::span<const std::uint8_t> input);
void FuzzDirectoryRecords(std::span<const std::uint8_t> input);
void FuzzDriverReplies(std::span<const std::uint8_t> input);
void FuzzEndpointRecords(std::span<const std::uint8_t> input);
void FuzzInfText(std::span<const std::uint8_t> input);
void FuzzJournal(std::span<const std::uint8_t> input);
void FuzzLife(std::span<const std::uint8_t> input);
void FuzzMachineDocument(std::span<const std::uint8_t> input);
void FuzzPaths(std::span<const std::uint8_t> input);
void FuzzRecording(std::span<const std::uint8_t> input);

}  // namespace vorn::tests
