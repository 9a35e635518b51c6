#pragma once

// A text file that the C runtime writes: opened for appending in an encoding of its own, buffered,
// with the line ends of Windows.

#include "platform/simulated/file_open.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

class TextStream : public Object {
 public:
  /// Opens as "a, ccs=UTF-8" does: the file is created when it is missing, a new or empty file gets
  /// a byte-order mark, the mark of an existing one decides its encoding. Null, with the last
  /// error, when it cannot be opened.
  static std::shared_ptr<TextStream> Append(std::u16string_view path, std::uint32_t share);

  ~TextStream() override;

  /// Adds text; false when a full buffer could not be written.
  bool Write(std::u16string_view text);

  /// Writes what is buffered; false when that fails.
  bool Flush();

 private:
  explicit TextStream(std::shared_ptr<FileObject> file) : file_(std::move(file)) {}

  bool Prepare();

  std::shared_ptr<FileObject> file_;
  bool utf16_ = false;
  std::string buffer_;
};

}  // namespace vorn::platform::simulated
