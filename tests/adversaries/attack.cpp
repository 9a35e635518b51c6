#include "tests/adversaries/attack.h"

namespace vorn::tests {

std::vector<Attack> AllAttacks() {
  std::vector<Attack> all;
  for (const auto& part : {InputAttacks(), NameAttacks(), TemporaryFolderAttacks(), StateAttacks(),
                           LogAttacks(), DriveAttacks(), DeviceAttacks()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

}  // namespace vorn::tests
