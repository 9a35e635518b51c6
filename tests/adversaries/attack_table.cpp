#include "tests/adversaries/attack_table.h"

#include "base/text.h"

#include <sstream>

namespace vorn::tests {

namespace {

std::string WordFor(Expectation expectation) {
  switch (expectation) {
    case Expectation::Refused:
      return "refused";
    case Expectation::Harmless:
      return "harmless";
    case Expectation::Impossible:
      return "impossible";
    case Expectation::KnownLimit:
      return "known limit";
  }
  return {};
}

/// The text, escaped for a cell.
std::string Quoted(const std::u16string& text) {
  std::string quoted;
  for (const char letter : ToUtf8(text)) {
    if (letter != '\n') quoted += letter;
  }
  return "`" + quoted + "`";
}

}  // namespace

Tally& Tally::operator+=(const Tally& other) {
  possible += other.possible;
  tried += other.tried;
  let += other.let;
  replays += other.replays;
  refused += other.refused;
  limits += other.limits;
  violations.insert(violations.end(), other.violations.begin(), other.violations.end());
  return *this;
}

std::string ExpectationText(const Attack& attack) {
  std::string text = WordFor(attack.expectation);
  if (attack.expectation != Expectation::Refused) return text;
  const char* before = ": ";
  for (std::size_t i = 0; i < attack.answers.size(); ++i) {
    const Answer& answer = attack.answers[i];
    text += before + NameOf(answer.job) + " " + std::to_string(answer.status);
    before = ", ";
    const bool last = i + 1 == attack.answers.size() || attack.answers[i + 1].text != answer.text;
    if (last && !answer.text.empty()) text += " " + Quoted(answer.text);
  }
  return text;
}

std::string RowStart(const Attack& attack) {
  return "| " + attack.name + " | " + ExpectationText(attack) + " | " + attack.why + " |";
}

std::string RowNumbers(const Tally& tally) {
  std::ostringstream line;
  line << ' ' << tally.possible << " | " << tally.tried << " | " << tally.let << " | "
       << tally.replays << " | " << tally.refused << " | " << tally.violations.size() << " |";
  return line.str();
}

std::string TableHead() {
  return "| Attack | Expected | Why | Moments | Tried | Let happen | Replayed | Answered by "
         "failure | Violations |\n|---|---|---|---|---|---|---|---|---|\n";
}

std::string TableText() {
  std::string text = "| Attack | Expected | Why |\n|---|---|---|\n";
  for (const Attack& attack : AllAttacks())
    text += RowStart(attack) + "\n";
  return text;
}

std::string SumLine(std::size_t rows, const Tally& sum) {
  std::ostringstream line;
  line << "Rows: " << rows << ". Moments: " << sum.possible << ", tried: " << sum.tried
       << ", let happen by Windows: " << sum.let << ", replays made: " << sum.replays
       << ", answered by failure: " << sum.refused << ", known limits shown: " << sum.limits
       << ", violations: " << sum.violations.size() << ".\n";
  return line.str();
}

}  // namespace vorn::tests
