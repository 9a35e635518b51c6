#pragma once

// Quiescing: the endpoints of a live device are hidden before its driver changes. The guard ensures
// that exactly those that were hidden are shown again.

#include "product/endpoint_identity.h"

#include <string>
#include <utility>
#include <vector>

namespace vorn {

/// Lists the endpoints of a root in the order hidden. The destructor shows those still listed.
class QuiesceGuard {
 public:
  explicit QuiesceGuard(std::u16string rootInstanceId)
      : rootInstanceId_(std::move(rootInstanceId)) {}
  ~QuiesceGuard();

  QuiesceGuard(const QuiesceGuard&) = delete;
  QuiesceGuard& operator=(const QuiesceGuard&) = delete;

  const std::u16string& RootInstanceId() const { return rootInstanceId_; }
  const std::vector<EndpointIdentity>& Hidden() const { return hidden_; }

  /// Requests the driver to hide all 20 endpoints, under one controller lease, and lists those that
  /// were hidden. A failed request does not stop the others. Returns whether the lease and every
  /// request succeeded; prints failures.
  bool Hide();

  /// Shows the listed endpoints under one controller lease. Clears the list if every request
  /// succeeded, else keeps all of it. Returns and prints as Hide.
  bool Show();

  /// Clears the list without showing anything, for when the driver that hid them is gone.
  void Forget() { hidden_.clear(); }

 private:
  std::u16string rootInstanceId_;
  std::vector<EndpointIdentity> hidden_;
};

}  // namespace vorn
