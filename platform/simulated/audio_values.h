#pragma once

// Values of COM and of the audio endpoint catalog that only the model and its tests name; those
// that the program names are in platform/audio_endpoints.h.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
inline constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT E_NOTFOUND = static_cast<HRESULT>(0x80070490);
inline constexpr HRESULT AUDCLNT_E_DEVICE_INVALIDATED = static_cast<HRESULT>(0x88890004);
inline constexpr HRESULT AUDCLNT_E_SERVICE_NOT_RUNNING = static_cast<HRESULT>(0x88890010);

inline constexpr std::uint32_t DEVICE_STATE_NOTPRESENT = 0x4;
inline constexpr std::uint32_t DEVICE_STATE_UNPLUGGED = 0x8;

inline constexpr std::uint16_t VT_EMPTY = 0;
inline constexpr std::uint16_t VT_LPWSTR = 31;

}  // namespace vorn::platform
