#include "platform/simulated/driver_package.h"

#include "base/text.h"
#include "platform/last_error.h"
#include "platform/simulated/crypto_model.h"
#include "platform/simulated/inf_text.h"

#include <algorithm>
#include <array>

namespace vorn::platform::simulated {

namespace {

// The running system: Windows 10 22H2, x64.
constexpr std::uint64_t kMajorVersion = 10;
constexpr std::uint64_t kMinorVersion = 0;
constexpr std::uint64_t kBuildNumber = 19045;
constexpr std::u16string_view kArchitecture = u"NTamd64";

std::vector<std::u16string_view> Split(std::u16string_view text, char16_t separator) {
  std::vector<std::u16string_view> parts;
  while (true) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::u16string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

/// The decimal number at the start of a text; 0 when there is none.
std::uint64_t ParseNumber(std::u16string_view text) {
  constexpr std::uint64_t kEnough = 0xFFFFFFFF;
  std::uint64_t number = 0;
  for (const char16_t unit : text) {
    if (!IsAsciiDigit(unit)) break;
    number = std::min<std::uint64_t>(number * 10 + (unit - u'0'), kEnough);
  }
  return number;
}

DriverRank ParseRank(std::u16string_view date, std::u16string_view version) {
  DriverRank rank;
  const auto parts = Split(date, u'/');
  if (parts.size() == 3) {
    rank.month = static_cast<std::uint32_t>(ParseNumber(parts[0]));
    rank.day = static_cast<std::uint32_t>(ParseNumber(parts[1]));
    rank.year = static_cast<std::uint32_t>(ParseNumber(parts[2]));
  }
  for (const std::u16string_view part : Split(version, u'.'))
    rank.version.push_back(ParseNumber(part));
  return rank;
}

/// "{4d36e96c-...}" as a GUID; all zero when it is not one.
GUID ParseGuid(std::u16string_view text) {
  std::array<std::uint8_t, 16> bytes = {};
  std::size_t digits = 0;
  for (const char16_t unit : text) {
    const char16_t folded = ToLowerAscii(unit);
    const bool isLetter = folded >= u'a' && folded <= u'f';
    if (!IsAsciiDigit(unit) && !isLetter) continue;
    if (digits == 32) return {};
    const int value = isLetter ? folded - u'a' + 10 : unit - u'0';
    auto& byte = bytes[digits / 2];
    byte = static_cast<std::uint8_t>(byte << 4 | value);
    ++digits;
  }
  if (digits != 32 || text.size() != 38) return {};
  GUID guid = {};
  guid.Data1 =
      static_cast<std::uint32_t>(bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3]);
  guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  std::copy(bytes.begin() + 8, bytes.end(), guid.Data4);
  return guid;
}

/// The system version that a models section's decoration requires; nothing when the section is not
/// for this system. Documented: the decoration of a models section is
/// NT[architecture].[major].[minor].[product type].[suite].[build], and on x64 the architecture is
/// mandatory.
using SystemVersion = std::array<std::uint64_t, 3>;
std::optional<SystemVersion> ParseDecoration(std::u16string_view decoration) {
  const auto parts = Split(decoration, u'.');
  const auto part = [&parts](std::size_t index) {
    return index < parts.size() ? parts[index] : std::u16string_view{};
  };
  if (!EqualsIgnoringCase(part(0), kArchitecture)) return std::nullopt;
  const bool forWorkstations = part(3).empty() || ParseNumber(part(3)) == 1;
  const SystemVersion wanted = {ParseNumber(part(1)), ParseNumber(part(2)), ParseNumber(part(5))};
  const SystemVersion running = {kMajorVersion, kMinorVersion, kBuildNumber};
  if (!forWorkstations || wanted > running) return std::nullopt;
  return wanted;
}

/// Walks one INF.
class PackageReader {
 public:
  PackageReader(const ParsedInf& inf, std::u16string_view hardwareId)
      : inf_(inf), hardwareId_(hardwareId) {}

  DriverPackage Read() const {
    DriverPackage package;
    package.catalog = CatalogFile();
    package.version = Value(u"Version", u"DriverVer", 2);
    package.rank = ParseRank(Value(u"Version", u"DriverVer", 1), package.version);
    package.className = Value(u"Version", u"Class");
    package.classGuid = ParseGuid(Value(u"Version", u"ClassGuid"));
    package.files = SourceFiles();
    if (const auto section = InstallSection()) {
      package.hasModel = true;
      ReadService(*section, package);
    }
    return package;
  }

