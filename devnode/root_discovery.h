#pragma once

// Finds the one device node that the program works on: the present, root-enumerated device with the
// hardware id Root\VornAudio. Changes and prints nothing.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

/// What to read of the present root. Its endpoint children alone take a hundred calls, so that a
/// command asks only for what it uses.
enum class RootFacts {
  State,     // its instance id and whether it is started
  Children,  // also its endpoint children
  All,       // also the bound driver
};

/// The present root device at one moment: the first one's details if there are several, empty if
/// there is none.
struct LiveRoot {
  bool ok = false;              // exactly one is present, it has an id and started cleanly
  bool startedCleanly = false;  // DN_STARTED without a problem
  bool disabled = false;        // the problem is CM_PROB_DISABLED
  std::uint32_t presentCount = 0;
  std::u16string instanceId;
  std::u16string driverVersion;                  // DEVPKEY_Device_DriverVersion
  std::u16string service;                        // DEVPKEY_Device_Service
  std::u16string driverInfPath;                  // DEVPKEY_Device_DriverInfPath, e.g. oem3.inf
  std::vector<std::u16string> endpointChildren;  // started AudioEndpoint children, sorted when ok
  std::u16string reason;                         // why not ok
};

/// What `facts` leaves out stays empty, and has no part in `ok`.
LiveRoot DiscoverLiveRoot(RootFacts facts = RootFacts::All);

/// Counts the installed matching roots, present or not; nothing if the listing fails.
std::optional<std::int32_t> CountInstalledRoots();

struct RootListing {
  std::vector<std::u16string> ids;  // sorted by code units; those read before a failure
  bool complete = false;            // every device and every id was read
};

/// Lists the instance ids of the present matching roots.
RootListing ListPresentRootIds();

struct StartWait {
  bool started = false;       // without a problem
  std::uint32_t problem = 0;  // the last problem code seen; 0 if none
};

/// Waits until the first present root is started without a problem, polling every 500 ms for
/// `timeoutMs`; 0 polls once.
StartWait WaitForStartedRoot(std::uint32_t timeoutMs);

}  // namespace vorn
