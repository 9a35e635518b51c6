#pragma once

// Proofs that a structure of the seam is laid out as Windows' own structure of the same name. To be
// used inside namespace vorn::platform.

#include <cstddef>

#define VORN_SAME_SIZE(type) static_assert(sizeof(type) == sizeof(::type))
#define VORN_SAME_OFFSET(type, field) \
  static_assert(offsetof(type, field) == offsetof(::type, field))
