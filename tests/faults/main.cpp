// The entry of the test program. `--replay` repeats one planned run and prints what it writes;
// `--report` joins the report parts that earlier processes wrote.

#include "tests/faults/harness.h"
#include "tests/faults/report.h"

#include <cstdio>
#include <exception>
#include <gtest/gtest.h>
#include <string>

int main(int argc, char** argv) {
  vorn::tests::SetReportFolder(argv[0]);
  const std::string option = argc > 1 ? argv[1] : "";
  if (option == "--replay" && argc == 3) {
    try {
      return vorn::tests::Replay(argv[2]) == 0 ? 0 : 1;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
      return 64;
    }
  }
  if (option == "--report") {
    vorn::tests::PrintJoinedReport();
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  const bool listing = testing::GTEST_FLAG(list_tests);
  const int status = RUN_ALL_TESTS();
  if (!listing) vorn::tests::PrintJoinedReport();
  return status;
}
