#include "lab/fault_spec.h"

#include "lab/call_names.h"
#include "lab/command_words.h"
#include "lab/fact_values.h"
#include "lab/near_word.h"
#include "lab/world_change.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>

namespace vorn::lab {

using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::kEveryLaterCall;

namespace {

enum class Value { None, Optional, Needed };

struct Action {
  std::string_view name;
  FaultKind kind;
  std::string_view about;
  std::string_view shown = {};  // its value
  Value value = Value::None;
  std::uint64_t largest = 0;  // the largest value allowed
};

constexpr std::uint64_t kLargestCode = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kLargestExcess = std::uint64_t{1} << 20;
constexpr std::uint64_t kLargestAmount = std::numeric_limits<std::uint32_t>::max();

constexpr Action kActions[] = {
    {"fail", FaultKind::Fail, "the call has no effect and fails with ERROR, 31 by default",
     "[=ERROR]", Value::Optional, kLargestCode},
    {"fail-after", FaultKind::FailAfterEffect, "the call has its effect but fails", "[=ERROR]",
     Value::Optional, kLargestCode},
    {"lie", FaultKind::SucceedWithoutEffect, "the call reports success but has no effect"},
    {"short", FaultKind::Short, "the returned data is cut to that many bytes", "=BYTES",
     Value::Needed, kLargestAmount},
    {"long", FaultKind::Long, "the returned data is followed by so many bytes more", "=BYTES",
     Value::Needed, kLargestExcess},
    {"restart", FaultKind::AskRestart, "the call asks for a restart of the machine"},
    {"time", FaultKind::TakeTime, "the call takes that long", "=MILLISECONDS", Value::Needed,
     kLargestAmount},
    {"kill", FaultKind::KillBefore, "the process dies before the call takes effect"},
    {"kill-after", FaultKind::KillAfter, "the process dies after the call has taken effect"},
    {"hang", FaultKind::Hang, "the call does not return; after an hour somebody ends the process"},
};

/// "\"WritFile\" is not a platform call; did you mean WriteFile?", and below it what there is.
[[noreturn]] void RefuseName(const std::string& name, const std::string& what,
                             const std::string& list, std::span<const std::string_view> known) {
  const std::string_view near = NearWord(name, known);
  const std::string_view lines = std::string_view(list).substr(0, list.find_last_not_of('\n') + 1);
  throw BadInput("\"" + InOneLine(name) + "\" is not " + what +
                 (near.empty() ? "" : "; did you mean " + std::string(near) + "?") + "\n" +
                 std::string(lines));
}

std::string CallList() {
  const auto names = CallNames();
  return "The calls:\n" + Wrapped(Words(names.begin(), names.end()), "  ");
}

std::string ActionList() {
  std::vector<std::pair<std::string, std::string_view>> rows;
  for (const Action& action : kActions)
    rows.emplace_back(std::string(action.name) + std::string(action.shown), action.about);
  std::string text = "What can happen at a call:\n";
  const auto add = [&text](std::string line, std::string_view about) {
    line.resize(std::max<std::size_t>(line.size() + 1, 32), ' ');
    text += "  " + line + std::string(about) + "\n";
  };
  for (const auto& [line, about] : rows)
    add(line, about);
  text += "What another process can do just before it:\n";
  for (const ChangeName& change : ChangeNames())
    add(std::string(change.name) + "=" + std::string(change.arguments), change.about);
  text +=
      "A change to files meets access lists, share modes and links. With force- before its name, "
      "as in\nforce-delete=PATH, nothing keeps it off.\n";
  return text;
}

std::vector<std::string_view> ActionNames() {
  std::vector<std::string_view> names;
  for (const Action& action : kActions)
    names.push_back(action.name);
  for (const ChangeName& change : ChangeNames())
    names.push_back(change.name);
  return names;
}

// What only some calls can do.
constexpr std::string_view kCutCalls[] = {"GetFileInformationByHandleEx", "ReadFile",
                                          "SetupGetInfInformationW", "WriteFile"};
constexpr std::string_view kCutOrLongCalls[] = {
    "CM_Get_DevNode_Registry_PropertyW",
    "CM_Get_Device_IDW",
    "DeviceIoControl",
    "GetFinalPathNameByHandleW",
    "GetFullPathNameW",
    "GetModuleFileNameW",
    "GetTempPathW",
    "GetWindowsDirectoryW",
    "RegEnumKeyExW",
    "RegGetValueW",
    "SetupDiGetDeviceInstanceIdW",
    "SetupDiGetDeviceInterfaceDetailW",
    "SetupDiGetDevicePropertyW",
    "SetupDiGetDeviceRegistryPropertyW",
    "SetupGetStringFieldW",
};
constexpr std::string_view kRestartCalls[] = {"SetupDiCallClassInstaller",
                                              "UpdateDriverForPlugAndPlayDevicesW"};

// What these calls cannot do: they return nothing by which they could fail, and the tick is what
// the clock says.
constexpr std::string_view kUnfailingCalls[] = {
    "CoTaskMemFree", "CoUninitialize",    "GetSystemTime", "GetTickCount64",
    "LocalFree",     "SetupCloseInfFile", "Sleep",
};
constexpr std::string_view kTickCall = "GetTickCount64";

bool CannotAt(FaultKind kind, std::string_view call) {
  if (kind == FaultKind::FailAfterEffect) {
    return std::find(std::begin(kUnfailingCalls), std::end(kUnfailingCalls), call) !=
           std::end(kUnfailingCalls);
  }
  return (kind == FaultKind::Fail || kind == FaultKind::SucceedWithoutEffect) && call == kTickCall;
}

/// The calls at which an action can happen; empty when it can at any, or almost any.
std::vector<std::string_view> CallsOf(FaultKind kind) {
  std::vector<std::string_view> calls;
  if (kind == FaultKind::AskRestart) {
    calls.assign(std::begin(kRestartCalls), std::end(kRestartCalls));
  } else if (kind == FaultKind::Short || kind == FaultKind::Long) {
    calls.assign(std::begin(kCutOrLongCalls), std::end(kCutOrLongCalls));
  }
  if (kind == FaultKind::Short) {
    calls.insert(calls.end(), std::begin(kCutCalls), std::end(kCutCalls));
  }
  return calls;
}

void DemandCallOf(const Action& action, const std::string& call) {
  if (CannotAt(action.kind, call)) {
    throw BadInput(std::string(action.name) + " does nothing at " + call);
  }
  const std::vector<std::string_view> calls = CallsOf(action.kind);
  const bool takes =
      calls.empty() || call == "*" || std::find(calls.begin(), calls.end(), call) != calls.end();
  if (takes) return;
  throw BadInput(std::string(action.name) + " does nothing at " + call + ", only at " +
                 Listed(calls));
}

/// A number from 1 to 4294967295.
std::uint32_t ParseOrdinal(const std::string& text) {
  std::uint64_t number = 0;
  if (!ParseNumber(text, number) || number == 0 || number > kLargestCode) {
    throw BadInput("\"" + text + "\" must be a number from 1 to 4294967295");
  }
  return static_cast<std::uint32_t>(number);
}

/// The colon that ends the call. The colons inside a method's name come in pairs.
std::size_t FindColon(const std::string& spec) {
  for (std::size_t i = 0; i < spec.size(); ++i) {
    if (spec[i] != ':') continue;
    if (i + 1 == spec.size() || spec[i + 1] != ':') return i;
    ++i;
  }
  return std::string::npos;
}

void ParseCall(const std::string& text, Fault& fault) {
  const std::size_t hash = text.find('#');
  fault.call = text.substr(0, hash);
  if (fault.call != "*" && !IsCallName(fault.call)) {
    RefuseName(fault.call, "a platform call of the program", CallList(), CallNames());
  }
  if (hash == std::string::npos) return;
  const std::string range = text.substr(hash + 1);
  const std::size_t dash = range.find('-');
  fault.first = ParseOrdinal(range.substr(0, dash));
  fault.last = fault.first;
  if (dash != std::string::npos) {
    const std::string last = range.substr(dash + 1);
    fault.last = last.empty() ? kEveryLaterCall : ParseOrdinal(last);
  }
  if (fault.last < fault.first) throw BadInput("\"" + range + "\" ends before it begins");
}

void ParseValue(const Action& action, const std::optional<std::string>& text, Fault& fault) {
  const std::string name(action.name);
  if (!text) {
    if (action.value == Value::Needed) throw BadInput(name + " needs a number: " + name + "=...");
    return;
  }
  if (action.value == Value::None) throw BadInput(name + " takes no value");
  std::uint64_t number = 0;
  if (!ParseNumber(*text, number) || number > action.largest) {
    throw BadInput(name + " needs a number from 0 to " + std::to_string(action.largest));
  }
  if (action.kind == FaultKind::Fail || action.kind == FaultKind::FailAfterEffect) {
    fault.error = static_cast<std::uint32_t>(number);
  } else {
    fault.amount = number;
  }
}

void ParseAction(const std::string& text, StagedFault& staged) {
  const std::size_t equals = text.find('=');
  const std::string name = text.substr(0, equals);
  const auto value =
      equals == std::string::npos ? std::nullopt : std::optional(text.substr(equals + 1));
  const auto action = std::find_if(std::begin(kActions), std::end(kActions),
                                   [&name](const Action& known) { return known.name == name; });
  if (action != std::end(kActions)) {
    staged.fault.kind = action->kind;
    ParseValue(*action, value, staged.fault);
    DemandCallOf(*action, staged.fault.call);
    return;
  }
  const auto change = ParseWorldChange(name, value.value_or(""));
  if (!change) RefuseName(name, "a known fault", ActionList(), ActionNames());
  staged.fault.kind = FaultKind::Change;
  staged.fault.change = [make = *change, refusals = staged.refusals](auto& machine) {
    const std::string refusal = make(machine);
    if (!refusal.empty()) refusals->push_back(refusal);
  };
}

}  // namespace

StagedFault ParseFault(const std::string& spec) {
  try {
    const std::size_t colon = FindColon(spec);
    if (colon == std::string::npos) throw BadInput("must be a call, a colon and a fault");
    StagedFault staged;
    staged.spec = spec;
    staged.refusals = std::make_shared<std::vector<std::string>>();
    ParseCall(spec.substr(0, colon), staged.fault);
    ParseAction(spec.substr(colon + 1), staged);
    return staged;
  } catch (const BadInput& bad) {
    throw BadInput("--fault " + spec, bad.what());
  }
}

std::string FaultHelp() {
  return "A fault is CALL[#FIRST[-[LAST]]]:WHAT. \"*\" is any call, \"#3-5\" the third to the "
         "fifth "
         "of it.\n\n" +
         ActionList() + "\n" + CallList();
}

}  // namespace vorn::lab
