#include "lab/package_command.h"

#include "base/text.h"
#include "lab/driver_facts.h"
#include "lab/json_text.h"
#include "platform/simulated/driver_store.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <stdexcept>

namespace vorn::lab {

using platform::simulated::DriverImage;
using platform::simulated::IsSameName;
using platform::simulated::PackageRecipe;
using platform::simulated::SoundImage;

namespace {

constexpr Option kOptions[] = {
    {"--version", "V", "the version, 26.8.10.5 by default"},
    {"--date", "D", "the date, 08/10/2026 by default"},
    {"--utf16", "", "the INF is UTF-16 with a byte-order mark"},
    {"--broken-catalog", "", "the catalog does not list the INF"},
    {"--no-catalog", "", "there is no catalog"},
    {"--image", "JSON", "what the image reports and does, with the keys of an image"},
    {"--extra", "TEXT", "appended to the INF, so that two packages of one version differ"},
    {"--inf-name", "N", "vorn_audio.inf by default"},
    {"--catalog-name", "N", "vorn_audio.cat by default"},
    {"--provider", "P", "%ProviderName% by default"},
    {"--provider-name", "N", "VORN Audio by default"},
    {"--class", "N", "MEDIA by default"},
    {"--class-guid", "G", "that of MEDIA by default"},
    {"--hardware-id", "H", "Root\\VornAudio by default"},
    {"--service", "S", "VornAudio by default"},
};

struct TextOption {
  std::string_view name;
  std::u16string PackageRecipe::*member;
};
constexpr TextOption kTexts[] = {
    {"--version", &PackageRecipe::version},
    {"--date", &PackageRecipe::date},
    {"--inf-name", &PackageRecipe::infName},
    {"--catalog-name", &PackageRecipe::catalogName},
    {"--provider", &PackageRecipe::provider},
    {"--provider-name", &PackageRecipe::providerName},
    {"--class", &PackageRecipe::className},
    {"--class-guid", &PackageRecipe::classGuid},
    {"--hardware-id", &PackageRecipe::hardwareId},
    {"--service", &PackageRecipe::service},
};

struct SwitchOption {
  std::string_view name;
  bool PackageRecipe::*member;
};
constexpr SwitchOption kSwitches[] = {
    {"--utf16", &PackageRecipe::utf16},
    {"--broken-catalog", &PackageRecipe::brokenCatalog},
    {"--no-catalog", &PackageRecipe::withoutCatalog},
};

/// The image that a JSON object describes, based on the sound image of the package's version.
DriverImage ParseImageOption(const std::string& text, const std::u16string& version) {
  try {
    Json json = ParseJson(text);
    if (json.As<Json::Object>() != nullptr && json.Find("version") == nullptr)
      json["version"] = ToUtf8(version);
    DriverImage image;
    FromJson(json, "", image);
    return image;
  } catch (const BadInput& bad) {
    throw BadInput("--image", bad.what());
  }
}

/// Whether Windows takes a text for the names of a path, with backslashes between them.
bool AreNames(std::u16string_view text) {
  static constexpr std::u16string_view kNeverInNames = u"<>:\"/|?*";
  constexpr std::size_t kLongestName = 255;
  while (true) {
    const std::size_t end = std::min(text.find(u'\\'), text.size());
    const std::u16string_view name = text.substr(0, end);
    const bool usual = std::all_of(name.begin(), name.end(), [](char16_t unit) {
      return unit >= 0x20 && kNeverInNames.find(unit) == std::u16string_view::npos;
    });
    if (!usual || name.empty() || name.size() > kLongestName || name == u"." || name == u"..") {
      return false;
    }
    if (end == text.size()) return true;
    text.remove_prefix(end + 1);
  }
}

PackageRecipe ParseRecipe(const CommandWords& words) {
  PackageRecipe recipe;
  for (const SwitchOption& option : kSwitches)
    recipe.*option.member = words.Has(option.name);
  for (const TextOption& option : kTexts) {
    if (const std::string* const text = words.Last(option.name)) {
      recipe.*option.member = ToUtf16(*text);
    }
  }
  if (const std::string* const extra = words.Last("--extra")) recipe.extraInfText = *extra;
  if (const std::string* const image = words.Last("--image")) {
    recipe.image = ParseImageOption(*image, recipe.version);
  }
  if (!AreNames(recipe.infName)) throw BadInput("--inf-name", "must be a name of a file");
  if (!recipe.catalogName.empty() && !AreNames(recipe.catalogName)) {
    throw BadInput("--catalog-name", "must be a name of a file, or empty");
  }
  if (IsSameName(recipe.infName, recipe.catalogName)) {
    throw BadInput("--catalog-name", "is also the name of the INF");
  }
  return recipe;
}

/// "C:\a\b" for "C:\a\b", "C:/a/b" or "C/a/b", the last being the folder's path on the host.
std::u16string MachinePath(const std::string& path) {
  std::u16string name = ToUtf16(path);
  std::replace(name.begin(), name.end(), u'/', u'\\');
  if (name.size() >= 2 && name[1] == u'\\') name.insert(1, 1, u':');
  while (name.size() > 3 && name.back() == u'\\')
    name.pop_back();
  const bool absolute = name.size() >= 3 && IsAsciiLetter(name[0]) && name.substr(1, 2) == u":\\";
  if (!absolute || (name.size() > 3 && !AreNames(std::u16string_view(name).substr(3))))
    throw BadInput(path, "must be a folder of the machine, like C:\\pkg\\driver");
  return name;
}

}  // namespace

std::span<const Option> PackageOptions() {
  return kOptions;
}

std::u16string WritePackageFromOptions(LabMachine& lab, const std::string& path,
                                       const CommandWords& words) {
  const PackageRecipe recipe = ParseRecipe(words);
  try {
    return WritePackage(lab.machine.files, MachinePath(path), recipe);
  } catch (const std::invalid_argument& refused) {
    throw BadInput(path, refused.what());
  }
}

}  // namespace vorn::lab
