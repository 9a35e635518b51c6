#pragma once

// The language of --fault: which call of the program goes wrong, and how.
//
//   SPEC   = CALL [ "#" FIRST [ "-" [ LAST ] ] ] ":" ACTION
//   CALL   = name of a platform call, or "*" for any
//   ACTION = "fail" [ "=" ERROR ]        no effect, and ERROR (31)
//          | "fail-after" [ "=" ERROR ]  the effect, and ERROR all the same
//          | "lie"                       success is reported, nothing happened
//          | "short=" BYTES              data that is returned is cut to so many
//          | "long=" BYTES               so many more bytes follow it
//          | "restart"                   the call asks for a restart of the machine
//          | "time=" MILLISECONDS        the call takes that long
//          | "kill" | "kill-after"       the process dies before, or after, the effect
//          | "hang"                      the call does not return; somebody ends the process
//          | CHANGE                      somebody else changes the machine first
//
// Numbers are decimal or 0x.... FIRST counts from 1; "#3-" means from the third call on.
// docs/lab.md lists the changes.

#include "platform/simulated/calls.h"

#include <memory>
#include <string>
#include <vector>

namespace vorn::lab {

/// A fault as it was asked for.
struct StagedFault {
  std::string spec;
  platform::simulated::Fault fault;

  /// Filled by the run: why a change changed nothing, each time that it did not.
  std::shared_ptr<std::vector<std::string>> refusals;
};

/// The fault that a text describes. Throws BadInput when it does not describe one; for an unknown
/// call or action the text says which there are.
StagedFault ParseFault(const std::string& spec);

/// Calls, actions and changes, for people.
std::string FaultHelp();

}  // namespace vorn::lab
