#include "lab/package_command.h"

#include "base/text.h"
#include "lab/driver_facts.h"
#include "lab/json_text.h"
#include "platform/simulated/driver_store.h"

#include <algorithm>
#include <stdexcept>

namespace vorn::lab {

using platform::simulated::DriverImage;
using platform::simulated::PackageRecipe;
using platform::simulated::SoundImage;

namespace {

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

template <class Option, std::size_t N>
const Option* FindOption(const Option (&options)[N], const std::string& name) {
  const auto found = std::find_if(std::begin(options), std::end(options),
                                  [&name](const Option& option) { return option.name == name; });
  return found == std::end(options) ? nullptr : found;
}

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

PackageRecipe ParseRecipe(const std::vector<std::string>& options) {
  PackageRecipe recipe;
  std::optional<std::string> image;
  for (std::size_t i = 0; i < options.size(); ++i) {
    const std::string& name = options[i];
    if (const SwitchOption* option = FindOption(kSwitches, name)) {
      recipe.*option->member = true;
      continue;
    }
    const TextOption* const text = FindOption(kTexts, name);
    if (text == nullptr && name != "--extra" && name != "--image") {
      throw BadInput(name, "is not an option of package");
    }
    if (++i == options.size()) throw BadInput(name, "needs a value");
    if (text != nullptr) {
      recipe.*text->member = ToUtf16(options[i]);
    } else if (name == "--extra") {
      recipe.extraInfText = options[i];
    } else {
      image = options[i];
    }
  }
  if (image) recipe.image = ParseImageOption(*image, recipe.version);
  return recipe;
}

/// "C:\a\b" for "C:\a\b", "C:/a/b" or "C/a/b", the last being the folder's path on the host.
std::u16string MachinePath(const std::string& path) {
  std::u16string name = ToUtf16(path);
  std::replace(name.begin(), name.end(), u'/', u'\\');
  if (name.size() >= 2 && name[1] == u'\\') name.insert(1, u":");
  while (name.size() > 3 && name.back() == u'\\')
    name.pop_back();
  const bool absolute = name.size() >= 3 && IsAsciiLetter(name[0]) && name.substr(1, 2) == u":\\";
  if (!absolute) throw BadInput(path, "must be a folder of the machine, like C:\\pkg\\driver");
  return name;
}

}  // namespace

std::u16string WritePackageFromOptions(LabMachine& lab, const std::string& path,
                                       const std::vector<std::string>& options) {
  const PackageRecipe recipe = ParseRecipe(options);
  try {
    return WritePackage(lab.machine.files, MachinePath(path), recipe);
  } catch (const std::invalid_argument& refused) {
    throw BadInput(path, refused.what());
  }
}

}  // namespace vorn::lab
