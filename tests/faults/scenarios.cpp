#include "tests/faults/scenarios.h"

#include "platform/config_manager.h"
#include "platform/files.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/registry_values.h"
#include "tests/support/activation.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <stdexcept>

namespace vorn::tests {

namespace model = platform::simulated;
using model::Fault;
using model::FaultKind;
using model::Machine;

namespace {

constexpr std::uint64_t kSettleMs = 60'000;
constexpr char16_t kOlderVersion[] = u"26.8.9.4";

Machine Settled(Machine machine) {
  model::Advance(machine, kSettleMs);
  return machine;
}

Machine AfterInstall(Machine machine, std::vector<Fault> faults = {},
                     Command command = Command::Install) {
  RunOptions options;
  options.logCalls = false;
  options.faults = std::move(faults);
  RunCommand(machine, LineOf(command).arguments, options);
  return Settled(std::move(machine));
}

Machine WithGhostsOnly() {
  Machine machine = model::InstalledMachine();
  model::StopDevice(machine, kRootId);
  model::Device& root = RootOf(machine);
  root.present = false;
  root.status = 0;
  root.problem = 0;
  return Settled(std::move(machine));
}

Machine NotStarted() {
  Machine machine = model::OutdatedMachine();
  model::StopDevice(machine, kRootId);
  model::Device& root = RootOf(machine);
  root.status &= ~platform::DN_STARTED;
  root.problem = model::CM_PROB_FAILED_START;
  return Settled(std::move(machine));
}

Machine WithStaleJournal() {
  Machine machine = model::OutdatedMachine();
  ActivationState state = UpdateTarget(machine);
  PutJournal(machine, state);
  return machine;
}

Machine WithDamagedJournal() {
  Machine machine = AfterInstall(model::OutdatedMachine());
  model::Bytes journal = *model::ReadWholeFile(machine.files, kSampleJournal);
  journal.resize(journal.size() / 2 - journal.size() / 2 % 2);
  model::PutFile(machine.files, kSampleJournal, journal);
  return machine;
}

Machine WaitingForRestart() {
  Fault restart;
  restart.call = "UpdateDriverForPlugAndPlayDevicesW";
  restart.kind = FaultKind::AskRestart;
  return AfterInstall(model::OutdatedMachine(), {restart}, Command::InstallRollback);
}

Machine HiddenByCrash() {
  Fault kill;
  kill.call = "UpdateDriverForPlugAndPlayDevicesW";
  kill.kind = FaultKind::KillBefore;
  return AfterInstall(model::OutdatedMachine(), {kill});
}

Machine WithStoppedServices() {
  Machine machine = model::OutdatedMachine();
  model::StopService(machine, model::kAudioService);
  model::StopService(machine, model::kEndpointBuilderService);
  return Settled(std::move(machine));
}

/// A removal that died after the device let go of its driver.
Machine LetGo() {
  Fault kill;
  kill.call = "SetupDiCallClassInstaller";
  kill.kind = FaultKind::KillBefore;
  return AfterInstall(model::InstalledMachine(), {kill}, Command::Remove);
}

Machine HeldOpen() {
  Machine machine = model::InstalledMachine();
  RootOf(machine).temper.vetoes = 1'000'000;
  return machine;
}

Machine WithOldImage() {
  Machine machine = model::OutdatedMachine();
  RootOf(machine).resident->refusesUnload = true;
  return machine;
}

Machine WithUserChoices() {
  Machine machine = model::OutdatedMachine();
  const std::u16string first = machine.audio.remembered.at(kRootId).at({0, 0}).id;
  const std::u16string last = machine.audio.remembered.at(kRootId).at({9, 1}).id;
  model::SetEndpointDisabled(machine, first, true);
  model::SetEndpointDisabled(machine, last, true);
  return Settled(std::move(machine));
}

/// Windows is slow at everything, but within the program's wait budgets.
Machine Slow() {
  Machine machine = model::OutdatedMachine();
  RootOf(machine).temper.removeDelay = 8'000;
  machine.audio.buildDelay = 12'000;
  machine.audio.childDelay = 4'000;
  machine.audio.recordDelay = 5'000;
  machine.audio.late = {{2, 0}, {7, 1}};
  machine.audio.lateDelay = 9'000;
  return machine;
}

/// Records that carry the marker's name but are not the product's: the cable does not exist, or the
/// value has another type or size.
Machine WithOddRecords() {
  Machine machine = model::InstalledMachine();
  const std::u16string render = model::kEndpointRecordsPath + std::u16string(u"\\Render\\");
  model::PutDword(machine.registry, render + u"{odd-1}\\Properties", model::kCableMarkerName, 10);
  model::PutValue(machine.registry, render + u"{odd-2}\\Properties", model::kCableMarkerName,
                  platform::REG_QWORD, model::Bytes(sizeof(std::uint64_t)));
  model::PutString(machine.registry, render + u"{odd-3}\\Properties", model::kCableMarkerName,
                   u"1");
  return machine;
}

/// The volume lists its folders in an order that no sort gives.
Machine WithTwoPackages() {
  Machine machine = AfterInstall(model::OutdatedMachine());
  machine.files.volumes.front().scattersListings = true;
  model::RemovePath(machine.files, kSampleJournal);
  return machine;
}

/// A scanner holds for a while what was just written, and is looking at the journal at this moment.
Machine Scanned() {
  constexpr std::uint64_t kScanMs = 3'000;
  Machine machine = AfterInstall(model::OutdatedMachine());
  machine.files.scanMs = kScanMs;
  constexpr std::uint32_t kShareAll =
      platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE;
  model::HoldOpen(machine.files, kSampleJournal, platform::FILE_GENERIC_READ, kShareAll,
                  machine.clock.tick + kScanMs);
  return machine;
}

/// A remote session: the sound of the machine is out of its sight.
Machine WithRedirectedAudio() {
  Machine machine = model::OutdatedMachine();
  machine.audio.redirected = true;
  return machine;
}

std::vector<StartingMachine> BuildMachines() {
  return {
      {"clean", model::CleanMachine()},
      {"installed", model::InstalledMachine()},
      {"outdated", model::OutdatedMachine()},
      {"duplicates", model::DuplicatesMachine()},
      {"ghosts-only", WithGhostsOnly()},
      {"disabled", model::DisabledMachine()},
      {"not-started", NotStarted()},
      {"activated", AfterInstall(model::OutdatedMachine())},
      {"freshly-activated", AfterInstall(model::CleanMachine())},
      {"stale-journal", WithStaleJournal()},
      {"damaged-journal", WithDamagedJournal()},
      {"restart-pending", WaitingForRestart()},
      {"hidden-by-crash", HiddenByCrash()},
      {"services-stopped", WithStoppedServices()},
      {"held-open", HeldOpen()},
      {"let-go", LetGo()},
      {"old-image", WithOldImage()},
      {"user-choices", WithUserChoices()},
      {"two-packages", WithTwoPackages()},
      {"slow", Slow()},
      {"odd-records", WithOddRecords()},
      {"scanned", Scanned()},
      {"redirected-audio", WithRedirectedAudio()},
  };
}

}  // namespace

const std::vector<StartingMachine>& StartingMachines() {
  static const std::vector<StartingMachine> machines = BuildMachines();
  return machines;
}

const std::vector<CommandLine>& CommandLines() {
  static const std::vector<CommandLine> lines = {
      {"install", Command::Install, {u"install", kSampleInf}},
      {"install-rollback",
       Command::InstallRollback,
       {u"install", kSampleInf, kSampleJournal, u"--rollback"}},
      {"remove", Command::Remove, {u"remove", kSampleInf}},
      {"verify", Command::Verify, {u"verify", kSampleVersion, kSampleDate, kSampleJournal}},
      {"hot-activate",
       Command::HotActivate,
       {u"hot-activate", kSampleVersion, kSampleDate, kSampleJournal}},
      {"audit-current", Command::AuditCurrent, {u"audit-current", kSampleInf}},
      {"audit-catalog", Command::AuditCatalog, {u"audit-catalog"}},
      {"resume-endpoints", Command::ResumeEndpoints, {u"resume-endpoints"}},
  };
  return lines;
}

const CommandLine& LineOf(Command command) {
  for (const CommandLine& line : CommandLines()) {
    if (line.command == command) return line;
  }
  throw std::invalid_argument("no such command");
}

Scenario FindScenario(std::string_view name) {
  for (const CommandLine& line : CommandLines()) {
    for (const StartingMachine& start : StartingMachines()) {
      const Scenario scenario{&line, &start};
      if (scenario.Name() == name) return scenario;
    }
  }
  throw std::invalid_argument("no scenario " + std::string(name));
}

}  // namespace vorn::tests
