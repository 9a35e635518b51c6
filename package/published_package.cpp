#include "package/published_package.h"

#include "base/text.h"
#include "devnode/root_discovery.h"
#include "package/inf_identity.h"
#include "package/windows_inf_folder.h"
#include "privileged_input/file.h"

#include <algorithm>
#include <optional>

namespace vorn {

bool IsPublishedOemInfName(std::u16string_view name) {
  constexpr std::u16string_view kPrefix = u"oem";
  constexpr std::u16string_view kSuffix = u".inf";
  if (name.size() <= kPrefix.size() + kSuffix.size()) return false;
  const std::u16string_view number =
      name.substr(kPrefix.size(), name.size() - kPrefix.size() - kSuffix.size());
  return EqualsIgnoringCase(name.substr(0, kPrefix.size()), kPrefix) &&
         EqualsIgnoringCase(name.substr(name.size() - kSuffix.size()), kSuffix) &&
         std::all_of(number.begin(), number.end(), IsAsciiDigit);
}

CheckResult CompareBoundIdentity(std::u16string_view expectedVersion,
                                 std::u16string_view expectedService,
                                 std::u16string_view boundVersion,
                                 std::u16string_view boundService) {
  if (expectedVersion.empty() || expectedService.empty()) {
    return CheckResult::Failed(u"activation state has no expected driver identity");
  }
  if (boundVersion.empty() || boundService.empty()) {
    return CheckResult::Failed(u"live root has no bound driver identity");
  }
  if (!EqualsIgnoringCase(expectedVersion, boundVersion)) {
    return CheckResult::Failed(u"live root is bound to the wrong driver version");
  }
  if (!EqualsIgnoringCase(expectedService, boundService)) {
    return CheckResult::Failed(u"live root is bound to the wrong driver service");
  }
  return CheckResult::Passed();
}

CheckResult AuthenticatePublishedPackage(const DriverIdentity& expected, const LiveRoot& root) {
  CheckResult bound =
      CompareBoundIdentity(expected.version, expected.service, root.driverVersion, root.service);
  if (!bound.ok) return bound;
  if (!IsPublishedOemInfName(root.driverInfPath)) {
    return CheckResult::Failed(u"live root has no safe published OEM INF identity");
  }
  const std::optional<std::u16string> windowsFolder = ReadWindowsFolder();
  if (!windowsFolder) {
    return CheckResult::Failed(u"Windows INF directory could not be resolved");
  }
  const std::optional<DriverIdentity> published =
      ReadIdentity(OpenPublishedInf(*windowsFolder, root.driverInfPath));
  if (!published) {
    return CheckResult::Failed(u"live published OEM INF could not be authenticated");
  }
  if (!EqualsIgnoringCase(published->version, expected.version) ||
      !EqualsIgnoringCase(published->date, expected.date) ||
      !EqualsIgnoringCase(published->infSha256, expected.infSha256)) {
    return CheckResult::Failed(u"live root is bound to a different signed INF package");
  }
  return CheckResult::Passed();
}

}  // namespace vorn
