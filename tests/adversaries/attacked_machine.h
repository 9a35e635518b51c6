#pragma once

// The machines that attacks are tried on: each belongs to one command, and on each another user
// owns the package's folder and all above it but the root, the temporary folder and its parent, and
// a folder of his own with a twin of the package. Files of others that he would like to see changed
// stand beside them.

#include "platform/simulated/machine.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

inline constexpr char16_t kPackageFolder[] = u"C:\\pkg\\driver";
inline constexpr char16_t kInf[] = u"C:\\pkg\\driver\\vorn_audio.inf";
inline constexpr char16_t kStatePath[] = u"C:\\pkg\\.vorn-driver-activation-state";
inline constexpr char16_t kLogFolder[] = u"C:\\pkg\\logs";
inline constexpr char16_t kLogFile[] = u"C:\\pkg\\logs\\vorn_devnode.log";
inline constexpr char16_t kTempParent[] = u"C:\\Scratch";
inline constexpr char16_t kTempFolder[] = u"C:\\Scratch\\temp";
inline constexpr char16_t kAttackerFolder[] = u"C:\\attacker";
inline constexpr char16_t kStolen[] = u"C:\\attacker\\stolen";  // where he moves what he takes
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

/// Whether a final RESULT=OK of it claims that the driver is active.
bool ClaimsActivation(Job job);

/// The machine before the command, as the other user found it.
platform::simulated::Machine MachineFor(Job job);

/// The command line of the job, with these paths in the places of the usual ones.
std::vector<std::u16string> CommandLine(Job job, const std::u16string& infPath = kInf,
                                        const std::u16string& statePath = kStatePath);

/// The text of a file of the machine, which must exist.
std::string TextOf(const platform::simulated::Machine& machine, std::u16string_view path);

}  // namespace vorn::tests
