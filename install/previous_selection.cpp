#include "install/previous_selection.h"

#include "base/text.h"
#include "install/driver_binding.h"
#include "package/driver_identity.h"
#include "package/inf_identity.h"
#include "package/published_package.h"
#include "package/windows_inf_folder.h"
#include "platform/last_error.h"
#include "privileged_input/protected_files.h"
#include "report/console.h"

#include <cstdint>
#include <string>

namespace vorn {

namespace {

/// The path of the published INF that the root was bound to; empty when it is not provably the
/// package that was bound.
std::u16string AuthenticatePreviousSelection(const LiveRoot& rootBefore) {
  const std::u16string& name = rootBefore.driverInfPath;
  std::u16string windowsFolder;
  if (!EqualsIgnoringCase(rootBefore.service, kDriverServiceName) || !IsPublishedOemInfName(name) ||
      !ReadWindowsFolder(windowsFolder)) {
    return {};
  }
  const std::u16string path = PublishedInfPath(windowsFolder, name);
  const privileged_input::File file = OpenPublishedInf(windowsFolder, name);
  std::u16string date;
  std::u16string version;
  const bool authentic = file && ReadExpectedDriverVer(path, &file, date, version) &&
                         EqualsIgnoringCase(version, rootBefore.driverVersion);
  return authentic ? path : std::u16string();
}

/// Opens the INF, so that nobody changes it meanwhile, and binds its package.
bool Reselect(const std::u16string& path, bool& restartRequired) {
  const privileged_input::File file = privileged_input::OpenInputFile(path);
  return file && BindDriver(path, restartRequired);
}

}  // namespace

bool RestorePreviousSelection(const LiveRoot& rootBefore, bool& restartRequired) {
  restartRequired = false;
  const std::u16string path = AuthenticatePreviousSelection(rootBefore);
  if (path.empty()) {
    PrintError(
        u"vorn_devnode: previous driver package selection is unknown (\"%ls\"); nothing to "
        u"re-select\n",
        rootBefore.driverInfPath);
    return false;
  }
  if (!Reselect(path, restartRequired)) {
    const std::uint32_t error = platform::GetLastError();
    PrintError(
        u"vorn_devnode: could not re-select the previous driver package %ls (error 0x%08lX)\n",
        rootBefore.driverInfPath, error);
    return false;
  }
  return true;
}

}  // namespace vorn
