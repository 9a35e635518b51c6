#include "verify/audit_commands.h"

#include "base/check_result.h"
#include "catalog/catalog_snapshot.h"
#include "catalog/catalog_transition.h"
#include "devnode/root_discovery.h"
#include "journal/activation_state.h"
#include "package/content_hash.h"
#include "package/driver_identity.h"
#include "package/inf_identity.h"
#include "report/console.h"
#include "verify/live_verification.h"

namespace vorn {

ExitStatus AuditCatalog() {
  const LiveRoot root = DiscoverLiveRoot();
  if (!root.ok) {
    PrintError(u"vorn_devnode: catalog audit root failed: %ls\n", root.reason);
    return kExitNotStarted;
  }
  const CatalogSnapshot snapshot =
      TakeCatalogSnapshot(root.instanceId, root.endpointChildren, true);
  // Judged also when the snapshot failed, so that the operator sees both halves.
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

ExitStatus AuditCurrent(const std::u16string& infPath) {
  ActivationState state;
  state.fresh = true;
  state.service = kDriverServiceName;
  if (!ReadExpectedDriverVer(infPath, nullptr, state.date, state.version) ||
      !HashFileSha256(infPath, nullptr, state.infSha256)) {
    return kExitInputRefused;
  }
  return RunLiveVerification(state, VerificationMode::Reporting);
}

}  // namespace vorn
