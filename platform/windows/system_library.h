#pragma once

// Functions of system libraries outside the system's list of known libraries. They are resolved on
// first use, from System32 only, so that a library planted beside the program or on PATH cannot
// take their place.

#include "platform/windows/casts.h"

namespace vorn::platform::windows {

/// The module of that name in System32, loaded once and kept; null when it cannot be loaded.
HMODULE LoadSystemLibrary(const wchar_t* name);

/// One exported function, looked up once.
template <class Function>
class SystemFunction {
 public:
  SystemFunction(const wchar_t* library, const char* name) {
    const auto module = reinterpret_cast<::HMODULE>(LoadSystemLibrary(library));
    if (module == nullptr) return;
    function_ = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
  }

  /// Null when the library or the function is missing.
  Function Get() const { return function_; }

 private:
  Function function_ = nullptr;
};

}  // namespace vorn::platform::windows
