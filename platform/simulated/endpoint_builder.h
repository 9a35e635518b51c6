#pragma once

// The endpoint builder: the service that makes audio endpoints of what a started driver exposes. An
// endpoint is three things that it keeps in step: an entry of the catalog, a PnP child
// SWD\MMDEVAPI\<id> of the device, and a record in the registry. The record and the catalog's entry
// outlast the device, which is how an endpoint keeps its id.

#include "platform/simulated/audio_catalog.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

struct Machine;

inline constexpr char16_t kEndpointRecordsPath[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio";
inline constexpr char16_t kCableMarkerName[] = u"{4b7a2e8f-3c5d-4e91-8a67-2f9b1e3d5c7a},2";

/// The keys that endpoint records lie under, protected as Windows protects them: administrators
/// read there, and delete only by privilege. Machines have them from the start.
void MakeEndpointRecordKeys(Machine& machine);

/// The driver of a device has started: its endpoints are published after the builder's delay, or
/// once the audio services run.
void BuildEndpointsSoon(Machine& machine, std::u16string_view rootInstanceId);

/// Publishes the endpoints of a started device as its image exposes them and the user left them:
/// catalog entries, PnP children and registry records. Those that are in view already stay as they
/// are. Does nothing when an audio service does not run or the device is not started.
void PublishEndpoints(Machine& machine, std::u16string_view rootInstanceId);

/// Publishes also the endpoints that come later than the others.
void PublishLateEndpoints(Machine& machine, std::u16string_view rootInstanceId);

/// The PnP children of the device's endpoints that came into view before them.
void PublishEndpointChildren(Machine& machine, std::u16string_view rootInstanceId);

/// Takes the endpoints of a device out of view, and what was still to be built is not; records stay
/// and say "not present". PnP children are erased from the device tree, so that references to
/// devices are no longer good.
void WithdrawEndpoints(Machine& machine, std::u16string_view rootInstanceId);

/// The registry's records of the device's endpoints say "not present" where the catalog does.
void IdleEndpointRecords(Machine& machine, std::u16string_view rootInstanceId);

/// The driver hides one of the device's endpoints, which vanishes, or shows it, which brings it
/// back with the same id as the user left it. References to devices are no longer good.
void ChangeEndpointVisibility(Machine& machine, std::u16string_view rootInstanceId, CableFlow cable,
                              bool visible);

// ------------------------------------------------------------------------------------------------
// The hand of a user, or of somebody else.

/// The catalog's endpoint of that id, or of that cable of the device that is in view; null when
/// there is none. Good until the catalog changes.
AudioEndpoint* FindEndpoint(Machine& machine, std::u16string_view endpointId);
AudioEndpoint* FindEndpoint(Machine& machine, std::u16string_view rootInstanceId, CableFlow cable);

/// The user disables or enables an endpoint in the sound settings. A disabled one stays in the
/// catalog, its PnP child does not start (problem 22), and the choice survives updates.
void SetEndpointDisabled(Machine& machine, std::u16string_view endpointId, bool disabled);

/// An active endpoint of another device appears, with its PnP child and its record; returns its id.
/// The device need not exist.
std::u16string AddForeignEndpoint(Machine& machine, bool capture,
                                  std::u16string_view rootInstanceId,
                                  std::optional<CableProperty> cable = std::nullopt);

/// An endpoint is gone without a trace in the catalog and among the PnP children; its record stays.
void LoseEndpoint(Machine& machine, std::u16string_view endpointId);

/// Where the record of an endpoint is, below HKEY_LOCAL_MACHINE.
std::u16string EndpointRecordPath(const AudioEndpoint& endpoint);

}  // namespace vorn::platform::simulated
