#include "install/install_command.h"

#include "devnode/duplicate_roots.h"
#include "devnode/root_discovery.h"
#include "install/existing_root_update.h"
#include "install/fresh_install.h"
#include "install/retained_journal.h"
#include "package/inf_identity.h"
#include "report/console.h"

#include <cstdint>
#include <optional>
#include <utility>

namespace vorn {

namespace {

/// Removes duplicate roots and returns how many are present, 0 or 1. Nothing if that failed or
/// needs a machine restart.
std::optional<std::uint32_t> CleanUpRoots() {
  const std::optional<std::int32_t> installed = CountInstalledRoots();
  if (!installed) return std::nullopt;
  const PruneResult pruned = PruneDuplicateRoots();
  const bool deferred = *installed >= 2 && pruned.restartPending;
  if (!pruned.ok || deferred) return std::nullopt;
  return pruned.remaining;
}

}  // namespace

ExitStatus Install(const InstallRequest& request) {
  if (!request.inf.file) {
    PrintError(u"vorn_devnode: INF not found: %s\n", request.inf.path);
    return kExitInputRefused;
  }
  std::optional<DriverIdentity> target = ReadIdentity(request.inf.file);
  if (!target) {
    PrintError(u"vorn_devnode: target INF identity could not be read\n");
    return kExitInputRefused;
  }
  if (!RetireRetainedJournal(request.journal)) return kExitActivationStateBlocks;

  const std::optional<std::uint32_t> remainingRoots = CleanUpRoots();
  if (!remainingRoots) {
    PrintError(
        u"vorn_devnode: RESULT=BIND_REFUSED - VORN root cleanup could not complete "
        u"synchronously\n");
    return kExitBindRefused;
  }
  return *remainingRoots == 0 ? InstallFreshRoot(request, std::move(*target))
                              : UpdateExistingRoot(request, std::move(*target));
}

}  // namespace vorn
