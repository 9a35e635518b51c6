#include "lab/run_phases.h"

#include "base/path_text.h"
#include "base/text.h"
#include "rehearsal/script.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace vorn::lab {

using platform::simulated::CallRecord;

namespace {

constexpr char16_t kDefaultJournalName[] = u".vorn-driver-activation-state";

// The titles, as a person who installs sees the steps.
constexpr char kCopyInput[] = "Copy the package";
constexpr char kStart[] = "Start";
constexpr char kReadInf[] = "Read the INF";
constexpr char kReadJournal[] = "Look at the journal";
constexpr char kWriteJournal[] = "Write the journal";
constexpr char kCountDevices[] = "Count the devices";
constexpr char kFindDevice[] = "Find the device";
constexpr char kReadEndpoints[] = "Read the endpoints";
constexpr char kCheckOldJournal[] = "Prove the old journal";
constexpr char kCompare[] = "Compare with the target";
constexpr char kProve[] = "Prove";
constexpr char kHide[] = "Hide the endpoints";
constexpr char kShow[] = "Show the endpoints";
constexpr char kCreateDevice[] = "Create the device";
constexpr char kBind[] = "Bind the package";
constexpr char kReselect[] = "Select the old package";
constexpr char kRestart[] = "Restart the device";
constexpr char kLetGo[] = "Ask for the device";
constexpr char kRemoveDevice[] = "Remove the device";
constexpr char kRemoveDuplicates[] = "Remove duplicates";
constexpr char kRemovePackages[] = "Remove the packages";
constexpr char kRemoveRecords[] = "Remove the records";
constexpr char kCleanUp[] = "Clean up";

/// Whether looking at devices or endpoints begins a phase of its own here. In the others it is part
/// of what they do.
bool IsLook(std::string_view phase) {
  return phase == kCopyInput || phase == kStart || phase == kReadInf || phase == kReadJournal ||
         phase == kCountDevices || phase == kFindDevice || phase == kReadEndpoints;
}

bool IsConsoleWrite(const CallRecord& call) {
  return call.name == "fputws" && call.Argument("stream") != "file";
}

class PhaseReader {
 public:
  PhaseReader(const std::vector<std::string>& arguments, std::span<const CallRecord> calls,
              bool returned)
      : calls_(calls), kind_(rehearsal::KindOf(arguments)), journal_(JournalNameOf(arguments)) {
    const bool takesInf = arguments.size() > 1 && (kind_.starts_with("install") ||
                                                   kind_ == "remove" || kind_ == "audit-current");
    Begin(takesInf ? kCopyInput : kStart, 0);
    for (std::size_t i = 0; returned && i < calls.size(); ++i)
      if (IsConsoleWrite(calls[i])) lastWrite_ = i;
  }

  std::vector<HistoryPhase> Read() {
    for (now_ = 0; now_ < calls_.size(); ++now_)
      Look(calls_[now_]);
    for (std::size_t i = 0; i < phases_.size(); ++i) {
      const std::size_t end = i + 1 < phases_.size() ? phases_[i + 1].firstCall : calls_.size();
      phases_[i].calls = end - phases_[i].firstCall;
    }
    return std::move(phases_);
  }

 private:
  const std::string& Current() const { return phases_.back().title; }
  bool IsInstall() const { return kind_.starts_with("install"); }

  void Begin(const char* title, std::size_t firstCall) {
    if (!phases_.empty() && Current() == title) return;
    // A phase without a call was none.
    if (!phases_.empty() && phases_.back().firstCall >= firstCall) phases_.pop_back();
    if (!phases_.empty() && Current() == title) return;
    HistoryPhase phase;
    phase.title = title;
    phase.firstCall = firstCall;
    phases_.push_back(std::move(phase));
  }

  void Begin(const char* title) { Begin(title, now_); }

  void Look(const CallRecord& call) {
    if (lastWrite_ && now_ == *lastWrite_ + 2) Begin(kCleanUp);
    if (IsConsoleWrite(call)) {
      written_ |= call.Argument("text").find("persisted protected") != std::string::npos;
    } else if (call.name == "QueryDosDeviceW") {
      walk_ = now_;
    } else if (call.name == "NtCreateFile") {
      LookAtFile(call);
    } else if (call.name == "SetupOpenInfFileW") {
      if (call.Argument("FileName").find("VORN-input-") != std::string::npos) Begin(kReadInf);
    } else if (call.name == "OpenSCManagerW") {
      BeginProof();
    } else if (call.name == "DeviceIoControl") {
      LookAtRequest(call);
    } else {
      LookAtDevices(call);
    }
  }

