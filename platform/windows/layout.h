#pragma once

// Proofs that a structure of the seam has the layout of Windows' structure of the same name. For
// use inside namespace vorn::platform.

#include <cstddef>

#define VORN_SAME_SIZE(type) static_assert(sizeof(type) == sizeof(::type))
#define VORN_SAME_OFFSET(type, field) \
  static_assert(offsetof(type, field) == offsetof(::type, field))
