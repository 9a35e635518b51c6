#include "cli/default_state_path.h"

#include "base/path_text.h"
#include "platform/files.h"
#include "privileged_input/path_buffer.h"

#include <cstdint>

namespace vorn::cli {

namespace {

std::u16string StatePathAboveFolderOf(std::u16string_view path) {
  const std::u16string_view parent = CutLastComponent(CutLastComponent(path));
  if (parent.empty()) return {};
  return std::u16string(parent) + u"\\.vorn-driver-activation-state";
}

/// Empty on failure.
std::u16string FullPath(const std::u16string& path) {
  const std::uint32_t needed = platform::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (needed == 0) return {};
  const std::uint32_t capacity = needed + 1;
  std::u16string full(capacity, u'\0');
  const std::uint32_t length =
      platform::GetFullPathNameW(path.c_str(), capacity, full.data(), nullptr);
  if (length == 0 || length >= capacity) return {};
  full.resize(length);
  return full;
}

/// Empty on failure and on truncation.
std::u16string ProgramPath() {
  using privileged_input::PathBuffer;
  PathBuffer buffer;
  const std::uint32_t length =
      platform::GetModuleFileNameW(nullptr, buffer.Data(), privileged_input::kPathBufferLength);
  if (length == 0 || length >= privileged_input::kPathBufferLength) return {};
  return std::u16string(buffer.Text(length));
}

}  // namespace

std::u16string StatePathForInf(const std::u16string& infPath) {
  return StatePathAboveFolderOf(FullPath(infPath));
}

std::u16string StatePathForProgram() {
  return StatePathAboveFolderOf(ProgramPath());
}

}  // namespace vorn::cli
