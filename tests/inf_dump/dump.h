#pragma once

// Everything that the seam tells about an INF, as text: the same source reads it on the simulated
// machine and on Windows' interfaces, so that the two can be compared line by line.

#include <string>
#include <vector>

namespace vorn::inf_dump {

/// Prints what opening the file gave, and every line and field of those sections.
void Dump(const std::string& name, const std::u16string& path,
          const std::vector<std::u16string>& sections);

/// Names of sections from a text file, one a line; "\u00e4" stands for one unit.
std::vector<std::u16string> ReadSectionNames(const std::string& path);

/// The .inf files of a folder, in order.
std::vector<std::string> ListInfs(const std::string& folder);

}  // namespace vorn::inf_dump
