// The entry point of vorn_capture.exe.

#include "capture/command.h"
#include "platform/startup.h"
#include "report/console.h"

int wmain(int argc, wchar_t** argv) {
  // Before any delayed load, as in vorn_devnode: an elevated process that cannot do so stops.
  const bool limited = vorn::platform::LimitLibrarySearchToSystem();
  vorn::platform::PrepareStandardStreams();
  if (!limited) {
    vorn::ReportFailedCall(u"SetDefaultDllDirectories");
    return vorn::capture::kExitNotWritten;
  }
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  std::vector<std::u16string> arguments;
  arguments.reserve(static_cast<std::size_t>(argc));
  for (int i = 0; i < argc; ++i)
    arguments.emplace_back(reinterpret_cast<const char16_t*>(argv[i]));
  return vorn::capture::RunCommand(arguments);
}
