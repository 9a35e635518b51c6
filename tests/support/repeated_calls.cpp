#include "tests/support/repeated_calls.h"

#include <algorithm>
#include <functional>
#include <map>

namespace vorn::tests {

namespace {

using platform::simulated::CallRecord;

bool IsObject(const std::string& value) {
  return value.starts_with('#');
}

std::ptrdiff_t SleepsIn(const std::vector<std::string>& texts) {
  return std::count_if(texts.begin(), texts.end(),
                       [](const std::string& text) { return text.starts_with("Sleep "); });
}

}  // namespace

std::vector<std::string> TextsOf(const std::vector<CallRecord>& calls) {
  std::map<std::string, std::string> openers;
  std::vector<std::string> texts;
  std::string last;
  for (const CallRecord& call : calls) {
    std::string text = call.name;
    for (const auto& [name, value] : call.arguments)
      text += " " + name + "=" +
              (IsObject(value) ? openers.try_emplace(value, last).first->second : value);
    last = "(" + call.name + " " + std::to_string(std::hash<std::string>()(text)) + ")";
    if (IsObject(call.result)) openers[call.result] = last;
    texts.push_back(std::move(text));
  }
  return texts;
}

bool IsMadeAgain(const std::vector<std::string>& undisturbed,
                 const std::vector<std::string>& disturbed, std::size_t failed) {
  if (failed >= disturbed.size() || SleepsIn(disturbed) > SleepsIn(undisturbed)) return false;
  return std::count(disturbed.begin(), disturbed.end(), disturbed[failed]) >
         std::count(undisturbed.begin(), undisturbed.end(), disturbed[failed]);
}

}  // namespace vorn::tests
