#pragma once

// ActivationState: the package that a driver bind is to activate and the audio endpoints before it.
// Its text form is the content of the journal. The parser is strict, because a later run relies on
// the journal to tell a finished activation from a failed candidate.

#include "catalog/catalog_endpoint.h"
#include "catalog/endpoint_sets.h"
#include "package/driver_identity.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn {

struct ActivationState {
  bool fresh = false;                    // no root existed before the bind; both lists are empty
  DriverIdentity target;                 // the package to activate
  std::vector<CatalogEndpoint> catalog;  // before the bind, at most 20
  std::vector<std::u16string> present;   // instance ids expected present, at most 20

  RootOrigin Origin() const { return fresh ? RootOrigin::Fresh : RootOrigin::Existing; }

  friend bool operator==(const ActivationState&, const ActivationState&) = default;
};

/// The journal text, lines ended by line feeds. Validates nothing.
std::u16string SerializeActivationState(const ActivationState& state);

/// Parses a journal text; nothing if it breaks any rule.
std::optional<ActivationState> ParseActivationState(std::u16string_view text);

/// Whether a target is valid in a journal: version and date within their lengths and without line
/// breaks, the program's service name, and a hash of 64 hexadecimal digits.
bool IsValidTarget(const DriverIdentity& target);

}  // namespace vorn
