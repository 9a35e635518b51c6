#pragma once

// The platform's audio services, without which no endpoint is ever published.

namespace vorn {

/// Starts the endpoint builder and the audio service through the service control manager. Services
/// that run already, cannot be started or do not exist are left as they are; nothing is reported.
void StartAudioServices();

}  // namespace vorn
