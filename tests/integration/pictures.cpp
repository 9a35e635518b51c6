#include "tests/integration/pictures.h"

#include "tests/integration/decision_table.h"
#include "tests/integration/staged_machine.h"

#include <regex>

namespace vorn::tests {

using lab::Json;

void DrawRow(const std::string& row, const std::filesystem::path& file) {
  const Staging& staging = DecisionTable::Get().Row(row).staging;
  StagedMachine machine(staging.machine);
  machine.TakeAll(staging.prepare);
  Json::List step = {"timeline", file.string()};
  step.insert(step.end(), staging.words.begin(), staging.words.end());
  step.emplace_back(staging.status);
  machine.Take(Json(std::move(step)));
}

std::vector<std::string> WordsOfPicture(const std::string& picture) {
  static const std::regex kText("<text [^>]*>([^<]*)</text>");
  static const std::regex kCounts("(, )?[0-9,]+ (platform )?calls?$");
  std::vector<std::string> words;
  for (std::sregex_iterator each(picture.begin(), picture.end(), kText), end; each != end; ++each) {
    const std::string text = std::regex_replace((*each)[1].str(), kCounts, "");
    if (!text.empty()) words.push_back(text);
  }
  return words;
}

}  // namespace vorn::tests
