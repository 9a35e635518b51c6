#pragma once

// MachineFolder: a machine that lives in a folder between runs. The folders of its volumes hold its
// files as plain files, machine.json the rest.

#include "lab/machine_document.h"
#include "platform/simulated/machine.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vorn::lab {

/// A machine with what the lab keeps beside it.
struct LabMachine {
  platform::simulated::Machine machine;
  ProcessFacts process;
  std::vector<std::string> volumeFolders;  // of the machine's volumes, in their order
};

/// Makes a new folder for a machine. Throws BadInput when there is something already.
void CreateMachineFolder(const std::filesystem::path& folder, const LabMachine& machine);

class MachineFolder {
 public:
  /// Opens an existing folder for this process alone; another one waits until this is gone. Throws
  /// BadInput when there is no machine.
  explicit MachineFolder(std::filesystem::path folder);
  ~MachineFolder();

  MachineFolder(const MachineFolder&) = delete;
  MachineFolder& operator=(const MachineFolder&) = delete;

  /// Reads the machine. Throws BadInput with the path of the key or file that is wrong.
  LabMachine Load() const;

  /// Writes the machine, whole or not at all. Files that did not change are not touched.
  void Save(const LabMachine& machine) const;

 private:
  std::filesystem::path folder_;
  int lock_;
};

}  // namespace vorn::lab
