#pragma once

// SHA-256 for the simulated machine's tools, which use it for the digests in catalogs.

#include "platform/simulated/file_system.h"

#include <string>

namespace vorn::platform::simulated {

/// The SHA-256 of a content as 64 lower-case hexadecimal digits.
std::string Sha256Hex(const Bytes& content);

}  // namespace vorn::platform::simulated
