#include "platform/device_io.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/native.h"
#include "platform/simulated/device_io.h"
#include "platform/simulated/dos_paths.h"
#include "platform/simulated/driver_replies.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/process.h"
#include "platform/simulated/returned_data.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vorn::platform {

namespace simulated {

/// The input bytes of a request, as the log shows them.
struct RequestBytes {
  const void* data;
  std::uint32_t size;
};

template <>
std::string RenderArgument(const RequestBytes& value) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::uint32_t i = 0; value.data != nullptr && i < value.size; ++i) {
    const std::uint8_t byte = static_cast<const std::uint8_t*>(value.data)[i];
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

namespace {

constexpr std::uint32_t kReadAccess = 1;   // FILE_READ_ACCESS of a control code
constexpr std::uint32_t kWriteAccess = 2;  // FILE_WRITE_ACCESS

/// The access that a control code requires of the handle: its bits 14 and 15.
constexpr std::uint32_t AccessOf(std::uint32_t controlCode) {
  return controlCode >> 14 & (kReadAccess | kWriteAccess);
}

/// An open device. Closing it gives up the lease.
class DeviceHandle : public Object {
 public:
  DeviceHandle(Machine& machine, const Device& device, std::uint32_t granted)
      : access(granted),
        machine_(machine),
        instanceId_(device.instanceId),
        generation_(device.generation) {}
  ~DeviceHandle() override {
    Device* device = LiveDevice();
    if (device != nullptr && holdsLease) device->leaseHeld = false;
  }

  /// The device, while the driver that was opened is still loaded; null after that.
  Device* LiveDevice() const {
    Device* device = machine_.devices.Find(instanceId_);
    const bool alive = device != nullptr && device->present && device->generation == generation_;
    return alive ? device : nullptr;
  }

  const std::uint32_t access;  // kReadAccess, kWriteAccess
  bool holdsLease = false;

 private:
  Machine& machine_;
  std::u16string instanceId_;
  std::uint32_t generation_;
};

// ------------------------------------------------------------------------------------------------
// Opening.

std::uint32_t RequestAccess(std::uint32_t desiredAccess) {
  std::uint32_t access = 0;
  if ((desiredAccess & (GENERIC_READ | GENERIC_ALL | FILE_READ_DATA)) != 0) access |= kReadAccess;
  if ((desiredAccess & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA)) != 0) {
    access |= kWriteAccess;
  }
  return access;
}

/// The enabled interface of that path, and its device. Case does not distinguish paths.
const DeviceInterface* FindInterface(const Machine& machine, std::u16string_view path,
                                     const Device** owner) {
  for (const Device& device : machine.devices.devices) {
    if (!device.present) continue;
    for (const DeviceInterface& candidate : device.interfaces) {
      if (!candidate.enabled || !IsSameName(candidate.path, path)) continue;
      *owner = &device;
      return &candidate;
    }
  }
  return nullptr;
}

HANDLE Refuse(std::uint32_t error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

/// Documented: a path outside the device name space names a file.
HANDLE OpenFile(std::u16string_view path, std::uint32_t desiredAccess, std::uint32_t shareMode) {
  Process& process = Process::Current();
  const FileSystem& files = process.TheMachine().files;
  const std::u16string name = ToNtPath(files, FullPath(files, path));
  OpenRequest request;
  request.name = name;
  request.access = desiredAccess | SYNCHRONIZE | FILE_READ_ATTRIBUTES;
  request.share = shareMode;
  request.options = FILE_NON_DIRECTORY_FILE | FILE_SYNCHRONOUS_IO_NONALERT;
  OpenResult opened = OpenByName(process, request);
  if (opened.status != STATUS_SUCCESS) return Refuse(ToDosError(opened.status));
  return reinterpret_cast<HANDLE>(process.Add(ObjectKind::Handle, std::move(opened.file)));
}

/// Whether a path is in the device name space, where the names of interfaces are.
bool IsDevicePath(std::u16string_view path) {
  return path.starts_with(u"\\\\?\\") || path.starts_with(u"\\\\.\\");
}

HANDLE OpenPath(const char16_t* path, std::uint32_t desiredAccess, std::uint32_t shareMode,
                std::uint32_t creationDisposition) {
  if (path == nullptr || *path == u'\0') return Refuse(ERROR_PATH_NOT_FOUND);
  if (creationDisposition != OPEN_EXISTING) return Refuse(ERROR_INVALID_PARAMETER);
  if (!IsDevicePath(path)) return OpenFile(path, desiredAccess, shareMode);
  Machine& machine = Process::Current().TheMachine();
  const Device* device = nullptr;
  const DeviceInterface* found = FindInterface(machine, path, &device);
  if (found == nullptr) return Refuse(ERROR_FILE_NOT_FOUND);
  if (found->openError != 0) return Refuse(found->openError);
  return reinterpret_cast<HANDLE>(Process::Current().Add(
      ObjectKind::Handle,
      std::make_shared<DeviceHandle>(machine, *device, RequestAccess(desiredAccess))));
}

// ------------------------------------------------------------------------------------------------
// Requests.

struct Request {
  std::uint32_t code;
  const void* input;
  std::uint32_t inputSize;
  void* output;
  std::uint32_t outputSize;
  std::uint32_t* bytesReturned;

  /// The 32-bit word at a byte offset of the input.
  std::uint32_t Word(std::size_t offset) const {
    std::uint32_t word = 0;
    std::memcpy(&word, static_cast<const std::uint8_t*>(input) + offset, sizeof word);
    return word;
  }
};

constexpr std::uint32_t kLeaseInputSize = 4;
constexpr std::uint32_t kVisibilityInputSize = 12;

bool Reply(const Request& request, Bytes reply, const CallFaults& faults) {
  if (request.outputSize < reply.size() || (request.output == nullptr && !reply.empty())) {
    return FailWith(ERROR_INSUFFICIENT_BUFFER);
  }
  SpoilLength(reply, faults);
  const std::size_t length = std::min<std::size_t>(reply.size(), request.outputSize);
  if (length != 0) std::memcpy(request.output, reply.data(), length);
  if (request.bytesReturned != nullptr) {
    *request.bytesReturned = static_cast<std::uint32_t>(length);
  }
  return true;
}

/// The reply to a code, unless the image specifies other bytes for it.
Bytes ReplyOr(const DriverImage& image, std::uint32_t code, Bytes usual) {
  const auto found = image.replies.find(code);
  if (found == image.replies.end()) return usual;
  return found->second;
}

/// The queries take no input.
bool AnswerQuery(const Device& device, const Request& request, Bytes usual,
                 const CallFaults& faults) {
  if (request.inputSize != 0) return FailWith(ERROR_INVALID_PARAMETER);
  return Reply(request, ReplyOr(*device.resident, request.code, std::move(usual)), faults);
}

bool AcquireLease(DeviceHandle& handle, Device& device, const Request& request,
                  const CallFaults& faults) {
  if (request.inputSize != kLeaseInputSize) return FailWith(ERROR_INVALID_PARAMETER);
  if (device.leaseHeld && !handle.holdsLease) return FailWith(ERROR_BUSY);
  Bytes reply = ReplyOr(*device.resident, request.code, LeaseReply(*device.resident));
  if (!Reply(request, std::move(reply), faults)) return false;
  device.leaseHeld = true;
  handle.holdsLease = true;
  return true;
}

bool ReleaseLease(DeviceHandle& handle, Device& device, const Request& request,
                  const CallFaults& faults) {
  if (request.inputSize != kLeaseInputSize) return FailWith(ERROR_INVALID_PARAMETER);
  // Ours: only the lease holder may release the lease, as with every request that needs it.
  if (!handle.holdsLease) return FailWith(ERROR_ACCESS_DENIED);
  handle.holdsLease = false;
  device.leaseHeld = false;
  return Reply(request, {}, faults);
}

bool HasCable(const DriverImage& image, CableFlow cable) {
  return std::any_of(image.pool.begin(), image.pool.end(), [&](const PoolEntry& entry) {
    return entry.cable == cable.first && (entry.flow == 0) == (cable.second == 0);
  });
}

bool SetCableVisibility(DeviceHandle& handle, Device& device, const Request& request,
                        const CallFaults& faults) {
  if (request.inputSize != kVisibilityInputSize) return FailWith(ERROR_INVALID_PARAMETER);
  // Ours: only the lease holder may change visibility.
  if (!handle.holdsLease) return FailWith(ERROR_ACCESS_DENIED);
  const CableFlow cable = {request.Word(0), request.Word(4)};
  const std::uint32_t visible = request.Word(8);
  // Ours: the driver refuses words out of range.
  if (cable.second > 1 || visible > 1 || !HasCable(*device.resident, cable)) {
    return FailWith(ERROR_INVALID_PARAMETER);
  }
  const auto& refusals =
      visible != 0 ? device.resident->refusesToShow : device.resident->refusesToHide;
  const auto refusal = refusals.find(cable);
  if (refusal != refusals.end()) return FailWith(refusal->second);
  const std::u16string root = device.instanceId;
  ChangeEndpointVisibility(Process::Current().TheMachine(), root, cable, visible != 0);
  return Reply(request, {}, faults);
}

/// What the driver does with a request that passed the I/O manager.
bool Dispatch(DeviceHandle& handle, Device& device, const Request& request,
              const CallFaults& faults) {
  switch (request.code) {
    case kQueryEndpointPool:
      return AnswerQuery(device, request, PoolReply(*device.resident), faults);
    case kGetStatus:
      return AnswerQuery(device, request, StatusReply(*device.resident), faults);
    case kAcquireLease:
      return AcquireLease(handle, device, request, faults);
    case kReleaseLease:
      return ReleaseLease(handle, device, request, faults);
    case kSetCableVisibility:
      return SetCableVisibility(handle, device, request, faults);
    default:
      return FailWith(ERROR_INVALID_FUNCTION);
  }
}

/// A request may take time, and by then the device may be gone.
void TakeTime(const Device& device, std::uint32_t code) {
  if (!device.resident) return;
  const auto delay = device.resident->delays.find(code);
  if (delay == device.resident->delays.end()) return;
  Advance(Process::Current().TheMachine(), std::uint64_t{delay->second});
}

bool Control(HANDLE deviceHandle, const Request& request, const CallFaults& faults) {
  const auto number = reinterpret_cast<std::uintptr_t>(deviceHandle);
  const auto object = Process::Current().Find<Object>(ObjectKind::Handle, number);
  if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
  const auto handle = std::dynamic_pointer_cast<DeviceHandle>(object);
  if (handle == nullptr) return FailWith(ERROR_INVALID_FUNCTION);  // a file has no such request
  // Observed: the I/O manager checks a code's access bits against the handle before the driver sees
  // the request.
  if ((AccessOf(request.code) & ~handle->access) != 0) return FailWith(ERROR_ACCESS_DENIED);
  if (const Device* waiting = handle->LiveDevice()) TakeTime(*waiting, request.code);
  Device* device = handle->LiveDevice();
  if (device == nullptr) return FailWith(ERROR_NO_SUCH_DEVICE);
  // Assumed: a device that is present but not started fails its requests. Question: which error
  // does DeviceIoControl give after the device of an open handle was disabled?
  if (!IsStarted(*device)) return FailWith(ERROR_GEN_FAILURE);
  if (!device->resident) return FailWith(ERROR_INVALID_FUNCTION);  // another driver
  const auto failure = device->resident->failures.find(request.code);
  if (failure != device->resident->failures.end()) return FailWith(failure->second);
  return Dispatch(*handle, *device, request, faults);
}

}  // namespace

void EndControlSessions(Device& device) {
  device.leaseHeld = false;
  device.hidden.clear();
  ++device.generation;
}

}  // namespace simulated

