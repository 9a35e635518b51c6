#include "tests/integration/recordings.h"

#include "rehearsal/recording.h"
#include "rehearsal/script.h"
#include "tests/integration/decision_table.h"
#include "tests/integration/staged_machine.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::tests {

namespace fs = std::filesystem;
using lab::Json;

namespace {

/// Records the runs of one machine, in order.
class RunRecorder {
 public:
  RunRecorder(StagedMachine& machine, fs::path folder)
      : machine_(machine), folder_(std::move(folder)) {
    fs::create_directories(folder_);
  }

  /// Takes a step of the table; a run is recorded.
  void Take(const Json& step) {
    if (step[0] != "run") {
      machine_.Take(step);
      return;
    }
    const fs::path file = folder_ / "new";
    Json::List recorded = *step.As<Json::List>();
    recorded.front() = "record";
    recorded.insert(recorded.begin() + 1, file.string());
    machine_.Take(Json(std::move(recorded)));
    fs::rename(file, folder_ / NextName(file));
  }

 private:
  /// "2-install-rollback.recording"
  std::string NextName(const fs::path& file) {
    std::string kind =
        rehearsal::KindOf(rehearsal::ParseRecording(lab::ReadHostFile(file)).arguments);
    if (const std::size_t blank = kind.find(" --"); blank != kind.npos) kind.replace(blank, 3, "-");
    return std::to_string(++count_) + "-" + kind + ".recording";
  }

  StagedMachine& machine_;
  fs::path folder_;
  int count_ = 0;
};

Json OwnRun(const Decision& row) {
  Json::List step = {"run"};
  step.insert(step.end(), row.staging.words.begin(), row.staging.words.end());
  step.emplace_back(row.staging.status);
  return Json(std::move(step));
}

}  // namespace

void WriteRecordings(const fs::path& folder) {
  for (const Decision& row : DecisionTable::Get().Rows()) {
    SCOPED_TRACE(row.id);
    StagedMachine machine(row.staging.machine);
    machine.TakeAll(row.staging.prepare);
    RunRecorder recorder(machine, folder / row.id);
    recorder.Take(OwnRun(row));
    for (const Json& step : row.then)
      recorder.Take(step);
  }
}

}  // namespace vorn::tests
