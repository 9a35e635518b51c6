#include "bench/windows/ours.h"

#include "package/content_hash.h"
#include "privileged_input/file.h"

namespace vorn::bench {

using privileged_input::File;
using privileged_input::FileMode;
using privileged_input::LoadNativeApi;

bool HashAsTheProgramDoes(const std::u16string& path) {
  constexpr std::uint64_t kNoLimit = std::uint64_t{1} << 40;
  const File file = File::OpenAbsolute(path, LoadNativeApi(), kNoLimit, FileMode::ReadOnly);
  return HashFileSha256(file).has_value();
}

}  // namespace vorn::bench
