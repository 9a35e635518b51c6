#include "tests/faults/other_processes.h"

#include "platform/files.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <stdexcept>

namespace vorn::tests {

namespace model = platform::simulated;
using model::Machine;

namespace {

constexpr char16_t kImage[] = u"C:\\pkg\\driver\\vorn_audio.sys";
constexpr char16_t kElsewhere[] = u"C:\\elsewhere";

/// Another valid package of the target's version, with different bytes.
void WriteElsewhere(Machine& machine) {
  model::PackageRecipe recipe;
  recipe.extraInfText = "; somebody else's\r\n";
  model::WritePackage(machine.files, kElsewhere, recipe);
}

void SwapInf(Machine& machine) {
  WriteElsewhere(machine);
  if (!model::FindNode(machine.files, kSampleFolder)) return;
  const auto other = model::ReadWholeFile(machine.files, u"C:\\elsewhere\\vorn_audio.inf");
  model::RemovePath(machine.files, kSampleInf);
  model::PutFile(machine.files, kSampleInf, *other);
}

void SwapFolder(Machine& machine) {
  WriteElsewhere(machine);
  model::RemovePath(machine.files, kSampleFolder);
  model::PutLink(machine.files, kSampleFolder, model::ReparseKind::Junction, kElsewhere, true);
}

void LinkInf(Machine& machine) {
  WriteElsewhere(machine);
  if (!model::FindNode(machine.files, kSampleFolder)) return;
  model::RemovePath(machine.files, kSampleInf);
  model::PutLink(machine.files, kSampleInf, model::ReparseKind::SymbolicLink,
                 u"C:\\elsewhere\\vorn_audio.inf", false);
}

void HardLinkInf(Machine& machine) {
  model::MakeFolder(machine.files, kElsewhere);
  constexpr char16_t kSecondName[] = u"C:\\elsewhere\\second_name.inf";
  if (!model::FindNode(machine.files, kSampleInf) || model::FindNode(machine.files, kSecondName)) {
    return;
  }
  model::AddHardLink(machine.files, kSampleInf, kSecondName);
}

void GrowInf(Machine& machine) {
  auto content = model::ReadWholeFile(machine.files, kSampleInf);
  if (!content) return;
  content->push_back(';');
  model::PutFile(machine.files, kSampleInf, *content);
}

void DeleteInf(Machine& machine) {
  model::RemovePath(machine.files, kSampleInf);
}

void SwapImage(Machine& machine) {
  if (!model::FindNode(machine.files, kSampleFolder)) return;
  model::RemovePath(machine.files, kImage);
  model::PutFile(machine.files, kImage, "version=66.6.6.6\n");
}

void PlantJournal(Machine& machine) {
  if (!model::FindNode(machine.files, u"C:\\pkg")) return;
  model::RemovePath(machine.files, kSampleJournal);
  model::PutFile(machine.files, kSampleJournal, "VORN_DRIVER_ACTIVATION_STATE_V2\r\n");
}

void DeleteJournal(Machine& machine) {
  model::RemovePath(machine.files, kSampleJournal);
}

void HoldInf(Machine& machine) {
  if (!model::FindNode(machine.files, kSampleInf)) return;
  model::HoldOpen(machine.files, kSampleInf, platform::FILE_READ_DATA | platform::FILE_WRITE_DATA,
                  0);
}

/// While somebody renames a file into a folder, or links one there, the folder cannot be held.
void RenameIntoInfFolder(Machine& machine) {
  model::BeginRenameInto(machine.files, kSampleFolder, machine.clock.tick + 1);
}

void RenameIntoTemporaryFolder(Machine& machine) {
  model::BeginRenameInto(machine.files, machine.files.tempFolder, machine.clock.tick + 1);
}

void RenameBesideJournal(Machine& machine) {
  model::BeginRenameInto(machine.files, u"C:\\pkg", machine.clock.tick + 1);
}

/// Applies a change to each present device of the product whose driver is in memory.
template <class Act>
void WithRunningRoots(Machine& machine, Act act) {
  std::vector<std::u16string> ids;
  for (const model::Device* root : InstalledRoots(machine)) {
    if (root->present && root->resident) ids.push_back(root->instanceId);
  }
  for (const std::u16string& id : ids)
    act(*machine.devices.Find(id));
}

void RemoveLate(Machine& machine) {
  WithRunningRoots(machine, [](model::Device& root) { root.temper.removeDelay = 8'000; });
}

void StartLate(Machine& machine) {
  WithRunningRoots(machine, [](model::Device& root) { root.resident->startDelay = 9'000; });
}

void PublishLate(Machine& machine) {
  machine.audio.buildDelay = 12'000;
  machine.audio.childDelay = 6'000;
}

void RecordLate(Machine& machine) {
  machine.audio.recordDelay = 7'000;
}

void KeepOldImage(Machine& machine) {
  WithRunningRoots(machine, [](model::Device& root) { root.resident->refusesUnload = true; });
}

void BindAnother(Machine& machine) {
  WriteElsewhere(machine);
  WithRunningRoots(machine, [&](model::Device& root) {
    const auto published =
        model::PublishPackage(machine, u"C:\\elsewhere\\vorn_audio.inf", kSampleHardwareId);
    if (published) model::BindPackage(machine, root.instanceId, *published);
  });
}

void LoadAnother(Machine& machine) {
  WithRunningRoots(machine,
                   [](model::Device& root) { root.resident = model::SoundImage(u"26.8.10.4"); });
}

void LoseOneEndpoint(Machine& machine) {
  const auto visible = ActiveEndpointIds(machine);
  if (!visible.empty()) model::LoseEndpoint(machine, *visible.begin());
}

void RestartAgain(Machine& machine) {
  WithRunningRoots(machine,
                   [&](model::Device& root) { model::RestartDevice(machine, root.instanceId); });
}

void Vanish(Machine& machine) {
  WithRunningRoots(machine,
                   [&](model::Device& root) { model::RemoveDeviceNode(machine, root.instanceId); });
}

void AddSecondRoot(Machine& machine) {
  constexpr char16_t kSecond[] = u"ROOT\\MEDIA\\0009";
  if (machine.devices.Find(kSecond) == nullptr) model::AddRoot(machine, kSecond);
}

}  // namespace

const std::vector<OtherProcess>& OtherProcesses() {
  static const std::vector<OtherProcess> processes = {
      {"swap-inf", SwapInf},
      {"swap-folder", SwapFolder},
      {"link-inf", LinkInf},
      {"hard-link-inf", HardLinkInf},
      {"grow-inf", GrowInf},
      {"delete-inf", DeleteInf},
      {"swap-image", SwapImage},
      {"plant-journal", PlantJournal},
      {"delete-journal", DeleteJournal},
      {"hold-inf", HoldInf},
      {"rename-into-inf-folder", RenameIntoInfFolder},
      {"rename-into-temporary-folder", RenameIntoTemporaryFolder},
      {"rename-beside-journal", RenameBesideJournal},
  };
  return processes;
}

const std::vector<OtherProcess>& LiesBefore() {
  static const std::vector<OtherProcess> lies = {
      {"removes-late", RemoveLate},      {"starts-late", StartLate},
      {"publishes-late", PublishLate},   {"records-late", RecordLate},
      {"keeps-old-image", KeepOldImage},
  };
  return lies;
}

const std::vector<OtherProcess>& LiesAfter() {
  static const std::vector<OtherProcess> lies = {
      {"binds-another", BindAnother},
      {"loads-another", LoadAnother},
      {"loses-endpoint", LoseOneEndpoint},
      {"restarts-again", RestartAgain},
      {"vanishes", Vanish},
      {"adds-second-root", AddSecondRoot},
  };
  return lies;
}

const OtherProcess& FindOtherProcess(std::string_view name) {
  for (const auto* sort : {&OtherProcesses(), &LiesBefore(), &LiesAfter()}) {
    for (const OtherProcess& process : *sort) {
      if (process.name == name) return process;
    }
  }
  throw std::invalid_argument("no other process " + std::string(name));
}

}  // namespace vorn::tests
