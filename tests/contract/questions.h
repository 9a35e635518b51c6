#pragma once

// What only a real Windows can answer.

#include <string>
#include <vector>

namespace vorn::contract {

/// Asks every question, each in a process of its own and with a time limit, and prints and records
/// the answers. The arguments name an INF of a package that may be read (none: a file of Windows'
/// own), or after "--signed" one that may be bound for a while. 0 when every question was put.
int AskQuestions(const std::vector<std::string>& arguments);

/// Asks the first argument's question here; the others are those of AskQuestions.
int AskQuestion(const std::vector<std::string>& arguments);

}  // namespace vorn::contract
