// The entry point on Windows.

#include "cli/dispatch.h"
#include "platform/startup.h"
#include "report/console.h"

namespace {

std::vector<std::u16string> ToArguments(int count, wchar_t** values) {
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  std::vector<std::u16string> arguments;
  arguments.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    arguments.emplace_back(reinterpret_cast<const char16_t*>(values[i]));
  }
  return arguments;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  // Limit the library search before any delayed load. An elevated process that cannot do so stops.
  const bool limited = vorn::platform::LimitLibrarySearchToSystem();
  vorn::platform::PrepareStandardStreams();
  if (!limited) {
    vorn::ReportFailedCall(u"SetDefaultDllDirectories");
    return vorn::kExitInputRefused;
  }
  return vorn::cli::Run(ToArguments(argc, argv));
}
