#pragma once

// The log of an installer's calls: a file that one process at a time has open, because the scene
// that a call plays depends on the calls before it.

#include <filesystem>
#include <string>
#include <string_view>

namespace vorn::rehearsal {

class CallLog {
 public:
  /// Opens the log, and makes it where there is none. Waits while another call has it open. Throws
  /// std::runtime_error when it cannot be opened or read.
  explicit CallLog(const std::filesystem::path& path);
  ~CallLog();

  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;

  /// The lines of the calls before this one.
  const std::string& Text() const { return text_; }

  /// Adds a line. Throws std::runtime_error when it cannot be written.
  void Append(std::string_view line);

  /// Lets the next call have the log.
  void Close();

 private:
  void* file_;
  std::string text_;
};

}  // namespace vorn::rehearsal
