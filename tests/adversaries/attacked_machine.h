#pragma once

// The machines that are attacked, one for each command. On each of them an unprivileged user owns
// the package's folder and every folder above it except the root, the temporary folder and its
// parent, and a folder of his own with a twin of the package. The machine also holds protected
// files that he wants to see changed.

#include "platform/simulated/machine.h"
#include "tests/support/sample.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

inline constexpr char16_t kTempParent[] = u"C:\\Scratch";
inline constexpr char16_t kTempFolder[] = u"C:\\Scratch\\temp";
inline constexpr char16_t kAttackerFolder[] = u"C:\\attacker";
inline constexpr char16_t kStolen[] =
    u"C:\\attacker\\stolen";  // where the attacker moves what he takes
inline constexpr char16_t kTwinFolder[] =
    u"C:\\attacker\\twin\\driver";  // same version, other bytes
inline constexpr char16_t kVictim[] = u"C:\\protected\\victim.txt";
inline constexpr char16_t kWindowsVictim[] = u"C:\\Windows\\victim.ini";
inline constexpr char16_t kVictimKey[] = u"SOFTWARE\\Victim";

enum class Job {
  FreshInstall,
  Update,
  Remove,
  AuditCurrent,
  Verify,
  HotActivate,
  AuditCatalog,
  ResumeEndpoints
};

inline constexpr Job kAllJobs[] = {Job::FreshInstall, Job::Update,         Job::Remove,
                                   Job::AuditCurrent, Job::Verify,         Job::HotActivate,
                                   Job::AuditCatalog, Job::ResumeEndpoints};

/// "fresh install" and so on.
std::string NameOf(Job job);

/// Whether the command takes an INF, and so the private snapshot.
bool TakesInf(Job job);

/// Whether its RESULT=OK claims that the driver is active.
bool ClaimsActivation(Job job);

/// The machine before the command, with everything that the user owns.
platform::simulated::Machine MachineFor(Job job);

/// The command line of the job, with these paths instead of the usual ones.
std::vector<std::u16string> CommandLine(Job job, const std::u16string& infPath = kSampleInf,
                                        const std::u16string& statePath = kSampleJournal);

}  // namespace vorn::tests
