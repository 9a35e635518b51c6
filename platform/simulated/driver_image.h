#pragma once

// What a driver image reports and does. In the simulated machine the .sys file of a package is a
// short text of `name=value` lines; this is what it means once loaded.

#include "platform/simulated/file_system.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::platform::simulated {

struct PoolEntry {
  std::uint32_t cable = 0;
  std::uint32_t flow = 0;  // 0 render, else capture
  std::u16string name;     // up to 64 units; 64 means that no terminator follows

  friend bool operator==(const PoolEntry&, const PoolEntry&) = default;
};

/// (cable, flow) with flow 0 or 1.
using CableFlow = std::pair<std::uint32_t, std::uint32_t>;

struct DriverImage {
  std::uint32_t loadedVersion = 0;  // packed, as GET_STATUS reports it
  std::uint32_t revision = 0;       // fourth part
  std::uint32_t lifecycleAbi = 3;
  std::uint32_t sharedMemoryAbi = 3;
  std::uint32_t capabilities = 1;
  std::uint32_t statusBytes = 128;                  // length of the GET_STATUS reply
  std::vector<PoolEntry> pool;                      // 20 entries in a sound image
  std::uint32_t poolCount = 20;                     // the count it reports
  std::uint32_t poolBytes = 2804;                   // length of the pool reply
  std::uint32_t leaseBytes = 16;                    // length of the lease reply
  std::map<std::uint32_t, std::uint32_t> failures;  // by control code: the error it returns
  std::map<std::uint32_t, std::uint64_t> delays;    // by control code: the milliseconds it takes
  std::map<std::uint32_t, Bytes> replies;           // by control code: the bytes it replies instead
  std::map<CableFlow, std::uint32_t> refusesToHide;  // the error for each
  std::map<CableFlow, std::uint32_t> refusesToShow;
  std::uint32_t startProblem = 0;  // not 0: the device gets this problem instead of starting
  std::uint64_t startDelay = 400;  // milliseconds from the bind to the device's start
  bool refusesUnload = false;      // a restart leaves the older image in memory
  bool needsRestart = false;       // binding it asks for a restart of the machine
  bool registersControlInterface = true;
  bool registersAudioInterface = true;

  friend bool operator==(const DriverImage&, const DriverImage&) = default;
};

/// A sound image of version "a.b.c.d", with the whole pool of 20: render cables 0 to 9, then the
/// capture cables. Missing parts of the version are 0.
DriverImage SoundImage(std::u16string_view version);

/// The version "a.b.c.d" that the image's words report.
std::string VersionText(const DriverImage& image);

/// The image that the bytes of a .sys describe; unknown lines are ignored. A line `version=a.b.c.d`
/// sets the sound image of that version, which later lines change.
DriverImage ParseImage(const Bytes& content);

/// The text of an image, for the .sys of a package. It lists what differs from the sound image of
/// the version; ParseImage turns it back into the same image.
std::string ToImageText(const DriverImage& image);

}  // namespace vorn::platform::simulated