 private:
  std::u16string Value(std::u16string_view section, std::u16string_view key,
                       std::uint32_t field = 1) const {
    return inf_.Value(section, key, field).value_or(std::u16string());
  }

  /// CatalogFile. Documented: the decorated keys of a catalog take precedence over the plain one.
  std::u16string CatalogFile() const {
    for (const std::u16string_view key : {u"CatalogFile.NTamd64", u"CatalogFile.NT"}) {
      if (auto catalog = inf_.Value(u"Version", key)) return *catalog;
    }
    return Value(u"Version", u"CatalogFile");
  }

  template <class Visit>
  void ForEachLine(std::u16string_view section, Visit visit) const {
    const auto found = inf_.FindSection(section);
    if (!found) return;
    for (ParsedInf::Line line = 0; line < inf_.LineCount(*found); ++line)
      visit(*found, line);
  }

  std::vector<std::u16string> SourceFiles() const {
    std::vector<std::u16string> files;
    for (const std::u16string_view section : {u"SourceDisksFiles.amd64", u"SourceDisksFiles"}) {
      ForEachLine(section, [&](ParsedInf::Section at, ParsedInf::Line line) {
        if (auto name = inf_.Field(at, line, 0)) files.push_back(std::move(*name));
      });
    }
    return files;
  }

  /// The models section of a manufacturer line that fits this system best; empty when none fits.
  std::u16string ModelsSection(ParsedInf::Section manufacturers, ParsedInf::Line line) const {
    const auto base = inf_.Field(manufacturers, line, 1);
    if (!base) return {};
    std::optional<SystemVersion> best;
    std::u16string section;
    for (std::uint32_t i = 2; i <= inf_.FieldCount(manufacturers, line); ++i) {
      const auto decoration = inf_.Field(manufacturers, line, i);
      const auto version = decoration ? ParseDecoration(*decoration) : std::nullopt;
      if (!version || (best && *version <= *best)) continue;
      best = version;
      section = *base + u"." + *decoration;
    }
    return section;
  }

  /// The install section of the first model that lists the hardware id.
  std::optional<std::u16string> InstallSection() const {
    std::optional<std::u16string> install;
    ForEachLine(u"Manufacturer", [&](ParsedInf::Section manufacturers, ParsedInf::Line line) {
      ForEachLine(ModelsSection(manufacturers, line),
                  [&](ParsedInf::Section at, ParsedInf::Line model) {
                    for (std::uint32_t i = 2; !install && i <= inf_.FieldCount(at, model); ++i) {
                      if (EqualsIgnoringCase(inf_.Field(at, model, i).value_or(u""), hardwareId_)) {
                        install = inf_.Field(at, model, 1);
                      }
                    }
                  });
    });
    return install;
  }

  void ReadService(const std::u16string& install, DriverPackage& package) const {
    for (const std::u16string_view decoration : {u".NTamd64", u".NT", u""}) {
      const std::u16string section = install + std::u16string(decoration) + u".Services";
      if (!inf_.FindSection(section)) continue;
      package.service = Value(section, u"AddService", 1);
      const std::u16string binary = Value(Value(section, u"AddService", 3), u"ServiceBinary");
      package.image = binary.substr(binary.find_last_of(u'\\') + 1);
      return;
    }
  }

  const ParsedInf& inf_;
  std::u16string_view hardwareId_;
};

}  // namespace

std::optional<DriverPackage> ReadDriverPackage(const Bytes& inf, std::u16string_view hardwareId,
                                               std::uint32_t* error) {
  const auto parsed = ParseInfOnce(inf);
  if (const auto* failure = std::get_if<InfError>(parsed.get())) {
    *error = failure->error;
    return std::nullopt;
  }
  return PackageReader(std::get<ParsedInf>(*parsed), hardwareId).Read();
}

std::string CatalogLine(const Bytes& content) {
  return "sha256=" + Sha256Hex(content);
}

bool CatalogLists(const Bytes& catalog, const Bytes& content) {
  const std::string wanted = CatalogLine(content);
  const auto isLineEnd = [](std::uint8_t byte) { return byte == '\r' || byte == '\n'; };
  for (auto line = catalog.begin(); line != catalog.end();) {
    const auto end = std::find_if(line, catalog.end(), isLineEnd);
    if (std::equal(line, end, wanted.begin(), wanted.end(), [](std::uint8_t byte, char letter) {
          return byte == static_cast<std::uint8_t>(letter);
        })) {
      return true;
    }
    line = std::find_if_not(end, catalog.end(), isLineEnd);
  }
  return false;
}

}  // namespace vorn::platform::simulated
