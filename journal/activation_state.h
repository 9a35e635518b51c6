#pragma once

// ActivationState: which package a driver bind is to activate, and what the audio endpoints looked
// like before it. Its text form is the journal's content; the parser accepts a text only if every
// rule holds, because a later run trusts it to tell a finished activation from a failed candidate.

#include "catalog/catalog_endpoint.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

struct ActivationState {
  bool fresh = false;                    // no root existed before the bind; both lists are empty
  bool unchangedPackage = false;         // the live root ran the target already; never in the text
  std::u16string version;                // target DriverVer version, 1 to kMaxVersionLength units
  std::u16string date;                   // target DriverVer date, 1 to kMaxDateLength units
  std::u16string service;                // target service name
  std::u16string infSha256;              // 64 hexadecimal digits of either case
  std::vector<CatalogEndpoint> catalog;  // catalog before the bind, at most 20
  std::vector<std::u16string> present;   // instance ids expected present, at most 20

  friend bool operator==(const ActivationState&, const ActivationState&) = default;
};

/// The journal text of a record: one line each, every line ended by a line feed. Validates nothing.
std::u16string SerializeActivationState(const ActivationState& state);

/// Reads a journal text into `state`, with unchangedPackage off. Returns false, and leaves `state`
/// as it was, if any rule is broken.
bool ParseActivationState(std::u16string_view text, ActivationState& state);

/// Whether the target fields hold what every journal must: the lengths of version and date and no
/// line break in them, the program's service name, and a hash of 64 hexadecimal digits.
bool HasValidTarget(const ActivationState& state);

}  // namespace vorn
