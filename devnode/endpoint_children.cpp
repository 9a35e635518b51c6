#include "devnode/endpoint_children.h"

#include "base/text.h"
#include "devnode/node_status.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace vorn {

namespace {

constexpr char16_t kAudioEndpointClass[] = u"{c166523c-fe0c-4a94-a586-f1a80cfbbf3e}";
constexpr std::uint32_t kClassGuidBytes = 128;

bool IsOfAudioEndpointClass(platform::DEVINST node) {
  // One unit more than the platform may fill, so that the text is always terminated.
  char16_t text[kClassGuidBytes / sizeof(char16_t) + 1] = {};
  std::uint32_t bytes = kClassGuidBytes;
  return platform::CM_Get_DevNode_Registry_PropertyW(node, platform::CM_DRP_CLASSGUID, nullptr,
                                                     text, &bytes) == platform::CR_SUCCESS &&
         EqualsIgnoringCase(text, kAudioEndpointClass);
}

/// Empty if it cannot be read.
std::u16string ReadDeviceId(platform::DEVINST node) {
  std::uint32_t length = 0;
  if (platform::CM_Get_Device_ID_Size(&length, node) != platform::CR_SUCCESS) return {};
  std::u16string id(std::size_t{length} + 1, u'\0');
  if (platform::CM_Get_Device_IDW(node, id.data(), length + 1) != platform::CR_SUCCESS) return {};
  id.resize(std::char_traits<char16_t>::length(id.c_str()));
  return id;
}

}  // namespace

std::vector<std::u16string> ListStartedEndpointChildren(platform::DEVINST node) {
  std::vector<std::u16string> ids;
  platform::DEVINST child = 0;
  for (platform::CONFIGRET found = platform::CM_Get_Child(&child, node);
       found == platform::CR_SUCCESS; found = platform::CM_Get_Sibling(&child, child)) {
    if (!IsOfAudioEndpointClass(child)) continue;
    const std::optional<NodeStatus> status = ReadNodeStatus(child);
    if (!status || !status->IsStartedCleanly()) continue;
    std::u16string id = ReadDeviceId(child);
    if (!id.empty()) ids.push_back(std::move(id));
  }
  return ids;
}

}  // namespace vorn
