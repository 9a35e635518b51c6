#pragma once

// Quiescing: before the driver under a live device is changed, its endpoints are hidden, and
// afterwards exactly those that were hidden are shown again. The guard sees to the latter on every
// way out.

#include "product/endpoint_identity.h"

#include <string>
#include <vector>

namespace vorn {

enum class QuiesceMode { Hide, Show };

class QuiesceGuard;

/// One exchange with the driver of the guard's root, under a controller lease. Hide hides all 20
/// endpoints and lists in the guard those that it hid; it goes on after a failure and takes nothing
/// back. Show shows the listed ones and empties the list if every one was shown, else keeps it
/// whole. True when the lease was obtained and every request succeeded; failures are printed.
bool QuiesceEndpoints(QuiesceGuard& guard, QuiesceMode mode);

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

  /// Empties the list without showing anything: the driver that hid them is gone.
  void Forget() { hidden_.clear(); }

 private:
  friend bool QuiesceEndpoints(QuiesceGuard& guard, QuiesceMode mode);

  std::u16string rootInstanceId_;
  std::vector<EndpointIdentity> hidden_;
};

}  // namespace vorn
