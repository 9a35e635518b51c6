#include "package/windows_inf_folder.h"

#include "platform/files.h"

#include <cstdint>

namespace vorn {

bool ReadWindowsFolder(std::u16string& folder) {
  constexpr std::uint32_t kCapacity = 32768;
  folder.assign(kCapacity, u'\0');
  const std::uint32_t length = platform::GetWindowsDirectoryW(folder.data(), kCapacity);
  const bool known = length > 0 && length < kCapacity;
  folder.resize(known ? length : 0);
  return known;
}

}  // namespace vorn
