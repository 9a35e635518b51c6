#pragma once

// A capture's folder on the host: machine.json, and the contents in the folder "files" under their
// numbers. It comes from somebody else's machine, so nothing in it is trusted: names are never
// taken from it, links are not followed, and sizes are bounded.

#include "lab/capture_import.h"

#include <filesystem>

namespace vorn::lab {

/// Throws BadInput when the folder holds no capture, or one of an impossible size.
CaptureFiles ReadCaptureFolder(const std::filesystem::path& folder);

/// Writes a new folder. Throws BadInput when something already exists there.
void WriteCaptureFolder(const std::filesystem::path& folder, const CaptureFiles& capture);

}  // namespace vorn::lab
