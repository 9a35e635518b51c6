#pragma once

// The endpoint builder: the service that makes audio endpoints from what a started driver exposes.
// It keeps three parts of each endpoint in step: an entry of the catalog, a PnP child
// SWD\MMDEVAPI\<id> of the device, and a record in the registry. The record and the catalog entry
// outlive the device, which is how an endpoint keeps its id.

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

/// The keys above the endpoint records, protected as Windows protects them: administrators may read
/// there, and may delete only by privilege. Every machine has these keys from the start.
void MakeEndpointRecordKeys(Machine& machine);

/// Call this when a device's driver has started: its endpoints are published after the builder's
/// delay, or as soon as the audio services run.
void BuildEndpointsSoon(Machine& machine, std::u16string_view rootInstanceId);

/// Publishes the endpoints of a started device as its image exposes them and the user left them:
/// catalog entries, PnP children and registry records. Endpoints already in view stay as they are.
/// Does nothing unless the audio services run and the device is started.
void PublishEndpoints(Machine& machine, std::u16string_view rootInstanceId);

/// Also publishes the endpoints that come later than the others.
void PublishLateEndpoints(Machine& machine, std::u16string_view rootInstanceId);

/// Publishes the PnP children of those endpoints of the device that came into view without them.
void PublishEndpointChildren(Machine& machine, std::u16string_view rootInstanceId);

/// Takes the endpoints of a device out of view and cancels what was still to be built. Records stay
/// and change to "not present". PnP children are erased from the device tree, which invalidates
/// references to devices.
void WithdrawEndpoints(Machine& machine, std::u16string_view rootInstanceId);

/// Sets the records of the device's endpoints to "not present" where the catalog says so.
void IdleEndpointRecords(Machine& machine, std::u16string_view rootInstanceId);

/// The driver hides one of the device's endpoints, which disappears, or shows it, which brings it
/// back with the same id and as the user left it. Invalidates references to devices.
void ChangeEndpointVisibility(Machine& machine, std::u16string_view rootInstanceId, CableFlow cable,
                              bool visible);

// ------------------------------------------------------------------------------------------------
// What a user, or another process, does.

/// The catalog's endpoint of that id, or the visible endpoint of that cable of the device; null
/// when there is none. Valid until the catalog changes.
AudioEndpoint* FindEndpoint(Machine& machine, std::u16string_view endpointId);
AudioEndpoint* FindEndpoint(Machine& machine, std::u16string_view rootInstanceId, CableFlow cable);

/// The user disables or enables an endpoint in the sound settings. A disabled endpoint stays in the
/// catalog, its PnP child does not start (problem 22), and the choice survives updates.
void SetEndpointDisabled(Machine& machine, std::u16string_view endpointId, bool disabled);

/// An active endpoint of another device appears, with its PnP child and its record; returns its id.
/// The device does not have to exist.
std::u16string AddForeignEndpoint(Machine& machine, bool capture,
                                  std::u16string_view rootInstanceId,
                                  std::optional<CableProperty> cable = std::nullopt);

/// The endpoints of a started device in view disappear and come back at once, under new ids. False
/// when there are none.
bool RemintEndpoints(Machine& machine, std::u16string_view rootInstanceId);

/// An endpoint disappears from the catalog and from the PnP children; its record stays.
void LoseEndpoint(Machine& machine, std::u16string_view endpointId);

/// The path of an endpoint's record, below HKEY_LOCAL_MACHINE.
std::u16string EndpointRecordPath(const AudioEndpoint& endpoint);

}  // namespace vorn::platform::simulated
