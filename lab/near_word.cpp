#include "lab/near_word.h"

#include "base/text.h"

#include <algorithm>
#include <vector>

namespace vorn::lab {

namespace {

char Lowered(char unit) {
  return static_cast<char>(ToLowerAscii(static_cast<unsigned char>(unit)));
}

/// How many letters to add, leave out, replace or swap with the next to get from one word to the
/// other.
std::size_t Distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> beforeLast(to.size() + 1);
  std::vector<std::size_t> last(to.size() + 1);
  std::vector<std::size_t> row(to.size() + 1);
  for (std::size_t j = 0; j <= to.size(); ++j)
    row[j] = j;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row[to.size()];
}

std::string LoweredText(std::string_view text) {
  std::string lowered(text);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), Lowered);
  return lowered;
}

}  // namespace

std::string_view NearWord(std::string_view word, std::span<const std::string_view> known) {
  const std::string given = LoweredText(word);
  std::string_view nearest;
  std::size_t fewest = word.size() / 4 + 1;  // one letter of four, and one more
  for (const std::string_view candidate : known) {
    const std::size_t letters = Distance(given, LoweredText(candidate));
    if (letters > fewest || letters >= candidate.size()) continue;
    if (letters == fewest && !nearest.empty()) continue;
    nearest = candidate;
    fewest = letters;
  }
  return nearest;
}

std::string Listed(std::span<const std::string_view> words) {
  std::string text;
  for (const std::string_view word : words)
    text += (text.empty() ? "" : ", ") + std::string(word);
  return text;
}

std::string Suggestion(std::string_view word, std::string_view what,
                       std::span<const std::string_view> known) {
  const std::string_view near = NearWord(word, known);
  if (!near.empty()) return "; did you mean " + std::string(near) + "?";
  return "; " + std::string(what) + ": " + Listed(known);
}

}  // namespace vorn::lab
