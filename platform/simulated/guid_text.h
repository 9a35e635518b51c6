#pragma once

// A GUID as a text, as the registry holds it.

#include "platform/types.h"

#include <string>

namespace vorn::platform::simulated {

/// "{c166523c-fe0c-4a94-a586-f1a80cfbbf3e}".
std::u16string GuidText(const GUID& guid);

}  // namespace vorn::platform::simulated
