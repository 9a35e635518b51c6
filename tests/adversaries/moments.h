#pragma once

// The moments at which an attack is tried: before which of a command's calls.

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::tests {

/// Whether that call neither reads nor changes a file. For an attack on files the moments before
/// and after such a call are the same.
bool IsBlindToFiles(const std::string& call);

/// Every call's number, from 1.
std::vector<std::uint64_t> EveryMoment(const std::vector<std::string>& calls);

/// A fixed selection, in ascending order: the first call, the first call of each name that touches
/// files, and an even spread of the others.
std::vector<std::uint64_t> SelectedMoments(const std::vector<std::string>& calls);

}  // namespace vorn::tests
