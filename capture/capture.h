#pragma once

// TakeCapture: reads the state of the machine that the program's commands depend on. It changes
// nothing and opens everything for reading.

#include "capture/capture_request.h"
#include "capture/captured_machine.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vorn::capture {

/// A finished capture: machine.json, and the contents that it refers to by their place in the list.
struct Capture {
  std::string document = {};
  std::vector<Bytes> contents = {};
  std::vector<ReadError> errors = {};
  std::size_t devices = 0;  // root-enumerated ones
};

Capture TakeCapture(const CaptureRequest& request);

/// The facts alone.
CapturedMachine ReadMachine(const CaptureRequest& request);

}  // namespace vorn::capture
