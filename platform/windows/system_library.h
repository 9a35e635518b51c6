#pragma once

// Functions of system libraries that are not in the system's known set. They are resolved from
// System32 only, when they are first called, so that no library that somebody put beside the
// program or on PATH can stand in for them.

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
