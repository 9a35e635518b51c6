#include "control/control_channel.h"

#include "base/format.h"
#include "base/text.h"
#include "control/control_protocol.h"
#include "devnode/device_reads.h"
#include "platform/device_io.h"
#include "platform/device_setup.h"
#include "platform/files.h"
#include "platform/last_error.h"

#include <cstddef>
#include <cstring>
#include <optional>

namespace vorn {

namespace {

constexpr std::size_t kReasonCapacity = 160;

struct InterfaceDetail {
  std::u16string path;
  platform::SP_DEVINFO_DATA device = {};
};

/// The path in a detail buffer: from the end of the size field to the terminator.
std::u16string PathOf(const std::vector<std::byte>& detail) {
  constexpr std::size_t kPathOffset =
      offsetof(platform::SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);
  std::u16string path((detail.size() - kPathOffset) / sizeof(char16_t), u'\0');
  std::memcpy(path.data(), detail.data() + kPathOffset, path.size() * sizeof(char16_t));
  return path.c_str();
}

std::optional<InterfaceDetail> ReadInterfaceDetail(
    platform::HDEVINFO list, const platform::SP_DEVICE_INTERFACE_DATA& interfaceData) {
  constexpr std::uint32_t kHeaderSize = sizeof(platform::SP_DEVICE_INTERFACE_DETAIL_DATA_W);
  std::uint32_t required = 0;
  if (platform::SetupDiGetDeviceInterfaceDetailW(list, &interfaceData, nullptr, 0, &required,
                                                 nullptr) ||
      platform::GetLastError() != platform::ERROR_INSUFFICIENT_BUFFER || required < kHeaderSize) {
    return std::nullopt;
  }
  std::vector<std::byte> buffer(required);
  auto* detail = reinterpret_cast<platform::SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
  detail->cbSize = kHeaderSize;
  InterfaceDetail result;
  result.device.cbSize = sizeof result.device;
  if (!platform::SetupDiGetDeviceInterfaceDetailW(list, &interfaceData, detail, required, nullptr,
                                                  &result.device)) {
    return std::nullopt;
  }
  result.path = PathOf(buffer);
  return result;
}

bool IsTheRoot(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
               std::u16string_view rootId) {
  if (!MatchesRootHardwareId(list, device)) return false;
  const std::optional<std::u16string> instanceId = ReadInstanceId(list, device);
  return instanceId && EqualsIgnoringCase(*instanceId, rootId);
}

platform::DeviceHandle OpenInterface(const std::u16string& path) {
  return platform::DeviceHandle(
      platform::CreateFileW(path.c_str(), platform::GENERIC_READ | platform::GENERIC_WRITE,
                            platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE,
                            platform::OPEN_EXISTING, platform::FILE_ATTRIBUTE_NORMAL));
}

}  // namespace

std::vector<std::u16string> ListRootInterfacePaths(const platform::GUID& interfaceClass,
                                                   std::u16string_view rootId) {
  std::vector<std::u16string> paths;
  const platform::DeviceInfoList list(platform::SetupDiGetClassDevsW(
      &interfaceClass, nullptr, platform::DIGCF_PRESENT | platform::DIGCF_DEVICEINTERFACE));
  if (!list) return paths;
  for (std::uint32_t index = 0;; ++index) {
    platform::SP_DEVICE_INTERFACE_DATA interfaceData = {};
    interfaceData.cbSize = sizeof interfaceData;
    if (!platform::SetupDiEnumDeviceInterfaces(list.Get(), &interfaceClass, index,
                                               &interfaceData)) {
      return paths;
    }
    const std::optional<InterfaceDetail> detail = ReadInterfaceDetail(list.Get(), interfaceData);
    if (detail && IsTheRoot(list.Get(), detail->device, rootId)) paths.push_back(detail->path);
  }
}

ControlChannel OpenRootControlChannel(const std::u16string& rootId) {
  const std::vector<std::u16string> controlPaths =
      ListRootInterfacePaths(kControlInterfaceClass, rootId);
  if (controlPaths.size() > 1) {
    return {{}, u"current VORN root has duplicate live control interfaces"};
  }
  std::uint32_t lastError = platform::ERROR_FILE_NOT_FOUND;
  if (!controlPaths.empty()) {
    if (platform::DeviceHandle handle = OpenInterface(controlPaths.front())) {
      return {std::move(handle), {}};
    }
    lastError = platform::GetLastError();
  }
  for (const std::u16string& path : ListRootInterfacePaths(platform::KSCATEGORY_AUDIO, rootId)) {
    if (platform::DeviceHandle handle = OpenInterface(path)) return {std::move(handle), {}};
    lastError = platform::GetLastError();
  }
  return {{},
          FormatBounded(kReasonCapacity,
                        u"no openable VORN interface on this root (control and KS both failed, "
                        u"last error 0x%08lX)",
                        lastError)};
}

}  // namespace vorn
