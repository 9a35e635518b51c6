#pragma once

// Finding the one device node that this program works on: the present, root-enumerated device whose
// hardware ids include Root\VornAudio. Everything here only reads, and prints nothing.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

/// The present root device, as it was at one look. With several present roots the details are those
/// of the first; with none they are empty.
struct LiveRoot {
  bool ok = false;              // exactly one present root, it has an id, and it started cleanly
  bool startedCleanly = false;  // DN_STARTED, and no problem
  bool disabled = false;        // the problem is CM_PROB_DISABLED
  std::uint32_t presentCount = 0;
  std::u16string instanceId;
  std::u16string driverVersion;                  // DEVPKEY_Device_DriverVersion
  std::u16string service;                        // DEVPKEY_Device_Service
  std::u16string driverInfPath;                  // DEVPKEY_Device_DriverInfPath, as oem3.inf
  std::vector<std::u16string> endpointChildren;  // started AudioEndpoint children, sorted when ok
  std::u16string reason;                         // why not ok, empty when ok
};

/// Looks for the live root.
LiveRoot DiscoverLiveRoot();

/// How many matching root devices are installed, present or not; nothing when they cannot all be
/// counted.
std::optional<std::int32_t> CountInstalledRoots();

struct RootListing {
  std::vector<std::u16string> ids;  // sorted ascending by code units; those read before a failure
  bool complete = false;            // every id was read and the listing ended as a listing should
};

/// Instance ids of the present matching roots.
RootListing ListPresentRootIds();

struct StartWait {
  bool started = false;       // without a problem
  std::uint32_t problem = 0;  // the last problem code that was seen, 0 if none was
};

/// Waits until the first present root is started without a problem, looking every 500 ms for
/// `timeoutMs`; 0 looks once.
StartWait WaitForStartedRoot(std::uint32_t timeoutMs);

}  // namespace vorn
