// What the capture observes beyond the program's own calls, on the simulated machine.

#include "capture/observation.h"

#include "base/text.h"
#include "capture/security_fact.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/registry.h"
#include "platform/simulated/descriptor_image.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "platform/simulated/services.h"

namespace vorn::capture {

using namespace platform::simulated;

namespace {

constexpr std::uint32_t kWindowsBuild = 19041;

const Machine& TheMachine() {
  return Process::Current().TheMachine();
}

}  // namespace

SystemFact ObserveSystem() {
  SystemFact system;
  system.major = 10;
  system.build = kWindowsBuild;
  system.session = 1;
  system.remoteSession = TheMachine().audio.redirected;
  return system;
}

std::optional<TokenFact> ObserveToken() {
  const Token& token = Process::Current().token;
  TokenFact fact;
  fact.sids = token.sids;
  fact.owner = token.owner;
  fact.elevated = Holds(token, kAdministrators);
  fact.holdsBackup = token.holdsBackup;
  fact.holdsRestore = token.holdsRestore;
  fact.backupEnabled = token.backupEnabled;
  fact.restoreEnabled = token.restoreEnabled;
  return fact;
}

ServiceFact ObserveService(const std::u16string& name, std::uint32_t* managerError) {
  ServiceFact fact = {.name = name};
  *managerError = TheMachine().serviceManagerError;
  if (*managerError != 0) return fact;
  const Service* const service = FindService(TheMachine(), name);
  if (service == nullptr) {
    fact.openError = platform::ERROR_SERVICE_DOES_NOT_EXIST;
    return fact;
  }
  fact.openError = service->openError;
  if (fact.openError != 0) return fact;
  fact.running = service->running;
  fact.disabled = service->startError == platform::ERROR_SERVICE_DISABLED;
  return fact;
}

std::optional<SecurityFact> ObserveKeySecurity(const std::u16string& path, std::uint32_t* error) {
  const auto key = FindKey(TheMachine().registry, path);
  *error = key ? TheMachine().registry.keys.at(*key).openError : platform::ERROR_FILE_NOT_FOUND;
  if (*error != 0) return std::nullopt;
  const SecurityRecord& security = SecurityOf(TheMachine().registry, *key);
  if (!IsGranted(security, Process::Current().token, platform::READ_CONTROL)) {
    *error = platform::ERROR_ACCESS_DENIED;
    return std::nullopt;
  }
  const std::vector<std::uint8_t> bytes = DescriptorBytes(security);
  const auto* const descriptor =
      reinterpret_cast<const platform::SECURITY_DESCRIPTOR*>(bytes.data());
  const auto* const header = reinterpret_cast<const DescriptorHeader*>(bytes.data());
  const auto part = [&bytes](std::uint32_t offset) {
    return offset == 0 ? nullptr : bytes.data() + offset;
  };
  return ToFact(descriptor, reinterpret_cast<const platform::SID*>(part(header->owner)),
                reinterpret_cast<const platform::ACL*>(part(header->dacl)));
}

std::optional<std::uint64_t> ObserveFreeBytes(char16_t letter) {
  for (const Volume& volume : TheMachine().files.volumes) {
    if (ToUpperAscii(volume.letter) == letter) return volume.freeBytes;
  }
  platform::SetLastError(platform::ERROR_PATH_NOT_FOUND);
  return std::nullopt;
}

std::optional<std::u16string> ObserveLinkTarget(platform::HANDLE link) {
  const auto file = FindFile(Process::Current(), link);
  if (file == nullptr) return std::nullopt;
  return file->Read().reparseTarget;
}

std::u16string SidText(const void* sid) {
  return platform::simulated::SidText(static_cast<const platform::SID*>(sid));
}

}  // namespace vorn::capture
