#include "tests/faults/other_processes.h"

#include "platform/files.h"
#include "tests/invariants/machine_view.h"

#include <stdexcept>

namespace vorn::tests {

namespace model = platform::simulated;
using model::Machine;

namespace {

constexpr char16_t kFolder[] = u"C:\\pkg\\driver";
constexpr char16_t kImage[] = u"C:\\pkg\\driver\\vorn_audio.sys";
constexpr char16_t kElsewhere[] = u"C:\\elsewhere";

/// Another sound package of the target's version; its bytes differ.
void WriteElsewhere(Machine& machine) {
  model::PackageRecipe recipe;
  recipe.extraInfText = "; somebody else's\r\n";
  model::WritePackage(machine.files, kElsewhere, recipe);
}

void SwapInf(Machine& machine) {
  WriteElsewhere(machine);
  if (!model::FindNode(machine.files, kFolder)) return;
  const auto other = model::ReadWholeFile(machine.files, u"C:\\elsewhere\\vorn_audio.inf");
  model::RemovePath(machine.files, kTargetInf);
  model::PutFile(machine.files, kTargetInf, *other);
}

void SwapFolder(Machine& machine) {
  WriteElsewhere(machine);
  model::RemovePath(machine.files, kFolder);
  model::PutLink(machine.files, kFolder, model::ReparseKind::Junction, kElsewhere, true);
}

void LinkInf(Machine& machine) {
  WriteElsewhere(machine);
  if (!model::FindNode(machine.files, kFolder)) return;
  model::RemovePath(machine.files, kTargetInf);
  model::PutLink(machine.files, kTargetInf, model::ReparseKind::SymbolicLink,
                 u"C:\\elsewhere\\vorn_audio.inf", false);
}

void HardLinkInf(Machine& machine) {
  model::MakeFolder(machine.files, kElsewhere);
  constexpr char16_t kSecondName[] = u"C:\\elsewhere\\second_name.inf";
  if (!model::FindNode(machine.files, kTargetInf) || model::FindNode(machine.files, kSecondName)) {
    return;
  }
  model::AddHardLink(machine.files, kTargetInf, kSecondName);
}

void GrowInf(Machine& machine) {
  auto content = model::ReadWholeFile(machine.files, kTargetInf);
  if (!content) return;
  content->push_back(';');
  model::PutFile(machine.files, kTargetInf, *content);
}

void DeleteInf(Machine& machine) {
  model::RemovePath(machine.files, kTargetInf);
}

void SwapImage(Machine& machine) {
  if (!model::FindNode(machine.files, kFolder)) return;
  model::RemovePath(machine.files, kImage);
  model::PutFile(machine.files, kImage, "version=66.6.6.6\n");
}

void PlantJournal(Machine& machine) {
  if (!model::FindNode(machine.files, u"C:\\pkg")) return;
  model::RemovePath(machine.files, kJournal);
  model::PutFile(machine.files, kJournal, "VORN_DRIVER_ACTIVATION_STATE_V2\r\n");
}

void DeleteJournal(Machine& machine) {
  model::RemovePath(machine.files, kJournal);
}

void HoldInf(Machine& machine) {
  if (!model::FindNode(machine.files, kTargetInf)) return;
  model::HoldOpen(machine.files, kTargetInf, platform::FILE_READ_DATA | platform::FILE_WRITE_DATA,
                  0);
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
  };
  return processes;
}

const OtherProcess& FindOtherProcess(std::string_view name) {
  for (const OtherProcess& process : OtherProcesses()) {
    if (process.name == name) return process;
  }
  throw std::invalid_argument("no other process " + std::string(name));
}

}  // namespace vorn::tests
