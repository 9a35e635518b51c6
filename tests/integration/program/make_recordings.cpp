// make_recordings FOLDER: writes the catalogue of recordings into a new folder. tools/recordings
// builds and runs it.

#include "tests/integration/recordings.h"

#include <cstdio>
#include <exception>
#include <gtest/gtest.h>

int main(int count, char** words) {
  if (count != 2 || std::filesystem::exists(words[1])) {
    std::fputs("usage: make_recordings FOLDER, which must not exist\n", stderr);
    return 64;
  }
  try {
    vorn::tests::WriteRecordings(words[1]);
  } catch (const std::exception& failed) {
    std::fprintf(stderr, "make_recordings: %s\n", failed.what());
    return 74;
  }
  // Expectations that fail outside of any test are kept here, and were printed.
  return testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed() ? 1 : 0;
}
