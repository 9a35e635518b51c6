#pragma once

// What the questions change for a while, and the way back.

#include <string>

namespace vorn::contract {

/// The names of the INF without a catalog: in the temporary folder, and where it stands for a
/// published one. Windows counts published INFs from 0 and does not reach that number.
inline constexpr char16_t kTestInfName[] = u"vorn_contract.inf";
inline constexpr char16_t kTestPublishedName[] = u"oem98017.inf";

/// Removes that INF and whatever package Windows made of it, and starts the audio services.
void RestoreGuestState();

/// Stops the audio services. False when one of them goes on.
bool StopAudioServices();

}  // namespace vorn::contract
