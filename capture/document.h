#pragma once

// The document of a capture, machine.json: the lab's own format with what only a capture has beside
// it. docs/capture.md lists all of it.

#include "capture/captured_machine.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::capture {

/// The version of the format. A reader refuses a newer one.
inline constexpr std::uint32_t kCaptureFormat = 1;

/// Writes the document; `contents` receives the files that it refers to by number. Without `raw`,
/// users and accounts have other names.
std::string WriteCapture(const CapturedMachine& machine, bool raw, std::vector<Bytes>& contents);

}  // namespace vorn::capture
