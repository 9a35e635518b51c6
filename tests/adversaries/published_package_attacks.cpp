// Attacks on the published INF in the Windows folder, which users may read.

#include "platform/files.h"
#include "platform/simulated/driver_store.h"
#include "platform/simulated/file_values.h"
#include "tests/adversaries/attack.h"

namespace vorn::tests {

using namespace platform::simulated;

namespace {

/// The INF of the only published package that is not foreign.
std::u16string PublishedInf(Attacker& user) {
  const Machine& machine = user.TheMachine();
  for (const PublishedPackage& package : machine.store.packages) {
    if (!package.foreign) return PublishedInfPath(machine, package.publishedInf);
  }
  return {};
}

Attack Row(std::string name, Expectation expectation, std::string why,
           std::function<bool(Attacker&, const std::u16string&)> act) {
  Attack attack;
  attack.name = "published INF " + std::move(name);
  attack.expectation = expectation;
  attack.why = std::move(why);
  attack.jobs = {Job::FreshInstall, Job::Update, Job::Remove,
                 Job::AuditCurrent, Job::Verify, Job::HotActivate};
  attack.strike = [act = std::move(act)](Attacker& user) {
    const std::u16string path = PublishedInf(user);
    return !path.empty() && act(user, path);
  };
  return attack;
}

}  // namespace

std::vector<Attack> PublishedPackageAttacks() {
  const Expectation impossible = Expectation::Impossible;
  constexpr char kWhy[] = "Windows gives users no right to change its INF folder";
  Attack secondName = Row("given a second name", Expectation::Harmless,
                          "a file with two names is refused: the package is not proven",
                          [](Attacker& user, const std::u16string& path) {
                            return user.TryCreateHardLink(path, u"C:\\attacker\\second.inf");
                          });
  Attack held =
      Row("held open without sharing", Expectation::Harmless, "what cannot be read is not proven",
          [](Attacker& user, const std::u16string& path) {
            return user.TryHold(path, platform::FILE_READ_DATA, 0);
          });
  std::erase(secondName.jobs, Job::Remove);
  std::erase(held.jobs, Job::Remove);
  const auto removalOf = [](Attack attack) {
    attack.name += ", against a removal";
    attack.expectation = Expectation::KnownLimit;
    attack.why = "an INF that cannot be opened is passed over: the package stays, uncounted";
    attack.limits = {"OK although the package is published"};
    attack.jobs = {Job::Remove};
    attack.answers = {{Job::Remove, 0, u" 0 exact driver package(s)"}};
    return attack;
  };
  return {
      Row("overwritten", impossible, kWhy,
          [](Attacker& user, const std::u16string& path) { return user.TryWrite(path, "x"); }),
      Row("renamed", impossible, kWhy,
          [](Attacker& user, const std::u16string& path) {
            return user.TryRename(path, u"C:\\attacker\\stolen\\oem.inf");
          }),
      Row("deleted", impossible, kWhy,
          [](Attacker& user, const std::u16string& path) { return user.TryDelete(path); }),
      Row("held open for writing", impossible, kWhy,
          [](Attacker& user, const std::u16string& path) {
            return user.TryHold(path, platform::FILE_WRITE_DATA, kShareAll);
          }),
      secondName,
      removalOf(secondName),
      held,
      removalOf(held),
  };
}

}  // namespace vorn::tests
