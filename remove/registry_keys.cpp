#include "remove/registry_keys.h"

#include "platform/last_error.h"

namespace vorn {

constexpr std::uint32_t kNameUnits = 256;  // the longest key name with its terminator

SubkeyListing ListSubkeys(platform::HKEY key) {
  SubkeyListing listing;
  for (std::uint32_t index = 0;; ++index) {
    char16_t name[kNameUnits] = {};
    std::uint32_t length = kNameUnits;
    const platform::LSTATUS status = platform::RegEnumKeyExW(key, index, name, &length);
    if (status != 0) {
      listing.complete = static_cast<std::uint32_t>(status) == platform::ERROR_NO_MORE_ITEMS;
      return listing;
    }
    listing.names.emplace_back(name, length);
  }
}

}  // namespace vorn
