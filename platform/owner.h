#pragma once

// Owner: the RAII template for handles, lists, keys and everything else that must be closed.
// Closing preserves the last error, so that clean-up never overwrites an error being reported.

#include "platform/kept_last_error.h"

#include <utility>

namespace vorn::platform {

/// Traits: `using Type`, `static bool IsValid(Type)`, `static Type Invalid()`,
/// `static void Close(Type)`.
template <class Traits>
class Owner {
 public:
  using Type = typename Traits::Type;

  Owner() = default;
  explicit Owner(Type value) : value_(value) {}
  Owner(Owner&& other) noexcept : value_(std::exchange(other.value_, Traits::Invalid())) {}
  Owner& operator=(Owner&& other) noexcept {
    if (this != &other) {
      Reset();
      value_ = std::exchange(other.value_, Traits::Invalid());
    }
    return *this;
  }
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;
  ~Owner() { Reset(); }

  explicit operator bool() const { return Traits::IsValid(value_); }
  Type Get() const { return value_; }

  /// Closes the current object and returns where a call may store a new one.
  Type* Receive() {
    Reset();
    return &value_;
  }

  /// Closes the object now.
  void Reset() {
    if (!Traits::IsValid(value_)) return;
    const KeptLastError kept;
    Traits::Close(std::exchange(value_, Traits::Invalid()));
  }

 private:
  Type value_ = Traits::Invalid();
};

}  // namespace vorn::platform
