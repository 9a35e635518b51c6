#pragma once

namespace supplement {

/// Replaces what of Wine's file layer differs from Windows, in this process.
void InstallHooks();

}  // namespace supplement
