#pragma once

// ActivationState: which package a driver bind is to activate, and what the audio endpoints looked
// like before it. Its text form is the journal's content; the parser accepts a text only if every
// rule holds, because a later run trusts it to tell a finished activation from a failed candidate.

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
  DriverIdentity target;                 // the package to activate; a hash of either case
  std::vector<CatalogEndpoint> catalog;  // catalog before the bind, at most 20
  std::vector<std::u16string> present;   // instance ids expected present, at most 20

  /// What `fresh` says of the root, for the judgements that need it.
  RootOrigin Origin() const { return fresh ? RootOrigin::Fresh : RootOrigin::Existing; }

  friend bool operator==(const ActivationState&, const ActivationState&) = default;
};

/// The journal text of a record: one line each, every line ended by a line feed. Validates nothing.
std::u16string SerializeActivationState(const ActivationState& state);

/// Reads a journal text. Nothing if any rule is broken.
std::optional<ActivationState> ParseActivationState(std::u16string_view text);

/// Whether a target holds what that of every journal must: the lengths of version and date and no
/// line break in them, the program's service name, and a hash of 64 hexadecimal digits.
bool IsValidTarget(const DriverIdentity& target);

}  // namespace vorn
