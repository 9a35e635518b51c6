#pragma once

// Variations of a machine in one line: further packages, and what happens to the device.

#include "platform/simulated/machine.h"

#include <cstdint>
#include <functional>
#include <string>

namespace vorn::tests {

inline constexpr char16_t kNewVersion[] = u"26.8.11.0";
inline constexpr char16_t kNewDate[] = u"08/20/2026";
inline constexpr char16_t kNewInf[] = u"C:\\new\\driver\\vorn_audio.inf";

/// Writes a package of kNewVersion and kNewDate into C:\new\driver and returns its INF, kNewInf;
/// `shape` changes its image.
std::u16string AddNewPackage(
    platform::simulated::Machine& machine,
    const std::function<void(platform::simulated::DriverImage&)>& shape = nullptr);

/// Writes a package into a folder and returns its INF.
std::u16string AddPackage(
    platform::simulated::Machine& machine, const std::u16string& folder,
    const std::u16string& version, const std::u16string& date,
    const std::function<void(platform::simulated::DriverImage&)>& shape = nullptr);

/// The user disables an endpoint of the root device.
void DisableEndpoint(platform::simulated::Machine& machine, platform::simulated::CableFlow cable);

/// The user disables all endpoints of the root device.
void DisableEveryEndpoint(platform::simulated::Machine& machine);

/// Stops the root device: it stays present, with that problem code.
void StopRoot(platform::simulated::Machine& machine, std::uint32_t problem);

}  // namespace vorn::tests
