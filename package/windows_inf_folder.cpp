#include "package/windows_inf_folder.h"

#include "platform/files.h"
#include "privileged_input/directory.h"
#include "privileged_input/native_api.h"

#include <cstdint>

namespace vorn {

std::optional<std::u16string> ReadWindowsFolder() {
  constexpr std::uint32_t kCapacity = 32768;
  std::u16string folder(kCapacity, u'\0');
  const std::uint32_t length = platform::GetWindowsDirectoryW(folder.data(), kCapacity);
  if (length == 0 || length >= kCapacity) return std::nullopt;
  folder.resize(length);
  return folder;
}

std::u16string PublishedInfPath(const std::u16string& windowsFolder, const std::u16string& name) {
  return windowsFolder + u"\\" + kInfFolderName + u"\\" + name;
}

privileged_input::File OpenPublishedInf(const std::u16string& windowsFolder,
                                        const std::u16string& name) {
  using privileged_input::Directory;
  using privileged_input::File;
  const Directory windows =
      Directory::OpenAbsolute(windowsFolder, privileged_input::LoadNativeApi());
  const Directory infFolder = Directory::OpenRelative(windows, kInfFolderName);
  return File::Open(infFolder, name, privileged_input::kMaxInputFileSize,
                    privileged_input::FileMode::ReadOnly);
}

}  // namespace vorn
