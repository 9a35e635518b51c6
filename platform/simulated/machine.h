#pragma once

// Machine: everything that outlives a process. It is a value: a test copies it to keep an earlier
// state, and thousands of runs start from copies of the same state.

#include "platform/simulated/audio_catalog.h"
#include "platform/simulated/clock.h"
#include "platform/simulated/device_tree.h"
#include "platform/simulated/driver_store.h"
#include "platform/simulated/file_system.h"
#include "platform/simulated/registry_model.h"
#include "platform/simulated/services.h"

#include <cstdint>
#include <map>
#include <string>

namespace vorn::platform::simulated {

struct Machine {
  FileSystem files;
  Registry registry;
  DeviceTree devices;
  DriverStore store;
  AudioCatalog audio;
  std::map<std::u16string, Service> services;  // by name
  std::uint32_t serviceManagerError = 0;       // not 0: connecting to the manager fails with this
  Clock clock;
  std::uint64_t randomState = 0x9E3779B97F4A7C15;
  std::map<std::u16string, std::u16string> classNames;  // by upper-cased class GUID text
};

// Machines to start from. Each has Windows folders on C:, the two audio services running, the
// program's folder, and a sample package of version 26.8.10.5 in C:\pkg\driver.

/// No VORN device.
Machine CleanMachine();

/// The package of that version is installed and running, and its 20 endpoints are active.
Machine InstalledMachine(std::u16string_view version = u"26.8.10.5");

/// Like the installed machine, but with 26.8.9.4, older than the sample package.
Machine OutdatedMachine();

/// Like the installed machine, with an additional ghost root and a second present root.
Machine DuplicatesMachine();

/// Like the installed machine, but the device is disabled.
Machine DisabledMachine();

}  // namespace vorn::platform::simulated
