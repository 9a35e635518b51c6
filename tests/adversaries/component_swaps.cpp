// Every component of every path that a command opens, replaced by a junction, a symbolic link or a
// hard link to another file. More specific rows are listed with the other attacks on that path.

#include "platform/simulated/file_system.h"
#include "tests/adversaries/attack.h"
#include "tests/support/activation.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform::simulated;

namespace {

constexpr char kLink[] = "a link on the way is opened itself and refused";
constexpr char16_t kWindows[] = u"C:\\Windows";
constexpr char16_t kStateFolder[] = u"C:\\attacker\\state";
constexpr char16_t kDeepFolder[] = u"C:\\attacker\\state\\deep";
constexpr char16_t kDeepState[] = u"C:\\attacker\\state\\deep\\journal";
constexpr char16_t kJournalMissing[] = u"vorn_devnode: activation state missing or unsafe\n";
constexpr char16_t kJournalNotInspected[] =
    u"vorn_devnode: activation state could not be safely inspected\n";

struct Swap {
  const char* word;
  std::function<bool(Attacker&, const std::u16string& path, const std::u16string& target)> act;
};

std::u16string StolenName(const std::u16string& path) {
  return kStolen + path.substr(path.rfind(u'\\'));
}

const Swap kJunction = {
    "exchanged for a junction",
    [](Attacker& user, const std::u16string& path, const std::u16string& target) {
      return user.TryRename(path, StolenName(path)) && (user.TryCreateJunction(path, target), true);
    }};
const Swap kSymbolicLink = {
    "exchanged for a symbolic link",
    [](Attacker& user, const std::u16string& path, const std::u16string& target) {
      return user.TryRename(path, StolenName(path)) &&
             (user.TryCreateSymbolicLink(path, target, true), true);
    }};
const Swap kFileLink = {
    "exchanged for a symbolic link",
    [](Attacker& user, const std::u16string& path, const std::u16string& target) {
      return user.TryRename(path, StolenName(path)) &&
             (user.TryCreateSymbolicLink(path, target, false), true);
    }};
const Swap kHardLink = {
    "exchanged for a hard link to a protected file",
    [](Attacker& user, const std::u16string& path, const std::u16string& target) {
      return user.TryRename(path, StolenName(path)) && (user.TryCreateHardLink(target, path), true);
    }};
const Swap kEmptied = {"emptied and made a junction", [](Attacker& user, const std::u16string& path,
                                                         const std::u16string& target) {
                         return TryEmpty(user, path) && user.TryTurnIntoJunction(path, target);
                       }};

const Swap kLoop = {"exchanged for a junction to itself", kJunction.act};
const Swap kRelativeLink = {"exchanged for a relative symbolic link", kSymbolicLink.act};
const Swap kUnknownLink = {"exchanged for another kind of reparse point",
                           [](Attacker& user, const std::u16string& path, const std::u16string&) {
                             return user.TryRename(path, StolenName(path)) &&
                                    (user.TryCreateUnknownLink(path, true), true);
                           }};
const Swap kUnknownFileLink = {
    "exchanged for another kind of reparse point",
    [](Attacker& user, const std::u16string& path, const std::u16string&) {
      return user.TryRename(path, StolenName(path)) &&
             (user.TryCreateUnknownLink(path, false), true);
    }};

Attack Row(const std::string& component, const Swap& swap, const std::u16string& path,
           const std::u16string& target, std::vector<Job> jobs, std::vector<Answer> answers) {
  Attack attack;
  attack.name = component + " " + swap.word;
  attack.expectation = Expectation::Refused;
  attack.why = kLink;
  attack.jobs = std::move(jobs);
  attack.answers = std::move(answers);
  attack.strike = [swap, path, target](Attacker& user) { return swap.act(user, path, target); };
  return attack;
}

Attack InputRow(const std::string& component, const Swap& swap, const std::u16string& path,
                const std::u16string& target, const char16_t* error) {
  return Row(component, swap, path, target, JobsWithInf(), SnapshotRefused(error));
}

std::vector<Attack> InputFolders() {
  const std::vector<Job> notRemove = {Job::FreshInstall, Job::Update, Job::AuditCurrent};
  Attack above = InputRow("folder above", kEmptied, u"C:\\pkg", kWindows, u"00001129");
  above.jobs = notRemove;
  Attack log = InputRow("folder above the log", kEmptied, u"C:\\pkg", kWindows, u"00001129");
  log.jobs = {Job::Remove};
  log.expectation = Expectation::KnownLimit;
  log.why =
      "it is held before `logs` is created in it by name; a held folder that is empty can still be "
      "made a junction, and then an empty folder is created where it leads";
  log.limits = {"created: C:\\Windows\\logs"};
  return {
      InputRow("folder above", kSymbolicLink, u"C:\\pkg", u"C:\\attacker\\twin", u"00001129"),
      above,
      log,
      InputRow("INF's folder", kEmptied, kSampleFolder, kTwinFolder, u"00001129"),
      InputRow("INF's folder", kLoop, kSampleFolder, kSampleFolder, u"00001129"),
      InputRow("INF's folder", kRelativeLink, kSampleFolder, u"..\\attacker\\twin\\driver",
               u"00001129"),
      InputRow("INF's folder", kUnknownLink, kSampleFolder, u"", u"00001129"),
      InputRow("INF", kUnknownFileLink, kSampleInf, u"", u"000003EE"),
  };
}

std::vector<Attack> InputFiles() {
  std::vector<Attack> attacks;
  for (const auto& [name, file] : {std::pair(std::string("catalog"), u"\\vorn_audio.cat"),
                                   std::pair(std::string("driver file"), u"\\vorn_audio.sys")}) {
    const std::u16string path = kSampleFolder + std::u16string(file);
    const std::u16string twin = kTwinFolder + std::u16string(file);
    Attack link = InputRow(name, kFileLink, path, twin, u"000003EE");
    link.why = "the link itself is opened and is no plain file";
    Attack hard = InputRow(name, kHardLink, path, kVictim, u"000003EE");
    hard.why = "a file with two names is refused";
    Attack junction = InputRow(name, kJunction, path, kTwinFolder, u"00001129");
    junction.why = "a listed link ends the snapshot";
    attacks.insert(attacks.end(), {link, hard, junction});
  }
  for (const Swap& swap : {kJunction, kSymbolicLink, kEmptied}) {
    Attack sub = InputRow("folder in the INF's folder", swap, u"C:\\pkg\\driver\\x64", kTwinFolder,
                          u"00001129");
    sub.why = "a listed link ends the snapshot";
    sub.prepare = [](Machine& machine) {
      PutFile(machine.files, u"C:\\pkg\\driver\\x64\\extra.dll", "what a package carries");
    };
    attacks.push_back(std::move(sub));
  }
  return attacks;
}

std::vector<Attack> TemporaryFolders() {
  return {
      InputRow("folder above the temporary one", kSymbolicLink, kTempParent, kAttackerFolder,
               u"00001129"),
      InputRow("folder above the temporary one", kEmptied, kTempParent, kAttackerFolder,
               u"00001129"),
  };
}

/// The journal in a folder of its own, two levels deep in the attacker's folder.
void MoveJournal(Machine& machine) {
  MakeFolder(machine.files, kDeepFolder);
  if (!FindNode(machine.files, kSampleJournal)) return;
  MovePath(machine.files, kSampleJournal, kDeepState);
}

std::vector<Attack> StateFolders() {
  const std::vector<Answer> unsafe = {{Job::FreshInstall, 9, kJournalNotInspected},
                                      {Job::Update, 9, kJournalNotInspected},
                                      {Job::Verify, 11, kJournalMissing},
                                      {Job::HotActivate, 15, kJournalMissing}};
  const std::vector<Job> jobs = {Job::FreshInstall, Job::Update, Job::Verify, Job::HotActivate};
  std::vector<Attack> attacks;
  for (const Swap& swap : {kJunction, kSymbolicLink, kEmptied}) {
    attacks.push_back(Row("journal's folder", swap, kDeepFolder, kWindows, jobs, unsafe));
    attacks.push_back(
        Row("folder above the journal's", swap, kStateFolder, kAttackerFolder, jobs, unsafe));
  }
  for (Attack& attack : attacks) {
    attack.statePath = kDeepState;
    attack.prepare = MoveJournal;
  }
  return attacks;
}

std::vector<Attack> LogComponents() {
  Attack above = Row("folder above the log", kSymbolicLink, u"C:\\pkg", u"C:\\attacker\\twin",
                     {Job::Remove}, {{Job::Remove, 3, u"refused (error 0x00001129)"}});
  above.why = "the INF goes with it; what comes later finds it held or leaves no log";
  Attack folder = Row("log folder", kSymbolicLink, kSampleLogFolder, kWindows, {Job::Remove}, {});
  folder.expectation = Expectation::Harmless;
  folder.why = "it is held without delete sharing as long as it is used";
  Attack file = Row("log file", kFileLink, kSampleLog, kWindowsVictim, {Job::Remove}, {});
  file.expectation = Expectation::Harmless;
  file.why = "it is held without delete sharing as long as it is used";
  Attack junction = Row("log file", kJunction, kSampleLog, kWindows, {Job::Remove}, {});
  junction.expectation = Expectation::Harmless;
  junction.why = "it is held without delete sharing as long as it is used";
  return {above, folder, file, junction};
}

}  // namespace

std::vector<Attack> ComponentSwaps() {
  std::vector<Attack> attacks;
  for (const auto& part :
       {InputFolders(), InputFiles(), TemporaryFolders(), StateFolders(), LogComponents()}) {
    attacks.insert(attacks.end(), part.begin(), part.end());
  }
  return attacks;
}

}  // namespace vorn::tests
