// Attacks on the journal: its file and its folder.

#include "platform/files.h"
#include "platform/simulated/file_system.h"
#include "platform/simulated/file_values.h"
#include "tests/adversaries/attack.h"
#include "tests/support/activation.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform::simulated;

namespace {

const std::vector<Job> kWriters = {Job::FreshInstall, Job::Update};
const std::vector<Job> kReaders = {Job::Verify, Job::HotActivate};
constexpr char16_t kStolenState[] = u"C:\\attacker\\stolen\\state";

constexpr char16_t kNotInspected[] =
    u"vorn_devnode: activation state could not be safely inspected\n";
constexpr char16_t kMissingOrUnsafe[] = u"vorn_devnode: activation state missing or unsafe\n";

const std::vector<Answer> kWritersRefuse = {{Job::FreshInstall, 9, kNotInspected},
                                            {Job::Update, 9, kNotInspected}};
const std::vector<Answer> kReadersRefuse = {{Job::Verify, 11, kMissingOrUnsafe},
                                            {Job::HotActivate, 15, kMissingOrUnsafe}};

/// Two attacks: an object is put at the journal's path before an install, or replaces the journal
/// before it is read.
std::vector<Attack> Planted(const std::string& name, const std::string& why,
                            std::function<bool(Attacker&)> put) {
  Attack attack;
  attack.name = name + " planted for the journal";
  attack.expectation = Expectation::Refused;
  attack.why = why;
  attack.jobs = kWriters;
  attack.strike = put;
  attack.answers = kWritersRefuse;
  Attack exchange = attack;
  exchange.name = "journal exchanged for " + name;
  exchange.jobs = kReaders;
  exchange.answers = kReadersRefuse;
  exchange.strike = [put](Attacker& user) {
    return user.TryRename(kSampleJournal, kStolenState) && (put(user), true);
  };
  return {attack, exchange};
}

/// A journal whose access list somebody weakened, or a file that only looks like a journal.
std::vector<Attack> WeakJournals() {
  const auto weak = [](std::string name, const char* why, const char16_t* sddl) {
    Attack attack;
    attack.name = "journal " + std::move(name);
    attack.expectation = Expectation::Refused;
    attack.why = why;
    attack.jobs = kReaders;
    attack.answers = kReadersRefuse;
    attack.prepare = [sddl](Machine& machine) {
      NodeAt(machine.files, kSampleJournal).security = *ParseSddl(sddl);
    };
    return attack;
  };
  const auto sound = [&](std::string name, const char* why, const char16_t* sddl) {
    Attack attack = weak(std::move(name), why, sddl);
    attack.expectation = Expectation::Harmless;
    attack.answers = {{Job::Verify, 0, u""}, {Job::HotActivate, 0, u""}};
    return attack;
  };
  constexpr char kOwner[] = "its owner is neither Administrators nor the system";
  constexpr char kList[] = "its access list is not the protected one";
  return {
      weak("of another owner with the protected access list", kOwner,
           u"O:S-1-5-21-1000000000-2000000000-3000000000-1002D:P(A;;FA;;;SY)(A;;FA;;;BA)"),
      weak("that users may write", kList, u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;BU)"),
      weak("that inherits its access list", kList, u"O:BAD:(A;ID;FA;;;SY)(A;ID;FA;;;BA)"),
      weak("without an access list", kList, u"O:BA"),
      weak("whose access list is empty", kList, u"O:BAD:P"),
      sound("owned by the system", "the system is trusted as Administrators are",
            u"O:SYD:P(A;;FA;;;SY)(A;;FA;;;BA)"),
      sound("that users may read", "only who may change it matters",
            u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;BU)"),
  };
}

}  // namespace

