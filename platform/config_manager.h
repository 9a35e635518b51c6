#pragma once

// The configuration manager: the device tree's nodes, their status, children and query-removal.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

inline constexpr CONFIGRET CR_SUCCESS = 0x00;
inline constexpr CONFIGRET CR_REMOVE_VETOED = 0x17;

inline constexpr std::uint32_t CM_LOCATE_DEVNODE_NORMAL = 0;
inline constexpr std::uint32_t DN_STARTED = 0x00000008;
inline constexpr std::uint32_t CM_PROB_DISABLED = 22;
inline constexpr std::uint32_t CM_DRP_CLASSGUID = 0x00000009;
inline constexpr std::uint32_t CM_REMOVE_UI_NOT_OK = 0x1;
inline constexpr std::uint32_t CM_REMOVE_NO_RESTART = 0x2;

/// The live node of an instance id (CM_Locate_DevNodeW); absent devices have none.
CONFIGRET CM_Locate_DevNodeW(DEVINST* node, const char16_t* instanceId, std::uint32_t flags);

/// Status flags and problem code of a node (CM_Get_DevNode_Status with flags 0).
CONFIGRET CM_Get_DevNode_Status(std::uint32_t* status, std::uint32_t* problem, DEVINST node);

/// First child of a node (CM_Get_Child with flags 0).
CONFIGRET CM_Get_Child(DEVINST* child, DEVINST node);

/// Next sibling of a node (CM_Get_Sibling with flags 0).
CONFIGRET CM_Get_Sibling(DEVINST* sibling, DEVINST node);

/// Length of a node's instance id in characters without the terminator (CM_Get_Device_ID_Size).
CONFIGRET CM_Get_Device_ID_Size(std::uint32_t* length, DEVINST node);

/// A node's instance id (CM_Get_Device_IDW); `size` in characters with the terminator.
CONFIGRET CM_Get_Device_IDW(DEVINST node, char16_t* instanceId, std::uint32_t size);

/// A registry property of a node (CM_Get_DevNode_Registry_PropertyW); `*size` in bytes.
CONFIGRET CM_Get_DevNode_Registry_PropertyW(DEVINST node, std::uint32_t property,
                                            std::uint32_t* type, void* buffer, std::uint32_t* size);

/// Asks a node and its subtree to let go and removes it (CM_Query_And_Remove_SubTreeW). On
/// CR_REMOVE_VETOED the veto's type and name (at most `nameSize` characters) are filled.
CONFIGRET CM_Query_And_Remove_SubTreeW(DEVINST node, std::uint32_t* vetoType, char16_t* vetoName,
                                       std::uint32_t nameSize, std::uint32_t flags);

}  // namespace vorn::platform
