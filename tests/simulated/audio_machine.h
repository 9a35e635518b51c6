#pragma once

// A small machine with one started root and its audio, built by hand, for tests of the audio model.
// It has no files, so nothing here depends on packages.

#include "platform/device_io.h"
#include "platform/simulated/process.h"
#include "tests/support/sample.h"

#include <optional>
#include <string>

namespace vorn::platform::simulated {

using tests::kRootId;
using tests::kSampleVersion;

inline constexpr char16_t kControlPath[] =
    u"\\\\?\\root#media#0000#{a3f2b8c1-7d4e-4f5a-9b2c-1e8d6f3a4b5c}";
inline constexpr char16_t kAudioPath[] =
    u"\\\\?\\root#media#0000#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\wave";

/// A machine whose root is started with that image in memory. Both audio services run, and no
/// endpoint is published yet.
Machine StartedMachine(DriverImage image = SoundImage(kSampleVersion));

/// The same machine with its endpoints published.
Machine PublishedMachine(DriverImage image = SoundImage(kSampleVersion));

/// Stops the driver and starts it again with that image in memory; the endpoints return with time.
void Restart(Machine& machine, DriverImage image = SoundImage(kSampleVersion));

/// The number of the root's endpoints in these catalog states.
std::size_t CountEndpoints(const Machine& machine, std::uint32_t stateMask);

/// The number of the root's started PnP children.
std::size_t CountStartedChildren(const Machine& machine);

/// The PnP child of an endpoint; null when there is none.
const Device* FindChildDevice(const Machine& machine, std::u16string_view endpointId);

/// The number in a DWORD value; nothing when there is none.
std::optional<std::uint32_t> ReadDword(const Machine& machine, std::u16string_view path,
                                       std::u16string_view name);

}  // namespace vorn::platform::simulated
