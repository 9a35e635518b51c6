#pragma once

// The simulated machine's services.

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

struct Machine;

inline constexpr char16_t kEndpointBuilderService[] = u"AudioEndpointBuilder";
inline constexpr char16_t kAudioService[] = u"Audiosrv";

struct Service {
  bool running = true;
  std::uint32_t openError = 0;   // not 0: opening it fails with this
  std::uint32_t startError = 0;  // not 0: starting it fails with this

  friend bool operator==(const Service&, const Service&) = default;
};

/// The service of that name, ignoring ASCII case; null when there is none.
Service* FindService(Machine& machine, std::u16string_view name);
const Service* FindService(const Machine& machine, std::u16string_view name);

/// Whether a service exists and is running.
bool IsRunning(const Machine& machine, std::u16string_view name);

/// Whether both services that audio endpoints need are running.
bool AudioServicesRun(const Machine& machine);

/// Starts a stopped service, ignoring its configured errors. The endpoint builder then serves the
/// devices that were waiting for it.
void RunService(Machine& machine, std::u16string_view name);

/// Stops a service. Endpoints stay as they are, but cannot be listed or built.
void StopService(Machine& machine, std::u16string_view name);

/// Starts every service that can start, as a restart of the machine does.
void RunAutomaticServices(Machine& machine);

}  // namespace vorn::platform::simulated
