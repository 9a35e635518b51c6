#pragma once

// Process: the state that ends with a run. It holds the handles, the last error, the token, the
// console's text, the call log and the fault plan. While a Process lives, the platform's functions
// act on its behalf, on its machine.

#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/node_names.h"
#include "platform/simulated/object_table.h"
#include "platform/simulated/security_model.h"
#include "platform/simulated/stream_buffer.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vorn::platform::simulated {

/// A line of console text, or the beginning of one, in the order in which they came out.
struct ConsoleWrite {
  bool error = false;  // to standard error instead of standard output
  std::u16string text;
  std::uint64_t tick = 0;  // of the simulated clock, when its first character came out
  std::uint64_t call = 0;  // how many calls the process had made by then
};

class Process {
 public:
  /// Ours: a program that a lie of the platform keeps in a loop for ever is ended after so many
  /// calls; usual runs make thousands.
  static constexpr std::uint64_t kMostCalls = 2'000'000;

  /// Becomes the current process of `machine`, which must outlive it. Only one exists at a time.
  explicit Process(Machine& machine);

  /// Ends the process: whatever is still open is closed, as a kernel does.
  ~Process();

  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// The process that platform calls act for. There must be one.
  static Process& Current() {
    if (current == nullptr) AbortWithoutProcess();
    return *current;
  }

  /// Something has happened on the machine: tells whoever watches the current process, if there is
  /// one.
  static void NoteChange() {
    if (current != nullptr && current->watch && !current->killed) current->watch();
  }

  Machine& TheMachine() { return machine_; }

  // Facts about the run.
  std::uint32_t lastError = 0;
  Token token;
  std::vector<ConsoleWrite> console;  // without what the streams still buffer
  bool standardOutputClosed = false;
  bool redirected = true;  // the streams lead to one file or pipe, else to a console window
  std::vector<Fault> faults;
  bool logCalls = false;
  std::vector<CallRecord> calls;  // when logCalls is set
  std::uint64_t callCount = 0;    // of all calls
  CallCounts callCounts;
  std::uint64_t mostCalls = kMostCalls;  // one call more, and somebody ends the process
  std::function<void()> watch;           // after each call, and after each planned event within one
  bool killed = false;                   // its calls no longer have any effect
  std::uint64_t deadTicks = 0;
  std::unique_ptr<Machine> past;            // where stale answers come from
  bool ntdllMissing = false;                // GetModuleHandleW finds no ntdll.dll
  std::vector<std::string> missingExports;  // names that GetProcAddress does not find
  NodeNames nodes;                          // what its device node numbers mean
  int comInitialized = 0;                   // CoInitializeEx calls not yet balanced
  bool inOtherApartment = false;            // the thread joined another COM apartment by itself

  /// Kills the process: handles are closed as a kernel does; later calls do nothing and fail.
  /// Memory stays until the Process ends, because the program's destructors still use it.
  void Kill();

  /// Whether the process was killed because it made more calls than any run should.
  bool RanAway() const { return callCount > mostCalls; }

  /// Gives text to standard error, or else standard output.
  /// Documented: a stream that leads to a console writes at once, a redirected one when its buffer
  /// is full.
  void Print(bool error, std::u16string_view text);

  /// Writes what that stream buffers.
  void FlushConsole(bool error);

  /// The program returns.
  /// Observed (Wine): the runtime then writes what standard output still buffers, and after it what
  /// standard error does; a killed process loses both.
  void Return();

  // Open objects.
  std::uintptr_t Add(ObjectKind kind, std::shared_ptr<Object> object) {
    return objects_.Add(kind, std::move(object));
  }
  template <class T>
  std::shared_ptr<T> Find(ObjectKind kind, std::uintptr_t value) const {
    return std::dynamic_pointer_cast<T>(objects_.Find(kind, value));
  }
  bool Remove(ObjectKind kind, std::uintptr_t value) { return objects_.Remove(kind, value); }

  /// How many objects of each kind are open; empty when nothing was leaked, and after Kill.
  std::map<ObjectKind, std::size_t> OpenObjects() const;

  /// What came out of standard output, and of standard error.
  std::u16string Output() const;
  std::u16string ErrorOutput() const;

 private:
  [[noreturn]] static void AbortWithoutProcess();
  void CloseHandles();
  StreamBuffer& BufferOf(bool error) { return error ? errorBuffer_ : outputBuffer_; }
  void PutOut(bool error, std::u16string_view text);

  static inline Process* current = nullptr;

  Machine& machine_;
  StreamBuffer outputBuffer_;
  StreamBuffer errorBuffer_;
  ObjectTable objects_;
};

/// The `result` of a call that opens an object and returns its handle, or `none`. If the call was
/// made to fail after opening the object, the program never sees `created`, so it is closed.
template <class Handle>
Handle KeepOnSuccess(ObjectKind kind, Handle result, Handle created, Handle none) {
  if (result == none && created != none) {
    Process::Current().Remove(kind, reinterpret_cast<std::uintptr_t>(created));
  }
  return result;
}

}  // namespace vorn::platform::simulated