std::vector<Attack> StateAttacks() {
  // Read in advance: writing a journal needs a process of its own, and a strike happens inside one.
  const std::string honestJournal = TextOf(MachineFor(Job::Verify), kSampleJournal);
  std::vector<Attack> attacks;
  const auto add = [&](const std::string& name, const std::string& why,
                       std::function<bool(Attacker&)> put) {
    for (Attack& attack : Planted(name, why, std::move(put)))
      attacks.push_back(std::move(attack));
  };
  add("a user's copy of a journal", "its owner and access list are not the protected ones",
      [honestJournal](Attacker& user) {
        return user.TryCreateFile(kSampleJournal, honestJournal);
      });
  add("an empty file", "its owner and access list are not the protected ones",
      [](Attacker& user) { return user.TryCreateFile(kSampleJournal, ""); });
  add("a hard link to a protected file", "a file with two names is refused",
      [](Attacker& user) { return user.TryCreateHardLink(kVictim, kSampleJournal); });
  add("a symbolic link to a protected file", "the link itself is opened and is no plain file",
      [](Attacker& user) { return user.TryCreateSymbolicLink(kSampleJournal, kVictim, false); });
  add("a symbolic link to nothing", "the link itself is opened and is no plain file",
      [](Attacker& user) {
        return user.TryCreateSymbolicLink(kSampleJournal, u"C:\\Windows\\created.ini", false);
      });
  add("a junction", "the link itself is opened and is a folder",
      [](Attacker& user) { return user.TryCreateJunction(kSampleJournal, u"C:\\Windows"); });
  add("a folder", "a folder is no file",
      [](Attacker& user) { return user.TryCreateFolder(kSampleJournal); });

  Attack row;
  row.name = "second name given to the journal";
  row.expectation = Expectation::Refused;
  row.why = "a file with two names is refused";
  row.jobs = kReaders;
  row.answers = kReadersRefuse;
  row.strike = [](Attacker& user) {
    return user.TryCreateHardLink(kSampleJournal, u"C:\\attacker\\second");
  };
  attacks.push_back(row);

  row.name = "journal deleted";
  row.why = "no journal, no proof";
  row.strike = [](Attacker& user) { return user.TryDelete(kSampleJournal); };
  attacks.push_back(row);

  row.name = "folder of the journal exchanged for a junction";
  row.why = "a link on the way is opened itself and refused";
  row.strike = [](Attacker& user) {
    return user.TryRename(u"C:\\pkg", u"C:\\attacker\\stolen\\pkg") &&
           (user.TryCreateJunction(u"C:\\pkg", u"C:\\attacker\\stolen\\pkg"), true);
  };
  attacks.push_back(row);

  row.name = "folder of the journal exchanged under an install";
  row.jobs = kWriters;
  row.answers.clear();
  row.expectation = Expectation::Harmless;
  row.why =
      "the package's folder in it is held, then the journal's; between them a link is refused";
  attacks.push_back(row);

  for (Attack& attack : WeakJournals())
    attacks.push_back(std::move(attack));

  row = {};
  row.expectation = Expectation::Impossible;
  row.jobs = {Job::FreshInstall, Job::Update, Job::Verify, Job::HotActivate};
  row.why = "its access list is the protected one from its creation";
  row.name = "journal overwritten";
  row.strike = [honestJournal](Attacker& user) {
    return user.TryWrite(kSampleJournal, honestJournal);
  };
  attacks.push_back(row);
  row.name = "journal held open";
  row.strike = [](Attacker& user) {
    return user.TryHold(kSampleJournal, platform::FILE_READ_DATA, kShareAll);
  };
  attacks.push_back(row);
  row.name = "journal's access list changed";
  row.strike = [](Attacker& user) {
    return user.TrySetSecurity(kSampleJournal, kOwnFolderSecurity);
  };
  attacks.push_back(row);

  row.name = "journal deleted while an install works";
  row.jobs = kWriters;
  row.expectation = Expectation::Harmless;
  row.why = "it is held without delete sharing until the command lets go of it, at its end";
  row.strike = [](Attacker& user) { return user.TryDelete(kSampleJournal); };
  attacks.push_back(row);
  return attacks;
}

}  // namespace vorn::tests
