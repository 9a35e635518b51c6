#pragma once

// Values of the registry's calls that only the model and its tests name; those that the program
// names are in platform/registry.h.

#include <cstdint>

namespace vorn::platform {

inline constexpr std::uint32_t KEY_WOW64_32KEY = 0x0200;
inline constexpr std::uint32_t KEY_WRITE = 0x20006;
inline constexpr std::uint32_t KEY_ALL_ACCESS = 0xF003F;

inline constexpr std::uint32_t REG_OPTION_OPEN_LINK = 8;

inline constexpr std::uint32_t REG_SZ = 1;
inline constexpr std::uint32_t REG_EXPAND_SZ = 2;
inline constexpr std::uint32_t REG_BINARY = 3;
inline constexpr std::uint32_t REG_MULTI_SZ = 7;
inline constexpr std::uint32_t REG_QWORD = 11;

inline constexpr std::uint32_t RRF_RT_REG_EXPAND_SZ = 0x00000004;
inline constexpr std::uint32_t RRF_RT_DWORD = 0x00000018;
inline constexpr std::uint32_t RRF_RT_QWORD = 0x00000048;
inline constexpr std::uint32_t RRF_ZEROONFAILURE = 0x20000000;

}  // namespace vorn::platform
