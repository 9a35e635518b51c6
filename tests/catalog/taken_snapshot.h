#pragma once

// Snapshots of catalogs that are put together endpoint by endpoint, and what each left behind.

#include "catalog/catalog_snapshot.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

using Ids = std::vector<std::u16string>;

inline constexpr char16_t kCatalogRoot[] = u"ROOT\\MEDIA\\0000";

inline constexpr const char* kIncomplete = "MMDevice catalog enumeration was incomplete";

/// An active endpoint of that root.
platform::simulated::AudioEndpoint Endpoint(std::uint32_t cable, bool capture);

/// A machine whose catalog shows these endpoints and nothing else.
platform::simulated::Machine MachineWith(std::vector<platform::simulated::AudioEndpoint> endpoints);

/// All 20, render and capture of each cable side by side.
std::vector<platform::simulated::AudioEndpoint> AllEndpoints();

/// The instance ids of those that are active.
Ids InstanceIds(const std::vector<platform::simulated::AudioEndpoint>& endpoints);

/// What one snapshot gave, and what it left behind.
struct Taken {
  CatalogSnapshot snapshot;
  std::vector<platform::simulated::CallRecord> calls;
  std::uint64_t callCount = 0;
  platform::simulated::CallCounts callCounts;
  int apartments = 0;
  std::map<platform::simulated::ObjectKind, std::size_t> open;

  std::uint32_t CountOf(std::string_view name) const;
};

/// A snapshot of the root's catalog.
Taken Snapshot(platform::simulated::Machine& machine, const Ids& children, PnpComparison comparison,
               std::vector<platform::simulated::Fault> faults = {});

/// A snapshot without the comparison.
Taken Snapshot(std::vector<platform::simulated::AudioEndpoint> endpoints);

void ExpectNothingLeft(const Taken& taken);

}  // namespace vorn::tests
