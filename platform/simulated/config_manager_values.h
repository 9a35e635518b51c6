#pragma once

// Values of the configuration manager that only the model and its tests name; those that the
// program names are in platform/config_manager.h.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

inline constexpr CONFIGRET CR_OUT_OF_MEMORY = 0x02;
inline constexpr CONFIGRET CR_INVALID_POINTER = 0x03;
inline constexpr CONFIGRET CR_INVALID_DEVNODE = 0x05;
inline constexpr CONFIGRET CR_NO_SUCH_DEVNODE = 0x0D;
inline constexpr CONFIGRET CR_FAILURE = 0x13;
inline constexpr CONFIGRET CR_BUFFER_SMALL = 0x1A;
inline constexpr CONFIGRET CR_INVALID_DEVICE_ID = 0x1E;
inline constexpr CONFIGRET CR_NO_SUCH_VALUE = 0x25;
inline constexpr CONFIGRET CR_ACCESS_DENIED = 0x33;

inline constexpr std::uint32_t DN_HAS_PROBLEM = 0x00000400;

}  // namespace vorn::platform
