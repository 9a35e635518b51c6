#pragma once

// The readers: each fills one part of the record from the platform.

#include "capture/capture_request.h"
#include "capture/captured_machine.h"

namespace vorn::capture {

/// Clock, build, session, token, native calls, services, class name, folders.
void ReadSystem(CapturedMachine& machine);

/// The devices of the enumerator ROOT. Of those with our hardware id everything that the program
/// reads, with the nodes below them and the driver's answers; of the others the hardware ids.
void ReadDevices(CapturedMachine& machine);

/// The active and disabled endpoints of both flows.
void ReadCatalog(CapturedMachine& machine);

/// The endpoint records: all names, and the subtrees of those with the driver's marker.
void ReadEndpointRecords(CapturedMachine& machine);

/// Folders, packages, journals, logs and published INFs. Needs the folders of ReadSystem.
void ReadFiles(const CaptureRequest& request, CapturedMachine& machine);

}  // namespace vorn::capture
