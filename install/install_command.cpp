#include "install/install_command.h"

#include "devnode/duplicate_roots.h"
#include "devnode/root_discovery.h"
#include "install/existing_root_update.h"
#include "install/fresh_install.h"
#include "install/retained_journal.h"
#include "package/content_hash.h"
#include "package/driver_identity.h"
#include "package/inf_identity.h"
#include "privileged_input/file.h"
#include "privileged_input/protected_files.h"
#include "report/console.h"

#include <cstdint>

namespace vorn {

namespace {

/// Which package the INF is, for the journal.
bool ReadTarget(const std::u16string& infPath, const privileged_input::File& inf,
                ActivationState& target) {
  target.service = kDriverServiceName;
  return ReadExpectedDriverVer(infPath, &inf, target.date, target.version) &&
         HashFileSha256(infPath, &inf, target.infSha256);
}

/// Leaves one root device or none; `remaining` says which. False when that could not be reached
/// within this run.
bool CleanUpRoots(std::uint32_t& remaining) {
  const std::int32_t installed = CountInstalledRoots();
  if (installed < 0) return false;
  const PruneResult pruned = PruneDuplicateRoots();
  remaining = pruned.remaining;
  const bool deferred = installed >= 2 && pruned.restartPending;
  return pruned.ok && !deferred;
}

}  // namespace

ExitStatus Install(const std::u16string& infPath, const std::u16string& statePath, bool rollback) {
  const privileged_input::File inf = privileged_input::OpenInputFile(infPath);
  if (!inf) {
    PrintError(u"vorn_devnode: INF not found: %s\n", infPath);
    return kExitInputRefused;
  }
  ActivationState target;
  if (!ReadTarget(infPath, inf, target)) {
    PrintError(u"vorn_devnode: target INF identity could not be read\n");
    return kExitInputRefused;
  }
  if (!RetireRetainedJournal(statePath)) return kExitActivationStateBlocks;

  std::uint32_t remainingRoots = 0;
  if (!CleanUpRoots(remainingRoots)) {
    PrintError(
        u"vorn_devnode: RESULT=BIND_REFUSED - VORN root cleanup could not complete "
        u"synchronously\n");
    return kExitBindRefused;
  }
  const InstallRequest request{infPath, statePath, rollback};
  return remainingRoots == 0 ? InstallFreshRoot(request, target)
                             : UpdateExistingRoot(request, target);
}

}  // namespace vorn
