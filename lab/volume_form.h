#pragma once

// VolumeForm: a volume taken apart into what machine.json says of it and what lies in the machine's
// folder, and put together again.

#include "lab/file_facts.h"
#include "lab/volume_tree.h"
#include "platform/simulated/file_system.h"

#include <string>
#include <vector>

namespace vorn::lab {

struct VolumeForm {
  VolumeFacts facts;
  VolumeTree tree;
};

/// The volumes of a machine, every name in the order of its folder. `folders` names the host's
/// folders of the first of them; a further one is named after its drive letter, or "volume<n>".
std::vector<VolumeForm> TakeVolumesApart(const platform::simulated::FileSystem& files,
                                         const std::vector<std::string>& folders = {});

/// Files that other processes hold open.
std::vector<HeldFile> ListHeldFiles(const platform::simulated::FileSystem& files);

/// Adds the volumes to `files`, which has none. What is in a tree is in the volume; what the facts
/// say of a name without an index must be there, whereas a name with an index that is gone was
/// deleted by hand. Throws BadInput with the path of the key.
void PutVolumesTogether(const std::vector<VolumeForm>& volumes,
                        platform::simulated::FileSystem& files);

/// Opens the files for other processes. Throws BadInput for one that is not there.
void HoldFiles(const std::vector<HeldFile>& heldFiles, platform::simulated::FileSystem& files);

}  // namespace vorn::lab
