#pragma once

// BadInput: something that a person or a script gave to the lab is wrong. The text is one line that
// names the argument or the key, for standard error; nothing has been changed.

#include <stdexcept>
#include <string>

namespace vorn::lab {

class BadInput : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;

  /// At a key of a document: "devices[0].problem: must be a whole number from 0 to 4294967295".
  BadInput(const std::string& keyPath, const std::string& what)
      : std::runtime_error(keyPath.empty() ? what : keyPath + ": " + what) {}
};

/// The same of a file or folder of the host rather than a key; its path is below the machine's
/// folder.
class BadHostFile : public BadInput {
 public:
  using BadInput::BadInput;
};

}  // namespace vorn::lab
