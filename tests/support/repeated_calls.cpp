#include "tests/support/repeated_calls.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <unordered_map>

namespace vorn::tests {

namespace {

using platform::simulated::CallRecord;

bool IsObject(std::string_view value) {
  return value.starts_with('#');
}

std::size_t HashOf(std::string_view text) {
  return std::hash<std::string_view>()(text);
}

std::size_t Joined(std::size_t left, std::size_t right) {
  return (left ^ right) * 0x100000001b3U;
}

}  // namespace

MadeCalls MadeCallsOf(const std::vector<CallRecord>& calls) {
  MadeCalls made;
  std::unordered_map<std::string_view, std::size_t> openers;
  std::size_t last = 0;
  for (const CallRecord& call : calls) {
    std::size_t hash = HashOf(call.name);
    for (const auto& [name, value] : call.arguments) {
      hash = Joined(hash, HashOf(name));
      hash = Joined(
          hash, IsObject(value) ? openers.try_emplace(value, last).first->second : HashOf(value));
    }
    last = hash;
    if (IsObject(call.result)) openers[call.result] = last;
    if (call.name == "Sleep") ++made.sleeps;
    made.hashes.push_back(hash);
  }
  return made;
}

std::string TextOf(const CallRecord& call) {
  std::string text = call.name;
  for (const auto& [name, value] : call.arguments)
    text += " " + name + "=" + value;
  return text;
}

bool IsMadeAgain(const MadeCalls& undisturbed, const MadeCalls& disturbed, std::size_t failed) {
  if (failed >= disturbed.hashes.size() || disturbed.sleeps > undisturbed.sleeps) return false;
  const auto times = [hash = disturbed.hashes[failed]](const MadeCalls& made) {
    return std::count(made.hashes.begin(), made.hashes.end(), hash);
  };
  return times(disturbed) > times(undisturbed);
}

}  // namespace vorn::tests
