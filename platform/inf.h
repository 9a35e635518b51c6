#pragma once

// SetupAPI's INF readers and the uninstallation of a published package.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

struct INFCONTEXT {
  void* Inf;
  void* CurrentInf;
  std::uint32_t Section;
  std::uint32_t Line;
};
static_assert(sizeof(INFCONTEXT) == 24);

/// The original names of a published package. `cbSize` must be 1044.
struct SP_ORIGINAL_FILE_INFO_W {
  std::uint32_t cbSize;
  char16_t OriginalInfName[MAX_PATH];
  char16_t OriginalCatalogName[MAX_PATH];
};
static_assert(sizeof(SP_ORIGINAL_FILE_INFO_W) == 1044);

/// The fixed part of an INF's information; version data follows.
struct SP_INF_INFORMATION {
  std::uint32_t InfStyle;
  std::uint32_t InfCount;
  std::uint8_t VersionData[1];
};
static_assert(sizeof(SP_INF_INFORMATION) == 12);

inline constexpr std::uint32_t INF_STYLE_WIN4 = 0x02;
inline constexpr std::uint32_t INF_STYLE_CACHE_DISABLE = 0x20;
inline constexpr std::uint32_t INFINFO_INF_NAME_IS_ABSOLUTE = 2;

/// Opens an INF (SetupOpenInfFileW without class). INVALID_INF on failure; the caller closes it.
/// `errorLine` may be null.
HINF SetupOpenInfFileW(const char16_t* path, std::uint32_t style, std::uint32_t* errorLine);

/// Closes an INF (SetupCloseInfFile).
void SetupCloseInfFile(HINF inf);

/// The first line of a section, or its first line with that key (SetupFindFirstLineW). `key` may be
/// null.
bool SetupFindFirstLineW(HINF inf, const char16_t* section, const char16_t* key,
                         INFCONTEXT* context);

/// The line after a line (SetupFindNextLine).
bool SetupFindNextLine(const INFCONTEXT* context, INFCONTEXT* next);

/// A field of a line, 0 being the key (SetupGetStringFieldW); sizes in characters with the
/// terminator. With no buffer only the required size is reported. `required` may be null.
bool SetupGetStringFieldW(const INFCONTEXT* context, std::uint32_t field, char16_t* buffer,
                          std::uint32_t size, std::uint32_t* required);

/// Information about an INF file (SetupGetInfInformationW); sizes in bytes.
bool SetupGetInfInformationW(const char16_t* path, std::uint32_t searchControl,
                             SP_INF_INFORMATION* buffer, std::uint32_t size,
                             std::uint32_t* required);

/// The original INF and catalog names of an INF (SetupQueryInfOriginalFileInformationW without
/// alternate platform).
bool SetupQueryInfOriginalFileInformationW(const SP_INF_INFORMATION* information,
                                           std::uint32_t infIndex,
                                           SP_ORIGINAL_FILE_INFO_W* original);

/// Removes a published package from the driver store (SetupUninstallOEMInfW). `flags` 0 refuses a
/// package that a device uses.
bool SetupUninstallOEMInfW(const char16_t* infFileName, std::uint32_t flags);

}  // namespace vorn::platform
