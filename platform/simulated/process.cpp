#include "platform/simulated/process.h"

#include "base/text.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstdlib>

namespace vorn::platform::simulated {

namespace {

Process* current = nullptr;

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
  while (!objects_.empty())
    objects_.erase(std::prev(objects_.end()));
  current = nullptr;
}

Process& Process::Current() {
  if (current == nullptr) {
    std::fputs("a platform call was made outside any simulated process\n", stderr);
    std::abort();
  }
  return *current;
}

void Process::NoteChange() {
  if (current != nullptr && !current->killed && current->watch) current->watch();
}

void Process::Kill() {
  if (killed) return;
  killed = true;
  CloseHandles();
}

void Process::CloseHandles() {
  // Documented: the handles of a process are closed when it ends. Newest first: closing an object
  // may access the machine, but never other objects.
  for (auto next = objects_.end(); next != objects_.begin();) {
    --next;
    if (!IsMemory(next->second.first)) next = objects_.erase(next);
  }
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

std::uintptr_t Process::Add(ObjectKind kind, std::shared_ptr<Object> object) {
  const std::uintptr_t value = nextObject_;
  nextObject_ += 4;
  objects_.emplace(value, std::pair(kind, std::move(object)));
  return value;
}

std::shared_ptr<Object> Process::FindObject(ObjectKind kind, std::uintptr_t value) const {
  const auto found = objects_.find(value);
  if (found == objects_.end() || found->second.first != kind) return nullptr;
  return found->second.second;
}

bool Process::Remove(ObjectKind kind, std::uintptr_t value) {
  const auto found = objects_.find(value);
  if (found == objects_.end() || found->second.first != kind) return false;
  const std::shared_ptr<Object> keptUntilErased = found->second.second;
  objects_.erase(found);
  return true;
}

std::map<ObjectKind, std::size_t> Process::OpenObjects() const {
  std::map<ObjectKind, std::size_t> counts;
  if (killed) return counts;
  for (const auto& [value, object] : objects_)
    ++counts[object.first];
  return counts;
}

std::u16string Process::Output() const {
  return Joined(console, false);
}
std::u16string Process::ErrorOutput() const {
  return Joined(console, true);
}

}  // namespace vorn::platform::simulated
