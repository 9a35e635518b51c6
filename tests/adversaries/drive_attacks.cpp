// Attacks by drive letters: the path of the INF uses a letter that the user defined in the logon
// session of the command, and that he redefines while the command runs.

#include "platform/simulated/file_system.h"
#include "tests/adversaries/attack.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform::simulated;

namespace {

Attack Row(std::string name, Expectation expectation, std::string why, std::u16string target) {
  Attack attack;
  attack.name = "drive letter remapped to " + std::move(name);
  attack.expectation = expectation;
  attack.why = std::move(why);
  attack.jobs = JobsWithInf();
  attack.infPath = u"P:\\pkg\\driver\\vorn_audio.inf";
  attack.statePath = u"P:\\pkg\\.vorn-driver-activation-state";
  attack.prepare = [](Machine& machine) {
    machine.files.dosDevices[u"P:"] = u"\\Device\\HarddiskVolume3";
    MakeFolder(machine.files, u"C:\\attacker\\remapped\\pkg");
  };
  attack.strike = [target](Attacker& user) { return user.TryDefineDosDevice(u'P', target); };
  if (expectation == Expectation::Refused) attack.answers = SnapshotRefused(u"000004B0");
  return attack;
}

}  // namespace

std::vector<Attack> DriveAttacks() {
  const Expectation refused = Expectation::Refused;
  constexpr char kWhy[] = "a letter must lead to a hard-disk volume and nothing else";
  std::vector<Attack> attacks = {
      Row("a folder, as SUBST does", refused, kWhy, u"\\??\\C:\\attacker\\twin"),
      Row("a folder of the volume", refused, kWhy,
          u"\\Device\\HarddiskVolume3\\attacker\\remapped"),
      Row("a folder with a planted log", refused, kWhy, u"\\??\\C:\\attacker\\remapped"),
      Row("a network share", refused, kWhy,
          u"\\Device\\LanmanRedirector\\;P:0000000000012345\\server\\share"),
      Row("the root of the system drive, as SUBST does", refused, kWhy, u"\\??\\C:"),
      Row("a volume by its GUID name", refused, kWhy,
          u"\\??\\Volume{5a17c0de-0000-4000-8000-000000000004}"),
      Row("a raw disk", refused, kWhy, u"\\Device\\Harddisk0\\DR0"),
      Row("a volume's device with a name that only begins like one", refused, kWhy,
          u"\\Device\\HarddiskVolume3x"),
      Row("a shadow copy of the volume", refused, kWhy, u"\\Device\\HarddiskVolumeShadowCopy1"),
      Row("an optical drive", refused, kWhy, u"\\Device\\CdRom0"),
      Row("another volume with a twin of the package", Expectation::Harmless,
          "a path is walked from the volume that was checked; the copy that is authenticated is "
          "the copy that is bound",
          u"\\Device\\HarddiskVolume4"),
  };
  Attack planted = attacks[2];
  planted.prepare = [base = planted.prepare](Machine& machine) {
    base(machine);
    MakeFolder(machine.files, u"C:\\attacker\\remapped\\pkg\\logs");
    AddHardLink(machine.files, kWindowsVictim,
                u"C:\\attacker\\remapped\\pkg\\logs\\vorn_devnode.log");
  };
  attacks[2] = planted;

  Attack gone = attacks[0];
  gone.name = "drive letter taken away";
  gone.why = "a letter that leads nowhere is no drive";
  gone.answers = SnapshotRefused(u"00000002");
  gone.strike = [](Attacker& user) { return user.TryDefineDosDevice(u'P', u""); };
  attacks.push_back(gone);

  Attack system = attacks[0];
  system.name = "system drive's letter remapped";
  system.expectation = Expectation::Impossible;
  system.why = "a letter of the machine is the machine's";
  system.infPath = kSampleInf;
  system.statePath = kSampleJournal;
  system.strike = [](Attacker& user) {
    return user.TryDefineDosDevice(u'C', u"\\Device\\HarddiskVolume4");
  };
  system.answers.clear();
  attacks.push_back(system);
  return attacks;
}

}  // namespace vorn::tests
