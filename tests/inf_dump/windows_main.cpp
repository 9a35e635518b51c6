// Dumps every INF of a folder as the platform reads it.
//
// usage: vorn_inf_dump FOLDER SECTION_NAMES

#include "tests/inf_dump/dump.h"

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: vorn_inf_dump FOLDER SECTION_NAMES\n", stderr);
    return 64;
  }
  static char buffer[1 << 16];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  const std::string folder = argv[1];
  const auto sections = vorn::inf_dump::ReadSectionNames(argv[2]);
  for (const std::string& name : vorn::inf_dump::ListInfs(folder)) {
    const std::string path = folder + "\\" + name;
    vorn::inf_dump::Dump(name, std::u16string(path.begin(), path.end()), sections);
  }
  return 0;
}
