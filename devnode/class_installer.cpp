#include "devnode/class_installer.h"

namespace vorn {

namespace {

consteval platform::SP_CLASSINSTALL_HEADER HeaderFor(std::uint32_t installFunction) {
  return {sizeof(platform::SP_CLASSINSTALL_HEADER), installFunction};
}

}  // namespace

bool SetRemoveParameters(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device) {
  const platform::SP_REMOVEDEVICE_PARAMS parameters = {HeaderFor(platform::DIF_REMOVE),
                                                       platform::DI_REMOVEDEVICE_GLOBAL, 0};
  return platform::SetupDiSetClassInstallParamsW(list, &device, &parameters.ClassInstallHeader,
                                                 sizeof parameters);
}

bool SetRestartParameters(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device) {
  const platform::SP_PROPCHANGE_PARAMS parameters = {HeaderFor(platform::DIF_PROPERTYCHANGE),
                                                     platform::DICS_PROPCHANGE,
                                                     platform::DICS_FLAG_CONFIGSPECIFIC, 0};
  return platform::SetupDiSetClassInstallParamsW(list, &device, &parameters.ClassInstallHeader,
                                                 sizeof parameters);
}

std::optional<bool> ReadRestartNeeded(platform::HDEVINFO list,
                                      const platform::SP_DEVINFO_DATA& device) {
  platform::SP_DEVINSTALL_PARAMS_W parameters = {};
  parameters.cbSize = sizeof parameters;
  if (!platform::SetupDiGetDeviceInstallParamsW(list, &device, &parameters)) return std::nullopt;
  return (parameters.Flags & (platform::DI_NEEDRESTART | platform::DI_NEEDREBOOT)) != 0;
}

}  // namespace vorn
