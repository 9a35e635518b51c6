// Which final line belongs to which status.

#include "base/text.h"
#include "tests/invariants/checkers.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace vorn::tests {

namespace {

constexpr std::u16string_view kPrefix = u"vorn_devnode: RESULT=";
constexpr std::u16string_view kPruned = u"vorn_devnode: RESULT=DUPLICATE_CLEANUP_REBOOT";
constexpr std::u16string_view kRetired = u"vorn_devnode: retained activation state matches";

struct FinalLine {
  std::string code;  // empty when there is none
  bool error = false;
  int count = 0;
};

/// The last RESULT line. The line about a retained journal that was then retired and the line about
/// pruned duplicates are not the outcome of the run.
FinalLine FindFinalLine(const Observation& run) {
  FinalLine last;
  for (const auto& write : run.Console()) {
    const std::u16string_view text = write.text;
    if (text.starts_with(kRetired)) last = {};
    if (!text.starts_with(kPrefix) || text.starts_with(kPruned)) continue;
    const std::u16string_view rest = text.substr(kPrefix.size());
    last = {ToUtf8(rest.substr(0, rest.find(u' '))), write.error, last.count + 1};
  }
  return last;
}

/// A status of a command and the code of its final line; "" for statuses without one. `said` must
/// appear on the console.
struct Row {
  int status;
  const char* code;
  const char16_t* said = u"";
};

constexpr Row kInstallRows[] = {
    {0, "OK"},
    {2, ""},
    {3, "", u"SetupDiCreateDeviceInfoList failed"},
    {4, "", u"SetupDiClassNameFromGuid failed"},
    {5, "", u"SetupDiCreateDeviceInfo failed"},
    {6, "", u"SetupDiSetDeviceRegistryProperty(HARDWAREID) failed"},
    {7, "", u"SetupDiCallClassInstaller(DIF_REGISTERDEVICE) failed"},
    {8, "", u"UpdateDriverForPlugAndPlayDevices failed"},
    {9, "", u"activation state"},
    {9, "", u"activation-state"},
    {9, "NOT_STARTED", u"does not match the live driver"},
    {9, "ENDPOINTS_MISSING", u"does not match the live driver"},
    {10, "REBOOT_REQUIRED"},
    {11, "", u"existing root has no complete MMDevice catalog baseline"},
    {11, "", u"existing endpoint baseline is ambiguous"},
    {11, "ENDPOINTS_MISSING"},
    {12, "", u"existing root baseline is missing or ambiguous"},
    {12, "NOT_STARTED"},
    {15, "HOT_SWAP_FAILED"},
    {16, "BIND_REFUSED"},
    {16, "NOT_STARTED", u"previous package selection restored"},
};
constexpr Row kVerifyRows[] = {{0, "OK"}, {11, "ENDPOINTS_MISSING"}, {12, "NOT_STARTED"}};
constexpr Row kHotActivateRows[] = {
    {0, "OK"}, {11, "ENDPOINTS_MISSING"}, {12, "NOT_STARTED"}, {15, "HOT_SWAP_FAILED"}};
constexpr Row kAuditCurrentRows[] = {
    {0, "OK"}, {2, ""}, {11, "ENDPOINTS_MISSING"}, {12, "NOT_STARTED"}};
constexpr Row kAuditCatalogRows[] = {{0, "", u"catalog audit OK"},
                                     {11, "", u"catalog audit failed"},
                                     {12, "", u"catalog audit root failed"}};
constexpr Row kResumeRows[] = {{0, "", u"20 shown, 0 failed"},
                               {11, "", u" failed\n"},
                               {12, "", u"resume-endpoints: "},
                               {15, "", u"controller lease unavailable"}};
constexpr Row kRemoveRows[] = {
    {0, "OK", u"zero installed roots and exact packages verified"},
    {3, ""},
    {3, "REMOVE_FAILED", u"no device was touched"},
    {10, "REBOOT_REQUIRED"},
    {13, "REMOVE_FAILED"},
    {17, "REMOVE_BUSY"},
};

template <std::size_t N>
bool Allows(const Row (&rows)[N], const Observation& run, const FinalLine& line) {
  return std::any_of(std::begin(rows), std::end(rows), [&](const Row& row) {
    return row.status == run.run.status && line.code == row.code && run.Said(row.said);
  });
}

bool IsInTable(const Observation& run, const FinalLine& line) {
  switch (run.command) {
    case Command::Install:
    case Command::InstallRollback:
      return Allows(kInstallRows, run, line);
    case Command::Remove:
      return Allows(kRemoveRows, run, line);
    case Command::Verify:
      return Allows(kVerifyRows, run, line);
    case Command::HotActivate:
      return Allows(kHotActivateRows, run, line);
    case Command::AuditCurrent:
      return Allows(kAuditCurrentRows, run, line);
    case Command::AuditCatalog:
      return Allows(kAuditCatalogRows, run, line);
    case Command::ResumeEndpoints:
      return Allows(kResumeRows, run, line);
  }
  return false;
}

/// Success and a pending removal go to standard output; every other line goes to standard error.
bool IsOnRightStream(const Observation& run, const FinalLine& line) {
  if (line.code == "OK") return !line.error;
  const bool pendingRemoval = run.command == Command::Remove && line.code == "REBOOT_REQUIRED" &&
                              run.Said(u"removal is pending restart");
  return line.error != pendingRemoval;
}

}  // namespace

Violations CheckFinalLine(const Observation& run) {
  if (run.run.killed) return {};
  const FinalLine line = FindFinalLine(run);
  if (line.count > 1) return {std::to_string(line.count) + " final lines"};
  if (!IsInTable(run, line)) {
    return {"status " + std::to_string(run.run.status) + " with the final line \"" + line.code +
            "\""};
  }
  if (!line.code.empty() && !IsOnRightStream(run, line)) {
    return {"the final line " + line.code + " is on the wrong stream"};
  }
  return {};
}

}  // namespace vorn::tests
