#pragma once

// A text file that the C runtime writes: opened for appending, buffered, with an encoding of its
// own and Windows line ends.

#include "platform/simulated/file_open.h"
#include "platform/simulated/stream_buffer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

class TextStream : public Object {
 public:
  /// Opens a file as "a, ccs=UTF-8" does: it is created when it is missing; a new or empty file
  /// gets a byte-order mark; the mark of an existing one determines its encoding. Null, with the
  /// last error, when it cannot be opened.
  static std::shared_ptr<TextStream> Append(std::u16string_view path, std::uint32_t share);

  ~TextStream() override;

  /// Adds text; false when a full buffer could not be written.
  bool Write(std::u16string_view text);

  /// Writes what is buffered; false on failure.
  bool Flush();

 private:
  explicit TextStream(std::shared_ptr<FileObject> file) : file_(std::move(file)) {}

  bool Prepare();
  bool WriteText(std::u16string_view text);
  bool WriteBytes(std::string_view bytes);

  std::shared_ptr<FileObject> file_;
  bool utf16_ = false;
  StreamBuffer buffer_;
};

}  // namespace vorn::platform::simulated
