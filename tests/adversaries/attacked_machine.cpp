#include "tests/adversaries/attacked_machine.h"

#include "platform/simulated/driver_store.h"
#include "platform/simulated/file_system.h"
#include "tests/adversaries/attacker.h"
#include "tests/support/activation.h"
#include "tests/support/sample.h"

#include <map>
#include <stdexcept>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

/// An administrator's folder that users may read.
constexpr char16_t kProtectedSecurity[] =
    u"O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";

SecurityRecord Security(std::u16string_view sddl) {
  const auto record = ParseSddl(sddl);
  if (!record) throw std::logic_error("a descriptor of the attacked machine is malformed");
  return *record;
}

/// Makes the attacker the owner of the folder and everything below it.
void GiveAway(FileSystem& files, const std::u16string& path) {
  Node& node = NodeAt(files, path);
  node.security = Security(kOwnFolderSecurity);
  if (!node.directory) return;
  for (const std::u16string& name : ListFolder(files, path))
    GiveAway(files, path + u"\\" + name);
}

Machine BaseFor(Job job) {
  switch (job) {
    case Job::FreshInstall:
      return CleanMachine();
    case Job::Update:
      return OutdatedMachine();
    default:
      return InstalledMachine();
  }
}

Machine Build(Job job) {
  Machine machine = BaseFor(job);
  FileSystem& files = machine.files;
  AddVolume(files, u'D', u"\\Device\\HarddiskVolume4", u"5a17c0de-0000-4000-8000-000000000004");
  PackageRecipe twin;
  twin.extraInfText = "; a twin: the same version, other bytes\r\n";
  WritePackage(files, kTwinFolder, twin);
  WritePackage(files, u"D:\\pkg\\driver", twin);
  MakeFolder(files, kStolen);
  MakeFolder(files, kTempFolder);
  files.tempFolder = std::u16string(kTempFolder) + u"\\";
  for (const char16_t* path : {u"C:\\pkg", kAttackerFolder, kTempParent, u"D:\\pkg"}) {
    GiveAway(files, path);
  }
  MakeFolder(files, u"C:\\protected");
  NodeAt(files, u"C:\\protected").security = Security(kProtectedSecurity);
  PutFile(files, kVictim, "what an administrator keeps here\r\n");
  PutFile(files, kWindowsVictim, "[what]\r\nwindows=keeps\r\n");
  PutString(machine.registry, std::u16string(kVictimKey) + u"\\Below", u"kept", u"yes");
  if (job == Job::Verify || job == Job::HotActivate) {
    PutJournal(machine, FreshTarget(machine, kSampleInf), kSampleJournal);
  }
  return machine;
}

}  // namespace

std::string NameOf(Job job) {
  static const std::map<Job, std::string> names = {{Job::FreshInstall, "fresh install"},
                                                   {Job::Update, "update"},
                                                   {Job::Remove, "remove"},
                                                   {Job::AuditCurrent, "audit-current"},
                                                   {Job::Verify, "verify"},
                                                   {Job::HotActivate, "hot-activate"},
                                                   {Job::AuditCatalog, "audit-catalog"},
                                                   {Job::ResumeEndpoints, "resume-endpoints"}};
  return names.at(job);
}

bool TakesInf(Job job) {
  return job == Job::FreshInstall || job == Job::Update || job == Job::Remove ||
         job == Job::AuditCurrent;
}

bool ClaimsActivation(Job job) {
  return job == Job::FreshInstall || job == Job::Update || job == Job::AuditCurrent ||
         job == Job::Verify || job == Job::HotActivate;
}

Machine MachineFor(Job job) {
  static std::map<Job, Machine> machines;
  const auto found = machines.find(job);
  return found != machines.end() ? found->second : machines.emplace(job, Build(job)).first->second;
}

std::vector<std::u16string> CommandLine(Job job, const std::u16string& infPath,
                                        const std::u16string& statePath) {
  switch (job) {
    case Job::FreshInstall:
    case Job::Update:
      return {u"install", infPath, statePath};
    case Job::Remove:
      return {u"remove", infPath};
    case Job::AuditCurrent:
      return {u"audit-current", infPath};
    case Job::Verify:
      return {u"verify", kSampleVersion, kSampleDate, statePath};
    case Job::HotActivate:
      return {u"hot-activate", kSampleVersion, kSampleDate, statePath};
    case Job::AuditCatalog:
      return {u"audit-catalog"};
    case Job::ResumeEndpoints:
      return {u"resume-endpoints"};
  }
  throw std::logic_error("no such job");
}

}  // namespace vorn::tests
