#pragma once

// Observations: the latest evidence for the seven facts that must hold at once to prove an
// activation. What cannot be observed anew keeps its last value, so that a report always has the
// most recent evidence.

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

/// Updates all observations once against `state`. If the root is not ok, nothing else is observed;
/// if the catalog is not ok, its transition is not checked.
void Observe(const ActivationState& state, PackageChange change, Observations& seen);

bool AreProven(const Observations& seen);

}  // namespace vorn
