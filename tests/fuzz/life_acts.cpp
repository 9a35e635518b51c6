#include "tests/fuzz/life_acts.h"

#include "platform/audio_endpoints.h"
#include "platform/config_manager.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/registry.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/services.h"
#include "tests/faults/other_processes.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <iterator>
#include <string>
#include <vector>

namespace vorn::tests {

namespace model = platform::simulated;
using model::Machine;

namespace life_acts {
namespace {

constexpr std::uint64_t kSecond = 1'000;

model::CableFlow CableOf(std::uint8_t number) {
  return {number % 10U, number / 10U % 2U};
}

/// The installed root of that number, counted around; null when there is none.
model::Device* RootAt(Machine& machine, std::uint8_t number) {
  const std::vector<std::u16string> ids = InstalledRootIds(machine);
  return ids.empty() ? nullptr : machine.devices.Find(ids[number % ids.size()]);
}

// ------------------------------------------------------------------------------------------------
// The user.

void DisableEndpoint(Machine& machine, std::uint8_t cable, std::uint8_t enable) {
  const model::Device* root = OnlyPresentRoot(machine);
  if (root == nullptr) return;
  const model::AudioEndpoint* endpoint =
      model::FindEndpoint(machine, root->instanceId, CableOf(cable));
  if (endpoint == nullptr) return;
  model::SetEndpointDisabled(machine, std::u16string(endpoint->id), enable % 2 == 0);
}

void DisableDevice(Machine& machine, std::uint8_t number, std::uint8_t enable) {
  const model::Device* root = RootAt(machine, number);
  if (root == nullptr) return;
  const std::u16string id = root->instanceId;
  if (enable % 2 == 0) {
    model::DisableDevice(machine, id);
  } else {
    model::EnableDevice(machine, id);
  }
}

void RestartDevice(Machine& machine, std::uint8_t number, std::uint8_t) {
  const model::Device* root = RootAt(machine, number);
  if (root != nullptr) model::RestartDevice(machine, std::u16string(root->instanceId));
}

void UninstallDevice(Machine& machine, std::uint8_t number, std::uint8_t) {
  const model::Device* root = RootAt(machine, number);
  if (root != nullptr) model::RemoveDeviceNode(machine, std::u16string(root->instanceId));
}

void StopService(Machine& machine, std::uint8_t which, std::uint8_t start) {
  const char16_t* name = which % 2 == 0 ? model::kAudioService : model::kEndpointBuilderService;
  if (start % 2 == 0) {
    model::StopService(machine, name);
  } else {
    model::RunService(machine, name);
  }
}

void PlugAnotherDevice(Machine& machine, std::uint8_t number, std::uint8_t flow) {
  const std::u16string id = u"USB\\VID_1234&PID_5678\\" + std::u16string(1, u'A' + number % 26);
  model::AddForeignEndpoint(machine, flow % 2 != 0, id);
}

bool IsFolder(const Machine& machine, std::u16string_view path) {
  const auto node = model::FindNode(machine.files, path);
  return node && machine.files.nodes.Get(*node).directory;
}

void DropFile(Machine& machine, std::uint8_t number, std::uint8_t size) {
  struct Place {
    const char16_t* folder;  // must be there, and be one
    const char16_t* file;
  };
  constexpr Place kPlaces[] = {
      {kSampleFolder, u"C:\\pkg\\driver\\readme.txt"},
      {kSampleFolder, u"C:\\pkg\\driver\\sub\\folder.txt"},
      {u"C:\\pkg", kSampleLogFolder},
      {kSampleLogFolder, kSampleLog},
      {u"C:\\Windows\\INF", u"C:\\Windows\\INF\\oem77.inf"},
  };
  const Place& place = kPlaces[number % std::size(kPlaces)];
  if (IsFolder(machine, place.folder) && !IsFolder(machine, place.file)) {
    model::PutFile(machine.files, place.file, model::Bytes(size, std::uint8_t{'x'}));
  }
}

// ------------------------------------------------------------------------------------------------
// The updater.

struct Version {
  const char16_t* version;
  const char16_t* date;
};
constexpr Version kVersions[] = {
    {kSampleVersion, kSampleDate}, {u"26.8.11.0", u"08/20/2026"}, {u"26.8.9.4", u"07/02/2026"}};

model::PackageRecipe RecipeOf(std::uint8_t version, std::uint8_t oddity) {
  model::PackageRecipe recipe;
  recipe.version = kVersions[version % std::size(kVersions)].version;
  recipe.date = kVersions[version % std::size(kVersions)].date;
  recipe.image = model::SoundImage(recipe.version);
  model::DriverImage& image = *recipe.image;
  switch (oddity % 16) {
    case 1:
      image.needsRestart = true;
      break;
    case 2:
      image.startProblem = model::CM_PROB_FAILED_START;
      break;
    case 3:
      image.refusesUnload = true;
      break;
    case 4:
      image.startDelay = 15 * kSecond;
      break;
    case 5:
      image.registersControlInterface = false;
      break;
    case 6:
      image.registersControlInterface = image.registersAudioInterface = false;
      break;
    case 7:
      image.refusesToHide[{4, 0}] = platform::ERROR_ACCESS_DENIED;
      break;
    case 8:
      image.refusesToShow[{4, 1}] = platform::ERROR_ACCESS_DENIED;
      break;
    case 9:
      image.pool.pop_back();
      break;
    case 10:
      image.loadedVersion += 1;
      break;
    case 11:
      recipe.brokenCatalog = true;
      break;
    case 12:
      recipe.withoutCatalog = true;
      break;
    case 13:
      recipe.utf16 = true;
      break;
    case 14:
      recipe.extraInfText = "; another build\r\n";
      break;
    case 15:
      recipe.hardwareId = u"Root\\Other";
      break;
    default:
      break;
  }
  return recipe;
}

void BringPackage(Machine& machine, std::uint8_t version, std::uint8_t oddity) {
  model::RemovePath(machine.files, kSampleFolder);
  model::WritePackage(machine.files, kSampleFolder, RecipeOf(version, oddity));
}

void StagePackage(Machine& machine, std::uint8_t version, std::uint8_t oddity) {
  constexpr char16_t kStaging[] = u"C:\\staging";
  const std::u16string inf =
      model::WritePackage(machine.files, kStaging, RecipeOf(version, oddity));
  model::PublishPackage(machine, inf, kSampleHardwareId);
  model::RemovePath(machine.files, kStaging);
}

void SpoilJournal(Machine& machine, std::uint8_t form, std::uint8_t where) {
  auto journal = model::ReadWholeFile(machine.files, kSampleJournal);
  if (!journal || journal->empty()) return;
  if (form % 3 == 0) {
    model::RemovePath(machine.files, kSampleJournal);
    return;
  }
  if (form % 3 == 1) journal->resize(journal->size() * where / 256);
  if (form % 3 == 2) (*journal)[journal->size() * where / 256] ^= 0x04;
  model::PutFile(machine.files, kSampleJournal, *journal);
}

// ------------------------------------------------------------------------------------------------
// Other programs, and what is left of failed installs.

void MeddleWithFiles(Machine& machine, std::uint8_t which, std::uint8_t) {
  const std::vector<OtherProcess>& processes = OtherProcesses();
  processes[which % processes.size()].act(machine);
}

void MeddleWithDevice(Machine& machine, std::uint8_t which, std::uint8_t) {
  const std::vector<OtherProcess>& lies = LiesAfter();
  lies[which % lies.size()].act(machine);
}

void LeaveRoot(Machine& machine, std::uint8_t number, std::uint8_t ghost) {
  const std::u16string id = u"ROOT\\MEDIA\\000" + std::u16string(1, u'0' + number % 10);
  if (machine.devices.Find(id) != nullptr) return;
  model::Device& root = model::AddRoot(machine, id);
  if (ghost % 2 == 0) return;
  root.present = false;
  root.status = 0;
  root.problem = 0;
}

void LeaveRecords(Machine& machine, std::uint8_t number, std::uint8_t marked) {
  const std::u16string record = model::kEndpointRecordsPath +
                                std::u16string(number % 2 == 0 ? u"\\Render\\" : u"\\Capture\\") +
                                u"{left-" + std::u16string(1, u'a' + number % 26) + u"}";
  model::PutDword(machine.registry, record, u"DeviceState", platform::DEVICE_STATE_NOTPRESENT);
  model::PutDword(machine.registry, record + u"\\Properties", model::kCableMarkerName, marked % 12);
}

// ------------------------------------------------------------------------------------------------
// Windows, the driver and the disk, from now on.

void ChangeDeviceTemper(Machine& machine, std::uint8_t which, std::uint8_t much) {
  model::Device* root = RootAt(machine, much);
  if (root == nullptr) return;
  model::DeviceTemper& temper = root->temper;
  switch (which % 11) {
    case 0:
      temper.vetoes = much;
      break;
    case 1:
      temper.vetoUntil = machine.clock.tick + much * kSecond;
      break;
    case 2:
      temper.removeDelay = much * kSecond / 4;
      break;
    case 3:
      temper.removeNeedsRestart = true;
      break;
    case 4:
      temper.removeNeedsRestart = temper.removeKeepsNodeUntilRestart = true;
      break;
    case 5:
      temper.removeError = platform::ERROR_ACCESS_DENIED;
      break;
    case 6:
      temper.queryRemoveResult = platform::CR_FAILURE;
      break;
    case 7:
      temper.restartError = platform::ERROR_ACCESS_DENIED;
      break;
    case 8:
      temper.restartNeedsReboot = true;
      break;
    case 9:
      temper.restartProblem = model::CM_PROB_FAILED_START;
      break;
    default:
      temper = {};
  }
}

void ChangeAudio(Machine& machine, std::uint8_t which, std::uint8_t much) {
  model::AudioCatalog& audio = machine.audio;
  switch (which % 12) {
    case 0:
      audio.buildDelay = much * kSecond / 4;
      break;
    case 1:
      audio.childDelay = much * kSecond / 8;
      break;
    case 2:
      audio.late.insert(CableOf(much));
      break;
    case 3:
      audio.recordDelay = much * kSecond / 8;
      break;
    case 4:
      audio.recordsStayActive = much % 2 == 0;
      break;
    case 5:
      audio.childLags = much % 2 == 0;
      break;
    case 6:
      audio.neverPublished.insert(CableOf(much));
      break;
    case 7:
      audio.doubled.insert(CableOf(much));
      break;
    case 8:
      audio.remintNext = much % 20;
      break;
    case 9:
      audio.redirected = much % 2 == 0;
      break;
    case 10:
      audio.activated.insert(CableOf(much));
      break;
    default:
      audio.coInitializeResult = much % 2 == 0 ? platform::RPC_E_CHANGED_MODE : 0;
  }
}

void ChangeDriver(Machine& machine, std::uint8_t which, std::uint8_t cable) {
  model::Device* root = RootAt(machine, 0);
  if (root == nullptr || !root->resident) return;
  model::DriverImage& image = *root->resident;
  switch (which % 6) {
    case 0:
      image.refusesToHide[CableOf(cable)] = platform::ERROR_ACCESS_DENIED;
      break;
    case 1:
      image.refusesToShow[CableOf(cable)] = platform::ERROR_ACCESS_DENIED;
      break;
    case 2:
      image.refusesUnload = true;
      break;
    case 3:
      image.leaseBytes = 8;
      break;
    case 4:
      image.delays[0x22A01C] = cable / 2U;  // milliseconds, 20 times
      break;
    default:
      image.refusesToHide.clear();
      image.refusesToShow.clear();
  }
}

void ChangeDisk(Machine& machine, std::uint8_t which, std::uint8_t much) {
  model::Volume& volume = machine.files.volumes.front();
  switch (which % 5) {
    case 0:
      volume.freeBytes = std::uint64_t{much} * 256;
      break;
    case 1:
      volume.scattersListings = true;
      break;
    case 2:
      volume.omitsDots = true;
      break;
    case 3:
      machine.files.scanMs = much * 20;
      break;
    default:
      volume.freeBytes = model::Volume().freeBytes;
  }
}

void ChangeStore(Machine& machine, std::uint8_t which, std::uint8_t) {
  machine.store.updateError = which % 3 == 1 ? platform::ERROR_ACCESS_DENIED : 0;
  machine.store.updateNeedsRestart = which % 3 == 2;
}

constexpr LifeAct kActs[] = {
    {"bring-package", BringPackage},
    {"disable-endpoint", DisableEndpoint},
    {"disable-device", DisableDevice},
    {"restart-device", RestartDevice},
    {"uninstall-device", UninstallDevice},
    {"stop-service", StopService},
    {"plug-another-device", PlugAnotherDevice},
    {"drop-file", DropFile},
    {"stage-package", StagePackage},
    {"spoil-journal", SpoilJournal},
    {"meddle-with-files", MeddleWithFiles},
    {"meddle-with-device", MeddleWithDevice},
    {"leave-root", LeaveRoot},
    {"leave-records", LeaveRecords},
    {"change-device-temper", ChangeDeviceTemper},
    {"change-audio", ChangeAudio},
    {"change-driver", ChangeDriver},
    {"change-disk", ChangeDisk},
    {"change-store", ChangeStore},
};

}  // namespace
}  // namespace life_acts

std::span<const LifeAct> LifeActs() {
  return life_acts::kActs;
}

void MakeWellBehaved(Machine& machine) {
  for (const std::u16string& id : InstalledRootIds(machine)) {
    model::Device& root = *machine.devices.Find(id);
    root.temper = {};
    root.statusError = 0;
  }
  model::AudioCatalog usual;
  usual.endpoints = machine.audio.endpoints;
  usual.remembered = machine.audio.remembered;
  usual.nextGuid = machine.audio.nextGuid;
  machine.audio = usual;
  machine.store.updateError = 0;
  machine.store.updateNeedsRestart = false;
  machine.files.scanMs = 0;
  machine.files.volumes.front().freeBytes = model::Volume().freeBytes;
  model::RemovePath(machine.files, kSampleFolder);
  model::WritePackage(machine.files, kSampleFolder, {});
}

}  // namespace vorn::tests
