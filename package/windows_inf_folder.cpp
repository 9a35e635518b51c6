#include "package/windows_inf_folder.h"

#include "platform/files.h"
#include "privileged_input/directory.h"
#include "privileged_input/native_api.h"
#include "privileged_input/path_buffer.h"

#include <cstdint>

namespace vorn {

std::optional<std::u16string> ReadWindowsFolder() {
  using privileged_input::PathBuffer;
  PathBuffer buffer;
  const std::uint32_t length =
      platform::GetWindowsDirectoryW(buffer.Data(), privileged_input::kPathBufferLength);
  if (length == 0 || length >= privileged_input::kPathBufferLength) return std::nullopt;
  return std::u16string(buffer.Text(length));
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
