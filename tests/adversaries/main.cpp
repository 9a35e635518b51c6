// The test program's entry: `--table` prints the table of attacks without trying any.

#include "tests/adversaries/attack_table.h"

#include <cstring>
#include <gtest/gtest.h>
#include <iostream>

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--table") == 0) {
    std::cout << vorn::tests::TableText();
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
