#pragma once

// Values of security descriptors that only the model and its tests name; those that the program
// names are in platform/security.h.

#include <cstdint>

namespace vorn::platform {

inline constexpr std::uint8_t ACCESS_ALLOWED_OBJECT_ACE_TYPE = 5;
inline constexpr std::uint8_t ACCESS_DENIED_OBJECT_ACE_TYPE = 6;
inline constexpr std::uint8_t SYSTEM_AUDIT_OBJECT_ACE_TYPE = 7;
inline constexpr std::uint8_t SYSTEM_ALARM_OBJECT_ACE_TYPE = 8;
inline constexpr std::uint8_t SYSTEM_MANDATORY_LABEL_ACE_TYPE = 17;

inline constexpr std::uint8_t OBJECT_INHERIT_ACE = 0x01;
inline constexpr std::uint8_t CONTAINER_INHERIT_ACE = 0x02;
inline constexpr std::uint8_t NO_PROPAGATE_INHERIT_ACE = 0x04;
inline constexpr std::uint8_t INHERIT_ONLY_ACE = 0x08;
inline constexpr std::uint8_t INHERITED_ACE = 0x10;
inline constexpr std::uint8_t SUCCESSFUL_ACCESS_ACE_FLAG = 0x40;
inline constexpr std::uint8_t FAILED_ACCESS_ACE_FLAG = 0x80;

inline constexpr std::uint16_t SE_DACL_PRESENT = 0x0004;
inline constexpr std::uint16_t SE_DACL_AUTO_INHERITED = 0x0400;
inline constexpr std::uint16_t SE_SELF_RELATIVE = 0x8000;

inline constexpr std::uint32_t GROUP_SECURITY_INFORMATION = 0x2;

inline constexpr std::uint32_t SE_PRIVILEGE_REMOVED = 0x4;

}  // namespace vorn::platform
