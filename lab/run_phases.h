#pragma once

// The phases of a run, told from its platform calls alone: a call that only one step of a command
// makes begins that step's phase, and every other call belongs to the phase that it falls into.

#include "lab/run_history.h"
#include "platform/simulated/calls.h"

#include <span>
#include <string>
#include <vector>

namespace vorn::lab {

/// The phases of a run with these arguments, which returned or was ended by something. Each call is
/// in one; times are left to the caller.
std::vector<HistoryPhase> PhasesOf(const std::vector<std::string>& arguments,
                                   std::span<const platform::simulated::CallRecord> calls,
                                   bool returned);

/// The name of the journal's file in a run with these arguments.
std::u16string JournalNameOf(const std::vector<std::string>& arguments);

}  // namespace vorn::lab
