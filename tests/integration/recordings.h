#pragma once

// A catalogue of recordings for vorn_rehearsal: for each row of the table of decisions a folder of
// its name, which is a script. Its first recording is the row's own run, the others are the runs
// that the row recommends next.

#include <filesystem>

namespace vorn::tests {

/// Stages every row and records its runs in folders below this one, which is made when it is
/// missing. A run that ends with another status than the table says fails the test.
void WriteRecordings(const std::filesystem::path& folder);

}  // namespace vorn::tests
