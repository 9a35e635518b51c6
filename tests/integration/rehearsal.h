#pragma once

// One row of the table of decisions, run from its beginning to the end that it promises.

#include "tests/integration/decision_table.h"
#include "tests/integration/staged_machine.h"

#include <string>
#include <vector>

namespace vorn::tests {

struct PrintedLine {
  std::string stream;  // "out" or "err"
  std::string text;    // without its line feed
};

struct Rehearsal {
  MachinePicture before;
  int status = 0;
  std::vector<PrintedLine> lines;  // of the row's run
  MachinePicture after;
  std::vector<PrintedLine> laterLines;  // of the runs among its next steps
  MachinePicture end;
};

/// Each row is rehearsed once.
const Rehearsal& RehearsalOf(const Decision& decision);

/// Whether the text has the form of the pattern, in which "*" stands for any text.
bool HasForm(const std::string& text, const std::string& pattern);

/// Whether a device, its driver, an endpoint or a published package of the product differs.
bool IsTouched(const MachinePicture& before, const MachinePicture& after);

}  // namespace vorn::tests
