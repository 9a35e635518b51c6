#pragma once

// The pictures of docs/pictures: timelines of rows of the table of decisions.

#include <filesystem>
#include <string>
#include <vector>

namespace vorn::tests {

/// Stages a row, runs it and draws the run into the file, whose name ends in .svg. Throws for a row
/// that the table lacks.
void DrawRow(const std::string& row, const std::filesystem::path& file);

/// What a picture says in words, without the counts of calls: those change whenever the program
/// needs a call less.
std::vector<std::string> WordsOfPicture(const std::string& picture);

}  // namespace vorn::tests
