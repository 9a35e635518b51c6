#include "tests/faults/planned_fault.h"

#include "tests/faults/other_processes.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <stdexcept>

namespace vorn::tests {

using platform::simulated::Fault;
using platform::simulated::FaultKind;

namespace {

struct KindName {
  FaultKind kind;
  std::string_view name;
};

constexpr KindName kKindNames[] = {
    {FaultKind::Fail, "fail"},
    {FaultKind::FailAfterEffect, "effect-then-fail"},
    {FaultKind::SucceedWithoutEffect, "lie"},
    {FaultKind::Short, "short"},
    {FaultKind::Long, "long"},
    {FaultKind::AskRestart, "restart"},
    {FaultKind::TakeTime, "take"},
    {FaultKind::Change, "change"},
    {FaultKind::ChangeAfter, "change-after"},
    {FaultKind::AnswerFromPast, "stale"},
    {FaultKind::KillBefore, "kill-before"},
    {FaultKind::KillAfter, "kill-after"},
    {FaultKind::Hang, "hang"},
};

std::string_view NameOf(FaultKind kind) {
  return std::find_if(std::begin(kKindNames), std::end(kKindNames),
                      [kind](const KindName& each) { return each.kind == kind; })
      ->name;
}

std::string ValueText(const Way& way) {
  char text[24] = "";
  switch (way.kind) {
    case FaultKind::Fail:
    case FaultKind::FailAfterEffect:
      std::snprintf(text, sizeof text, "=0x%X", way.error);
      return text;
    case FaultKind::Short:
    case FaultKind::Long:
    case FaultKind::TakeTime:
      return "=" + std::to_string(way.amount);
    default:
      return way.change.empty() ? std::string() : "=" + way.change;
  }
}

[[noreturn]] void Refuse(std::string_view text) {
  throw std::invalid_argument("not a fault: " + std::string(text));
}

void ReadValue(Way& way, const std::string& value) {
  switch (way.kind) {
    case FaultKind::Fail:
    case FaultKind::FailAfterEffect:
      way.error = static_cast<std::uint32_t>(std::stoull(value, nullptr, 0));
      break;
    case FaultKind::Short:
    case FaultKind::Long:
    case FaultKind::TakeTime:
      way.amount = std::stoull(value, nullptr, 0);
      break;
    default:
      way.change = value;
  }
}

}  // namespace

std::string ToText(const PlannedFault& fault) {
  return fault.call + "#" + std::to_string(fault.nth) + (fault.persists ? "+" : "") + ":" +
         std::string(NameOf(fault.way.kind)) + ValueText(fault.way);
}

PlannedFault ParsePlannedFault(std::string_view text) {
  const std::size_t number = text.find('#');
  if (number == std::string_view::npos) Refuse(text);
  // The name of a call may contain colons; its number does not.
  const std::size_t colon = text.find(':', number);
  if (colon == std::string_view::npos) Refuse(text);
  PlannedFault fault;
  fault.call = text.substr(0, number);
  std::string nth(text.substr(number + 1, colon - number - 1));
  fault.persists = nth.ends_with('+');
  fault.nth = static_cast<std::uint32_t>(std::stoul(nth));
  const std::string_view how = text.substr(colon + 1);
  const std::size_t equals = how.find('=');
  const auto kind =
      std::find_if(std::begin(kKindNames), std::end(kKindNames),
                   [&](const KindName& each) { return each.name == how.substr(0, equals); });
  if (kind == std::end(kKindNames)) Refuse(text);
  fault.way.kind = kind->kind;
  if (equals != std::string_view::npos) ReadValue(fault.way, std::string(how.substr(equals + 1)));
  return fault;
}

std::string ReplayText(std::string_view scenario, const std::vector<PlannedFault>& faults) {
  std::string text(scenario);
  for (const PlannedFault& fault : faults)
    text += "|" + ToText(fault);
  return text;
}

Fault ToFault(const PlannedFault& planned, const platform::simulated::Machine& past) {
  Fault fault;
  fault.call = planned.call;
  fault.first = planned.nth;
  fault.last = planned.persists ? platform::simulated::kEveryLaterCall : planned.nth;
  fault.kind = planned.way.kind;
  fault.error = planned.way.error;
  fault.amount = planned.way.amount;
  if (fault.kind == FaultKind::Change || fault.kind == FaultKind::ChangeAfter) {
    fault.change = FindOtherProcess(planned.way.change).act;
    fault.changeName = planned.way.change;
  }
  if (fault.kind == FaultKind::AnswerFromPast) {
    fault.past = std::make_shared<const platform::simulated::Machine>(past);
  }
  return fault;
}

}  // namespace vorn::tests
