#pragma once

// CheckResult: what every check returns: it passed, or the reason why not as a fixed sentence.

#include <string>
#include <utility>

namespace vorn {

/// The reason is empty when ok; callers quote it in their final line.
struct CheckResult {
  bool ok = false;
  std::u16string reason;

  static CheckResult Passed() { return {true, {}}; }
  static CheckResult Failed(std::u16string why) { return {false, std::move(why)}; }
};

}  // namespace vorn
