#include "platform/windows/system_library.h"

namespace vorn::platform::windows {

HMODULE LoadSystemLibrary(const wchar_t* name) {
  return reinterpret_cast<HMODULE>(::LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
}

}  // namespace vorn::platform::windows
