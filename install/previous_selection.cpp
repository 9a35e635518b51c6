#include "install/previous_selection.h"

#include "base/text.h"
#include "package/inf_identity.h"
#include "package/published_package.h"
#include "package/windows_inf_folder.h"
#include "platform/last_error.h"
#include "privileged_input/input_file.h"
#include "product/product.h"
#include "report/console.h"

#include <optional>
#include <string>

namespace vorn {

namespace {

/// The path of the published INF that the root was bound to; nothing if that is not proven.
std::optional<std::u16string> AuthenticatePreviousSelection(const LiveRoot& rootBefore) {
  const std::u16string& name = rootBefore.driverInfPath;
  if (!EqualsIgnoringCase(rootBefore.service, kDriverServiceName) || !IsPublishedOemInfName(name)) {
    return std::nullopt;
  }
  const std::optional<std::u16string> windowsFolder = ReadWindowsFolder();
  if (!windowsFolder) return std::nullopt;
  const std::optional<DriverVer> published =
      ReadExpectedDriverVer(OpenPublishedInf(*windowsFolder, name));
  if (!published || !EqualsIgnoringCase(published->version, rootBefore.driverVersion)) {
    return std::nullopt;
  }
  return PublishedInfPath(*windowsFolder, name);
}

/// Keeps the INF open during the bind, so that nobody can change it.
BindOutcome Reselect(const std::u16string& path) {
  const privileged_input::File file = privileged_input::OpenInputFile(path);
  return file ? BindDriver(path) : BindOutcome::Rejected;
}

}  // namespace

BindOutcome RestorePreviousSelection(const LiveRoot& rootBefore) {
  const std::optional<std::u16string> path = AuthenticatePreviousSelection(rootBefore);
  if (!path) {
    PrintError(
        u"vorn_devnode: previous driver package selection is unknown (\"%ls\"); nothing to "
        u"re-select\n",
        rootBefore.driverInfPath);
    return BindOutcome::Rejected;
  }
  const BindOutcome outcome = Reselect(*path);
  if (outcome == BindOutcome::Rejected) {
    PrintError(
        u"vorn_devnode: could not re-select the previous driver package %ls (error 0x%08lX)\n",
        rootBefore.driverInfPath, platform::GetLastError());
  }
  return outcome;
}

}  // namespace vorn
