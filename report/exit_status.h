#pragma once

// The program's exit statuses. An installer must decide by the status alone; the RESULT line on the
// console is for people.

#include <cstdint>

namespace vorn {

using ExitStatus = std::int32_t;

inline constexpr ExitStatus kExitOk = 0;
inline constexpr ExitStatus kExitUsage = 1;
inline constexpr ExitStatus kExitInputRefused = 2;
inline constexpr ExitStatus kExitRemoveRefused = 3;          // remove: input refused
inline constexpr ExitStatus kExitCreateListFailed = 3;       // install: device list
inline constexpr ExitStatus kExitClassNameFailed = 4;        // install: class name
inline constexpr ExitStatus kExitCreateDeviceFailed = 5;     // install: device element
inline constexpr ExitStatus kExitSetHardwareIdFailed = 6;    // install: hardware id
inline constexpr ExitStatus kExitRegisterDeviceFailed = 7;   // install: registration
inline constexpr ExitStatus kExitFreshBindFailed = 8;        // install: bind of a fresh root
inline constexpr ExitStatus kExitActivationStateBlocks = 9;  // install: journal
inline constexpr ExitStatus kExitRebootRequired = 10;
inline constexpr ExitStatus kExitEndpointsMissing = 11;
inline constexpr ExitStatus kExitNotStarted = 12;
inline constexpr ExitStatus kExitRemoveFailed = 13;
inline constexpr ExitStatus kExitHotSwapFailed = 15;
inline constexpr ExitStatus kExitBindRefused = 16;
inline constexpr ExitStatus kExitRemoveBusy = 17;

}  // namespace vorn
