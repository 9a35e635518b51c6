#include "tests/faults/undisturbed.h"

#include "tests/faults/fault_plans.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <unwind.h>

namespace vorn::tests {

namespace model = platform::simulated;
using model::CallRecord;
using model::Machine;

namespace {

/// A walk up the call stack, as far as the frame at `base`.
struct StackWalk {
  std::uintptr_t base = 0;
  std::uint64_t hash = 14695981039346656037ULL;
};

_Unwind_Reason_Code AddFrame(_Unwind_Context* context, void* walk) {
  auto& stack = *static_cast<StackWalk*>(walk);
  if (_Unwind_GetCFA(context) >= stack.base) return _URC_END_OF_STACK;
  stack.hash = (stack.hash ^ _Unwind_GetIP(context)) * 1099511628211ULL;
  return _URC_NO_REASON;
}

/// A hash of the call stack below the frame at `base`, which all runs have above them. Only
/// equality is meaningful.
std::uint64_t PresentSite(std::uintptr_t base) {
  StackWalk stack{base};
  _Unwind_Backtrace(&AddFrame, &stack);
  return stack.hash;
}

std::vector<model::Open> ForeignOpens(const Machine& machine) {
  std::vector<model::Open> foreign;
  for (const auto& [key, open] : machine.files.opens) {
    if (open.foreign) foreign.push_back(open);
  }
  return foreign;
}

/// Whether a process that dies here leaves the same machine behind; its own handles are closed by
/// its death.
bool IsSameWorld(const Machine& one, const Machine& other) {
  return one.files.nodes == other.files.nodes && one.registry == other.registry &&
         one.devices == other.devices && one.store == other.store && one.audio == other.audio &&
         one.services == other.services && one.clock.events == other.clock.events &&
         one.randomState == other.randomState && ForeignOpens(one) == ForeignOpens(other);
}

/// Recorded for each call as it is made.
struct Notes {
  Look look;
  std::uintptr_t base = 0;  // of the stack that all runs have in common
  std::vector<std::uint64_t> sites;
  std::vector<bool> newWorlds;
  Machine last;
};

void Note(Notes& notes, const Machine& machine) {
  notes.sites.push_back(notes.look.sites ? PresentSite(notes.base) : 0);
  notes.newWorlds.push_back(notes.look.worlds && !IsSameWorld(notes.last, machine));
  if (notes.newWorlds.back()) notes.last = machine;
}

/// Object numbers differ from turn to turn and carry no meaning.
std::string WithoutObjects(const std::string& text) {
  return text.starts_with('#') ? "#" : text;
}

std::string TextOf(const CallRecord& call) {
  std::string text = call.name;
  for (const auto& [name, value] : call.arguments)
    text += "|" + WithoutObjects(value);
  return text + "=" + WithoutObjects(call.result) + "\n";
}

/// Marks the calls of repeated turns. A turn ends with a wait.
void MarkRepeats(const std::vector<CallRecord>& calls, std::vector<CallPlace>& places) {
  struct Turn {
    std::size_t begin;
    std::size_t end;
  };
  std::map<std::string, std::vector<Turn>> turns;
  std::string text;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    text += TextOf(calls[i]);
    if (calls[i].name != "Sleep" && i + 1 != calls.size()) continue;
    turns[text].push_back({begin, i + 1});
    text.clear();
    begin = i + 1;
  }
  for (const auto& [same, all] : turns) {
    for (std::size_t i = 2; i + 1 < all.size(); ++i) {
      for (std::size_t call = all[i].begin; call < all[i].end; ++call)
        places[call].repeats = true;
    }
  }
}

}  // namespace

std::vector<model::Fault> BusyMachine() {
  constexpr std::uint32_t kQuickWaits = 3;
  constexpr std::uint64_t kLongerByMs = 20'000;
  const char* full = std::getenv("VORN_FAULTS_FULL");
  if (full != nullptr && std::string_view(full) == "2") return {};
  model::Fault slow;
  slow.call = "Sleep";
  slow.first = kQuickWaits + 1;
  slow.last = model::kEveryLaterCall;
  slow.kind = model::FaultKind::TakeTime;
  slow.amount = kLongerByMs;
  return {slow};
}

Undisturbed RunUndisturbed(const Scenario& scenario, const Look& look) {
  Machine machine = scenario.start->machine;
  Notes notes{look, reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)), {}, {}, machine};
  model::Fault watcher;
  watcher.last = model::kEveryLaterCall;
  watcher.kind = model::FaultKind::Change;
  watcher.change = [&notes](Machine& now) { Note(notes, now); };
  RunOptions options;
  options.faults = BusyMachine();
  options.faults.insert(options.faults.begin(), watcher);
  const RunResult run = RunCommand(machine, scenario.line->arguments, options);
  if (notes.sites.size() != run.calls.size()) throw std::logic_error("a call was not logged");
  Undisturbed undisturbed;
  undisturbed.status = run.status;
  std::map<std::string, std::uint32_t> counts;
  for (std::size_t i = 0; i < run.calls.size(); ++i) {
    const std::string& name = run.calls[i].name;
    const std::uint64_t site = look.sites ? notes.sites[i] ^ SeedOf(name) : 0;
    undisturbed.places.push_back({name, ++counts[name], site, false, notes.newWorlds[i]});
  }
  MarkRepeats(run.calls, undisturbed.places);
  for (const CallRecord& call : run.calls)
    undisturbed.answers = undisturbed.answers * 31 + SeedOf(TextOf(call));
  return undisturbed;
}

}  // namespace vorn::tests
