#include "platform/inf.h"

// clang-format off
#include "platform/windows/casts.h"
#include <setupapi.h>
// clang-format on

namespace vorn::platform {

using windows::As;
using windows::AsDword;
using windows::Wide;

HINF SetupOpenInfFileW(const char16_t* path, std::uint32_t style, std::uint32_t* errorLine) {
  return As<HINF>(
      ::SetupOpenInfFileW(Wide(path), nullptr, style, reinterpret_cast<PUINT>(errorLine)));
}

void SetupCloseInfFile(HINF inf) {
  ::SetupCloseInfFile(As<::HINF>(inf));
}

bool SetupFindFirstLineW(HINF inf, const char16_t* section, const char16_t* key,
                         INFCONTEXT* context) {
  return ::SetupFindFirstLineW(As<::HINF>(inf), Wide(section), Wide(key),
                               As<::INFCONTEXT*>(context)) != 0;
}

bool SetupFindNextLine(const INFCONTEXT* context, INFCONTEXT* next) {
  return ::SetupFindNextLine(As<::INFCONTEXT*>(context), As<::INFCONTEXT*>(next)) != 0;
}

bool SetupGetStringFieldW(const INFCONTEXT* context, std::uint32_t field, char16_t* buffer,
                          std::uint32_t size, std::uint32_t* required) {
  return ::SetupGetStringFieldW(As<::INFCONTEXT*>(context), field, Wide(buffer), size,
                                AsDword(required)) != 0;
}

bool SetupGetInfInformationW(const char16_t* path, std::uint32_t searchControl,
                             SP_INF_INFORMATION* buffer, std::uint32_t size,
                             std::uint32_t* required) {
  return ::SetupGetInfInformationW(Wide(path), searchControl, As<::SP_INF_INFORMATION*>(buffer),
                                   size, AsDword(required)) != 0;
}

bool SetupQueryInfOriginalFileInformationW(const SP_INF_INFORMATION* information,
                                           std::uint32_t infIndex,
                                           SP_ORIGINAL_FILE_INFO_W* original) {
  return ::SetupQueryInfOriginalFileInformationW(As<::SP_INF_INFORMATION*>(information), infIndex,
                                                 nullptr,
                                                 As<::SP_ORIGINAL_FILE_INFO_W*>(original)) != 0;
}

bool SetupUninstallOEMInfW(const char16_t* infFileName, std::uint32_t flags) {
  return ::SetupUninstallOEMInfW(Wide(infFileName), flags, nullptr) != 0;
}

}  // namespace vorn::platform
