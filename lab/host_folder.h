#pragma once

// A volume's content as plain files and folders on the host.

#include "lab/volume_tree.h"

#include <filesystem>
#include <string>

namespace vorn::lab {

/// Reads a folder with everything in it; an empty tree when there is no such folder. `shownAs`
/// names it in the text of BadHostFile, which is thrown for what is neither a file nor a folder.
VolumeTree ReadVolumeTree(const std::filesystem::path& folder, const std::string& shownAs);

/// Reads or writes a whole file. Throws std::system_error.
StoredItem ReadStoredFile(const std::filesystem::path& path);
void WriteStoredFile(const std::filesystem::path& path, const StoredItem& item);

}  // namespace vorn::lab
