#pragma once

// FolderChange: a set of changes to a folder that happens completely or not at all, even when the
// process dies halfway.
//
// New content is first written beside the old, together with a list of what to do. One rename then
// commits the list, and whoever opens the folder next finishes what is left of it.

#include "lab/volume_tree.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vorn::lab {

class FolderChange {
 public:
  /// Changes below `root`. Paths are relative to it and use slashes.
  explicit FolderChange(std::filesystem::path root);

  void Remove(std::string path);
  void MakeFolder(std::string path);
  void PutFile(std::string path, StoredItem file);

  /// Whether there is nothing to do.
  bool IsEmpty() const;

  /// Makes the changes. Throws std::system_error, or BadInput for a path that the host cannot hold;
  /// in both cases nothing has been changed.
  void Commit();

 private:
  std::filesystem::path root_;
  std::vector<std::string> removals_;
  std::vector<std::string> folders_;  // parents first
  std::vector<std::pair<std::string, StoredItem>> files_;
};

/// Finishes a change of the folder that was committed but not completed.
void FinishFolderChange(const std::filesystem::path& root);

}  // namespace vorn::lab
