#include "capture/capture.h"

#include "capture/document.h"
#include "capture/readers.h"

#include <algorithm>

namespace vorn::capture {

CapturedMachine ReadMachine(const CaptureRequest& request) {
  CapturedMachine machine;
  ReadSystem(machine);
  ReadDevices(machine);
  ReadCatalog(machine);
  ReadEndpointRecords(machine);
  ReadFiles(request, machine);
  return machine;
}

Capture TakeCapture(const CaptureRequest& request) {
  CapturedMachine machine = ReadMachine(request);
  Capture capture;
  capture.document = WriteCapture(machine, request.raw, capture.contents);
  capture.devices = static_cast<std::size_t>(
      std::count_if(machine.devices.begin(), machine.devices.end(),
                    [](const DeviceFact& device) { return device.parent.empty() && device.ours; }));
  capture.errors = std::move(machine.errors);
  return capture;
}

}  // namespace vorn::capture
