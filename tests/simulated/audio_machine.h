#pragma once

// A small machine with one started root and its audio, put together by hand, and short ways to open
// its driver. It has no files, so that these tests say nothing about packages.

#include "platform/device_io.h"
#include "platform/simulated/process.h"

#include <optional>
#include <string>

namespace vorn::platform::simulated {

inline constexpr char16_t kRoot[] = u"ROOT\\MEDIA\\0000";
inline constexpr char16_t kControlPath[] =
    u"\\\\?\\root#media#0000#{a3f2b8c1-7d4e-4f5a-9b2c-1e8d6f3a4b5c}";
inline constexpr char16_t kAudioPath[] =
    u"\\\\?\\root#media#0000#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\wave";

/// The root is started with that image in memory, both audio services run, and no endpoint is
/// published yet.
Machine StartedMachine(DriverImage image = SoundImage(u"26.8.10.5"));

/// The same with its endpoints published.
Machine PublishedMachine(DriverImage image = SoundImage(u"26.8.10.5"));

/// The driver stops, and starts again with that image in memory; endpoints come with time.
void Restart(Machine& machine, DriverImage image = SoundImage(u"26.8.10.5"));

/// The root's endpoints in these states of the catalog.
std::size_t CountEndpoints(const Machine& machine, std::uint32_t stateMask);

/// The root's PnP children that are started.
std::size_t CountStartedChildren(const Machine& machine);

/// The child of an endpoint; null when there is none.
const Device* FindChildDevice(const Machine& machine, std::u16string_view endpointId);

/// The number in a DWORD value; nothing when there is none.
std::optional<std::uint32_t> ReadDword(const Machine& machine, std::u16string_view path,
                                       std::u16string_view name);

}  // namespace vorn::platform::simulated
