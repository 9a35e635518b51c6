#pragma once

namespace supplement {

/// Replaces what of Wine's file layer differs from Windows, in this process, and its clock when a
/// test wants that to run faster.
void InstallHooks();

}  // namespace supplement
