#include "package/inf_identity.h"

#include "base/path_text.h"
#include "base/text.h"
#include "package/content_hash.h"
#include "package/inf_fields.h"
#include "package/original_names.h"
#include "platform/inf.h"
#include "privileged_input/file.h"
#include "product/product.h"
#include "report/console.h"

#include <utility>

namespace vorn {

namespace {

using privileged_input::File;

constexpr char16_t kInfName[] = u"vorn_audio.inf";
constexpr char16_t kCatalogName[] = u"vorn_audio.cat";
constexpr char16_t kProviderName[] = u"VORN Audio";
constexpr char16_t kProviderToken[] = u"%ProviderName%";
constexpr char16_t kModelsSection[] = u"VornAudioDevices.NTamd64.10.0...19041";
constexpr char16_t kInstallSection[] = u"VornAudio_Install";
constexpr char16_t kServicesSection[] = u"VornAudio_Install.Services";
constexpr char16_t kServiceKey[] = u"AddService";

// Longest accepted texts, in units.
constexpr std::size_t kMaxClassLength = 64;
constexpr std::size_t kMaxCatalogLength = 260;
constexpr std::size_t kMaxProviderLength = 128;
constexpr std::size_t kMaxNameLength = platform::MAX_PATH - 1;

// Buffers of fields that are read in one call, in units, terminator included.
constexpr std::size_t kLineFieldCapacity = 128;  // of a model or service
constexpr std::size_t kDateCapacity = 64;
constexpr std::size_t kVersionCapacity = 128;

/// Fills in the version block and the provider's name. Returns the version block's Provider;
/// nothing, at the first field that cannot be read.
std::optional<std::u16string> ReadVersionBlock(platform::HINF inf, InfIdentity& identity) {
  std::u16string provider;
  struct KeyedField {
    const char16_t* section;
    const char16_t* key;
    std::uint32_t field;
    std::size_t maxLength;
    std::u16string& value;
  };
  const KeyedField fields[] = {
      {u"Version", u"Class", 1, kMaxClassLength, identity.className},
      {u"Version", u"ClassGuid", 1, kMaxClassLength, identity.classGuid},
      {u"Version", u"CatalogFile", 1, kMaxCatalogLength, identity.catalogFile},
      {u"Version", u"DriverVer", 1, kMaxDateLength, identity.driverDate},
      {u"Version", u"DriverVer", 2, kMaxVersionLength, identity.driverVersion},
      {u"Strings", u"ProviderName", 1, kMaxProviderLength, identity.providerName},
      {u"Version", u"Provider", 1, kMaxProviderLength, provider},
  };
  for (const KeyedField& item : fields) {
    std::optional<std::u16string> value =
        ReadKeyedField(inf, item.section, item.key, item.field, item.maxLength);
    if (!value) return std::nullopt;
    item.value = std::move(*value);
  }
  return provider;
}

bool IsExactModel(const platform::INFCONTEXT& line) {
  const std::optional<InfField> installSection = ReadField(line, 1, kLineFieldCapacity);
  if (!installSection) return false;
  const std::optional<InfField> hardwareId = ReadField(line, 2, kLineFieldCapacity);
  return hardwareId && EqualsIgnoringCase(installSection->text, kInstallSection) &&
         EqualsIgnoringCase(hardwareId->text, kRootHardwareId);
}

bool FindExactModel(platform::HINF inf) {
  platform::INFCONTEXT line = {};
  bool found = platform::SetupFindFirstLineW(inf, kModelsSection, nullptr, &line);
  while (found) {
    if (IsExactModel(line)) return true;
    platform::INFCONTEXT next = {};
    found = platform::SetupFindNextLine(&line, &next);
    line = next;
  }
  return false;
}

/// Only the first AddService line counts: the product installs no other service first.
bool InstallsExactService(platform::HINF inf) {
  platform::INFCONTEXT line = {};
  if (!platform::SetupFindFirstLineW(inf, kServicesSection, kServiceKey, &line)) return false;
  const std::optional<InfField> service = ReadField(line, 1, kLineFieldCapacity);
  return service && EqualsIgnoringCase(service->text, kDriverServiceName);
}

bool ReadInfText(const std::u16string& path, InfIdentity& identity) {
  const platform::InfHandle inf = OpenInf(path);
  if (!inf) return false;
  const std::optional<std::u16string> provider = ReadVersionBlock(inf.Get(), identity);
  if (!provider) return false;
  identity.hasExactModel = FindExactModel(inf.Get());
  identity.hasExactService = InstallsExactService(inf.Get());
  return EqualsIgnoringCase(*provider, kProviderToken) ||
         EqualsIgnoringCase(*provider, identity.providerName);
}

bool ReadPublishedNames(const std::u16string& path, InfIdentity& identity) {
  const std::optional<OriginalNames> original = QueryOriginalNames(path);
  if (!original) return false;
  identity.originalInfName = FileNameComponent(original->inf);
  identity.originalCatalogName = FileNameComponent(original->catalog);
  return IsSingleLine(identity.originalInfName, kMaxNameLength) &&
         IsSingleLine(identity.originalCatalogName, kMaxNameLength);
}

/// What the file itself says, whose digest is known; no file names yet.
std::optional<InfIdentity> ReadContent(const File& inf, std::u16string infSha256) {
  InfIdentity identity;
  identity.infSha256 = std::move(infSha256);
  identity.infSize = inf.Size();
  if (!ReadInfText(inf.Path(), identity)) return std::nullopt;
  return identity;
}

/// Nothing unless both fields are well formed.
std::optional<DriverVer> ReadDriverVer(platform::HINF inf) {
  platform::INFCONTEXT line = {};
  if (!platform::SetupFindFirstLineW(inf, u"Version", u"DriverVer", &line)) return std::nullopt;
  const std::optional<InfField> date = ReadField(line, 1, kDateCapacity);
  if (!date) return std::nullopt;
  const std::optional<InfField> version = ReadField(line, 2, kVersionCapacity);
  if (!version || version->required < 2 || !IsSingleLine(date->text, kMaxDateLength) ||
      !IsSingleLine(version->text, kMaxVersionLength)) {
    return std::nullopt;
  }
  return DriverVer{.date = date->text, .version = version->text};
}

}  // namespace

std::optional<InfIdentity> ReadInfIdentity(const File& inf) {
  std::optional<std::u16string> infSha256 = HashFileSha256(inf);
  if (!infSha256) return std::nullopt;
  std::optional<InfIdentity> identity = ReadContent(inf, std::move(*infSha256));
  if (!identity) return std::nullopt;
  identity->originalInfName = FileNameComponent(inf.Path());
  identity->originalCatalogName = identity->catalogFile;
  return identity;
}

std::optional<InfIdentity> ReadPublishedIdentity(const File& inf, std::u16string infSha256,
                                                 const PublishedPlace& published) {
  std::optional<InfIdentity> identity = ReadContent(inf, std::move(infSha256));
  if (!identity) return std::nullopt;
  // Windows knows a published package by its path in the INF folder, not by the handle's path.
  identity->publishedInfName = published.name;
  if (!ReadPublishedNames(published.path, *identity)) return std::nullopt;
  return identity;
}

bool HasExactPackageContract(const InfIdentity& identity) {
  return EqualsIgnoringCase(identity.originalInfName, kInfName) &&
         EqualsIgnoringCase(identity.originalCatalogName, kCatalogName) &&
         EqualsIgnoringCase(identity.providerName, kProviderName) &&
         EqualsIgnoringCase(identity.className, kSetupClassName) &&
         EqualsIgnoringCase(identity.classGuid, kSetupClassText) &&
         EqualsIgnoringCase(identity.catalogFile, kCatalogName) && !identity.driverDate.empty() &&
         !identity.driverVersion.empty() && IsSha256Text(identity.infSha256) &&
         identity.hasExactModel && identity.hasExactService;
}

std::optional<DriverVer> ReadExpectedDriverVer(const File& inf) {
  if (!inf) return std::nullopt;
  const platform::InfHandle opened = OpenInf(inf.Path());
  if (!opened) {
    ReportFailedCall(u"SetupOpenInfFile(expected DriverVer)");
    return std::nullopt;
  }
  std::optional<DriverVer> driverVer = ReadDriverVer(opened.Get());
  if (!driverVer) PrintError(u"vorn_devnode: INF has no valid DriverVer date/version\n");
  return driverVer;
}

std::optional<DriverIdentity> ReadIdentity(const privileged_input::File& inf) {
  std::optional<DriverVer> driverVer = ReadExpectedDriverVer(inf);
  if (!driverVer) return std::nullopt;
  std::optional<std::u16string> infSha256 = HashFileSha256(inf);
  if (!infSha256) return std::nullopt;
  return DriverIdentity{.version = std::move(driverVer->version),
                        .date = std::move(driverVer->date),
                        .service = kDriverServiceName,
                        .infSha256 = std::move(*infSha256)};
}

}  // namespace vorn
