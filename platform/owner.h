#pragma once

// Owner: the one RAII template for handles, lists, keys and whatever else the platform wants back.
//
// A kind of object is described once by its traits: the value's type, which values own nothing, and
// how one is given back. Closing restores the last error, so that clean-up never overwrites an
// error that is being reported.

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

  /// For calls that hand out an object through a pointer; gives back what is held first.
  Type* Receive() {
    Reset();
    return &value_;
  }

  /// Gives the object back now; the last error stays as it was.
  void Reset() {
    if (!Traits::IsValid(value_)) return;
    const KeptLastError kept;
    Traits::Close(std::exchange(value_, Traits::Invalid()));
  }

 private:
  Type value_ = Traits::Invalid();
};

}  // namespace vorn::platform
