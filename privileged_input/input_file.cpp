#include "privileged_input/input_file.h"

namespace vorn::privileged_input {

File OpenInputFile(const std::u16string& path) {
  return File::OpenAbsolute(path, LoadNativeApi(), kMaxInputFileSize, FileMode::ReadOnly);
}

}  // namespace vorn::privileged_input
