#pragma once

// What a process must settle before it does anything else: where libraries may be loaded from, and
// how its standard streams encode text.

namespace vorn::platform {

/// Limits the search for libraries that are loaded from now on to System32
/// (SetDefaultDllDirectories), so that an elevated process never loads what somebody put beside it
/// or on PATH. False when the limit could not be set; the last error says why.
bool LimitLibrarySearchToSystem();

/// Makes both standard streams take wide text: whole on a console, as UTF-8 where they are
/// redirected (_setmode). A stream that is closed stays closed.
void PrepareStandardStreams();

}  // namespace vorn::platform
