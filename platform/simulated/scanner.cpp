#include "platform/simulated/scanner.h"

#include "platform/files.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/machine.h"

#include <utility>

namespace vorn::platform::simulated {

// Documented (file system minifilters): a scanner reads a file after its writer has closed it, and
// shares everything, so that nobody is refused. Documented: a name whose file is deleted while
// somebody has it open stays until the last handle closes, and meanwhile cannot be opened or
// created. Assumed: a scanner holds a file for seconds. Question: how long after the private copy
// is written does its deletion leave a name, with the scanner and the indexer of a usual
// installation?
void ScanWritten(Machine& machine, NodeId file, const Place& place) {
  FileSystem& files = machine.files;
  if (files.scanMs == 0) return;
  const Entry* entry = FindEntry(files, place);
  if (entry == nullptr || entry->node != file || entry->deletePending) return;
  Open open;
  open.place = place;
  open.access = FILE_GENERIC_READ;
  open.share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  open.foreign = true;
  open.until = TickIn(machine, files.scanMs);
  open.description = u"virus scanner";
  AddOpen(files, file, std::move(open));
}

}  // namespace vorn::platform::simulated
