// Compiled into each kind of the lab's test program by itself: it alone knows which lab belongs to
// it.

#include "tests/lab/lab_process.h"

namespace vorn::lab {

const char* LabProgram() {
  return VORN_LAB_PROGRAM;
}

}  // namespace vorn::lab
