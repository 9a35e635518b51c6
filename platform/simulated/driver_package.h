#pragma once

// DriverPackage: what the driver installer reads from the INF of a package in a folder, and whether
// the package's catalog covers its files.

#include "platform/simulated/file_system.h"
#include "platform/types.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

/// DriverVer in comparable form. Documented: drivers of equal rank compare by date, then by
/// version.
struct DriverRank {
  std::uint32_t year = 0;
  std::uint32_t month = 0;
  std::uint32_t day = 0;
  std::vector<std::uint64_t> version;

  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes its zero for a pointer
  friend auto operator<=>(const DriverRank&, const DriverRank&) = default;
};

/// What an INF says about itself and about one hardware id.
struct DriverPackage {
  std::u16string catalog;  // CatalogFile, empty when missing
  std::u16string version;  // second field of DriverVer
  DriverRank rank;
  std::u16string className;
  GUID classGuid = {};
  bool hasModel = false;              // it has a model for this system and the hardware id
  std::u16string service;             // added by the model's install section; empty when none is
  std::u16string image;               // file name of that service's binary
  std::vector<std::u16string> files;  // source files
};

/// Reads an INF for a hardware id. Nothing, with a Win32 or INF error in `*error`, when it cannot
/// be read.
std::optional<DriverPackage> ReadDriverPackage(const Bytes& inf, std::u16string_view hardwareId,
                                               std::uint32_t* error);

/// Whether a catalog's text lists the content's SHA-256.
bool CatalogLists(const Bytes& catalog, const Bytes& content);

/// The line of a catalog that lists the content.
std::string CatalogLine(const Bytes& content);

}  // namespace vorn::platform::simulated
