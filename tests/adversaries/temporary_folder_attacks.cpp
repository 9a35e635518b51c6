// Attacks on the temporary folder and the private snapshot in it.

#include "base/text.h"
#include "platform/files.h"
#include "platform/simulated/file_system.h"
#include "platform/simulated/file_values.h"
#include "tests/adversaries/attack.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"

namespace vorn::tests {

using namespace platform::simulated;

namespace {

Attack Row(std::string name, Expectation expectation, std::string why,
           std::function<bool(Attacker&)> strike, const std::u16string& error = {}) {
  Attack attack;
  attack.name = std::move(name);
  attack.expectation = expectation;
  attack.why = std::move(why);
  attack.jobs = JobsWithInf();
  attack.strike = std::move(strike);
  if (expectation == Expectation::Refused) attack.answers = SnapshotRefused(error);
  return attack;
}

/// TMP names that folder when the command starts.
Attack Redirected(std::string name, std::string why, const std::u16string& folder,
                  const std::u16string& error, std::function<void(Machine&)> make = {}) {
  Attack attack =
      Row("TMP names " + std::move(name), Expectation::Refused, std::move(why), {}, error);
  attack.prepare = [folder, make = std::move(make)](Machine& machine) {
    if (make) make(machine);
    machine.files.tempFolder = folder;
  };
  return attack;
}

/// The private snapshot as the user sees it, by listing the temporary folder.
std::u16string SnapshotFolder(Attacker& user) {
  const auto names = SnapshotFolders(user.TheMachine(), kTempFolder);
  return names.empty() ? std::u16string() : kTempFolder + (u"\\" + names.front());
}

std::function<bool(Attacker&)> InSnapshot(
    std::function<bool(Attacker&, const std::u16string&)> act) {
  return [act = std::move(act)](Attacker& user) {
    const std::u16string folder = SnapshotFolder(user);
    return !folder.empty() && act(user, folder);
  };
}

bool MoveTemp(Attacker& user) {
  return user.TryRename(kTempFolder, u"C:\\attacker\\stolen\\temp");
}

/// Plants a twin of every private snapshot in the target of the junction.
void PlantTwinOfSnapshot(Attacker& user) {
  const std::u16string snapshot = SnapshotFolder(user);
  if (snapshot.empty()) return;
  const std::u16string twin =
      std::u16string(kAttackerFolder) + snapshot.substr(snapshot.rfind(u'\\'));
  if (!user.TryCreateFolder(twin)) return;
  for (const char16_t* name : {u"\\vorn_audio.inf", u"\\vorn_audio.cat", u"\\vorn_audio.sys"}) {
    user.TryCreateFile(twin + name, TextOf(user.TheMachine(), kTwinFolder + std::u16string(name)));
  }
}

std::vector<Attack> FolderSwaps() {
  const Expectation refused = Expectation::Refused;
  Attack inPlace = Row(
      "temporary folder itself made a junction", refused,
      "an empty folder can be; the one that holds the snapshot is checked once more",
      [](Attacker& user) { return user.TryTurnIntoJunction(kTempFolder, kAttackerFolder); },
      u"00001129");
  inPlace.follow = PlantTwinOfSnapshot;
  return {
      inPlace,
      Row(
          "temporary folder exchanged for a junction into Windows", refused,
          "a link on the way is opened itself and refused; while it is held it stays",
          [](Attacker& user) {
            return MoveTemp(user) && (user.TryCreateJunction(kTempFolder, u"C:\\Windows"), true);
          },
          u"00001129"),
      Row(
          "temporary folder exchanged for a symbolic link", refused,
          "a link on the way is opened itself and refused",
          [](Attacker& user) {
            return MoveTemp(user) &&
                   (user.TryCreateSymbolicLink(kTempFolder, u"C:\\Windows", true), true);
          },
          u"00001129"),
      Row(
          "folder above the temporary one exchanged for a junction", refused,
          "a link on the way is opened itself and refused",
          [](Attacker& user) {
            return user.TryRename(kTempParent, u"C:\\attacker\\stolen\\scratch") &&
                   (user.TryCreateJunction(kTempParent, kAttackerFolder), true);
          },
          u"00001129"),
      Row(
          "temporary folder exchanged for a file", refused, "a file is no folder",
          [](Attacker& user) { return MoveTemp(user) && user.TryCreateFile(kTempFolder, "x"); },
          u"0000010B"),
      Row("temporary folder taken away", refused, "nowhere to copy to", MoveTemp, u"00000002"),
      Row(
          "temporary folder held open for deletion", refused,
          "folders are opened with read sharing only",
          [](Attacker& user) { return user.TryHold(kTempFolder, platform::DELETE, kShareAll); },
          u"00000020"),
  };
}

/// The name of the command's private snapshot on that machine. Nobody can predict it, and this
/// shows that predicting it gains nothing.
std::u16string ForeseenSnapshot(const Machine& machine) {
  Machine copy = machine;
  const RunResult run = RunCommand(copy, CommandLine(Job::AuditCurrent));
  for (const CallRecord& call : run.calls) {
    const std::string name = call.Argument("ObjectName");
    if (call.name == "NtCreateFile" && name.starts_with("VORN-input-")) {
      return kTempFolder + std::u16string(u"\\") + ToUtf16(name);
    }
  }
  return {};
}

Attack Foreseen(std::string name, std::function<void(Machine&, const std::u16string&)> plant) {
  Attack attack = Row("foreseen name of the private snapshot planted as " + std::move(name),
                      Expectation::Refused, "the folder must be new", {}, u"000000B7");
  attack.prepare = [plant = std::move(plant)](Machine& machine) {
    const std::u16string path = ForeseenSnapshot(machine);
    if (!path.empty()) plant(machine, path);
  };
  return attack;
}

std::vector<Attack> ForeseenNames() {
  return {
      Foreseen("a folder",
               [](Machine& machine, const std::u16string& path) {
                 MakeFolder(machine.files, path);
                 NodeAt(machine.files, path).security = *ParseSddl(kOwnFolderSecurity);
               }),
      Foreseen("a junction",
               [](Machine& machine, const std::u16string& path) {
                 PutLink(machine.files, path, ReparseKind::Junction, kTwinFolder, true);
               }),
      Foreseen("a file", [](Machine& machine,
                            const std::u16string& path) { PutFile(machine.files, path, "x"); }),
  };
}

std::vector<Attack> SnapshotAttacks() {
  const Expectation impossible = Expectation::Impossible;
  return {
      Row("private snapshot's folder renamed", impossible,
          "its folder is held without delete sharing",
          InSnapshot([](Attacker& user, const std::u16string& folder) {
            return user.TryRename(folder, u"C:\\attacker\\stolen\\snapshot");
          })),
      Row("private snapshot's folder deleted", impossible,
          "its folder is held without delete sharing",
          InSnapshot(
              [](Attacker& user, const std::u16string& folder) { return user.TryDelete(folder); })),
      Row("private snapshot's folder made a junction", impossible,
          "its access list gives a user no right to its attributes",
          InSnapshot([](Attacker& user, const std::u16string& folder) {
            return user.TryTurnIntoJunction(folder, kTwinFolder);
          })),
      Row("file planted in the private snapshot", impossible,
          "its access list gives users no right",
          InSnapshot([](Attacker& user, const std::u16string& folder) {
            return user.TryCreateFile(folder + u"\\planted.dll", "x");
          })),
      Row("private INF overwritten", impossible, "its access list gives users no right",
          InSnapshot([](Attacker& user, const std::u16string& folder) {
            return user.TryWrite(folder + u"\\vorn_audio.inf", "x");
          })),
      Row("private INF renamed", impossible, "the access lists give users no right",
          InSnapshot([](Attacker& user, const std::u16string& folder) {
            return user.TryRename(folder + u"\\vorn_audio.inf", kStolen + std::u16string(u"\\x"));
          })),
      Row("private INF given a second name", impossible, "its access list gives users no right",
          InSnapshot([](Attacker& user, const std::u16string& folder) {
            return user.TryCreateHardLink(folder + u"\\vorn_audio.inf", u"C:\\attacker\\x.inf");
          })),
      Row("private INF held open", impossible, "its access list gives users no right",
          InSnapshot([](Attacker& user, const std::u16string& folder) {
            return user.TryHold(folder + u"\\vorn_audio.inf", platform::FILE_READ_DATA, 0);
          })),
      Row("access list of the private snapshot changed", impossible,
          "Administrators own it, not the user who owns the folder above",
          InSnapshot([](Attacker& user, const std::u16string& folder) {
            return user.TrySetSecurity(folder, kOwnFolderSecurity);
          })),
      Row("folder with the snapshot's kind of name planted", Expectation::Harmless,
          "the real name has 128 random bits, and an existing one is not taken",
          [](Attacker& user) {
            return user.TryCreateFolder(
                u"C:\\Scratch\\temp\\VORN-input-00000000000000000000000000000000");
          }),
      Row("temporary folder's access list opened to everybody", Expectation::Harmless,
          "the snapshot inherits nothing",
          [](Attacker& user) { return user.TrySetSecurity(kTempFolder, u"D:(A;OICI;FA;;;WD)"); }),
  };
}

std::vector<Attack> Redirections() {
  std::vector<Attack> attacks = {
      Redirected("a network share", "only a drive letter begins a path",
                 u"\\\\server\\share\\temp\\", u"0000007B"),
      Redirected("a junction", "a link on the way is opened itself and refused",
                 u"C:\\attacker\\link\\", u"00001129",
                 [](Machine& machine) {
                   PutLink(machine.files, u"C:\\attacker\\link", ReparseKind::Junction,
                           u"C:\\Windows", true);
                 }),
      Redirected("a mapped network drive", "the letter leads to no hard-disk volume", u"N:\\temp\\",
                 u"000004B0",
                 [](Machine& machine) {
                   machine.files.dosDevices[u"N:"] =
                       u"\\Device\\LanmanRedirector\\;N:0000000000012345\\server\\share";
                 }),
      Redirected("a SUBST drive", "the letter leads to no hard-disk volume", u"S:\\", u"000004B0",
                 [](Machine& machine) { machine.files.dosDevices[u"S:"] = u"\\??\\C:\\attacker"; }),
      Redirected("a stream", "a colon is in no safe name", u"C:\\Scratch\\temp:stream\\",
                 u"0000007B"),
      Redirected("a file", "a file is no folder", u"C:\\protected\\victim.txt\\", u"0000010B"),
      Redirected("nothing", "nowhere to copy to", u"C:\\nowhere\\", u"00000002"),
      Redirected("a folder by an extended prefix", "only a drive letter begins a path",
                 u"\\\\?\\C:\\Scratch\\temp\\", u"0000007B"),
      Redirected("a reserved name", "device names are refused", u"C:\\Scratch\\aux\\", u"0000007B"),
      Redirected("a folder with a trailing dot", "no safe name ends in a dot",
                 u"C:\\Scratch\\temp.\\", u"0000007B"),
      Redirected("a step upwards", "no steps in a path", u"C:\\Scratch\\temp\\..\\", u"0000007B"),
      Redirected("a folder that administrators may not use", "no right to create a folder in it",
                 u"C:\\attacker\\closed\\", u"00000005",
                 [](Machine& machine) {
                   MakeFolder(machine.files, u"C:\\attacker\\closed");
                   NodeAt(machine.files, u"C:\\attacker\\closed").security = {
                       kOtherUser, {}, true, true, false, {}};
                 }),
  };
  Attack other =
      Redirected("another volume", "the snapshot protects itself wherever it is", u"D:\\temp\\", {},
                 [](Machine& machine) { MakeFolder(machine.files, u"D:\\temp"); });
  other.expectation = Expectation::Harmless;
  other.answers.clear();
  attacks.push_back(other);

  Attack alias = Redirected(
      "a folder by its 8.3 alias", "it is another name of the same folder, which is held",
      u"C:\\SCRATC~1\\temp\\", {},
      [](Machine& machine) { SetShortName(machine.files, kTempParent, u"SCRATC~1"); });
  alias.expectation = Expectation::Harmless;
  alias.answers.clear();
  attacks.push_back(alias);

  Attack letter = Redirected("a user's drive letter that he remaps to a folder",
                             "the letter must lead to a hard-disk volume and is asked once",
                             u"P:\\Scratch\\temp\\", u"000004B0", [](Machine& machine) {
                               machine.files.dosDevices[u"P:"] = u"\\Device\\HarddiskVolume3";
                             });
  letter.strike = [](Attacker& user) {
    return user.TryDefineDosDevice(u'P', u"\\??\\C:\\attacker");
  };
  attacks.push_back(letter);
  return attacks;
}

}  // namespace

std::vector<Attack> TemporaryFolderAttacks() {
  std::vector<Attack> attacks;
  for (const auto& part : {FolderSwaps(), ForeseenNames(), SnapshotAttacks(), Redirections()}) {
    attacks.insert(attacks.end(), part.begin(), part.end());
  }
  return attacks;
}

}  // namespace vorn::tests
