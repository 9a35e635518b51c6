#pragma once

// Before which of a command's calls an attack is tried.

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::tests {

/// Whether the platform reads or changes no file in that call. A strike on files just before it is
/// the same as one just after it.
bool IsBlindToFiles(const std::string& call);

/// Every call's number, from 1.
std::vector<std::uint64_t> EveryMoment(const std::vector<std::string>& calls);

/// A fixed selection, in ascending order: the first call, the first of each name that is not blind
/// to files, and others of them, spread evenly.
std::vector<std::uint64_t> SelectedMoments(const std::vector<std::string>& calls);

}  // namespace vorn::tests
