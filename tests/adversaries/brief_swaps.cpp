// Swaps that last for a single call: the original is back before the next one. A check and the use
// that follows may then meet different objects, and no trace remains.

#include "platform/simulated/file_system.h"
#include "tests/adversaries/attack.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform::simulated;

namespace {

constexpr char16_t kSoundTwinInf[] = u"C:\\attacker\\twin\\driver\\vorn_audio.inf";

/// Swaps what is at `path` with `put`, and undoes that with `clear` before the next call.
Attack Brief(std::string name, std::string why, std::vector<Job> jobs, const std::u16string& path,
             std::function<bool(Attacker&)> put, std::function<bool(Attacker&)> clear) {
  const std::u16string aside = kStolen + path.substr(path.rfind(u'\\'));
  Attack attack;
  attack.name = std::move(name) + " for a single call";
  attack.why = std::move(why);
  attack.jobs = std::move(jobs);
  attack.strike = [=](Attacker& user) { return user.TryRename(path, aside) && (put(user), true); };
  attack.follow = [=](Attacker& user) {
    if (FindNode(user.TheMachine().files, aside) && clear(user)) user.TryRename(aside, path);
  };
  return attack;
}

Attack BriefJunction(std::string name, std::string why, std::vector<Job> jobs,
                     const std::u16string& path, const std::u16string& target) {
  return Brief(
      std::move(name) + " exchanged for a junction", std::move(why), std::move(jobs), path,
      [=](Attacker& user) { return user.TryCreateJunction(path, target); },
      [=](Attacker& user) { return user.TryDelete(path); });
}

}  // namespace

std::vector<Attack> BriefSwaps() {
  constexpr char kHeld[] = "what was opened is held, and used by its handle";
  Attack twin = Brief(
      "INF exchanged for a twin", "the copy that is authenticated is the copy that is bound",
      JobsWithInf(), kSampleInf,
      [](Attacker& user) {
        return user.TryCreateFile(kSampleInf, TextOf(user.TheMachine(), kSoundTwinInf));
      },
      [](Attacker& user) { return user.TryDelete(kSampleInf); });
  Attack folder = Brief(
      "INF's folder exchanged for a twin's", kHeld, JobsWithInf(), kSampleFolder,
      [](Attacker& user) { return user.TryRename(kTwinFolder, kSampleFolder); },
      [](Attacker& user) { return user.TryRename(kSampleFolder, kTwinFolder); });
  Attack letter;
  letter.name = "drive letter remapped to a twin's volume for a single call";
  letter.why = "a path is walked from the volume that was checked";
  letter.jobs = JobsWithInf();
  letter.infPath = u"P:\\pkg\\driver\\vorn_audio.inf";
  letter.prepare = [](Machine& machine) {
    machine.files.dosDevices[u"P:"] = u"\\Device\\HarddiskVolume3";
  };
  letter.strike = [](Attacker& user) {
    return user.TryDefineDosDevice(u'P', u"\\Device\\HarddiskVolume4");
  };
  letter.follow = [](Attacker& user) {
    user.TryDefineDosDevice(u'P', u"\\Device\\HarddiskVolume3");
  };
  return {
      twin,
      folder,
      BriefJunction("INF's folder", kHeld, JobsWithInf(), kSampleFolder, kTwinFolder),
      BriefJunction("folder above", kHeld, JobsWithInf(), u"C:\\pkg", u"C:\\attacker\\twin"),
      BriefJunction("temporary folder", kHeld, JobsWithInf(), kTempFolder, u"C:\\Windows"),
      BriefJunction("folder above the temporary one", kHeld, JobsWithInf(), kTempParent,
                    kAttackerFolder),
      BriefJunction("journal's folder", kHeld,
                    {Job::FreshInstall, Job::Update, Job::Verify, Job::HotActivate}, u"C:\\pkg",
                    u"C:\\attacker\\twin"),
      BriefJunction("log folder", kHeld, {Job::Remove}, kSampleLogFolder, u"C:\\Windows"),
      letter,
  };
}

}  // namespace vorn::tests
