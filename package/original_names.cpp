#include "package/original_names.h"

#include "platform/inf.h"
#include "platform/last_error.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vorn {

namespace {

constexpr std::uint32_t kMaxInfInformationBytes = 1048576;

/// SP_INF_INFORMATION, which has a variable size, in an aligned buffer.
class InfInformation {
 public:
  bool Query(const std::u16string& path) {
    std::uint32_t size = 0;
    if (!Ask(path, nullptr, 0, &size) &&
        platform::GetLastError() != platform::ERROR_INSUFFICIENT_BUFFER) {
      return false;
    }
    if (size < sizeof(platform::SP_INF_INFORMATION) || size > kMaxInfInformationBytes) {
      return false;
    }
    words_.assign((size + sizeof(std::uint32_t) - 1) / sizeof(std::uint32_t), 0);
    return Ask(path, reinterpret_cast<platform::SP_INF_INFORMATION*>(words_.data()), size, &size);
  }

  const platform::SP_INF_INFORMATION* Get() const {
    return reinterpret_cast<const platform::SP_INF_INFORMATION*>(words_.data());
  }

 private:
  static bool Ask(const std::u16string& path, platform::SP_INF_INFORMATION* buffer,
                  std::uint32_t size, std::uint32_t* required) {
    return platform::SetupGetInfInformationW(path.c_str(), platform::INFINFO_INF_NAME_IS_ABSOLUTE,
                                             buffer, size, required);
  }

  std::vector<std::uint32_t> words_;
};

/// Without a terminator the text is the whole array.
std::u16string TextOf(const char16_t (&characters)[platform::MAX_PATH]) {
  return {std::begin(characters), std::find(std::begin(characters), std::end(characters), u'\0')};
}

}  // namespace

std::optional<OriginalNames> QueryOriginalNames(const std::u16string& path) {
  InfInformation information;
  if (!information.Query(path)) return std::nullopt;
  platform::SP_ORIGINAL_FILE_INFO_W original = {};
  original.cbSize = sizeof(original);
  if (!platform::SetupQueryInfOriginalFileInformationW(information.Get(), 0, &original)) {
    return std::nullopt;
  }
  return OriginalNames{.inf = TextOf(original.OriginalInfName),
                       .catalog = TextOf(original.OriginalCatalogName)};
}

}  // namespace vorn
