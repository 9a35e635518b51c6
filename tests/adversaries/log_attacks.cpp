// Attacks on the removal log, to which an elevated process appends in a folder beside the user's
// files.

#include "platform/files.h"
#include "platform/simulated/file_system.h"
#include "tests/adversaries/attack.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform::simulated;

namespace {

Attack Row(std::string name, std::string why, std::function<bool(Attacker&)> strike) {
  Attack attack;
  attack.name = std::move(name);
  attack.expectation = Expectation::Harmless;
  attack.why = std::move(why);
  attack.jobs = {Job::Remove};
  attack.strike = std::move(strike);
  attack.answers = {{Job::Remove, 0, u"RESULT=OK"}};
  return attack;
}

/// Acts in the log folder, which the user creates if the program has not.
std::function<bool(Attacker&)> InLogFolder(std::function<bool(Attacker&)> act) {
  return [act = std::move(act)](Attacker& user) {
    const bool made = user.TryCreateFolder(kSampleLogFolder);
    return act(user) || made;
  };
}

}  // namespace

std::vector<Attack> LogAttacks() {
  constexpr char kNoLog[] = "a log that is reached by a link is not used";
  Attack above = Row("folder above the log exchanged for a junction",
                     "it is held before anything is created in it; without it there is no log",
                     [](Attacker& user) {
                       return user.TryRename(u"C:\\pkg", u"C:\\attacker\\stolen\\pkg") &&
                              (user.TryCreateJunction(u"C:\\pkg", u"C:\\attacker\\twin"), true);
                     });
  // The INF moves with the folder, so a strike that comes in time is refused for the INF.
  above.answers = {{Job::Remove, 3, u"refused (error 0x00001129)"}};
  return {
      above,
      Row("log folder planted as a junction into Windows", kNoLog,
          [](Attacker& user) { return user.TryCreateJunction(kSampleLogFolder, u"C:\\Windows"); }),
      Row("log folder planted as a symbolic link", kNoLog,
          [](Attacker& user) {
            return user.TryCreateSymbolicLink(kSampleLogFolder, u"C:\\Windows", true);
          }),
      Row("log folder planted as a file", "a file is no folder",
          [](Attacker& user) { return user.TryCreateFile(kSampleLogFolder, "x"); }),
      Row("log folder planted with a weak access list", "what is written there is only text",
          [](Attacker& user) { return user.TryCreateFolder(kSampleLogFolder); }),
      Row("log file planted as a hard link to a protected file", "a log with two names is not used",
          InLogFolder(
              [](Attacker& user) { return user.TryCreateHardLink(kWindowsVictim, kSampleLog); })),
      Row("log file planted as a symbolic link to a protected file", kNoLog,
          InLogFolder([](Attacker& user) {
            return user.TryCreateSymbolicLink(kSampleLog, kVictim, false);
          })),
      Row("log file planted as a symbolic link to a new file", kNoLog,
          InLogFolder([](Attacker& user) {
            return user.TryCreateSymbolicLink(kSampleLog, u"C:\\Windows\\new.dll", false);
          })),
      Row("log file planted as a folder", "a folder is no log",
          InLogFolder([](Attacker& user) { return user.TryCreateFolder(kSampleLog); })),
      Row("log file planted and held without sharing", "a log that cannot be opened is not used",
          InLogFolder([](Attacker& user) {
            user.TryCreateFile(kSampleLog, "x");
            return user.TryHold(kSampleLog, platform::FILE_WRITE_DATA, 0);
          })),
      Row("log file exchanged for a hard link to a protected file",
          "it is held without delete sharing as long as it is used",
          [](Attacker& user) {
            return user.TryRename(kSampleLog, u"C:\\attacker\\stolen\\log") &&
                   (user.TryCreateHardLink(kWindowsVictim, kSampleLog), true);
          }),
      Row("log folder exchanged for a junction into Windows",
          "it is held without delete sharing as long as it is used",
          [](Attacker& user) {
            return user.TryRename(kSampleLogFolder, u"C:\\attacker\\stolen\\logs") &&
                   (user.TryCreateJunction(kSampleLogFolder, u"C:\\Windows"), true);
          }),
      Row("log folder itself made a junction", "the log file in it is held, so it is not empty",
          [](Attacker& user) {
            return user.TryTurnIntoJunction(kSampleLogFolder, u"C:\\Windows");
          }),
  };
}

}  // namespace vorn::tests
