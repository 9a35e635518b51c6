#pragma once

// Changes that another process makes to a machine while the program runs, by their names in
// --fault.

#include "platform/simulated/machine.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vorn::lab {

/// Makes the change. Returns why nothing was changed: empty when something was.
using WorldChange = std::function<std::string(platform::simulated::Machine&)>;

struct ChangeName {
  std::string_view name;
  std::string_view arguments;  // "PATH|TEXT"
  std::string_view about;
};

/// Every change, in the order of the documents.
std::span<const ChangeName> ChangeNames();

/// The change of that name, with the text after its equals sign: for "delete" a path, for "grow" a
/// path, "|" and a number. Nothing for an unknown name. Throws BadInput for arguments that do not
/// fit.
std::optional<WorldChange> ParseWorldChange(std::string_view name, const std::string& arguments);

}  // namespace vorn::lab
