// Dumps every INF of a folder as the simulated machine reads it.
//
// usage: vorn_inf_dump FOLDER SECTION_NAMES

#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "tests/inf_dump/dump.h"

#include <cstdio>
#include <fstream>
#include <iterator>

int main(int argc, char** argv) {
  namespace simulated = vorn::platform::simulated;
  if (argc != 3) {
    std::fputs("usage: vorn_inf_dump FOLDER SECTION_NAMES\n", stderr);
    return 64;
  }
  const std::string folder = argv[1];
  const auto sections = vorn::inf_dump::ReadSectionNames(argv[2]);
  simulated::Machine machine = simulated::CleanMachine();
  for (const std::string& name : vorn::inf_dump::ListInfs(folder)) {
    std::ifstream file(folder + "/" + name, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    simulated::PutFile(machine.files, u"C:\\one.inf", content);
    const simulated::Process process(machine);
    vorn::inf_dump::Dump(name, u"C:\\one.inf", sections);
  }
  return 0;
}
