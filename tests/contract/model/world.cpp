#include "tests/contract/world.h"

#include "platform/files.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "platform/simulated/registry_values.h"

#include <memory>
#include <string>

namespace vorn::contract {

namespace simulated = platform::simulated;

namespace {

constexpr char16_t kService[] = u"EventLog";

struct World {
  simulated::Machine machine = simulated::CleanMachine();
  simulated::Process process{machine};
  int folders = 0;
};

std::unique_ptr<World> current;  // of the case that runs

std::u16string FullKey(const std::u16string& path) {
  return path.empty() ? kRegistryPath : kRegistryPath + (u"\\" + path);
}

}  // namespace

Side TheSide() {
  return Side::Model;
}

void BeginCase() {
  current = std::make_unique<World>();
  current->machine.services[kService] = simulated::Service{};
}

std::size_t EndCase() {
  std::size_t open = 0;
  for (const auto& [kind, count] : current->process.OpenObjects())
    open += count;
  current.reset();
  return open;
}

std::u16string Scratch() {
  const std::u16string path =
      u"C:\\contract\\" + std::u16string(1, static_cast<char16_t>(u'a' + current->folders++));
  simulated::MakeFolder(current->machine.files, path);
  return path;
}

bool MakeHardLink(const std::u16string& existing, const std::u16string& name) {
  simulated::AddHardLink(current->machine.files, existing, name);
  return true;
}

// A rename opens the folder that takes the name for writing (documented: Windows before 11 22H2).
std::uint32_t MoveTo(const std::u16string& existing, const std::u16string& name) {
  simulated::FileSystem& files = current->machine.files;
  const auto folder = simulated::FindNode(files, name.substr(0, name.rfind(u'\\')));
  if (!folder || !simulated::FindNode(files, existing)) return platform::ERROR_PATH_NOT_FOUND;
  constexpr std::uint32_t kAnyShare =
      platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE;
  if (!simulated::SharesWithOthers(files, *folder, platform::FILE_WRITE_DATA, kAnyShare)) {
    return platform::ERROR_SHARING_VIOLATION;
  }
  simulated::AddHardLink(files, existing, name);
  simulated::RemovePath(files, existing);
  return 0;
}

bool MakeFolderLink(const std::u16string& path, const std::u16string& target) {
  simulated::PutLink(current->machine.files, path, simulated::ReparseKind::SymbolicLink, target,
                     true);
  return true;
}

std::u16string SystemsOwnKey() {
  constexpr char16_t kPath[] = u"SECURITY";
  simulated::SecurityRecord security;
  security.owner = simulated::kLocalSystem;
  security.daclProtected = true;
  security.entries = {
      {0, 0, platform::KEY_ALL_ACCESS, simulated::kLocalSystem},
      {0, 0, platform::READ_CONTROL | platform::WRITE_DAC, simulated::kAdministrators}};
  simulated::SecureKey(current->machine.registry, kPath, security);
  return kPath;
}

void MakeKey(const std::u16string& path) {
  simulated::MakeKey(current->machine.registry, FullKey(path));
}

void PutValue(const std::u16string& path, const std::u16string& name, std::uint32_t type,
              const std::vector<std::uint8_t>& data) {
  simulated::PutValue(current->machine.registry, FullKey(path), name, type,
                      simulated::Bytes(data.begin(), data.end()));
}

std::u16string RunningService() {
  return kService;
}

}  // namespace vorn::contract
