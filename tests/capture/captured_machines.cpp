#include "tests/capture/captured_machines.h"

#include "lab/presets.h"
#include "platform/config_manager.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/device_tree.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/services.h"
#include "tests/lab/unusual_machine.h"
#include "tests/support/sample.h"

#include <algorithm>

namespace vorn::lab {

using namespace platform::simulated;

LabMachine LabOf(Machine machine) {
  LabMachine lab;
  lab.machine = std::move(machine);
  return lab;
}

namespace {

constexpr char16_t kRoot[] = u"ROOT\\MEDIA\\0000";

Machine Installed() {
  return InstalledMachine();
}

Device& RootOf(Machine& machine) {
  return *machine.devices.Find(kRoot);
}

LabMachine WithServicesStopped() {
  Machine machine = Installed();
  StopService(machine, kAudioService);
  StopService(machine, kEndpointBuilderService);
  return LabOf(machine);
}

LabMachine WithServicesStoppedAndEndpointsDisabledByUser() {
  LabMachine lab = MakePreset("user-disabled");
  StopService(lab.machine, kAudioService);
  StopService(lab.machine, kEndpointBuilderService);
  return lab;
}

/// The package of the folder is published and would start badly.
LabMachine WithPackageThatNoDeviceRuns() {
  Machine machine = Installed();
  PackageRecipe recipe;
  recipe.version = u"26.9.1.1";
  recipe.image = SoundImage(recipe.version);
  recipe.image->startProblem = 10;
  PublishPackage(machine, WritePackage(machine.files, tests::kSampleFolder, recipe),
                 tests::kSampleHardwareId);
  return LabOf(machine);
}

LabMachine WithServiceDisabled() {
  Machine machine = Installed();
  StopService(machine, kAudioService);
  FindService(machine, kAudioService)->startError = platform::ERROR_SERVICE_DISABLED;
  return LabOf(machine);
}

LabMachine WithHiddenEndpoints() {
  Machine machine = Installed();
  ChangeEndpointVisibility(machine, kRoot, {3, 0}, false);
  ChangeEndpointVisibility(machine, kRoot, {7, 1}, false);
  Advance(machine, 10'000);
  return LabOf(machine);
}

/// The records of endpoints that the driver hides still say that they are active.
LabMachine WithHiddenEndpointsWhoseRecordsStay() {
  LabMachine lab = WithHiddenEndpoints();
  Registry& registry = lab.machine.registry;
  for (const AudioEndpoint& endpoint : lab.machine.audio.endpoints) {
    if (endpoint.state == platform::DEVICE_STATE_NOTPRESENT)
      PutDword(registry, EndpointRecordPath(endpoint), u"DeviceState", 1);
  }
  return lab;
}

LabMachine WithEndpointDisabledByUser() {
  Machine machine = Installed();
  for (AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (endpoint.builtFor != CableFlow{4, 0}) continue;
    endpoint.state = platform::DEVICE_STATE_DISABLED;
    Device* const child = machine.devices.Find(u"SWD\\MMDEVAPI\\" + endpoint.id);
    child->status = platform::DN_HAS_PROBLEM;
    child->problem = platform::CM_PROB_DISABLED;
    PutDword(machine.registry, EndpointRecordPath(endpoint), u"DeviceState", 2);
  }
  machine.audio.remembered[kRoot][{4, 0}].disabledByUser = true;
  return LabOf(machine);
}

LabMachine WithOlderImageInMemory() {
  Machine machine = Installed();
  RootOf(machine).resident = SoundImage(u"26.8.9.4");
  return LabOf(machine);
}

LabMachine WithOddReplies() {
  Machine machine = Installed();
  DriverImage& image = *RootOf(machine).resident;
  image.statusBytes = 4;
  image.pool[7].name = std::u16string(64, u'x');
  image.replies[0x226020] = Bytes{1, 2, 3};
  const std::string text = ToImageText(image);
  machine.store.Find(u"oem3.inf")->image = Bytes(text.begin(), text.end());
  return LabOf(machine);
}

LabMachine WithFailingDriver() {
  Machine machine = Installed();
  RootOf(machine).resident->failures = {{0x226010, 31}, {0x226020, 5}};
  return LabOf(machine);
}

LabMachine WithClosedInterface() {
  Machine machine = Installed();
  for (DeviceInterface& interface : RootOf(machine).interfaces)
    interface.openError = platform::ERROR_ACCESS_DENIED;
  return LabOf(machine);
}

LabMachine WithStatusError() {
  Machine machine = Installed();
  RootOf(machine).statusError = 0x33;
  return LabOf(machine);
}

LabMachine WithCatalogErrors() {
  Machine machine = Installed();
  machine.audio.endpoints[5].propertyError = platform::E_FAIL;
  machine.audio.endpoints[6].topologyError = platform::E_NOINTERFACE;
  machine.audio.endpoints[7].connectorError = platform::E_FAIL;
  machine.audio.endpoints[8].connectedError = platform::E_NOTFOUND;
  machine.audio.endpoints[9].idError = platform::E_OUTOFMEMORY;
  machine.audio.endpoints[10].nullId = true;
  machine.audio.endpoints[11].stateError = platform::E_FAIL;
  machine.audio.endpoints[12].cable = CableProperty{3, 0xFFFFFFFF};
  machine.audio.endpoints[13].propertyStoreError = platform::E_ACCESSDENIED;
  return LabOf(machine);
}

template <std::int32_t AudioCatalog::*Error>
LabMachine WithCatalogRefused() {
  Machine machine = Installed();
  machine.audio.*Error = platform::E_FAIL;
  return LabOf(machine);
}

LabMachine WithRedirectedSound() {
  Machine machine = Installed();
  machine.audio.redirected = true;
  return LabOf(machine);
}

LabMachine WithHeldInf() {
  Machine machine = Installed();
  HoldOpen(machine.files, u"C:\\pkg\\driver\\vorn_audio.inf", platform::FILE_GENERIC_WRITE, 7);
  return LabOf(machine);
}

LabMachine WithDeniedFolder() {
  Machine machine = Installed();
  NodeAt(machine.files, u"C:\\pkg\\driver").security = ParseSddl(u"O:SYD:P(A;;FA;;;SY)").value();
  return LabOf(machine);
}

LabMachine WithLinkedTemporaryFolder() {
  Machine machine = Installed();
  RemovePath(machine.files, u"C:\\Users\\operator\\AppData\\Local\\Temp");
  MakeFolder(machine.files, u"C:\\elsewhere");
  PutLink(machine.files, u"C:\\Users\\operator\\AppData\\Local\\Temp", ReparseKind::Junction,
          u"C:\\elsewhere", true);
  return LabOf(machine);
}

LabMachine WithLinkedInf() {
  Machine machine = Installed();
  AddHardLink(machine.files, u"C:\\Windows\\INF\\oem3.inf", u"C:\\second.inf");
  AddHardLink(machine.files, u"C:\\pkg\\driver\\vorn_audio.cat", u"C:\\third.cat");
  return LabOf(machine);
}

LabMachine WithUnreadableRecords() {
  Machine machine = Installed();
  Registry& registry = machine.registry;
  const std::u16string flow = std::u16string(kEndpointRecordsPath) + u"\\Render";
  const KeyId record = registry.keys.at(*FindKey(registry, flow)).children[2];
  registry.keys.at(record).openError = 5;
  registry.keys.at(*FindChild(registry, record, u"Properties")).openError = 31;
  registry.keys.at(*FindKey(registry, std::u16string(kEndpointRecordsPath) + u"\\Capture"))
      .openError = 5;
  return LabOf(machine);
}

LabMachine WithoutListing() {
  Machine machine = Installed();
  LabMachine lab = LabOf(machine);
  lab.process.faults = {"SetupDiGetClassDevsW#1-:fail=5", "GetTempPathW#1-:fail=87"};
  return lab;
}

LabMachine WithoutNativeCalls() {
  LabMachine lab = LabOf(Installed());
  lab.process.missingExports = {"NtCreateFile"};
  return lab;
}

LabMachine WithJournal() {
  Machine machine = Installed();
  LabMachine lab = LabOf(machine);
  PutFile(lab.machine.files, u"C:\\pkg\\.vorn-driver-activation-state", "no journal at all");
  PutFile(lab.machine.files, u"C:\\pkg\\logs\\vorn_devnode.log", "operator was here\r\n");
  return lab;
}

LabMachine WithForeignFilesInPackage() {
  Machine machine = CleanMachine();
  PutFile(machine.files, u"C:\\pkg\\driver\\notes\\secret.txt", "SECRET-OF-ANOTHER-MAKER");
  PutFile(machine.files, u"C:\\pkg\\driver\\other.sys", "SECRET-OF-ANOTHER-MAKER");
  return LabOf(machine);
}

LabMachine OnAnotherTargetOfTheDrive() {
  Machine machine = Installed();
  machine.files.dosDevices[u"C:"] = u"\\Device\\CdRom0";
  return LabOf(machine);
}

std::vector<CapturedCase> ListCases() {
  std::vector<CapturedCase> cases = {
      {"unusual", UnusualMachine},
      {"services stopped", WithServicesStopped},
      {"services stopped, endpoints disabled by user",
       WithServicesStoppedAndEndpointsDisabledByUser},
      {"service disabled", WithServiceDisabled},
      {"package that no device runs", WithPackageThatNoDeviceRuns},
      {"hidden endpoints", WithHiddenEndpoints},
      {"hidden endpoints whose records stay", WithHiddenEndpointsWhoseRecordsStay},
      {"endpoint disabled by user", WithEndpointDisabledByUser},
      {"older image in memory", WithOlderImageInMemory},
      {"odd replies", WithOddReplies},
      {"failing driver", WithFailingDriver},
      {"closed interface", WithClosedInterface},
      {"status error", WithStatusError},
      {"catalog errors", WithCatalogErrors},
      {"no apartment", WithCatalogRefused<&AudioCatalog::coInitializeResult>},
      {"no enumerator", WithCatalogRefused<&AudioCatalog::createError>},
      {"no listing of endpoints", WithCatalogRefused<&AudioCatalog::enumError>},
      {"no count of endpoints", WithCatalogRefused<&AudioCatalog::countError>},
      {"no item of endpoints", WithCatalogRefused<&AudioCatalog::itemError>},
      {"redirected sound", WithRedirectedSound},
      {"held INF", WithHeldInf},
      {"denied folder", WithDeniedFolder},
      {"linked temporary folder", WithLinkedTemporaryFolder},
      {"linked INF", WithLinkedInf},
      {"unreadable records", WithUnreadableRecords},
      {"failing calls", WithoutListing},
      {"missing native call", WithoutNativeCalls},
      {"journal and log", WithJournal},
      {"foreign files in the package", WithForeignFilesInPackage},
      {"drive that is no disk", OnAnotherTargetOfTheDrive},
  };
  for (const Preset& preset : Presets())
    cases.push_back({std::string(preset.name), preset.make});
  return cases;
}

}  // namespace

const std::vector<CapturedCase>& CapturedCases() {
  static const std::vector<CapturedCase> cases = ListCases();
  return cases;
}

capture::CaptureRequest SampleRequest() {
  return {.infs = {tests::kSampleInf}, .journals = {}, .raw = true};
}

CaptureFiles CaptureOf(LabMachine lab, const capture::CaptureRequest& request) {
  return TakeCaptureOf(lab, request);
}

}  // namespace vorn::lab