  void LookAtFile(const CallRecord& call) {
    if (!EqualsIgnoringCase(ToUtf16(call.Argument("ObjectName")), journal_)) return;
    // The way there through the folders is part of it.
    const std::size_t begin = std::max(walk_, phases_.back().firstCall + 1);
    Begin(call.Argument("SecurityDescriptor") == "true" ? kWriteJournal : kReadJournal,
          std::min(begin, now_));
  }

  void BeginProof() {
    if (IsInstall() && !written_) return Begin(kCheckOldJournal);
    // Before the bind the first look only compares; what follows it tells a device that stays.
    if (IsInstall() && binds_ == 0 && Current() == kWriteJournal) return Begin(kCompare);
    Begin(kProve);
  }

  void LookAtRequest(const CallRecord& call) {
    if (call.Argument("controlCode") != "0x226000") return;
    // The first request below the lease tells what the lease is for: its last word is visibility.
    const auto next = std::find_if(
        calls_.begin() + static_cast<std::ptrdiff_t>(now_), calls_.end(),
        [](const CallRecord& each) { return each.Argument("controlCode") == "0x22A01C"; });
    const bool show = next != calls_.end() ? next->Argument("input").ends_with("01000000")
                                           : kind_ == "resume-endpoints";
    Begin(show ? kShow : kHide);
  }

  void LookAtDevices(const CallRecord& call) {
    if (call.name == "UpdateDriverForPlugAndPlayDevicesW") {
      Begin(++binds_ == 1 ? kBind : kReselect);
    } else if (call.name == "SetupDiCreateDeviceInfoList") {
      Begin(kCreateDevice);
    } else if (call.name == "SetupDiCallClassInstaller") {
      const std::string function = call.Argument("InstallFunction");
      if (function == "0x5") Begin(binds_ == 0 && IsInstall() ? kRemoveDuplicates : kRemoveDevice);
      if (function == "0x12") Begin(kRestart);
    } else if (call.name == "CM_Query_And_Remove_SubTreeW") {
      Begin(kLetGo);
    } else if (kind_ == "remove" && call.name == "GetWindowsDirectoryW") {
      Begin(kRemovePackages);
    } else if (call.name == "RegOpenKeyExW" && kind_ == "remove") {
      Begin(kRemoveRecords);
    } else {
      LookAtLooks(call);
    }
  }

  void LookAtLooks(const CallRecord& call) {
    const bool roots = call.name == "SetupDiGetClassDevsW" && call.Argument("Enumerator") == "ROOT";
    const bool absentToo = roots && call.Argument("Flags") == "0x4";
    // A proof looks at present devices alone; what removes duplicates counts what is left.
    const bool over = (absentToo && Current() == kCheckOldJournal) ||
                      (roots && !absentToo && Current() == kRemoveDuplicates);
    if (!over && !IsLook(Current())) return;
    if (roots) Begin(absentToo ? kCountDevices : kFindDevice);
    if (call.name == "CoCreateInstance") Begin(kReadEndpoints);
  }

  std::span<const CallRecord> calls_;
  std::string kind_;
  std::u16string journal_;
  std::vector<HistoryPhase> phases_;
  std::size_t now_ = 0;
  std::size_t walk_ = 0;                  // where the last walk to a file began
  std::optional<std::size_t> lastWrite_;  // the last console line, of a run that returned
  bool written_ = false;                  // the journal
  int binds_ = 0;
};

}  // namespace

std::vector<HistoryPhase> PhasesOf(const std::vector<std::string>& arguments,
                                   std::span<const CallRecord> calls, bool returned) {
  return PhaseReader(arguments, calls, returned).Read();
}

std::u16string JournalNameOf(const std::vector<std::string>& arguments) {
  const std::string kind = rehearsal::KindOf(arguments);
  const std::size_t place = kind.starts_with("install")                  ? 2
                            : kind == "verify" || kind == "hot-activate" ? 3
                                                                         : arguments.size();
  if (place >= arguments.size()) return kDefaultJournalName;
  return std::u16string(FileNameComponent(ToUtf16(arguments[place])));
}

}  // namespace vorn::lab
