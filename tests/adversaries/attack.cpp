#include "tests/adversaries/attack.h"

namespace vorn::tests {

const std::vector<Job>& JobsWithInf() {
  static const std::vector<Job> jobs = {Job::FreshInstall, Job::Update, Job::Remove,
                                        Job::AuditCurrent};
  return jobs;
}

std::vector<Answer> SnapshotRefused(const std::u16string& error) {
  const std::u16string text =
      u"vorn_devnode: protected local package snapshot refused (error 0x" + error + u")\n";
  return {{Job::FreshInstall, 2, text},
          {Job::Update, 2, text},
          {Job::Remove, 3, text},
          {Job::AuditCurrent, 2, text}};
}

bool TryEmpty(Attacker& user, const std::u16string& folder) {
  for (const std::u16string& name :
       platform::simulated::ListFolder(user.TheMachine().files, folder)) {
    if (!user.TryRename(folder + u"\\" + name, kStolen + std::u16string(u"\\") + name))
      return false;
  }
  return true;
}

std::vector<Attack> AllAttacks() {
  std::vector<Attack> all;
  for (const auto& part : {InputAttacks(), NameAttacks(), TemporaryFolderAttacks(), StateAttacks(),
                           LogAttacks(), DriveAttacks(), DeviceAttacks(), ComponentSwaps(),
                           BriefSwaps(), PublishedPackageAttacks()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

}  // namespace vorn::tests
