#pragma once

// A part of the program in a process of its own, so that a crash or a hang costs that part alone.
// There is one source for each side: model/apart.cpp and windows/apart.cpp.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn::contract {

/// How such a process ended.
struct Ending {
  bool inTime = false;  // else it was ended
  std::uint32_t status = 0;
  std::string Text() const;  // "ended with C0000005"
};

/// Runs this program with these arguments (UTF-8), its output going where ours goes, and removes
/// what it left when it did not end by itself. Nothing where a side runs every part in one process.
std::optional<Ending> RunApart(const std::vector<std::string>& arguments, std::uint32_t seconds);

/// The process's arguments in UTF-8, without the program.
std::vector<std::string> Arguments(int count, char** values);

}  // namespace vorn::contract
