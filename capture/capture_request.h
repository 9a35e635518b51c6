#pragma once

// CaptureRequest: what somebody asks to capture beside the machine itself.

#include <string>
#include <vector>

namespace vorn::capture {

struct CaptureRequest {
  std::vector<std::u16string> infs = {};      // that a command would be given
  std::vector<std::u16string> journals = {};  // beside those in the default places
  bool raw = false;                           // keep user names and SIDs
};

}  // namespace vorn::capture
