#pragma once

// A stand-in for NtCreateFile. It records every field of a call, then passes the call on or gives a
// prepared answer.

#include "base/text.h"
#include "platform/native.h"
#include "privileged_input/native_api.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn::tests {

struct NativeCall {
  std::uint32_t desiredAccess = 0;
  std::uint32_t attributesLength = 0;
  platform::HANDLE rootDirectory = nullptr;
  std::u16string objectName;
  bool lengthsEqual = false;
  std::uint32_t objectFlags = 0;
  const void* securityDescriptor = nullptr;
  const void* qualityOfService = nullptr;
  bool allocationSizeGiven = false;
  std::uint32_t fileAttributes = 0;
  std::uint32_t shareAccess = 0;
  std::uint32_t disposition = 0;
  std::uint32_t options = 0;
  bool extendedAttributesGiven = false;
};

/// A prepared answer, given instead of passing the call on.
struct NativeAnswer {
  platform::NTSTATUS status = 0;
  platform::HANDLE handle = nullptr;
};

class NativeRecorder {
 public:
  NativeRecorder() { Current() = this; }
  ~NativeRecorder() { Current() = nullptr; }
  NativeRecorder(const NativeRecorder&) = delete;
  NativeRecorder& operator=(const NativeRecorder&) = delete;

  std::vector<NativeCall> calls;
  std::optional<NativeAnswer> answer;

  /// The platform's table with the recorder in front of NtCreateFile.
  privileged_input::NativeApi Api() {
    privileged_input::NativeApi api = privileged_input::LoadNativeApi();
    real_ = api.ntCreateFile;
    api.ntCreateFile = &Record;
    return api;
  }

 private:
  static NativeRecorder*& Current() {
    static NativeRecorder* current = nullptr;
    return current;
  }

  static platform::NTSTATUS Record(platform::HANDLE* file, std::uint32_t access,
                                   const platform::OBJECT_ATTRIBUTES* attributes,
                                   platform::IO_STATUS_BLOCK* ioStatus,
                                   const std::int64_t* allocationSize, std::uint32_t fileAttributes,
                                   std::uint32_t share, std::uint32_t disposition,
                                   std::uint32_t options, const void* eaBuffer,
                                   std::uint32_t eaLength) {
    NativeRecorder& recorder = *Current();
    const platform::UNICODE_STRING& name = *attributes->ObjectName;
    recorder.calls.push_back({access, attributes->Length, attributes->RootDirectory,
                              std::u16string(name.Buffer, name.Length / sizeof(char16_t)),
                              name.Length == name.MaximumLength, attributes->Attributes,
                              attributes->SecurityDescriptor, attributes->SecurityQualityOfService,
                              allocationSize != nullptr, fileAttributes, share, disposition,
                              options, eaBuffer != nullptr || eaLength != 0});
    if (recorder.answer) {
      *file = recorder.answer->handle;
      return recorder.answer->status;
    }
    return recorder.real_(file, access, attributes, ioStatus, allocationSize, fileAttributes, share,
                          disposition, options, eaBuffer, eaLength);
  }

  platform::NtCreateFileFunction real_ = nullptr;
};

}  // namespace vorn::tests
