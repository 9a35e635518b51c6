#include "verify/audit_commands.h"

#include "base/check_result.h"
#include "catalog/catalog_snapshot.h"
#include "catalog/catalog_transition.h"
#include "devnode/root_discovery.h"
#include "journal/activation_state.h"
#include "package/inf_identity.h"
#include "report/console.h"
#include "verify/live_verification.h"

#include <optional>
#include <utility>

namespace vorn {

ExitStatus AuditCatalog() {
  const LiveRoot root = DiscoverLiveRoot(RootFacts::Children);
  if (!root.ok) {
    PrintError(u"vorn_devnode: catalog audit root failed: %ls\n", root.reason);
    return kExitNotStarted;
  }
  const CatalogSnapshot snapshot =
      TakeCatalogSnapshot(root.instanceId, root.endpointChildren, PnpComparison::Children);
  // Checked even if the snapshot failed, so that the line shows both reasons.
  const CheckResult complete = CheckCompleteCatalog(snapshot.endpoints);
  if (!snapshot.ok || !complete.ok) {
    PrintError(u"vorn_devnode: catalog audit failed: %ls / %ls\n", snapshot.reason,
               complete.reason);
    return kExitEndpointsMissing;
  }
  Print(u"vorn_devnode: catalog audit OK - catalog=%zu, active=%zu, started-present=%zu\n",
        snapshot.endpoints.size(), snapshot.activeEndpointIds.size(), root.endpointChildren.size());
  return kExitOk;
}

ExitStatus AuditCurrent(const privileged_input::InputInf& inf) {
  std::optional<DriverIdentity> target = ReadIdentity(inf.file);
  if (!target) return kExitInputRefused;
  ActivationState state;
  state.fresh = true;
  state.target = std::move(*target);
  return RunLiveVerification(state, VerificationMode::Reporting);
}

}  // namespace vorn
