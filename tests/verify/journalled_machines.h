#pragma once

// Machines with a journal, the runs of verify and hot-activate on them, and what these ask the
// driver.

#include "tests/support/activation.h"
#include "tests/support/judged_run.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vorn::tests {

/// `verify` or `hot-activate` with an identity, and the journal in its place.
std::vector<std::u16string> WithIdentity(const std::u16string& word,
                                         const std::u16string& version = u"26.8.10.5",
                                         const std::u16string& date = u"08/10/2026");

/// One run, which must keep every promise of its command.
RunResult Perform(platform::simulated::Machine& machine, const std::vector<std::u16string>& line,
                  const RunOptions& options = {});

/// A machine on which the installed package runs, with its journal in its place.
platform::simulated::Machine JournalledMachine();

/// The older package runs; the sample package is selected but was not loaded, and its journal has
/// the endpoints as they are for a baseline.
platform::simulated::Machine SelectedMachine();

/// The visibility requests of a run, as "hide 4 render".
std::vector<std::string> VisibilityRequests(const RunResult& run);

/// How many requests of a code ("0x22A01C") a run made.
std::size_t ControlRequests(const RunResult& run, const std::string& code);

}  // namespace vorn::tests
