// make_pictures FOLDER ROW...: draws rows of the table of decisions into FOLDER/ROW.svg.
// tools/pictures builds and runs it.

#include "tests/integration/pictures.h"

#include <cstdio>
#include <exception>
#include <gtest/gtest.h>

int main(int count, char** words) {
  if (count < 3) {
    std::fputs("usage: make_pictures FOLDER ROW...\n", stderr);
    return 64;
  }
  try {
    const std::filesystem::path folder = words[1];
    std::filesystem::create_directories(folder);
    for (int i = 2; i < count; ++i)
      vorn::tests::DrawRow(words[i], folder / (std::string(words[i]) + ".svg"));
  } catch (const std::exception& failed) {
    std::fprintf(stderr, "make_pictures: %s\n", failed.what());
    return 74;
  }
  // Expectations that fail outside of any test are kept here, and were printed.
  return testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed() ? 1 : 0;
}
