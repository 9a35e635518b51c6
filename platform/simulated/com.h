#pragma once

// What every simulated COM object shares: reference counting, the count of objects and strings that
// a program has not given back, and the memory that it frees. An object lives as long as the
// program's references. A process that ends takes the remaining ones with it. After a kill the
// program's destructors still run and release what they hold; anything left goes with the Process.

#include "platform/audio_endpoints.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

namespace vorn::platform::simulated {

/// What every simulated COM object has apart from its interface.
class ComCounter : public Object {
 public:
  ComCounter(const ComCounter&) = delete;
  ComCounter& operator=(const ComCounter&) = delete;

  /// A new object of the process, with one reference.
  template <class T, class... Facts>
  static T* Make(Facts&&... facts) {
    auto object = std::make_shared<T>(std::forward<Facts>(facts)...);
    object->number_ = Process::Current().Add(ObjectKind::Com, object);
    return object.get();
  }

 protected:
  ComCounter() = default;

  std::uint32_t CountUp() { return ++references_; }

  /// Releases a reference; releasing the last one destroys the object.
  std::uint32_t CountDown();

 private:
  std::uint32_t references_ = 1;
  std::uintptr_t number_ = 0;  // in the process's table of objects
};

/// A COM object with one interface besides IUnknown.
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

/// A call that returns an HRESULT. COM has two success codes. A planned failure that is neither of
/// them, and not a failure either, is a plain error code.
template <class ArgumentList, class Body>
HRESULT SimulateCom(std::string_view name, const ArgumentList& arguments, Body&& body) {
  const auto result = SimulateCode<HRESULT>(name, arguments, std::forward<Body>(body));
  return result > S_FALSE ? static_cast<HRESULT>(0x80070000 | (result & 0xFFFF)) : result;
}

/// Destroys an object or a string that the program does not get.
inline void TakeBack(IUnknown* object) {
  object->Release();
}
void TakeBack(char16_t* text);

/// A call that hands out an object or a string. Documented: a call that fails gives the caller
/// null. `body` returns the HRESULT and what it made, which is destroyed when a planned failure
/// hits the call after all.
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
