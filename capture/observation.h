#pragma once

// The capture's own part of the seam: observations that the program never makes, such as whether a
// service runs. capture/windows/ asks Windows and capture/simulated/ the simulated machine. All of
// them only read.

#include "capture/captured_machine.h"
#include "platform/types.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vorn::capture {

/// Build and session; without tick and time.
SystemFact ObserveSystem();

/// The token of this process. Nothing on failure, with the last error set.
std::optional<TokenFact> ObserveToken();

/// A service of that name, opened for its state only. `*managerError` is not 0 when the service
/// manager cannot be reached.
ServiceFact ObserveService(const std::u16string& name, std::uint32_t* managerError);

/// Owner and access list of a key below HKEY_LOCAL_MACHINE. Nothing on failure, with the error code
/// in `*error`.
std::optional<SecurityFact> ObserveKeySecurity(const std::u16string& path, std::uint32_t* error);

/// Free bytes of the volume with that drive letter. Nothing on failure, with the last error set.
std::optional<std::uint64_t> ObserveFreeBytes(char16_t letter);

/// Where an open link leads. Nothing on failure, with the last error set.
std::optional<std::u16string> ObserveLinkTarget(platform::HANDLE link);

/// The text of a SID in memory; empty when it is not valid.
std::u16string SidText(const void* sid);

}  // namespace vorn::capture
