#pragma once

// One row of the table of decisions, run from its beginning to the end that it promises.

#include "tests/integration/decision_table.h"
#include "tests/integration/staged_machine.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vorn::tests {

// The three lines that belong to the status of an install.
inline constexpr char kPersisted[] = "vorn_devnode: persisted protected pre-bind activation state";
inline constexpr char kCreated[] = "vorn_devnode: Root\\VornAudio installed";
inline constexpr char kUntouched[] =
    "vorn_devnode: Root\\VornAudio already runs the target package; device left untouched";

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

/// The text behind a name of the table, such as INF1.
std::string Named(const std::string& name);

/// The id of a row, as the name of a test.
std::string TestNameOf(const testing::TestParamInfo<Decision>& row);

/// Each row is rehearsed once.
const Rehearsal& RehearsalOf(const Decision& decision);

/// What a staged run printed. It must end with its status.
std::vector<PrintedLine> LinesOf(const Staging& staging);

/// The lines of a run, those of standard output first.
std::vector<PrintedLine> LinesOf(const lab::LabResult& result);

/// Whether one of the lines has the form of the pattern.
bool AnyHasForm(const std::vector<PrintedLine>& lines, const std::string& pattern);

/// The lines, one below the other.
std::string TextOf(const std::vector<PrintedLine>& lines);

/// Whether the text has the form of the pattern, in which "*" stands for any text.
bool HasForm(const std::string& text, const std::string& pattern);

/// Whether a device, its driver, an endpoint or a published package of the product differs.
bool IsTouched(const MachinePicture& before, const MachinePicture& after);

}  // namespace vorn::tests
