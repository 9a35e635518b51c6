#pragma once

// What a run of the suite found, for tools/judge-first-run: one JSON object a line, each written
// out at once, so that a process that is killed loses nothing.

#include <initializer_list>
#include <string>
#include <utility>

namespace vorn::contract {

/// Appends to that file (UTF-8 path) from now on; without it nothing is recorded.
void RecordTo(const std::string& path);

/// The file, or the empty text.
const std::string& RecordFile();

/// Appends one object of UTF-8 texts.
void Record(std::initializer_list<std::pair<const char*, std::string>> members);

}  // namespace vorn::contract
