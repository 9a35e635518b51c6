#pragma once

// CheckResult: the answer of every judgement, with the fixed English sentence that says why not.

#include <string>
#include <utility>

namespace vorn {

/// `ok`, or a reason that callers embed in their final lines. The reason is empty when ok.
struct CheckResult {
  bool ok = false;
  std::u16string reason;

  static CheckResult Passed() { return {true, {}}; }
  static CheckResult Failed(std::u16string why) { return {false, std::move(why)}; }
};

}  // namespace vorn
