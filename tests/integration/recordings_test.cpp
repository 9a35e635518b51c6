// The catalogue of recordings has every row of the table of decisions, and so every status.

#include "tests/integration/recordings.h"

#include "rehearsal/script.h"
#include "tests/integration/decision_table.h"
#include "tests/integration/rehearsal.h"
#include "tests/lab/temporary_folder.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

namespace vorn::tests {
namespace {

using rehearsal::Recording;
using rehearsal::Scene;

constexpr int kKilledByTheLab = 137;  // of the lab; a recording has no status then

std::vector<Recording> RecordingsIn(const std::filesystem::path& folder) {
  std::vector<Recording> recordings;
  for (const Scene& scene : rehearsal::ReadScript(folder))
    recordings.push_back(scene.recording);
  return recordings;
}

/// The catalogue: the recordings of each row.
const std::map<std::string, std::vector<Recording>>& Catalogue() {
  static const auto catalogue = [] {
    const lab::TemporaryFolder temporary;
    WriteRecordings(temporary / "all");
    std::map<std::string, std::vector<Recording>> rows;
    for (const auto& entry : std::filesystem::directory_iterator(temporary / "all"))
      rows[entry.path().filename().string()] = RecordingsIn(entry.path());
    return rows;
  }();
  return catalogue;
}

std::vector<PrintedLine> RecordedLinesOf(const Recording& recording) {
  std::vector<PrintedLine> lines;
  for (const rehearsal::RecordedPiece& piece : recording.pieces)
    lines.push_back({piece.error ? "err" : "out", piece.text.substr(0, piece.text.size() - 1)});
  return lines;
}

std::vector<std::string> TextsOf(const std::vector<PrintedLine>& lines, const std::string& stream) {
  std::vector<std::string> texts;
  for (const PrintedLine& line : lines)
    if (line.stream == stream) texts.push_back(line.text);
  return texts;
}

TEST(Recordings, HaveEachRowOfTheTable) {
  std::set<std::string> rows;
  for (const Decision& row : DecisionTable::Get().Rows())
    rows.insert(row.id);
  std::set<std::string> recorded;
  for (const auto& [id, recordings] : Catalogue())
    recorded.insert(id);
  EXPECT_EQ(recorded, rows);
}

TEST(Recordings, BeginWithTheRunOfTheRow) {
  for (const Decision& row : DecisionTable::Get().Rows()) {
    SCOPED_TRACE(row.id);
    const Recording& own = Catalogue().at(row.id).front();
    EXPECT_EQ(own.status.value_or(kKilledByTheLab), row.staging.status);
    EXPECT_EQ(own.milliseconds / 1000, row.seconds);
    for (const char* const stream : {"out", "err"})
      EXPECT_EQ(TextsOf(RecordedLinesOf(own), stream), TextsOf(RehearsalOf(row).lines, stream));
  }
}

TEST(Recordings, GoOnWithTheRunsThatTheRowRecommends) {
  for (const Decision& row : DecisionTable::Get().Rows()) {
    SCOPED_TRACE(row.id);
    std::size_t runs = 1;
    for (const lab::Json& step : row.then)
      runs += step[0] == "run" ? 1U : 0U;
    EXPECT_EQ(Catalogue().at(row.id).size(), runs);
  }
}

TEST(Recordings, CoverEveryExitStatus) {
  std::set<int> statuses;
  for (const auto& [id, recordings] : Catalogue())
    statuses.insert(recordings.front().status.value_or(kKilledByTheLab));
  EXPECT_EQ(statuses, (std::set<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 16, 17,
                                     kKilledByTheLab}));
}

TEST(Recordings, PlayTheRowsOfARollbackInOrder) {
  // Refused by the audit, an update is rolled back and audited again.
  std::vector<std::string> kinds;
  for (const Recording& recording : Catalogue().at("install-unproven"))
    kinds.push_back(rehearsal::KindOf(recording.arguments));
  EXPECT_EQ(kinds, (std::vector<std::string>{"install", "audit-current", "install --rollback",
                                             "audit-current"}));
}

}  // namespace
}  // namespace vorn::tests
