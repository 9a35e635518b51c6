#include "privileged_input/path_rules.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "privileged_input/path_buffer.h"
#include "privileged_input/refusal.h"

#include <algorithm>

namespace vorn::privileged_input {

namespace {

constexpr std::size_t kMaxComponentLength = 255;
constexpr std::u16string_view kForbiddenCharacters = u"\\/:<>\"|?*";
constexpr std::u16string_view kHardDiskPrefix = u"\\Device\\HarddiskVolume";
constexpr std::u16string_view kVolumeGuidPrefix = u"\\\\?\\Volume{";
constexpr std::u16string_view kVolumeGuidSuffix = u"}\\";
constexpr std::size_t kVolumeGuidRootLength = 49;

bool IsForbiddenCharacter(char16_t unit) {
  return unit < 0x20 || unit == 0x7F ||
         kForbiddenCharacters.find(unit) != std::u16string_view::npos;
}

/// The digit of a COM or LPT port. The platform also accepts superscript one to three.
bool IsPortDigit(char16_t unit) {
  return IsAsciiDigit(unit) || unit == 0xB9 || unit == 0xB2 || unit == 0xB3;
}

/// Whether an upper-cased stem names a device; the extension does not matter.
bool IsDeviceName(std::u16string_view stem) {
  for (const std::u16string_view device :
       {u"CON", u"PRN", u"AUX", u"NUL", u"CONIN$", u"CONOUT$", u"CLOCK$"}) {
    if (stem == device) return true;
  }
  const std::u16string_view port = stem.substr(0, 3);
  return stem.size() == 4 && (port == u"COM" || port == u"LPT") && IsPortDigit(stem[3]);
}

bool IsSafe(std::u16string_view component) {
  if (component.empty() || component.size() > kMaxComponentLength) return false;
  if (component.back() == u'.' || component.back() == u' ') return false;
  if (std::any_of(component.begin(), component.end(), IsForbiddenCharacter)) return false;
  return !IsDeviceName(ToUpperAscii(component.substr(0, component.find(u'.'))));
}

/// Appends the names between the backslashes of `path` up to the first unsafe one.
bool AppendComponents(std::u16string_view path, std::vector<std::u16string>& components) {
  while (true) {
    const std::size_t end = path.find(u'\\');
    const std::u16string_view component = path.substr(0, end);
    if (!IsSafeComponentName(component)) return false;
    components.emplace_back(component);
    if (end == std::u16string_view::npos) return true;
    path.remove_prefix(end + 1);
  }
}

}  // namespace

bool IsSafeComponentName(std::u16string_view component) {
  return IsSafe(component) || RefuseWith(platform::ERROR_INVALID_NAME);
}

bool ParseAbsolutePath(std::u16string_view path, std::vector<std::u16string>& components) {
  if (path.size() < kDriveRootLength || path.size() > kMaxPathLength || path[1] != u':' ||
      path[2] != u'\\' || !IsAsciiLetter(path[0])) {
    return RefuseWith(platform::ERROR_INVALID_NAME);
  }
  if (path.size() == kDriveRootLength) return true;
  return AppendComponents(path.substr(kDriveRootLength), components);
}

bool ParseRelativePath(std::u16string_view path, std::vector<std::u16string>& components) {
  if (path.empty() || path.size() > kMaxPathLength) {
    return RefuseWith(platform::ERROR_INVALID_NAME);
  }
  return AppendComponents(path, components);
}

bool IsHardDiskVolumeDevice(std::u16string_view target) {
  return target.size() > kHardDiskPrefix.size() && target.starts_with(kHardDiskPrefix) &&
         std::all_of(target.begin() + kHardDiskPrefix.size(), target.end(), IsAsciiDigit);
}

bool IsHardDiskVolumeDrive(const NativeApi& api, char16_t driveLetter, std::u16string* device) {
  if (api.queryDosDevice == nullptr) return RefuseWith(platform::ERROR_PROC_NOT_FOUND);
  const char16_t deviceName[] = {driveLetter, u':', u'\0'};
  PathBuffer targets;
  const std::uint32_t length = api.queryDosDevice(deviceName, targets.Data(), kPathBufferLength);
  if (length == 0 || length >= kPathBufferLength) return false;
  const std::u16string_view all = targets.Text(length);
  const std::u16string_view first = all.substr(0, all.find(u'\0'));
  if (!IsHardDiskVolumeDevice(first)) return RefuseWith(platform::ERROR_BAD_DEVICE);
  if (device != nullptr) *device = first;
  return true;
}

bool IsVolumeGuidRoot(std::u16string_view path) {
  return path.size() == kVolumeGuidRootLength && path.starts_with(kVolumeGuidPrefix) &&
         path.ends_with(kVolumeGuidSuffix);
}

std::u16string QueryVolumeGuidRoot(platform::HANDLE root) {
  PathBuffer buffer;
  const std::uint32_t length = platform::GetFinalPathNameByHandleW(
      root, buffer.Data(), kPathBufferLength, platform::VOLUME_NAME_GUID);
  if (length == 0 || length >= kPathBufferLength) return {};
  const std::u16string_view path = buffer.Text(length);
  return IsVolumeGuidRoot(path) ? std::u16string(path) : std::u16string();
}

}  // namespace vorn::privileged_input
