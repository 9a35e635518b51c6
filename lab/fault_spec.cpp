#include "lab/fault_spec.h"

#include "lab/call_names.h"
#include "lab/fact_values.h"
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
  Value value = Value::None;
  std::uint64_t largest = 0;  // the largest value allowed
};

constexpr std::uint64_t kLargestCode = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kLargestAmount = std::numeric_limits<std::uint32_t>::max();

constexpr Action kActions[] = {
    {"fail", FaultKind::Fail, Value::Optional, kLargestCode},
    {"fail-after", FaultKind::FailAfterEffect, Value::Optional, kLargestCode},
    {"lie", FaultKind::SucceedWithoutEffect},
    {"short", FaultKind::Short, Value::Needed, kLargestAmount},
    {"restart", FaultKind::AskRestart},
    {"time", FaultKind::TakeTime, Value::Needed, kLargestAmount},
    {"kill", FaultKind::KillBefore},
    {"kill-after", FaultKind::KillAfter},
    {"hang", FaultKind::Hang},
};

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
    throw BadInput("\"" + fault.call + "\" is not a platform call of the program");
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

void ParseAction(const std::string& text, Fault& fault) {
  const std::size_t equals = text.find('=');
  const std::string name = text.substr(0, equals);
  const auto value =
      equals == std::string::npos ? std::nullopt : std::optional(text.substr(equals + 1));
  const auto action = std::find_if(std::begin(kActions), std::end(kActions),
                                   [&name](const Action& known) { return known.name == name; });
  if (action != std::end(kActions)) {
    fault.kind = action->kind;
    ParseValue(*action, value, fault);
    return;
  }
  const auto change = ParseWorldChange(name, value.value_or(""));
  if (!change) throw BadInput("\"" + name + "\" is not a known fault");
  fault.kind = FaultKind::Change;
  fault.change = *change;
}

}  // namespace

Fault ParseFault(const std::string& spec) {
  try {
    const std::size_t colon = FindColon(spec);
    if (colon == std::string::npos) throw BadInput("must be a call, a colon and a fault");
    Fault fault;
    ParseCall(spec.substr(0, colon), fault);
    ParseAction(spec.substr(colon + 1), fault);
    return fault;
  } catch (const BadInput& bad) {
    throw BadInput("--fault " + spec, bad.what());
  }
}

}  // namespace vorn::lab
