#include "platform/console.h"

#include "platform/windows/casts.h"

#include <cstdio>
#include <cwchar>

namespace vorn::platform {

WideStream* StandardOutput() {
  return reinterpret_cast<WideStream*>(stdout);
}

WideStream* StandardError() {
  return reinterpret_cast<WideStream*>(stderr);
}

int fputws(const char16_t* text, WideStream* stream) {
  return ::fputws(windows::Wide(text), reinterpret_cast<FILE*>(stream));
}

int fflush(WideStream* stream) {
  return ::fflush(reinterpret_cast<FILE*>(stream));
}

WideStream* _wfsopen(const char16_t* path, const char16_t* mode, int shareFlag) {
  return reinterpret_cast<WideStream*>(
      ::_wfsopen(windows::Wide(path), windows::Wide(mode), shareFlag));
}

int fclose(WideStream* stream) {
  return ::fclose(reinterpret_cast<FILE*>(stream));
}

}  // namespace vorn::platform
