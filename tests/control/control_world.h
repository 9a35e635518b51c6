#pragma once

// A machine whose only root has a sound driver in memory, which answers on its control interface.

#include "control/control_protocol.h"
#include "platform/simulated/driver_image.h"
#include "tests/support/device_world.h"

#include <string>

namespace vorn::tests {

inline constexpr char16_t kControlPath[] = u"\\\\?\\root#media#0000#{a3f2b8c1}\\control";
inline constexpr char16_t kOtherControlPath[] = u"\\\\?\\root#media#0001#{a3f2b8c1}\\control";
inline constexpr char16_t kAudioPath[] = u"\\\\?\\root#media#0000#{6994ad04}\\wave";
inline constexpr char16_t kOtherAudioPath[] = u"\\\\?\\root#media#0000#{6994ad04}\\topology";

class ControlWorld : public DeviceWorld {
 protected:
  ControlWorld() {
    platform::simulated::Device& root = AddStartedRoot(machine);
    root.resident = platform::simulated::SoundImage(u"26.8.10.5");
    root.interfaces = {ControlInterface(kControlPath)};
  }

  static platform::simulated::DeviceInterface ControlInterface(std::u16string path) {
    return {kControlInterfaceClass, std::move(path), true, 0};
  }
  static platform::simulated::DeviceInterface AudioInterface(std::u16string path) {
    return {platform::KSCATEGORY_AUDIO, std::move(path), true, 0};
  }

  platform::simulated::Device& Root() { return *machine.devices.Find(kRootId); }
  platform::simulated::DriverImage& Image() { return *Root().resident; }

  /// The control codes that were sent, in order.
  std::vector<std::string> Codes() const {
    std::vector<std::string> codes;
    for (const auto& call : CallsOf(process, "DeviceIoControl"))
      codes.push_back(call.Argument("controlCode"));
    return codes;
  }
};

}  // namespace vorn::tests
