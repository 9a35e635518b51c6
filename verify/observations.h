#pragma once

// Observations: the latest evidence of each of the seven facts that must hold at once for an
// activation to be proven. A look refreshes what it can; the rest keeps its last value, so that a
// report always names the most recent evidence.

#include "base/check_result.h"
#include "catalog/catalog_snapshot.h"
#include "catalog/catalog_transition.h"
#include "devnode/root_discovery.h"
#include "journal/activation_state.h"

namespace vorn {

struct Observations {
  LiveRoot root;
  CheckResult package = CheckResult::Failed(u"live bound driver package not observed");
  CheckResult kernel = CheckResult::Failed(u"live kernel endpoint pool not observed");
  CheckResult resident = CheckResult::Failed(u"resident driver image not yet proven");
  CatalogSnapshot catalog;
  CheckResult mapping = CheckResult::Failed(u"MMDevice catalog transition not observed");
  CheckResult present = CheckResult::Failed(u"present AudioEndpoint transition not observed");
};

/// Looks once at everything, against what `state` expects of a bind that changed the package or
/// not. While the root is not ok nothing else is looked at; while the catalog is not ok its
/// transition is not judged.
void Observe(const ActivationState& state, PackageChange change, Observations& seen);

/// Whether all seven hold.
bool AreProven(const Observations& seen);

}  // namespace vorn
