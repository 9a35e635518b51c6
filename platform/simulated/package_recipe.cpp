// Driver packages as a build of the product would produce them.

#include "base/text.h"
#include "platform/simulated/driver_package.h"
#include "platform/simulated/driver_store.h"

// Ours: a package has the sections of the product's INF, and its catalog lists hashes without a
// signature.

namespace vorn::platform::simulated {

namespace {

constexpr std::u16string_view kImageName = u"vorn_audio.sys";

std::string Utf16Bytes(const std::u16string& text) {
  std::string bytes = "\xFF\xFE";
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

std::u16string VersionSection(const PackageRecipe& recipe) {
  return u"; " + recipe.providerName + u" cable\r\n" +
         u"[Version]\r\n"
         u"Signature   = \"$Windows NT$\"\r\n"
         u"Class       = " +
         recipe.className + u"\r\n" + u"ClassGuid   = " + recipe.classGuid + u"\r\n" +
         u"Provider    = " + recipe.provider + u"\r\n" + u"CatalogFile = " + recipe.catalogName +
         u"\r\n" + u"DriverVer   = " + recipe.date + u"," + recipe.version + u"\r\n" +
         u"PnpLockdown = 1\r\n\r\n";
}

std::u16string ModelSections(const PackageRecipe& recipe) {
  return u"[Manufacturer]\r\n"
         u"%ProviderName% = VornAudioDevices,NTamd64.10.0...19041\r\n\r\n"
         u"[VornAudioDevices.NTamd64.10.0...19041]\r\n"
         u"%DeviceName% = VornAudio_Install, " +
         recipe.hardwareId + u"\r\n\r\n";
}

std::u16string FileSections() {
  return u"[SourceDisksNames]\r\n"
         u"1 = %DiskName%\r\n\r\n"
         u"[SourceDisksFiles]\r\n"
         u"vorn_audio.sys = 1\r\n\r\n"
         u"[DestinationDirs]\r\n"
         u"DefaultDestDir = 13\r\n\r\n";
}

std::u16string InstallSections(const PackageRecipe& recipe) {
  return u"[VornAudio_Install]\r\n"
         u"CopyFiles = VornAudio_Files\r\n\r\n"
         u"[VornAudio_Files]\r\n"
         u"vorn_audio.sys\r\n\r\n"
         u"[VornAudio_Install.Services]\r\n"
         u"AddService = " +
         recipe.service + u", 0x00000002, VornAudio_Service\r\n\r\n" +
         u"[VornAudio_Service]\r\n"
         u"DisplayName   = %DeviceName%\r\n"
         u"ServiceType   = 1\r\n"
         u"StartType     = 3\r\n"
         u"ErrorControl  = 1\r\n"
         u"ServiceBinary = %13%\\vorn_audio.sys\r\n\r\n";
}

std::u16string StringsSection(const PackageRecipe& recipe) {
  return u"[Strings]\r\n"
         u"ProviderName = \"" +
         recipe.providerName + u"\"\r\n" + u"DeviceName   = \"" + recipe.providerName +
         u" Cables\"\r\n" + u"DiskName     = \"" + recipe.providerName + u" Installation\"\r\n";
}

Bytes BytesOf(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

}  // namespace

std::string InfText(const PackageRecipe& recipe) {
  const std::u16string text = VersionSection(recipe) + ModelSections(recipe) + FileSections() +
                              InstallSections(recipe) + StringsSection(recipe) +
                              ToUtf16(recipe.extraInfText);
  return recipe.utf16 ? Utf16Bytes(text) : ToUtf8(text);
}

std::u16string WritePackage(FileSystem& files, std::u16string_view folder,
                            const PackageRecipe& recipe) {
  const std::u16string prefix = std::u16string(folder) + (folder.ends_with(u'\\') ? u"" : u"\\");
  std::u16string infPath = prefix + recipe.infName;
  const Bytes inf = BytesOf(InfText(recipe));
  const Bytes image =
      BytesOf(ToImageText(recipe.image ? *recipe.image : SoundImage(recipe.version)));
  std::string catalog;
  if (!recipe.brokenCatalog) catalog += CatalogLine(inf) + "\r\n";
  catalog += CatalogLine(image) + "\r\n";
  PutFile(files, infPath, inf);
  PutFile(files, prefix + std::u16string(kImageName), image);
  if (recipe.catalogName.empty()) return infPath;
  if (recipe.withoutCatalog) {
    RemovePath(files, prefix + recipe.catalogName);
  } else {
    PutFile(files, prefix + recipe.catalogName, BytesOf(catalog));
  }
  return infPath;
}

}  // namespace vorn::platform::simulated
