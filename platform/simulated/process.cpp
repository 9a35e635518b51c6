#include "platform/simulated/process.h"

#include "base/text.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstdlib>

namespace vorn::platform::simulated {

namespace {

std::u16string Joined(const std::vector<ConsoleWrite>& console, bool error) {
  std::u16string text;
  for (const ConsoleWrite& write : console) {
    if (write.error == error) text += write.text;
  }
  return text;
}

/// Adds to the line that the stream has begun, or begins one.
void AddToLine(std::vector<ConsoleWrite>& console, ConsoleWrite write) {
  const bool begun = !console.empty() && console.back().error == write.error &&
                     !console.back().text.ends_with(u'\n');
  if (begun) {
    console.back().text += write.text;
  } else {
    console.push_back(std::move(write));
  }
}

/// Objects that are only the process's own memory, not handles that a kernel closes.
bool IsMemory(ObjectKind kind) {
  return kind == ObjectKind::Memory || kind == ObjectKind::Com;
}

}  // namespace

Process::Process(Machine& machine) : machine_(machine) {
  assert(current == nullptr && "one simulated process at a time");
  current = this;
}

Process::~Process() {
  CloseHandles();
  objects_.RemoveAll([](ObjectKind) { return true; });
  current = nullptr;
}

void Process::AbortWithoutProcess() {
  std::fputs("a platform call was made outside any simulated process\n", stderr);
  std::abort();
}

void Process::Kill() {
  if (killed) return;
  killed = true;
  CloseHandles();
}

void Process::CloseHandles() {
  // Documented: the handles of a process are closed when it ends. Newest first: closing an object
  // may access the machine, but never other objects.
  objects_.RemoveAll([](ObjectKind kind) { return !IsMemory(kind); });
}

void Process::Print(bool error, std::u16string_view text) {
  PutOut(error, BufferOf(error).Add(text));
  if (!redirected) FlushConsole(error);
}

void Process::FlushConsole(bool error) {
  PutOut(error, BufferOf(error).Take());
}

void Process::Return() {
  if (killed) return;
  FlushConsole(false);
  FlushConsole(true);
}

void Process::PutOut(bool error, std::u16string_view text) {
  // Observed (Wine): each write is encoded by itself, so a pair that a full buffer parts is lost.
  const std::u16string written = redirected ? ToUtf16(ToUtf8(text)) : std::u16string(text);
  for (std::size_t start = 0; start < written.size();) {
    const std::size_t end = std::min(written.find(u'\n', start), written.size() - 1) + 1;
    AddToLine(console, {error, written.substr(start, end - start), machine_.clock.tick, callCount});
    start = end;
  }
}

std::map<ObjectKind, std::size_t> Process::OpenObjects() const {
  std::map<ObjectKind, std::size_t> counts;
  if (killed) return counts;
  objects_.VisitKinds([&counts](ObjectKind kind) { ++counts[kind]; });
  return counts;
}

std::u16string Process::Output() const {
  return Joined(console, false);
}
std::u16string Process::ErrorOutput() const {
  return Joined(console, true);
}

}  // namespace vorn::platform::simulated
