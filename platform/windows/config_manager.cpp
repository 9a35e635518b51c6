#include "platform/config_manager.h"

// clang-format off
#include "platform/windows/casts.h"
#include <cfgmgr32.h>
// clang-format on

namespace vorn::platform {

using windows::Wide;

namespace {

::DEVINST* AsNode(DEVINST* node) {
  return reinterpret_cast<::DEVINST*>(node);
}
PULONG AsUlong(std::uint32_t* value) {
  return reinterpret_cast<PULONG>(value);
}

}  // namespace

CONFIGRET CM_Locate_DevNodeW(DEVINST* node, const char16_t* instanceId, std::uint32_t flags) {
  return ::CM_Locate_DevNodeW(AsNode(node), const_cast<wchar_t*>(Wide(instanceId)), flags);
}

CONFIGRET CM_Get_DevNode_Status(std::uint32_t* status, std::uint32_t* problem, DEVINST node) {
  return ::CM_Get_DevNode_Status(AsUlong(status), AsUlong(problem), node, 0);
}

CONFIGRET CM_Get_Child(DEVINST* child, DEVINST node) {
  return ::CM_Get_Child(AsNode(child), node, 0);
}

CONFIGRET CM_Get_Sibling(DEVINST* sibling, DEVINST node) {
  return ::CM_Get_Sibling(AsNode(sibling), node, 0);
}

CONFIGRET CM_Get_Device_ID_Size(std::uint32_t* length, DEVINST node) {
  return ::CM_Get_Device_ID_Size(AsUlong(length), node, 0);
}

CONFIGRET CM_Get_Device_IDW(DEVINST node, char16_t* instanceId, std::uint32_t size) {
  return ::CM_Get_Device_IDW(node, Wide(instanceId), size, 0);
}

CONFIGRET CM_Get_DevNode_Registry_PropertyW(DEVINST node, std::uint32_t property,
                                            std::uint32_t* type, void* buffer,
                                            std::uint32_t* size) {
  return ::CM_Get_DevNode_Registry_PropertyW(node, property, AsUlong(type), buffer, AsUlong(size),
                                             0);
}

CONFIGRET CM_Query_And_Remove_SubTreeW(DEVINST node, std::uint32_t* vetoType, char16_t* vetoName,
                                       std::uint32_t nameSize, std::uint32_t flags) {
  return ::CM_Query_And_Remove_SubTreeW(node, reinterpret_cast<PPNP_VETO_TYPE>(vetoType),
                                        Wide(vetoName), nameSize, flags);
}

}  // namespace vorn::platform
