#pragma once

// Names of the native name space ("\Device\HarddiskVolume3\a\b", "\??\C:\a") and the walk along
// them: which node a name leads to, where the walk ends, and what links on the way do.

#include "platform/simulated/file_system.h"
#include "platform/simulated/native_values.h"

#include <optional>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

struct WalkOptions {
  bool openLastLink = false;  // FILE_OPEN_REPARSE_POINT: the walk ends at a link that comes last
  bool dontReparse = false;   // OBJ_DONT_REPARSE: nothing on the way may redirect the walk
};

/// Where a walk ended.
struct Walked {
  /// STATUS_SUCCESS when the node exists; STATUS_OBJECT_NAME_NOT_FOUND when only the last name is
  /// missing in an existing folder (`place` and `name` then say where it would be).
  NTSTATUS status = STATUS_SUCCESS;
  NodeId node = 0;
  Place place;             // of the last name
  std::u16string name;     // the last name as given, for a missing node
  bool rawVolume = false;  // the volume device itself, without a path below it
};

/// Walks an absolute native name, or one relative to the folder `start`.
Walked Walk(const FileSystem& files, std::optional<NodeId> start, const Place& startPlace,
            std::u16string_view name, const WalkOptions& options);

/// The same without a start.
Walked Walk(const FileSystem& files, std::u16string_view name, const WalkOptions& options);

/// Whether NTFS accepts a name component: 1 to 255 units, no control character, separator or
/// wildcard, and neither "." nor "..".
bool IsValidNtName(std::u16string_view component);

}  // namespace vorn::platform::simulated
