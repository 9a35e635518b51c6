#include "platform/startup.h"

#include "platform/windows/casts.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>

namespace vorn::platform {

namespace {

void PrepareStream(FILE* stream) {
  // A process without a console and without redirection has streams without a descriptor.
  const int descriptor = _fileno(stream);
  if (descriptor >= 0) _setmode(descriptor, _O_U8TEXT);
}

}  // namespace

bool LimitLibrarySearchToSystem() {
  return ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32) != 0 &&
         ::SetDllDirectoryW(L"") != 0;
}

void PrepareStandardStreams() {
  PrepareStream(stdout);
  PrepareStream(stderr);
}

}  // namespace vorn::platform
