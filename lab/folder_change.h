#pragma once

// FolderChange: a set of changes to a folder that happens whole or not at all, also when the
// process dies in the middle.
//
// What is new is written beside the old first, with a list of what is to be done. One rename makes
// the list binding; from then on whoever opens the folder finishes what is left of it.

#include "lab/volume_tree.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vorn::lab {

class FolderChange {
 public:
  /// Changes below `root`; paths are relative to it, with slashes.
  explicit FolderChange(std::filesystem::path root);

  void Remove(std::string path);
  void MakeFolder(std::string path);
  void PutFile(std::string path, StoredItem file);

  /// Whether there is nothing to be done.
  bool IsEmpty() const;

  /// Makes the changes. Throws std::system_error, or BadInput for a path that the host cannot hold;
  /// nothing has been changed then.
  void Commit();

 private:
  std::filesystem::path root_;
  std::vector<std::string> removals_;
  std::vector<std::string> folders_;  // those above others first
  std::vector<std::pair<std::string, StoredItem>> files_;
};

/// Finishes a change of the folder that was committed but not made to the end.
void FinishFolderChange(const std::filesystem::path& root);

}  // namespace vorn::lab
