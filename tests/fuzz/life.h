#pragma once

// What the program of the fuzz targets says of a life.

namespace vorn::tests {

/// Whether FuzzLife tells each life in words, on standard output.
extern bool tellLives;

}  // namespace vorn::tests
