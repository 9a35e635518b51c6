#pragma once

// Directory listings as a volume returns them: page by page, in its own record layout.

#include "platform/simulated/file_open.h"

#include <cstdint>

namespace vorn::platform::simulated {

/// Attributes as the volume reports them, including those that follow from the node.
std::uint32_t ReportedAttributes(const Node& node);

/// The tag of a node's reparse point; 0 for none.
std::uint32_t ReparseTag(const Node& node);

/// Fills `page` with the next id-and-both-names records of an open folder, from the start after
/// `restart`: "." and ".." (which a volume's root lacks), then the names in upper-cased order.
/// STATUS_NO_MORE_FILES at the end, STATUS_BUFFER_OVERFLOW when not even one record fits.
NTSTATUS FillDirectoryPage(FileObject& folder, bool restart, void* page, std::uint32_t size);

}  // namespace vorn::platform::simulated
