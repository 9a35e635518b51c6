// Attacks on the INF that the command line names: the file, its folder, the files beside it, and
// the folders above.

#include "platform/files.h"
#include "platform/simulated/file_values.h"
#include "tests/adversaries/attack.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform::simulated;

namespace {

constexpr char16_t kTwinInf[] = u"C:\\attacker\\twin\\driver\\vorn_audio.inf";
constexpr char16_t kStolenInf[] = u"C:\\attacker\\stolen\\vorn_audio.inf";
constexpr char16_t kStolenFolder[] = u"C:\\attacker\\stolen\\driver";

Attack Refused(std::string name, const std::u16string& error, std::string why,
               std::function<bool(Attacker&)> strike) {
  Attack attack;
  attack.name = std::move(name);
  attack.expectation = Expectation::Refused;
  attack.why = std::move(why);
  attack.jobs = JobsWithInf();
  attack.strike = std::move(strike);
  attack.answers = SnapshotRefused(error);
  return attack;
}

Attack Harmless(std::string name, std::string why, std::function<bool(Attacker&)> strike) {
  Attack attack = Refused(std::move(name), {}, std::move(why), std::move(strike));
  attack.expectation = Expectation::Harmless;
  attack.answers.clear();
  return attack;
}

/// Takes the INF away and puts something else in its place.
std::function<bool(Attacker&)> InsteadOfInf(std::function<bool(Attacker&)> put) {
  return [put = std::move(put)](Attacker& user) {
    return user.TryRename(kSampleInf, kStolenInf) && (put(user), true);
  };
}

std::function<bool(Attacker&)> InsteadOfFolder(std::function<bool(Attacker&)> put) {
  return [put = std::move(put)](Attacker& user) {
    return user.TryRename(kSampleFolder, kStolenFolder) && (put(user), true);
  };
}

std::vector<Attack> InfAttacks() {
  return {
      Harmless("INF exchanged for a twin",
               "the copy that is authenticated is the copy that is bound",
               InsteadOfInf([](Attacker& user) {
                 return user.TryCreateFile(kSampleInf, TextOf(user.TheMachine(), kTwinInf));
               })),
      Harmless("INF overwritten in place",
               "no write while it is held; afterwards only the private copy is used",
               [](Attacker& user) {
                 return user.TryWrite(kSampleInf, TextOf(user.TheMachine(), kTwinInf));
               }),
      Refused("INF deleted", u"00000002", "nothing to copy",
              [](Attacker& user) { return user.TryDelete(kSampleInf); }),
      Refused("INF exchanged for a folder", u"00000005", "a folder is no file",
              InsteadOfInf([](Attacker& user) { return user.TryCreateFolder(kSampleInf); })),
      Refused("INF exchanged for a symbolic link to a twin", u"000003EE",
              "the link itself is opened and is no plain file", InsteadOfInf([](Attacker& user) {
                return user.TryCreateSymbolicLink(kSampleInf, kTwinInf, false);
              })),
      Refused("INF exchanged for a hard link to a protected file", u"000003EE",
              "a file with two names is refused", InsteadOfInf([](Attacker& user) {
                return user.TryCreateHardLink(kVictim, kSampleInf);
              })),
      Refused("second name given to the INF", u"000003EE", "a file with two names is refused",
              [](Attacker& user) {
                return user.TryCreateHardLink(kSampleInf, u"C:\\attacker\\second.inf");
              }),
      Refused("INF exchanged for a junction", u"00000005",
              "the link itself is opened and is a folder", InsteadOfInf([](Attacker& user) {
                return user.TryCreateJunction(kSampleInf, kTwinFolder);
              })),
      Refused("INF held open for writing", u"00000020",
              "it is opened with read sharing only, which an open writer breaks",
              [](Attacker& user) {
                return user.TryHold(kSampleInf, platform::FILE_WRITE_DATA, kShareAll);
              }),
      Refused("INF held open for deletion", u"00000020",
              "it is opened with read sharing only, which an open deleter breaks",
              [](Attacker& user) { return user.TryHold(kSampleInf, platform::DELETE, kShareAll); }),
      Refused("INF held open without sharing", u"00000020", "it cannot be read",
              [](Attacker& user) { return user.TryHold(kSampleInf, platform::FILE_READ_DATA, 0); }),
      Harmless("INF grown to 5 MiB", "over 4 MiB it is refused, after the copy it does not matter",
               [](Attacker& user) { return user.TryGrow(kSampleInf, std::uint64_t{5} << 20); }),
      Refused("catalog exchanged for a twin's", u"", "the installer's own check of the catalog",
              [](Attacker& user) {
                return user.TryWrite(
                    u"C:\\pkg\\driver\\vorn_audio.cat",
                    TextOf(user.TheMachine(), u"C:\\attacker\\twin\\driver\\vorn_audio.cat"));
              }),
  };
}

std::vector<Attack> BesideInfAttacks() {
  return {
      Refused("junction planted in the INF's folder", u"00001129",
              "a listed link ends the snapshot",
              [](Attacker& user) {
                return user.TryCreateJunction(u"C:\\pkg\\driver\\sub", u"C:\\Windows");
              }),
      Refused("symbolic link planted in the INF's folder", u"000003EE",
              "a listed link ends the snapshot",
              [](Attacker& user) {
                return user.TryCreateSymbolicLink(u"C:\\pkg\\driver\\a.txt", kVictim, false);
              }),
      Refused("hard link to a protected file planted in the INF's folder", u"000003EE",
              "a file with two names is refused",
              [](Attacker& user) {
                return user.TryCreateHardLink(kWindowsVictim, u"C:\\pkg\\driver\\a.txt");
              }),
      Refused("reserved name planted in the INF's folder", u"0000007B",
              "every listed name passes the name rule",
              [](Attacker& user) { return user.TryCreateFile(u"C:\\pkg\\driver\\aux.inf", "x"); }),
      Refused("name with a trailing dot planted in the INF's folder", u"0000007B",
              "every listed name passes the name rule",
              [](Attacker& user) { return user.TryCreateFile(u"C:\\pkg\\driver\\b.", "x"); }),
      Refused("name with a trailing blank planted in the INF's folder", u"0000007B",
              "every listed name passes the name rule",
              [](Attacker& user) {
                return user.TryCreateFile(u"C:\\pkg\\driver\\vorn_audio.inf ", "x");
              }),
      Refused("file of the INF's folder held open for writing", u"00000020",
              "every file is opened with read sharing only",
              [](Attacker& user) {
                return user.TryHold(u"C:\\pkg\\driver\\vorn_audio.sys", platform::FILE_WRITE_DATA,
                                    kShareAll);
              }),
      Harmless("file planted beside the INF", "it is copied, and nothing names it",
               [](Attacker& user) { return user.TryCreateFile(u"C:\\pkg\\driver\\a.dll", "x"); }),
      Refused("17 levels of folders planted in the INF's folder", u"000003EE",
              "16 levels are the limit",
              [](Attacker& user) {
                std::u16string path = kSampleFolder;
                bool made = true;
                for (int level = 0; level < 17 && made; ++level) {
                  path += u"\\d";
                  made = user.TryCreateFolder(path);
                }
                return made;
              }),
  };
}

std::vector<Attack> FolderAttacks() {
  return {
      Refused("INF's folder exchanged for a junction", u"00001129",
              "a link on the way is opened itself and refused", InsteadOfFolder([](Attacker& user) {
                return user.TryCreateJunction(kSampleFolder, kTwinFolder);
              })),
      Refused("INF's folder exchanged for a symbolic link", u"00001129",
              "a link on the way is opened itself and refused", InsteadOfFolder([](Attacker& user) {
                return user.TryCreateSymbolicLink(kSampleFolder, kTwinFolder, true);
              })),
      Harmless("INF's folder exchanged for a twin's",
               "held while it is copied; the copy that is authenticated is the copy that is bound",
               InsteadOfFolder(
                   [](Attacker& user) { return user.TryRename(kTwinFolder, kSampleFolder); })),
      Refused("folder above exchanged for a junction", u"00001129",
              "a link on the way is opened itself and refused",
              [](Attacker& user) {
                return user.TryRename(u"C:\\pkg", u"C:\\attacker\\stolen\\pkg") &&
                       (user.TryCreateJunction(u"C:\\pkg", u"C:\\attacker\\twin"), true);
              }),
      Refused(
          "INF's folder held open for deletion", u"00000020",
          "folders are opened with read sharing only",
          [](Attacker& user) { return user.TryHold(kSampleFolder, platform::DELETE, kShareAll); }),
      Refused("files renamed into the INF's folder without end, before Windows 11 22H2",
              u"00000020",
              "each rename opens the folder for writing; it is opened with read sharing only, and "
              "while it is held no rename into it begins",
              [](Attacker& user) { return user.TryKeepRenamingInto(kSampleFolder); }),
      Refused("files renamed into the temporary folder without end, before Windows 11 22H2",
              u"00000020", "as into the INF's folder",
              [](Attacker& user) { return user.TryKeepRenamingInto(kTempFolder); }),
      Harmless("INF's folder closed to everybody by its access list",
               "handles stay good; an administrator who may not read is refused",
               [](Attacker& user) {
                 return user.TrySetSecurity(
                     kSampleFolder, u"D:P(A;;FA;;;S-1-5-21-1000000000-2000000000-3000000000-1002)");
               }),
  };
}

}  // namespace

std::vector<Attack> InputAttacks() {
  std::vector<Attack> attacks;
  for (const auto& part : {InfAttacks(), BesideInfAttacks(), FolderAttacks()}) {
    attacks.insert(attacks.end(), part.begin(), part.end());
  }
  // The installer verifies files against the catalog, so only commands that bind refuse such a
  // package.
  for (Attack& attack : attacks) {
    if (attack.name != "catalog exchanged for a twin's") continue;
    attack.jobs = {Job::FreshInstall, Job::Update};
    attack.answers = {{Job::FreshInstall, 8, u"UpdateDriverForPlugAndPlayDevices failed"},
                      {Job::Update, 16, u"RESULT=BIND_REFUSED - Windows rejected the bind"}};
  }
  return attacks;
}

}  // namespace vorn::tests
