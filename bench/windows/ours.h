#pragma once

// A piece of the program's own work, for bench/run.

#include <string>

namespace vorn::bench {

/// Hashes a file as the program hashes an INF or an image; returns whether it could.
bool HashAsTheProgramDoes(const std::u16string& path);

}  // namespace vorn::bench
