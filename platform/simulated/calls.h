#pragma once

// What every simulated platform call goes through: the call log, the fault plan, and the end of a
// killed process. A call states its name, how it fails and its arguments; its body is the model's
// answer.

#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "platform/types.h"

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace vorn::platform::simulated {

struct Machine;

/// One call as it happened.
struct CallRecord {
  std::string name;
  std::vector<std::pair<std::string, std::string>> arguments;
  std::string result;
  std::uint32_t lastError = 0;
  std::uint64_t tick = 0;  // of the simulated clock, when the call returned

  /// The text of an argument; empty when the call has no argument of that name.
  std::string Argument(std::string_view argumentName) const;
};

/// How often each call was made. The names are the calls' own, which last.
class CallCounts {
 public:
  using Count = std::pair<std::string_view, std::uint32_t>;

  /// The count of a call, 0 until it is raised.
  std::uint32_t& operator[](std::string_view name);

  /// The name and the count of a call that was made; end(), which is null, for any other.
  const Count* find(std::string_view name) const;
  static const Count* end() { return nullptr; }

  void clear() { *this = CallCounts(); }

 private:
  std::size_t PlaceOf(std::string_view name) const;

  /// Twice as many places as there are calls, so that most names are found at their first.
  static constexpr std::size_t kPlaces = 256;
  std::array<Count, kPlaces> counts_ = {};
};

enum class FaultKind {
  Fail,                  // no effect, and `error`
  FailAfterEffect,       // takes effect, and fails with `error` all the same
  SucceedWithoutEffect,  // success, but nothing happened and nothing was output
  Short,                 // returned data is cut to `amount` bytes
  Long,                  // returned data is followed by `amount` foreign bytes
  AskRestart,            // the call succeeds and asks for a restart
  TakeTime,              // the call takes `amount` milliseconds
  Change,                // another process makes `change` first
  ChangeAfter,           // the same, after the call has taken effect
  AnswerFromPast,        // devices, packages, registry and endpoints are those of `past`
  KillBefore,            // the process dies before the call takes effect
  KillAfter,             // the process dies after the call has taken effect
  Hang,                  // the call does not return; after an hour somebody ends the process
};

/// A fault, and the calls it hits.
struct Fault {
  std::string call = "*";   // name of a call, "*" for any
  std::uint32_t first = 1;  // counts the calls of that name
  std::uint32_t last = 1;   // the last call it hits
  FaultKind kind = FaultKind::Fail;
  std::uint32_t error = ERROR_GEN_FAILURE;  // as the code that the call itself uses
  std::uint64_t amount = 0;
  std::function<void(Machine&)> change = {};
  std::string changeName = {};               // for whoever judges the run
  std::shared_ptr<const Machine> past = {};  // whatever the call does to it is lost
  std::uint32_t hits = 0;                    // the calls that it has hit
  std::uint32_t vain = 0;                    // those whose answer it could not spoil
};

inline constexpr std::uint32_t kEveryLaterCall = std::numeric_limits<std::uint32_t>::max();

/// How a call reports failure.
enum class FailureStyle {
  LastError,  // returns a failure value and sets the last error
  Code,       // returns the error itself
};

/// What the fault plan spoils in the answer of a call that still runs; passed to the call's body.
/// It notes whether there was anything to spoil.
class CallFaults {
 public:
  void CutTo(std::uint64_t bytes) { shortTo_ = bytes; }
  void AppendTo(std::uint64_t bytes) { longBy_ = bytes; }
  void AskRestart() { askRestart_ = true; }

  /// How many of so many bytes are left.
  std::uint64_t Cut(std::uint64_t bytes) const {
    if (!shortTo_ || *shortTo_ >= bytes) return bytes;
    spoiled_ = true;
    return *shortTo_;
  }

  /// How many foreign bytes follow.
  std::uint64_t Appended() const {
    spoiled_ = spoiled_ || longBy_ != 0;
    return longBy_;
  }

  bool AsksRestart() const {
    spoiled_ = spoiled_ || askRestart_;
    return askRestart_;
  }

  bool HaveSpoiled() const { return spoiled_; }

 private:
  std::optional<std::uint64_t> shortTo_;
  std::uint64_t longBy_ = 0;
  bool askRestart_ = false;
  mutable bool spoiled_ = false;
};

// ------------------------------------------------------------------------------------------------
// Arguments, rendered only when calls are logged.

std::string RenderNumber(std::uint64_t value);
std::string RenderSigned(std::int64_t value);
std::string RenderText(const char16_t* text);
std::string RenderText(std::u16string_view text);
std::string RenderGuid(const GUID& guid);

/// An object's number, as in "#8"; "null" when there is none.
std::string RenderObject(std::uintptr_t value);

/// A number shown as 0x...: a mask, flags or a code.
struct Hex {
  std::uint64_t value;
};

template <class T>
std::string RenderArgument(const T& value) {
  if constexpr (std::is_same_v<T, Hex>) {
    return RenderArgument(value);
  } else if constexpr (std::is_same_v<T, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::is_same_v<T, const char16_t*> || std::is_same_v<T, char16_t*>) {
    return RenderText(value);
  } else if constexpr (std::is_same_v<T, const char*>) {
    return value == nullptr ? "null" : value;
  } else if constexpr (std::is_convertible_v<const T&, std::u16string_view>) {
    return RenderText(std::u16string_view(value));
  } else if constexpr (std::is_same_v<T, GUID>) {
    return RenderGuid(value);
  } else if constexpr (std::is_pointer_v<T>) {
    return RenderObject(reinterpret_cast<std::uintptr_t>(value));
  } else if constexpr (std::is_signed_v<T>) {
    return RenderSigned(value);
  } else {
    return RenderNumber(value);
  }
}
template <>
std::string RenderArgument(const Hex& value);

/// An argument that is not yet a text.
struct NamedArgument {
  const char* name;
  const void* value;
  std::string (*render)(const void* value);
};

template <class T>
std::string RenderStored(const void* value) {
  return RenderArgument(*static_cast<const T*>(value));
}

/// The names and texts of arguments, as a call record holds them.
std::vector<std::pair<std::string, std::string>> RenderAll(
    std::span<const NamedArgument> arguments);

/// How an argument waits to be rendered: texts by reference, everything else by value.
template <class T>
using StoredArgument = std::conditional_t<std::is_same_v<T, std::u16string>, std::u16string_view,
                                          std::decay_t<const T&>>;

/// Named arguments of a call: Arguments("handle", handle, "access", Hex{access}). Texts must
/// outlive the call.
template <class... Ts>
class Arguments {
 public:
  explicit Arguments(const Ts&... namesAndValues) : items_(namesAndValues...) {}

  std::vector<std::pair<std::string, std::string>> Render() const {
    return RenderPairs(std::make_index_sequence<sizeof...(Ts) / 2>());
  }

 private:
  template <std::size_t... Pair>
  std::vector<std::pair<std::string, std::string>> RenderPairs(std::index_sequence<Pair...>) const {
    const std::array<NamedArgument, sizeof...(Pair)> arguments = {Named<2 * Pair>()...};
    return RenderAll(arguments);
  }

  template <std::size_t I>
  NamedArgument Named() const {
    const auto& value = std::get<I + 1>(items_);
    return {std::get<I>(items_), &value, &RenderStored<std::decay_t<decltype(value)>>};
  }

  std::tuple<StoredArgument<Ts>...> items_;
};
template <class... Ts>
Arguments(const Ts&...) -> Arguments<Ts...>;

// ------------------------------------------------------------------------------------------------
// The gate.

/// What the gate decided before the call's body runs.
struct Verdict {
  bool run = true;                     // whether the body runs
  std::optional<std::uint32_t> error;  // the call fails with this, after the body if that runs
  bool pretendSuccess = false;         // success without effect
  bool killAfter = false;
  const Fault* changeAfter = nullptr;
  bool fromPast = false;
  Fault* spoils = nullptr;  // the fault that asks for something in `faults`
  CallFaults faults;
};

/// Counts the call, applies the plan, and runs the scripted changes and planned events that are
/// due.
Verdict EnterCall(std::string_view name);

/// Finishes the call, with a record of it when calls are logged, and kills the process if that was
/// planned.
void LeaveCall(const Verdict& verdict, CallRecord* record);

/// Whether calls are logged, so that arguments are rendered only when needed.
bool IsLogging();

template <class R>
std::string RenderResult(const R& result) {
  if constexpr (std::is_enum_v<R>) {
    return RenderNumber(static_cast<std::uint64_t>(result));
  } else {
    return RenderArgument(result);
  }
}

/// Whether the machine is at work on a call, and not the program on its own: for whoever measures
/// what each of them takes.
class CallUnderWay {
 public:
  CallUnderWay() { ++number_; }
  ~CallUnderWay() { --number_; }
  CallUnderWay(const CallUnderWay&) = delete;
  CallUnderWay& operator=(const CallUnderWay&) = delete;

  static bool IsAny() { return number_ != 0; }

 private:
  static inline std::uint32_t number_ = 0;
};

/// One simulated platform call. `failure` is what calls of style LastError return on failure; calls
/// of style Code return the error converted to R. `body` takes a `const CallFaults&` and returns R;
/// when it fails, it sets the last error itself.
template <class R, class ArgumentList, class Body>
R SimulateCall(std::string_view name, FailureStyle style, R failure, const ArgumentList& arguments,
               Body&& body) {
  const CallUnderWay underWay;
  const Verdict verdict = EnterCall(name);
  R result = failure;
  if (verdict.run) result = body(verdict.faults);
  if (verdict.pretendSuccess) {
    if constexpr (std::is_same_v<R, bool>) result = true;
    if constexpr (std::is_integral_v<R> && !std::is_same_v<R, bool>) result = R{0};
  }
  if (verdict.error) {
    if (style == FailureStyle::LastError) {
      SetLastError(*verdict.error);
      result = failure;
    } else if constexpr (std::is_integral_v<R>) {
      result = static_cast<R>(*verdict.error);
    }
  }
  if (IsLogging()) {
    CallRecord record = {std::string(name), arguments.Render(), RenderResult(result)};
    LeaveCall(verdict, &record);
  } else {
    LeaveCall(verdict, nullptr);
  }
  return result;
}

/// A call that returns success or failure, with the reason in the last error.
template <class ArgumentList, class Body>
bool SimulateBool(std::string_view name, const ArgumentList& arguments, Body&& body) {
  return SimulateCall<bool>(name, FailureStyle::LastError, false, arguments,
                            std::forward<Body>(body));
}

/// A call whose returned value is its error code (NTSTATUS, LSTATUS, CONFIGRET, HRESULT).
template <class R, class ArgumentList, class Body>
R SimulateCode(std::string_view name, const ArgumentList& arguments, Body&& body) {
  return SimulateCall<R>(name, FailureStyle::Code, R{}, arguments, std::forward<Body>(body));
}

/// Sets the last error and returns false, for the bodies of SimulateBool.
bool FailWith(std::uint32_t error);

}  // namespace vorn::platform::simulated
