#pragma once

// Worlds in one line, and looks at them: what a user, an operator or the next run would find.

#include "journal/activation_state.h"
#include "platform/simulated/machine.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

// ------------------------------------------------------------------------------------------------
// Building.

inline constexpr char16_t kNewVersion[] = u"26.8.11.0";
inline constexpr char16_t kNewDate[] = u"08/20/2026";
inline constexpr char16_t kNewInf[] = u"C:\\new\\driver\\vorn_audio.inf";

/// Writes a package of kNewVersion and kNewDate into C:\new\driver; `shape` changes its image.
/// Returns its INF, kNewInf.
std::u16string AddNewPackage(
    platform::simulated::Machine& machine,
    const std::function<void(platform::simulated::DriverImage&)>& shape = nullptr);

/// Writes a package into a folder; returns its INF.
std::u16string AddPackage(
    platform::simulated::Machine& machine, const std::u16string& folder,
    const std::u16string& version, const std::u16string& date,
    const std::function<void(platform::simulated::DriverImage&)>& shape = nullptr);

/// The user disables an endpoint of the root device.
void DisableEndpoint(platform::simulated::Machine& machine, platform::simulated::CableFlow cable);

/// The root device lost its driver's start: it is present with that problem.
void StopRoot(platform::simulated::Machine& machine, std::uint32_t problem);

// ------------------------------------------------------------------------------------------------
// Looking.

/// The journal at a path; nothing when there is no file. An unreadable one fails the test.
std::optional<ActivationState> JournalIn(const platform::simulated::Machine& machine,
                                         std::u16string_view path);

/// As above; nothing also for a file that holds no journal.
std::optional<ActivationState> ReadableJournalIn(const platform::simulated::Machine& machine,
                                                 std::u16string_view path);

bool HasFile(const platform::simulated::Machine& machine, std::u16string_view path);

/// Version of the image in the root device's memory, "26.8.10.5"; empty when there is none.
std::string ResidentVersion(const platform::simulated::Machine& machine);

/// DriverVer version that the platform reports for the root device.
std::string BoundVersion(const platform::simulated::Machine& machine);

/// Published package that the root device will have after a restart; empty when none waits.
std::string PendingPackage(const platform::simulated::Machine& machine);

/// Endpoints of the root device that the user sees: active ones, with their PnP child.
std::size_t VisibleEndpoints(const platform::simulated::Machine& machine);

/// Ids of the root device's endpoints that are in view, active or disabled, in catalog order.
std::vector<std::string> EndpointIds(const platform::simulated::Machine& machine);

/// Matching root devices, present or not.
std::size_t RootCount(const platform::simulated::Machine& machine);

/// Snapshot folders that were left in the temporary folder.
std::vector<std::string> LeftSnapshots(const platform::simulated::Machine& machine);

/// Checks that nothing foreign changed, no snapshot was left that was not there before, and no file
/// is open by us.
void ExpectTidy(const platform::simulated::Machine& before,
                const platform::simulated::Machine& after);

}  // namespace vorn::tests
