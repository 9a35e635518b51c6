#pragma once

// The two commands that complete an activation that an earlier install has journalled. `version`
// and `date` must equal the journal's target, ignoring case.

#include "journal/activation_storage.h"
#include "report/exit_status.h"

#include <string>

namespace vorn {

/// `verify`: proves the live system against the journal and changes nothing. Returns the status of
/// RunLiveVerification, or kExitEndpointsMissing without a valid journal of that target.
ExitStatus Verify(const std::u16string& version, const std::u16string& date, Journal& journal);

/// `hot-activate`: restarts the live root with its endpoints hidden, so that it loads the selected
/// driver without a machine restart, then proves it as `verify`. Returns RunLiveVerification's
/// status, or kExitHotSwapFailed. Hidden endpoints are always shown again.
ExitStatus HotActivate(const std::u16string& version, const std::u16string& date, Journal& journal);

}  // namespace vorn
