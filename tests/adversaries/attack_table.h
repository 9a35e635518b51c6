#pragma once

// The results of each row of the table, and the table as text.

#include "tests/adversaries/attack.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vorn::tests {

/// The results of one row, or of all rows together.
struct Tally {
  std::size_t possible = 0;  // moments at which the attack could be tried
  std::size_t tried = 0;     // of them, those at which it was tried
  std::size_t let = 0;       // of these, those at which Windows allows it
  std::size_t replays = 0;   // of these, those that were replayed to the end of the command
  std::size_t refused = 0;   // of these, those that the command answered with a failure
  std::size_t limits = 0;    // of the replays, those that showed the row's known limit
  std::vector<std::string> violations;

  Tally& operator+=(const Tally& other);
};

/// "refused: fresh install 2, remove 3: `...`", "harmless", "impossible" or "known limit".
std::string ExpectationText(const Attack& attack);

/// The beginning of a row: name, expectation, reason.
std::string RowStart(const Attack& attack);

/// The numbers of a row, or of the whole table.
std::string RowNumbers(const Tally& tally);

/// The two lines above the rows with their numbers.
std::string TableHead();

/// The whole table without numbers, as Markdown.
std::string TableText();

/// "Rows: ... Replays made: ..."
std::string SumLine(std::size_t rows, const Tally& sum);

}  // namespace vorn::tests
