#pragma once

// MachineReport: what a person, or a test, wants to know about a machine at a glance: its devices
// and what runs on them, the published packages, the endpoints the user sees, the journals and
// logs, and anything left behind.

#include "lab/fact_values.h"
#include "platform/simulated/machine.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn::lab {

struct DeviceReport {
  std::u16string instanceId;
  std::string state;  // "started", "disabled", "problem 28", "stopped" or "absent"
  std::vector<std::u16string> hardwareIds;
  std::u16string service;
  std::u16string package;         // published INF, empty when none is selected
  std::u16string pendingPackage;  // takes effect at the next restart
  std::u16string version;         // the bound version, according to the platform
  std::string resident;           // version of the image in memory, empty when there is none
  std::vector<std::string> hiddenEndpoints;  // "render 3"
};

struct PackageReport {
  std::u16string publishedInf;
  std::u16string originalInf;
  std::u16string version;  // of the INF in the Windows INF folder, empty when it cannot be read
  std::u16string date;
  std::string infSha256;
  std::vector<std::u16string> usedBy;  // instance ids
  bool foreign = false;
};

struct EndpointReport {
  std::u16string id;
  std::string flow;
  std::optional<std::uint32_t> cable;  // missing for an endpoint of another device
  std::string state;                   // "active", "disabled", "not present" or "unplugged"
  std::u16string device;
  bool pnpChild = false;  // started AudioEndpoint child
};

struct TextFileReport {
  std::u16string path;
  bool wellFormed = true;  // for a journal: the program would accept its text
  std::vector<std::string> lines;
};

struct MachineReport {
  std::uint64_t tick = 0;
  std::string time;  // UTC
  std::vector<DeviceReport> devices;
  std::vector<PackageReport> packages;
  std::vector<EndpointReport> endpoints;
  std::vector<std::u16string> records;  // registry records with the driver's marker
  std::vector<std::pair<std::u16string, bool>> services;  // and whether they run
  std::vector<TextFileReport> journals;
  std::vector<TextFileReport> logs;
  std::vector<std::u16string> snapshots;  // folders that a run should have removed
};

/// "started", "disabled", "problem 28", "stopped" or "absent".
std::string DeviceState(const platform::simulated::Device& device);

/// The text of a file in UTF-16, as a journal is.
std::u16string Utf16Content(const platform::simulated::Node& file);

/// Examines a machine without changing it.
MachineReport Examine(const platform::simulated::Machine& machine);

/// The report for people.
std::string ReportText(const MachineReport& report);

/// The report for scripts.
Json ReportJson(const MachineReport& report);

}  // namespace vorn::lab
