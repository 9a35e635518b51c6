#include "package/inf_identity.h"

#include "base/text.h"
#include "package/content_hash.h"
#include "package/driver_identity.h"
#include "package/inf_fields.h"
#include "package/original_names.h"
#include "platform/inf.h"
#include "privileged_input/file.h"
#include "privileged_input/protected_files.h"
#include "report/console.h"

#include <algorithm>

namespace vorn {

namespace {

using privileged_input::File;

constexpr char16_t kInfName[] = u"vorn_audio.inf";
constexpr char16_t kCatalogName[] = u"vorn_audio.cat";
constexpr char16_t kProviderName[] = u"VORN Audio";
constexpr char16_t kProviderToken[] = u"%ProviderName%";
constexpr char16_t kClassName[] = u"MEDIA";
constexpr char16_t kClassGuid[] = u"{4d36e96c-e325-11ce-bfc1-08002be10318}";
constexpr char16_t kModelsSection[] = u"VornAudioDevices.NTamd64.10.0...19041";
constexpr char16_t kInstallSection[] = u"VornAudio_Install";
constexpr char16_t kHardwareId[] = u"Root\\VornAudio";
constexpr char16_t kServicesSection[] = u"VornAudio_Install.Services";
constexpr char16_t kServiceKey[] = u"AddService";

// Longest texts that are accepted, in units.
constexpr std::size_t kMaxClassLength = 64;
constexpr std::size_t kMaxCatalogLength = 260;
constexpr std::size_t kMaxProviderLength = 128;
constexpr std::size_t kMaxNameLength = platform::MAX_PATH - 1;

// Buffers of fields that are read in one call, in units with the terminator.
constexpr std::size_t kLineFieldCapacity = 128;  // of a model or service
constexpr std::size_t kDateCapacity = 64;
constexpr std::size_t kVersionCapacity = 128;

/// The caller's file when it is open, else the one at `path`.
File FileToRead(const std::u16string& path, const File* file) {
  return file != nullptr && *file ? *file : privileged_input::OpenInputFile(path);
}

/// The version block, the provider's name, and the provider as the version block has it, in an
/// order in which the first failure ends the reading.
bool ReadVersionBlock(platform::HINF inf, InfIdentity& identity, std::u16string& provider) {
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
  return std::all_of(std::begin(fields), std::end(fields), [inf](const KeyedField& item) {
    return ReadKeyedField(inf, item.section, item.key, item.field, item.maxLength, item.value);
  });
}

bool IsExactModel(const platform::INFCONTEXT& line) {
  std::u16string installSection;
  std::u16string hardwareId;
  return ReadFieldInto(kLineFieldCapacity, line, 1, installSection) &&
         ReadFieldInto(kLineFieldCapacity, line, 2, hardwareId) &&
         EqualsIgnoringCase(installSection, kInstallSection) &&
         EqualsIgnoringCase(hardwareId, kHardwareId);
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

/// Only the first AddService line counts: a package that installs another service first is not the
/// product's.
bool InstallsExactService(platform::HINF inf) {
  platform::INFCONTEXT line = {};
  std::u16string service;
  return platform::SetupFindFirstLineW(inf, kServicesSection, kServiceKey, &line) &&
         ReadFieldInto(kLineFieldCapacity, line, 1, service) &&
         EqualsIgnoringCase(service, kDriverServiceName);
}

/// Everything that stands in the INF's text. The INF is closed again on return.
bool ReadInfText(const std::u16string& path, InfIdentity& identity) {
  const InfHandle inf = OpenInf(path);
  std::u16string provider;
  if (!inf || !ReadVersionBlock(inf.Get(), identity, provider)) return false;
  identity.hasExactModel = FindExactModel(inf.Get());
  identity.hasExactService = InstallsExactService(inf.Get());
  return EqualsIgnoringCase(provider, kProviderToken) ||
         EqualsIgnoringCase(provider, identity.providerName);
}

bool ReadPublishedNames(const std::u16string& path, InfIdentity& identity) {
  std::u16string infName;
  std::u16string catalogName;
  if (!QueryOriginalNames(path, infName, catalogName)) return false;
  identity.originalInfName = FileNameComponent(infName);
  identity.originalCatalogName = FileNameComponent(catalogName);
  return IsSingleLine(identity.originalInfName, kMaxNameLength) &&
         IsSingleLine(identity.originalCatalogName, kMaxNameLength);
}

/// DriverVer of an open INF; whether both of its fields have their form.
bool ReadDriverVer(platform::HINF inf, std::u16string& date, std::u16string& version) {
  platform::INFCONTEXT line = {};
  if (!platform::SetupFindFirstLineW(inf, u"Version", u"DriverVer", &line)) return false;
  std::uint32_t versionSize = 0;
  return ReadFieldInto(kDateCapacity, line, 1, date) &&
         ReadFieldInto(kVersionCapacity, line, 2, version, &versionSize) && versionSize >= 2 &&
         IsSingleLine(date, kMaxDateLength) && IsSingleLine(version, kMaxVersionLength);
}

}  // namespace

bool ReadInfIdentity(const std::u16string& path, std::u16string_view publishedInfName,
                     const File* file, InfIdentity& identity) {
  identity = {};
  const File input = FileToRead(path, file);
  if (!input || !HashFileSha256(path, &input, identity.infSha256) ||
      !ReadInfText(input.Path(), identity)) {
    return false;
  }
  identity.publishedInfName = publishedInfName;
  // Windows knows a published package by its place in the INF folder, not by the handle's path.
  if (!publishedInfName.empty()) return ReadPublishedNames(path, identity);
  identity.originalInfName = FileNameComponent(input.Path());
  identity.originalCatalogName = identity.catalogFile;
  return true;
}

bool HasExactPackageContract(const InfIdentity& identity) {
  return EqualsIgnoringCase(identity.originalInfName, kInfName) &&
         EqualsIgnoringCase(identity.originalCatalogName, kCatalogName) &&
         EqualsIgnoringCase(identity.providerName, kProviderName) &&
         EqualsIgnoringCase(identity.className, kClassName) &&
         EqualsIgnoringCase(identity.classGuid, kClassGuid) &&
         EqualsIgnoringCase(identity.catalogFile, kCatalogName) && !identity.driverDate.empty() &&
         !identity.driverVersion.empty() && IsSha256Text(identity.infSha256) &&
         identity.hasExactModel && identity.hasExactService;
}

bool ReadExpectedDriverVer(const std::u16string& path, const File* file, std::u16string& date,
                           std::u16string& version) {
  date.clear();
  version.clear();
  const File input = FileToRead(path, file);
  if (!input) return false;
  const InfHandle inf = OpenInf(input.Path());
  if (!inf) {
    ReportFailedCall(u"SetupOpenInfFile(expected DriverVer)");
    return false;
  }
  if (ReadDriverVer(inf.Get(), date, version)) return true;
  PrintError(u"vorn_devnode: INF has no valid DriverVer date/version\n");
  date.clear();
  version.clear();
  return false;
}

}  // namespace vorn
