#pragma once

// Quiescing: before the driver under a live device is changed, its endpoints are hidden, and
// afterwards exactly those that were hidden are shown again. The guard sees to the latter on every
// way out.

#include "product/endpoint_identity.h"

#include <string>
#include <vector>

namespace vorn {

/// Remembers which endpoints of a root are hidden, in the order hidden. Its end shows what is still
/// listed.
class QuiesceGuard {
 public:
  /// A guard of the root of that instance id; nothing is hidden yet.
  explicit QuiesceGuard(std::u16string rootInstanceId);
  ~QuiesceGuard();

  QuiesceGuard(const QuiesceGuard&) = delete;
  QuiesceGuard& operator=(const QuiesceGuard&) = delete;

  const std::u16string& RootInstanceId() const { return rootInstanceId_; }
  const std::vector<EndpointIdentity>& Hidden() const { return hidden_; }

  /// Hides all 20 endpoints in one exchange with the driver, under a controller lease, and lists
  /// those that were hidden. A failed request stops nothing and takes nothing back. True when the
  /// lease was obtained and every request succeeded; failures are printed.
  bool Hide();

  /// Shows the listed endpoints in one exchange, under a controller lease. Empties the list if
  /// every one was shown, else keeps it whole. True as for Hide; failures are printed.
  bool Show();

  /// Empties the list without showing anything: the driver that hid them is gone.
  void Forget() { hidden_.clear(); }

 private:
  std::u16string rootInstanceId_;
  std::vector<EndpointIdentity> hidden_;
};

}  // namespace vorn
