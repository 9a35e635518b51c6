#pragma once

// MachineGlance: what a user could notice of the product's devices, packages, endpoints and
// journals at one moment. Taking one is quick, so that a machine can be watched at every call of a
// run.

#include "platform/simulated/machine.h"
#include "product/endpoint_identity.h"

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vorn::lab {

enum class EndpointGlance { None, Active, Unplugged, Disabled, NotPresent };

/// "none", "active", ...
const char* NameOf(EndpointGlance state);

struct DeviceGlance {
  std::string instanceId;
  std::string state;           // as in DeviceReport
  std::string package;         // published INF, empty when none is selected
  std::string pendingPackage;  // takes effect at the next restart
  std::string image;           // version of the image in memory, empty when there is none

  friend bool operator==(const DeviceGlance&, const DeviceGlance&) = default;
};

struct PackageGlance {
  std::string publishedInf;
  std::string version;  // empty when its INF cannot be read

  friend bool operator==(const PackageGlance&, const PackageGlance&) = default;
};

struct JournalGlance {
  std::string path;
  std::string about;  // "names 26.9.1.1", "names 26.9.1.1 (fresh)", "empty", "unreadable"

  friend bool operator==(const JournalGlance&, const JournalGlance&) = default;
};

struct MachineGlance {
  std::vector<DeviceGlance> devices;
  std::vector<PackageGlance> packages;
  /// By flow, render first, and cable.
  std::array<std::array<EndpointGlance, kCableCount>, 2> endpoints = {};
  std::vector<JournalGlance> journals;

  friend bool operator==(const MachineGlance&, const MachineGlance&) = default;
};

/// Takes glances of one machine, and remembers what it has read of files that stay the same.
class GlanceTaker {
 public:
  /// A file is a journal by this name.
  explicit GlanceTaker(std::u16string journalName);

  MachineGlance Take(const platform::simulated::Machine& machine);

 private:
  struct KnownText {
    std::shared_ptr<const platform::simulated::Bytes> content;
    std::string about;
  };

  std::string VersionOf(const platform::simulated::Machine& machine, const std::u16string& inf);
  void FindJournals(const platform::simulated::FileSystem& files,
                    const platform::simulated::Node& folder, const std::u16string& path,
                    std::vector<JournalGlance>& journals);
  std::string AboutJournal(const std::string& path, const platform::simulated::Node& file);

  std::u16string journalName_;
  std::map<std::u16string, std::string> versions_;  // by published INF
  std::map<std::string, KnownText> journals_;       // by path
};

}  // namespace vorn::lab
