// The process token and its privileges.

#include "base/text.h"
#include "platform/last_error.h"
#include "platform/security.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/process.h"
#include "platform/simulated/security_values.h"

#include <cstring>
#include <optional>

namespace vorn::platform {

namespace simulated {

namespace {

/// An open token of the process.
class TokenObject : public Object {
 public:
  explicit TokenObject(std::uint32_t access) : access_(access) {}
  bool May(std::uint32_t right) const { return (access_ & right) != 0; }

 private:
  std::uint32_t access_;
};

struct Privilege {
  std::u16string_view name;
  std::uint32_t number;
};

constexpr std::uint32_t kBackup = 17;
constexpr std::uint32_t kRestore = 18;
constexpr std::uint32_t kChangeNotify = 23;

// Documented: privileges have the same numbers on every machine.
constexpr Privilege kPrivileges[] = {
    {u"SeCreateTokenPrivilege", 2},
    {u"SeAssignPrimaryTokenPrivilege", 3},
    {u"SeLockMemoryPrivilege", 4},
    {u"SeIncreaseQuotaPrivilege", 5},
    {u"SeTcbPrivilege", 7},
    {u"SeSecurityPrivilege", 8},
    {u"SeTakeOwnershipPrivilege", 9},
    {u"SeLoadDriverPrivilege", 10},
    {u"SeSystemProfilePrivilege", 11},
    {u"SeSystemtimePrivilege", 12},
    {u"SeBackupPrivilege", kBackup},
    {u"SeRestorePrivilege", kRestore},
    {u"SeShutdownPrivilege", 19},
    {u"SeDebugPrivilege", 20},
    {u"SeSystemEnvironmentPrivilege", 22},
    {u"SeChangeNotifyPrivilege", kChangeNotify},
    {u"SeUndockPrivilege", 25},
    {u"SeManageVolumePrivilege", 28},
    {u"SeImpersonatePrivilege", 29},
    {u"SeCreateGlobalPrivilege", 30},
};

/// Where a token stores one of the privileges that the model supports.
struct PrivilegeState {
  bool* held;
  bool* enabled;
};

std::optional<PrivilegeState> StateOf(Token& token, std::uint32_t number) {
  if (number == kBackup) return PrivilegeState{&token.holdsBackup, &token.backupEnabled};
  if (number == kRestore) return PrivilegeState{&token.holdsRestore, &token.restoreEnabled};
  return std::nullopt;
}

/// False when the token does not hold the privilege.
bool Adjust(Token& token, const LUID_AND_ATTRIBUTES& wanted) {
  if (wanted.Luid.HighPart != 0) return false;
  const std::optional<PrivilegeState> state = StateOf(token, wanted.Luid.LowPart);
  if (!state) return wanted.Luid.LowPart == kChangeNotify;  // every token has it, always enabled
  if (!*state->held) return false;
  *state->enabled = (wanted.Attributes & SE_PRIVILEGE_ENABLED) != 0;
  if ((wanted.Attributes & SE_PRIVILEGE_REMOVED) != 0) {
    *state->held = false;
    *state->enabled = false;
  }
  return true;
}

/// The entry at `index` of a variable-length array that is declared with one element.
LUID_AND_ATTRIBUTES EntryAt(const TOKEN_PRIVILEGES* privileges, std::uint32_t index) {
  LUID_AND_ATTRIBUTES entry = {};
  const auto* first =
      reinterpret_cast<const std::uint8_t*>(privileges) + offsetof(TOKEN_PRIVILEGES, Privileges);
  std::memcpy(&entry, first + std::size_t{index} * sizeof entry, sizeof entry);
  return entry;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

HANDLE GetCurrentProcess() {
  // Documented: the pseudo handle of the process is -1.
  return INVALID_HANDLE_VALUE;
}

bool OpenProcessToken(HANDLE process, std::uint32_t desiredAccess, HANDLE* token) {
  return SimulateBool("OpenProcessToken",
                      Arguments("ProcessHandle", process, "DesiredAccess", Hex{desiredAccess}),
                      [&](const CallFaults&) {
                        if (process != GetCurrentProcess()) return FailWith(ERROR_INVALID_HANDLE);
                        const std::uintptr_t value = Process::Current().Add(
                            ObjectKind::Handle, std::make_shared<TokenObject>(desiredAccess));
                        *token = reinterpret_cast<HANDLE>(value);
                        return true;
                      });
}

bool LookupPrivilegeValueW(const char16_t* name, LUID* luid) {
  return SimulateBool("LookupPrivilegeValueW", Arguments("lpName", name), [&](const CallFaults&) {
    for (const Privilege& privilege : kPrivileges) {
      if (!EqualsIgnoringCase(privilege.name, name)) continue;
      *luid = {privilege.number, 0};
      return true;
    }
    return FailWith(ERROR_NO_SUCH_PRIVILEGE);
  });
}

bool AdjustTokenPrivileges(HANDLE token, bool disableAll, const TOKEN_PRIVILEGES* newState) {
  return SimulateBool(
      "AdjustTokenPrivileges",
      Arguments("TokenHandle", token, "DisableAllPrivileges", disableAll, "PrivilegeCount",
                newState == nullptr ? 0U : newState->PrivilegeCount, "Attributes",
                Hex{newState == nullptr || newState->PrivilegeCount == 0
                        ? 0
                        : EntryAt(newState, 0).Attributes}),
      [&](const CallFaults&) {
        Process& process = Process::Current();
        const auto value = reinterpret_cast<std::uintptr_t>(token);
        const auto object = process.Find<TokenObject>(ObjectKind::Handle, value);
        if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
        if (!object->May(TOKEN_ADJUST_PRIVILEGES)) return FailWith(ERROR_ACCESS_DENIED);
        if (disableAll) {
          process.token.backupEnabled = false;
          process.token.restoreEnabled = false;
          SetLastError(ERROR_SUCCESS);
          return true;
        }
        if (newState == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
        bool all = true;
        for (std::uint32_t i = 0; i < newState->PrivilegeCount; ++i)
          all = Adjust(process.token, EntryAt(newState, i)) && all;
        // Documented: AdjustTokenPrivileges succeeds; only the last error tells that a privilege
        // was not held.
        SetLastError(all ? ERROR_SUCCESS : ERROR_NOT_ALL_ASSIGNED);
        return true;
      });
}

}  // namespace vorn::platform
