#pragma once

// The final lines of the verification engine, field by field, and what a run of it must be like.

#include "platform/simulated/machine.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace vorn::tests {

inline constexpr std::uint32_t kStartWaitPauseMs = 500;
inline constexpr std::uint32_t kPollPauseMs = 2'000;
inline constexpr std::uint64_t kStartBudgetMs = 20'000;
inline constexpr std::uint64_t kProofBudgetMs = 90'000;
// Polls at 0, 2000, ... 90000.
inline constexpr std::size_t kPausesOfAFailedRun = 45;

/// The observations of an ENDPOINTS_MISSING line; the defaults are those of a proven machine.
struct MissingFields {
  std::string root = "healthy";
  std::string package;
  std::string kernel;
  std::string resident = "proven";
  std::string catalog = "healthy";
  std::string mapping;
  std::string present;
  int catalogCount = 20;
  int activeCount = 20;
  int presentCount = 20;
};

inline ConsoleLine MissingLine(const MissingFields& fields) {
  return Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=" + fields.root + "; package=" +
             fields.package + "; kernel=" + fields.kernel + "; resident=" + fields.resident +
             "; catalog=" + fields.catalog + "; mapping=" + fields.mapping +
             "; present=" + fields.present + " (catalog=" + std::to_string(fields.catalogCount) +
             ", active=" + std::to_string(fields.activeCount) +
             ", present-pnp=" + std::to_string(fields.presentCount) + ")");
}

/// A line on which nothing but the root was ever observed.
inline ConsoleLine NothingObservedLine(const std::string& rootReason, int presentCount) {
  MissingFields fields;
  fields.root = rootReason;
  fields.package = "live bound driver package not observed";
  fields.kernel = "live kernel endpoint pool not observed";
  fields.resident = "resident driver image not yet proven";
  fields.catalog = "";
  fields.mapping = "MMDevice catalog transition not observed";
  fields.present = "present AudioEndpoint transition not observed";
  fields.catalogCount = 0;
  fields.activeCount = 0;
  fields.presentCount = presentCount;
  return MissingLine(fields);
}

/// Disables every endpoint of the catalog, but none of the started children that stand for them.
inline void DisableCatalogOnly(platform::simulated::Machine& machine) {
  for (platform::simulated::AudioEndpoint& endpoint : machine.audio.endpoints)
    endpoint.state = platform::DEVICE_STATE_DISABLED;
}

inline void ExpectNothingLeft(const EngineRun& run) {
  EXPECT_TRUE(run.openObjects.empty());
  EXPECT_EQ(run.apartments, 0);
}

inline void ExpectProven(platform::simulated::Machine& machine, const EngineRun& run) {
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(run.console, Console{ProvenLine(machine)});
  ExpectNothingLeft(run);
}

/// A run that looked until the deadline and said this.
inline void ExpectMissing(const EngineRun& run, const ConsoleLine& line) {
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_EQ(run.console, Console{line});
  EXPECT_EQ(run.Sleeps(kPollPauseMs), kPausesOfAFailedRun);
  ExpectNothingLeft(run);
}

}  // namespace vorn::tests
