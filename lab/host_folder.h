#pragma once

// A volume's content as plain files and folders of the host.

#include "lab/volume_tree.h"

#include <filesystem>
#include <string>

namespace vorn::lab {

/// Reads a folder with everything in it; an empty tree when there is no such folder. Throws
/// BadHostFile, which names the folder as `shownAs`, for anything that is neither a file nor a
/// folder.
VolumeTree ReadVolumeTree(const std::filesystem::path& folder, const std::string& shownAs);

/// Read or write a whole file. They throw std::system_error.
StoredItem ReadStoredFile(const std::filesystem::path& path);
void WriteStoredFile(const std::filesystem::path& path, const StoredItem& item);

}  // namespace vorn::lab
