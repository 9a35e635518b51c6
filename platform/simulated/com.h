#pragma once

// The part of COM that every simulated object shares: reference counting, where objects and strings
// that a program has not given back are counted as open, and the memory that it frees.
//
// An object belongs to the program's references. A process that ends takes what is left with it. In
// a process that was killed the program still runs its destructors, which give back what they hold;
// what is left then goes with the Process too.

#include "platform/audio_endpoints.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

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

/// One call that gives an HRESULT. COM knows two kinds of success; a planned failure that is
/// neither, nor a failure, is a plain error code.
template <class ArgumentList, class Body>
HRESULT SimulateCom(std::string_view name, const ArgumentList& arguments, Body&& body) {
  const auto result = SimulateCode<HRESULT>(name, arguments, std::forward<Body>(body));
  return result > S_FALSE ? static_cast<HRESULT>(0x80070000 | (result & 0xFFFF)) : result;
}

/// Undoes the making of an object or a string that the program does not get.
inline void TakeBack(IUnknown* object) {
  object->Release();
}
void TakeBack(char16_t* text);

/// One call that hands out an object or a string. Documented: what is handed out is null when the
/// call fails. `body` returns the HRESULT and what it made; that is taken back when the call was
/// planned to fail all the same.
template <class Made, class ArgumentList, class Body>
HRESULT SimulateGiving(std::string_view name, const ArgumentList& arguments, Made** output,
                       Body&& body) {
  Made* made = nullptr;
  if (output != nullptr) *output = nullptr;
  const HRESULT result = SimulateCom(name, arguments, [&](const CallFaults&) {
    return output == nullptr ? E_POINTER : body(made);
  });
  if (made == nullptr) return result;
  if (result < S_OK) {
    TakeBack(made);
  } else {
    *output = made;
  }
  return result;
}

}  // namespace vorn::platform::simulated
