#pragma once

// MachineFolder: a machine that lives in a folder between runs. Its files are plain files, one
// folder for each volume; machine.json holds the rest.

#include "lab/machine_document.h"
#include "lab/volume_tree.h"
#include "platform/simulated/machine.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace vorn::lab {

/// A machine, and what the lab stores with it.
struct LabMachine {
  platform::simulated::Machine machine;
  ProcessFacts process;
  std::vector<std::string> volumeFolders;  // one for each volume of the machine, in order
};

/// Creates the folder of a new machine. Throws BadInput when something already exists there.
void CreateMachineFolder(const std::filesystem::path& folder, const LabMachine& machine);

class MachineFolder {
 public:
  /// Opens an existing folder for this process alone; any other process waits until it is closed.
  /// Throws BadInput when there is no machine.
  explicit MachineFolder(std::filesystem::path folder);
  ~MachineFolder();

  MachineFolder(const MachineFolder&) = delete;
  MachineFolder& operator=(const MachineFolder&) = delete;

  /// Reads the machine. Throws BadInput with the path of the key or file at fault.
  LabMachine Load() const;

  /// Writes the machine, completely or not at all. Unchanged files are not touched. What Load has
  /// read is taken to be there still.
  void Save(const LabMachine& machine) const;

 private:
  std::filesystem::path folder_;
  int lock_;
  mutable std::map<std::string, VolumeTree> read_;  // by folder
};

}  // namespace vorn::lab
