#include "verify/audio_services.h"

#include "platform/owners.h"
#include "platform/services.h"

namespace vorn {

// The audio service depends on the builder.
constexpr const char16_t* kAudioServices[] = {u"AudioEndpointBuilder", u"Audiosrv"};

void StartAudioServices() {
  const platform::ServiceHandle manager(platform::OpenSCManagerW(platform::SC_MANAGER_CONNECT));
  if (!manager) return;
  for (const char16_t* name : kAudioServices) {
    const platform::ServiceHandle service(
        platform::OpenServiceW(manager.Get(), name, platform::SERVICE_START));
    if (service) platform::StartServiceW(service.Get());
  }
}

}  // namespace vorn
