#pragma once

// What only a real Windows can answer. Every question is asked without changing anything.

namespace vorn::contract {

/// Asks every question and prints "answer NAME - what was seen". `inf` is a package's INF, as a DOS
/// path, or null: then questions that need one are put to an INF of the Windows INF folder. Returns
/// the exit status: 0 when every question could be put.
int AskQuestions(const char* inf);

}  // namespace vorn::contract
