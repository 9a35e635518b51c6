#pragma once

// VolumeForm: a volume taken apart into the facts in machine.json and the files in the machine's
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

/// The volumes of a machine, with all names in the order of their folder. `folders` names the
/// host's folders of the first volumes; any further one is named after its drive letter, or
/// "volume<n>".
std::vector<VolumeForm> TakeVolumesApart(const platform::simulated::FileSystem& files,
                                         const std::vector<std::string>& folders = {});

/// Files that other processes hold open.
std::vector<HeldFile> ListHeldFiles(const platform::simulated::FileSystem& files);

/// Adds the volumes to `files`, which must have none. Everything in a tree becomes part of the
/// volume. A name without an index that the facts mention must be in the tree; a missing name with
/// an index was deleted by hand. Throws BadInput with the path of the key.
void PutVolumesTogether(const std::vector<VolumeForm>& volumes,
                        platform::simulated::FileSystem& files);

/// Opens the files for other processes. Throws BadInput for a file that does not exist.
void HoldFiles(const std::vector<HeldFile>& heldFiles, platform::simulated::FileSystem& files);

}  // namespace vorn::lab
