#pragma once

// The two commands that close an activation which an earlier install prepared and journalled. Both
// act only on a journal that names exactly the package that the operator expects.

#include "journal/activation_storage.h"
#include "report/exit_status.h"

#include <string>

namespace vorn {

/// `verify`: proves the live state against the journal and changes nothing.
/// `version` and `date` must equal the journal's but for ASCII case. Returns the engine's status,
/// or kExitEndpointsMissing for a missing, malformed or different journal.
ExitStatus Verify(const std::u16string& version, const std::u16string& date, Journal& journal);

/// `hot-activate`: restarts the live root, its endpoints hidden meanwhile, so that it loads the
/// selected driver without a restart of the machine, then proves it as `verify` does. Returns the
/// engine's status, or kExitHotSwapFailed. Whatever was hidden is shown again on every way out.
ExitStatus HotActivate(const std::u16string& version, const std::u16string& date, Journal& journal);

}  // namespace vorn