using namespace simulated;

HANDLE CreateFileW(const char16_t* path, std::uint32_t desiredAccess, std::uint32_t shareMode,
                   std::uint32_t creationDisposition, std::uint32_t flagsAndAttributes) {
  HANDLE created = INVALID_HANDLE_VALUE;
  auto result = SimulateCall<HANDLE>(
      "CreateFileW", FailureStyle::LastError, INVALID_HANDLE_VALUE,
      Arguments("path", path, "desiredAccess", Hex{desiredAccess}, "shareMode", Hex{shareMode},
                "creationDisposition", creationDisposition, "flagsAndAttributes",
                Hex{flagsAndAttributes}),
      [&](const CallFaults&) {
        return created = OpenPath(path, desiredAccess, shareMode, creationDisposition);
      });
  return KeepOnSuccess(ObjectKind::Handle, result, created, INVALID_HANDLE_VALUE);
}

bool DeviceIoControl(HANDLE device, std::uint32_t controlCode, const void* input,
                     std::uint32_t inputSize, void* output, std::uint32_t outputSize,
                     std::uint32_t* bytesReturned) {
  return SimulateBool(
      "DeviceIoControl",
      Arguments("device", device, "controlCode", Hex{controlCode}, "input",
                RequestBytes{input, inputSize}, "inputSize", inputSize, "outputSize", outputSize),
      [&](const CallFaults& faults) {
        return Control(device, {controlCode, input, inputSize, output, outputSize, bytesReturned},
                       faults);
      });
}

}  // namespace vorn::platform
