#pragma once

// The platform's audio services, which publish endpoints.

namespace vorn {

/// Starts the endpoint builder and the audio service (StartServiceW). Failures are ignored.
void StartAudioServices();

}  // namespace vorn
