#pragma once

// The sample package as words of a command line.

#include "base/text.h"
#include "tests/support/sample.h"

#include <string>

namespace vorn::lab {

inline const std::string kInf = ToUtf8(tests::kSampleInf);
inline const std::string kJournal = ToUtf8(tests::kSampleJournal);
inline const std::string kVersion = ToUtf8(tests::kSampleVersion);
inline const std::string kDate = ToUtf8(tests::kSampleDate);

}  // namespace vorn::lab
