#pragma once

// A machine's state, as a user or an operator would find it. Tests judge the program by this view,
// so it reads the model and never goes through the program's own code.

#include "platform/simulated/machine.h"

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

// ------------------------------------------------------------------------------------------------
// Root devices.

/// The installed roots with the product's hardware id, present or not.
std::vector<const platform::simulated::Device*> InstalledRoots(
    const platform::simulated::Machine& machine);

/// Their instance ids.
std::vector<std::u16string> InstalledRootIds(const platform::simulated::Machine& machine);

/// The one present root; null when there is none or more than one.
const platform::simulated::Device* OnlyPresentRoot(const platform::simulated::Machine& machine);

/// The device kRootId; the machine must have it.
platform::simulated::Device& RootOf(platform::simulated::Machine& machine);

/// Version of the image in the present root's memory, "26.8.10.5"; empty when there is none.
std::string ResidentVersion(const platform::simulated::Machine& machine);

/// DriverVer version that the platform reports for the present root.
std::string BoundVersion(const platform::simulated::Machine& machine);

/// Published package that the present root gets at the next restart; empty when none is pending.
std::string PendingPackage(const platform::simulated::Machine& machine);

/// Why the machine does not run that version; nothing when it does. Running means: one present,
/// started root, the image of that version in memory with its whole pool, 20 distinct endpoints in
/// view, and started children for exactly the active ones.
std::optional<std::string> WhyNotRunning(const platform::simulated::Machine& machine,
                                         std::u16string_view version);

// ------------------------------------------------------------------------------------------------
// Endpoints.

/// Ids of the active endpoints of all installed roots.
std::set<std::u16string> ActiveEndpointIds(const platform::simulated::Machine& machine);

/// How many endpoints of the present root the user sees: those that are active and whose PnP child
/// is started.
std::size_t VisibleEndpoints(const platform::simulated::Machine& machine);

/// Ids of the present root's endpoints that are active or disabled, in catalog order.
std::vector<std::string> EndpointIds(const platform::simulated::Machine& machine);

// ------------------------------------------------------------------------------------------------
// Packages, endpoint records, files.

/// Published packages of the product whose INF has these bytes.
std::size_t CountPackagesWithInf(const platform::simulated::Machine& machine,
                                 const platform::simulated::Bytes& inf);

/// Names of the endpoint records that the product owns, "Render\{...}" or "Capture\{...}", in
/// listing order.
std::vector<std::u16string> OwnedRecords(const platform::simulated::Machine& machine);

/// Names of the endpoint records that the product cannot prove to own.
std::vector<std::u16string> OtherRecords(const platform::simulated::Machine& machine);

bool HasFile(const platform::simulated::Machine& machine, std::u16string_view path);

/// The bytes of a file; the file must exist.
std::string TextOf(const platform::simulated::Machine& machine, std::u16string_view path);

/// The prefix of every private snapshot's name.
inline constexpr std::u16string_view kSnapshotPrefix = u"VORN-input-";

/// Names of the private snapshots in a folder, or in the temporary folder.
std::vector<std::u16string> SnapshotFolders(const platform::simulated::Machine& machine,
                                            std::u16string_view folder);
std::vector<std::u16string> SnapshotFolders(const platform::simulated::Machine& machine);

/// Every trace of the product except its package folder and the log: devices, packages, endpoint
/// records, endpoints, temporary files. Empty on a machine that never had the product.
std::vector<std::string> TracesOf(const platform::simulated::Machine& machine);

}  // namespace vorn::tests
