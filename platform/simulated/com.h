#pragma once

// The part of COM that every simulated object shares: reference counting, where objects and strings
// that a program has not given back are counted as open, and the memory that it frees.
//
// An object belongs to the program's references. A process that ends takes what is left with it; in
// a process that was killed the program still runs its destructors, so there the last reference
// keeps the memory alive.

#include "platform/audio_endpoints.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace vorn::platform::simulated {

/// What every simulated COM object has beside its interface.
class ComCounter {
 public:
  virtual ~ComCounter() = default;
  ComCounter(const ComCounter&) = delete;
  ComCounter& operator=(const ComCounter&) = delete;

 protected:
  /// Counts the object as open, with one reference.
  ComCounter();

  std::uint32_t CountUp() { return ++references_; }

  /// Gives a reference back; the object is gone when it was the last.
  std::uint32_t CountDown();

 private:
  std::uint32_t references_ = 1;
  std::uintptr_t number_ = 0;  // in the process's table
};

/// A COM object that has one interface beside IUnknown.
template <class Interface>
class ComObjectOf : public Interface, public ComCounter {
 public:
  HRESULT QueryInterface(const GUID& iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (!Answers(iid)) return E_NOINTERFACE;
    CountUp();
    *object = static_cast<Interface*>(this);
    return S_OK;
  }
  std::uint32_t AddRef() override { return CountUp(); }
  std::uint32_t Release() override { return CountDown(); }

 protected:
  /// Whether the object has that interface.
  virtual bool Answers(const GUID& iid) const;
};

inline constexpr GUID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

template <class Interface>
bool ComObjectOf<Interface>::Answers(const GUID& iid) const {
  return iid == IID_IUnknown;
}

/// A terminated copy of `text` that the program frees with CoTaskMemFree.
char16_t* AllocateTaskString(std::u16string_view text);

/// Whether the current thread is in an apartment.
bool IsInApartment();

}  // namespace vorn::platform::simulated
