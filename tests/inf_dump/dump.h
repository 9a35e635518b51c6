#pragma once

// Prints everything that the seam reports about an INF. One source reads it on the simulated
// machine and through Windows' interfaces, so that the two can be compared line by line.

#include <string>
#include <vector>

namespace vorn::inf_dump {

/// Prints the result of opening the file, and every line and field of those sections.
void Dump(const std::string& name, const std::u16string& path,
          const std::vector<std::u16string>& sections);

/// Reads section names from a text file, one on each line; "\u00e4" stands for one unit.
std::vector<std::u16string> ReadSectionNames(const std::string& path);

/// The .inf files of a folder, in order.
std::vector<std::string> ListInfs(const std::string& folder);

}  // namespace vorn::inf_dump
