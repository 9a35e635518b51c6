#pragma once

// Changes that somebody else makes to a machine while the program runs, by their names in --fault.

#include "platform/simulated/machine.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vorn::lab {

using WorldChange = std::function<void(platform::simulated::Machine&)>;

/// The change of that name, with what stands behind its equals sign: "delete" and a path, "grow"
/// and a path, "|" and a number. Nothing for a name that is none. Throws BadInput for arguments
/// that do not fit.
std::optional<WorldChange> ParseWorldChange(std::string_view name, const std::string& arguments);

}  // namespace vorn::lab
