#pragma once

// An independent look at a machine's state: counted and compared directly on the model, never
// through the program's own code.

#include "platform/simulated/machine.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

inline constexpr char16_t kTargetInf[] = u"C:\\pkg\\driver\\vorn_audio.inf";
inline constexpr char16_t kTargetVersion[] = u"26.8.10.5";
inline constexpr char16_t kTargetDate[] = u"08/10/2026";
inline constexpr char16_t kJournal[] = u"C:\\pkg\\.vorn-driver-activation-state";
inline constexpr char16_t kRemovalLog[] = u"C:\\pkg\\logs\\vorn_devnode.log";

/// The installed roots of the hardware id, present or not.
std::vector<const platform::simulated::Device*> InstalledRoots(
    const platform::simulated::Machine& machine);

/// The one present root; null when there is none or more than one.
const platform::simulated::Device* OnlyPresentRoot(const platform::simulated::Machine& machine);

/// Published packages of this product whose INF has these bytes.
std::size_t CountPackagesWithInf(const platform::simulated::Machine& machine,
                                 const platform::simulated::Bytes& inf);

/// Ids of the catalog's active endpoints of all of the product's roots.
std::set<std::u16string> VisibleEndpointIds(const platform::simulated::Machine& machine);

/// Why the machine does not run that version as it should: one present, started root, the image of
/// that version in memory with its whole pool, 20 distinct endpoints in view, and started
/// children for exactly the active ones. Nothing when it does.
std::optional<std::string> WhyNotRunning(const platform::simulated::Machine& machine,
                                         std::u16string_view version);

/// Names of the endpoint records that the product owns, "Render\{...}" or "Capture\{...}".
std::vector<std::u16string> OwnedRecords(const platform::simulated::Machine& machine);

/// Names of the endpoint records that the product cannot prove to own.
std::vector<std::u16string> OtherRecords(const platform::simulated::Machine& machine);

/// Names of entries in the temporary folder that are private snapshots.
std::vector<std::u16string> SnapshotFolders(const platform::simulated::Machine& machine);

}  // namespace vorn::tests
