#pragma once

// One suite over the seam, compiled for the simulated machine and for Windows' own interfaces. So
// that both sides answer the same questions, a case uses platform/*.h and world.h only, and nothing
// of the model but the plain values of its *_values.h.

#include "tests/contract/world.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vorn::contract {

/// One case: a sentence about the platform.
struct Case {
  const char* name;
  void (*run)();
};

/// Every case of the program; those of one file in the order of their lines.
std::vector<Case>& Cases();

struct Registration {
  Registration(const char* name, void (*run)()) { Cases().push_back({name, run}); }
};

/// Ends the running case as skipped on that side, for a reason that is printed.
void SkipOn(Side side, std::string_view reason);

/// Notes a failed check of the running case, which goes on.
void NoteFailure(const char* file, int line, const std::string& what);

/// Ends the running case as failed; what was wrong is noted before.
[[noreturn]] void StopCase();

/// UTF-8 of a text, for what is printed.
std::string Printable(std::u16string_view text);

inline std::string Shown(std::u16string_view value) {
  return '"' + Printable(value) + '"';
}
inline std::string Shown(const std::u16string& value) {
  return Shown(std::u16string_view(value));
}
inline std::string Shown(const char16_t* value) {
  return Shown(std::u16string_view(value));
}
inline std::string Shown(const std::string& value) {
  return '"' + value + '"';
}
inline std::string Shown(bool value) {
  return value ? "true" : "false";
}
std::string ShownNumber(std::int64_t value);
template <class T>
std::string Shown(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return ShownNumber(static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(value)));
  } else {
    return ShownNumber(static_cast<std::int64_t>(value));
  }
}

template <class Actual, class Expected>
bool CheckEqual(const char* file, int line, const char* text, const Actual& actual,
                const Expected& expected) {
  if (actual == expected) return true;
  NoteFailure(file, line,
              std::string(text) + " is " + Shown(actual) + ", expected " + Shown(expected));
  return false;
}

}  // namespace vorn::contract

#define CONTRACT(name)                                                              \
  static void name();                                                               \
  static const ::vorn::contract::Registration registration_of_##name(#name, &name); \
  static void name()

#define CHECK(condition)                                                             \
  do {                                                                               \
    if (!(condition)) ::vorn::contract::NoteFailure(__FILE__, __LINE__, #condition); \
  } while (false)

#define CHECK_EQ(actual, expected) \
  static_cast<void>(::vorn::contract::CheckEqual(__FILE__, __LINE__, #actual, actual, expected))

/// As CHECK, and the case cannot go on without it.
#define NEED(condition)                                              \
  do {                                                               \
    if (!(condition)) {                                              \
      ::vorn::contract::NoteFailure(__FILE__, __LINE__, #condition); \
      ::vorn::contract::StopCase();                                  \
    }                                                                \
  } while (false)
