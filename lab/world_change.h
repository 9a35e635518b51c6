#pragma once

// Changes that another process makes to a machine while the program runs, by their names in
// --fault.

#include "platform/simulated/machine.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vorn::lab {

using WorldChange = std::function<void(platform::simulated::Machine&)>;

/// The change of that name, with the text after its equals sign: for "delete" a path, for "grow" a
/// path, "|" and a number. Nothing for an unknown name. Throws BadInput for arguments that do not
/// fit.
std::optional<WorldChange> ParseWorldChange(std::string_view name, const std::string& arguments);

}  // namespace vorn::lab
