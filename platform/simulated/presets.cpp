// The machines to start from. Each is in a state that real runs leave: packages are published,
// devices are bound and started, and the clock advances, by the same functions that a run uses.

#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/neighbours.h"

#include <stdexcept>

namespace vorn::platform::simulated {

namespace {

constexpr char16_t kSampleVersion[] = u"26.8.10.5";
constexpr char16_t kOlderVersion[] = u"26.8.9.4";
constexpr char16_t kOlderDate[] = u"07/02/2026";
constexpr char16_t kRootId[] = u"ROOT\\MEDIA\\0000";
constexpr char16_t kGhostId[] = u"ROOT\\MEDIA\\0001";
constexpr char16_t kSecondId[] = u"ROOT\\MEDIA\\0002";
constexpr char16_t kHardwareId[] = u"Root\\VornAudio";
constexpr char16_t kSampleFolder[] = u"C:\\pkg\\driver";
constexpr char16_t kStagingFolder[] = u"C:\\pkg\\staging";
constexpr std::uint64_t kSettleMs = 60'000;

// Documented: Windows' own folders belong to the system, and a user's temporary folder to the user.
constexpr char16_t kWindowsSecurity[] =
    u"O:S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"
    u"D:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";
constexpr char16_t kProfileSecurity[] =
    u"O:S-1-5-21-1000000000-2000000000-3000000000-1001"
    u"D:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)"
    u"(A;OICI;FA;;;S-1-5-21-1000000000-2000000000-3000000000-1001)";

void MakeSecureFolder(FileSystem& files, std::u16string_view path, std::u16string_view sddl) {
  const auto security = ParseSddl(sddl);
  if (!security) throw std::logic_error("a preset's descriptor is malformed");
  MakeFolder(files, path);
  NodeAt(files, path).security = *security;
}

void AddFiles(FileSystem& files) {
  AddVolume(files, u'C', u"\\Device\\HarddiskVolume3", u"5a17c0de-0000-4000-8000-000000000003");
  MakeSecureFolder(files, u"C:\\Windows", kWindowsSecurity);
  MakeFolder(files, u"C:\\Windows\\INF");
  MakeFolder(files, u"C:\\Windows\\System32\\drivers");
  MakeSecureFolder(files, u"C:\\Users\\operator", kProfileSecurity);
  MakeFolder(files, u"C:\\Users\\operator\\AppData\\Local\\Temp");
  MakeSecureFolder(files, u"C:\\Program Files", kWindowsSecurity);
  PutFile(files, files.modulePath, "program");
  PutFile(files, u"C:\\Windows\\INF\\machine.inf",
          "[Version]\r\nSignature = \"$Windows NT$\"\r\nClass = System\r\n"
          "ClassGuid = {4d36e97d-e325-11ce-bfc1-08002be10318}\r\n"
          "DriverVer = 06/21/2006,10.0.19041.1\r\n");
  WritePackage(files, kSampleFolder, PackageRecipe{});
}

void AddClassesAndServices(Machine& machine) {
  machine.classNames = {{u"{4D36E96C-E325-11CE-BFC1-08002BE10318}", u"MEDIA"},
                        {u"{4D36E97D-E325-11CE-BFC1-08002BE10318}", u"System"},
                        {u"{C166523C-FE0C-4A94-A586-F1A80CFBBF3E}", u"AudioEndpoint"}};
  machine.services = {{kEndpointBuilderService, Service{}}, {kAudioService, Service{}}};
}

PackageRecipe RecipeOf(std::u16string_view version) {
  PackageRecipe recipe;
  recipe.version = version;
  if (version != kSampleVersion) recipe.date = kOlderDate;
  return recipe;
}

/// Publishes the package of that version from a folder that is then deleted, unless it is the
/// sample package.
std::u16string Publish(Machine& machine, std::u16string_view version) {
  const bool isSample = version == kSampleVersion;
  const std::u16string inf =
      WritePackage(machine.files, isSample ? kSampleFolder : kStagingFolder, RecipeOf(version));
  const auto published = PublishPackage(machine, inf, kHardwareId);
  if (!published) throw std::logic_error("a preset's package was refused");
  if (!isSample) RemovePath(machine.files, kStagingFolder);
  return *published;
}

Machine BuildClean() {
  Machine machine;
  AddFiles(machine.files);
  AddClassesAndServices(machine);
  AddNeighbours(machine);
  Advance(machine, kSettleMs);
  return machine;
}

Machine BuildInstalled(std::u16string_view version) {
  Machine machine = CleanMachine();
  const std::u16string published = Publish(machine, version);
  AddRoot(machine, kRootId);
  BindPackage(machine, kRootId, published);
  RestartDevice(machine, kRootId);
  Advance(machine, kSettleMs);
  return machine;
}

Machine BuildDuplicates() {
  Machine machine = InstalledMachine();
  const std::u16string published = machine.devices.Find(kRootId)->publishedInf;
  // What failed installs leave behind: a device that was bound and then lost, and one that was
  // never bound.
  AddRoot(machine, kGhostId);
  BindPackage(machine, kGhostId, published);
  Device& ghost = *machine.devices.Find(kGhostId);
  ghost.present = false;
  ghost.status = 0;
  ghost.problem = 0;
  AddRoot(machine, kSecondId);
  Advance(machine, kSettleMs);
  return machine;
}

Machine BuildDisabled() {
  Machine machine = InstalledMachine();
  DisableDevice(machine, kRootId);
  Advance(machine, kSettleMs);
  return machine;
}

}  // namespace

// Each is built once; copies are cheap.

Machine CleanMachine() {
  static const Machine machine = BuildClean();
  return machine;
}

Machine InstalledMachine(std::u16string_view version) {
  static const Machine sample = BuildInstalled(kSampleVersion);
  return version == kSampleVersion ? sample : BuildInstalled(version);
}

Machine OutdatedMachine() {
  static const Machine machine = BuildInstalled(kOlderVersion);
  return machine;
}

Machine DuplicatesMachine() {
  static const Machine machine = BuildDuplicates();
  return machine;
}

Machine DisabledMachine() {
  static const Machine machine = BuildDisabled();
  return machine;
}

}  // namespace vorn::platform::simulated
