#include "platform/native.h"

#include "base/text.h"
#include "platform/last_error.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/descriptor_image.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/modules.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/registry.h"

#include <algorithm>

namespace vorn::platform {

namespace simulated {

namespace {

std::u16string_view ViewOf(const UNICODE_STRING* text) {
  if (text == nullptr || text->Buffer == nullptr) return {};
  return {text->Buffer, text->Length / sizeof(char16_t)};
}

bool IsSoundName(const UNICODE_STRING* text) {
  if (text == nullptr) return true;
  return text->Length % sizeof(char16_t) == 0 && text->Length <= text->MaximumLength &&
         (text->Buffer != nullptr || text->Length == 0);
}

/// Translates the caller's record into a request of the model, or into the status that refuses it.
NTSTATUS ReadAttributes(const Process& process, const OBJECT_ATTRIBUTES& attributes,
                        std::shared_ptr<FileObject>& root, SecurityRecord& security,
                        OpenRequest& request) {
  if (attributes.Length != sizeof(OBJECT_ATTRIBUTES)) return STATUS_INVALID_PARAMETER;
  if (!IsSoundName(attributes.ObjectName)) return STATUS_OBJECT_NAME_INVALID;
  request.name = ViewOf(attributes.ObjectName);
  request.dontReparse = (attributes.Attributes & OBJ_DONT_REPARSE) != 0;
  if (attributes.RootDirectory != nullptr) {
    root = FindFile(process, attributes.RootDirectory);
    if (root == nullptr) return STATUS_INVALID_HANDLE;
    request.root = root.get();
  }
  if (attributes.SecurityDescriptor != nullptr) {
    const auto* image = static_cast<const SECURITY_DESCRIPTOR*>(attributes.SecurityDescriptor);
    const std::optional<SecurityRecord> record = ReadDescriptor(image);
    if (!record) return STATUS_INVALID_SECURITY_DESCR;
    security = *record;
    request.security = &security;
  }
  return STATUS_SUCCESS;
}

NTSTATUS CreateFileBody(HANDLE* file, const OBJECT_ATTRIBUTES* attributes,
                        IO_STATUS_BLOCK* ioStatus, OpenRequest request) {
  if (file == nullptr || attributes == nullptr || ioStatus == nullptr) {
    return STATUS_ACCESS_VIOLATION;
  }
  Process& process = Process::Current();
  std::shared_ptr<FileObject> root;
  SecurityRecord security;
  const NTSTATUS refused = ReadAttributes(process, *attributes, root, security, request);
  if (refused != STATUS_SUCCESS) return refused;
  OpenResult result = OpenByName(process, request);
  ioStatus->Status = result.status;
  if (result.status != STATUS_SUCCESS) return result.status;
  constexpr std::uintptr_t kOpened = 1;
  constexpr std::uintptr_t kCreated = 2;
  ioStatus->Information = result.created ? kCreated : kOpened;
  const std::uintptr_t value = process.Add(ObjectKind::Handle, std::move(result.file));
  *file = reinterpret_cast<HANDLE>(value);
  return STATUS_SUCCESS;
}

/// A planned failure may be a Win32 code. Wrapped in a status, as the platform does it, it is a
/// failure here too and translates back to itself.
NTSTATUS AsFailure(NTSTATUS status) {
  constexpr std::uint32_t kNtWin32Facility = 0xC0070000;
  if (status <= 0) return status;
  return static_cast<NTSTATUS>(kNtWin32Facility | static_cast<std::uint32_t>(status));
}

NTSTATUS NtCreateFile(HANDLE* file, std::uint32_t desiredAccess,
                      const OBJECT_ATTRIBUTES* attributes, IO_STATUS_BLOCK* ioStatus,
                      const std::int64_t* allocationSize, std::uint32_t fileAttributes,
                      std::uint32_t shareAccess, std::uint32_t createDisposition,
                      std::uint32_t createOptions, const void* eaBuffer, std::uint32_t eaLength) {
  static const OBJECT_ATTRIBUTES kNone = {};
  const OBJECT_ATTRIBUTES& shown = attributes == nullptr ? kNone : *attributes;
  return AsFailure(SimulateCode<NTSTATUS>(
      "NtCreateFile",
      Arguments("ObjectName", ViewOf(shown.ObjectName), "RootDirectory", shown.RootDirectory,
                "Length", shown.Length, "Attributes", Hex{shown.Attributes}, "SecurityDescriptor",
                shown.SecurityDescriptor != nullptr, "SecurityQualityOfService",
                shown.SecurityQualityOfService != nullptr, "DesiredAccess", Hex{desiredAccess},
                "AllocationSize", allocationSize != nullptr, "FileAttributes", Hex{fileAttributes},
                "ShareAccess", Hex{shareAccess}, "CreateDisposition", createDisposition,
                "CreateOptions", Hex{createOptions}, "EaBuffer", eaBuffer != nullptr, "EaLength",
                eaLength),
      [&](const CallFaults&) {
        OpenRequest request;
        request.access = desiredAccess;
        request.attributes = fileAttributes;
        request.share = shareAccess;
        request.disposition = createDisposition;
        request.options = createOptions;
        return CreateFileBody(file, attributes, ioStatus, request);
      }));
}

std::uint32_t RtlNtStatusToDosError(NTSTATUS status) {
  return SimulateCode<std::uint32_t>("RtlNtStatusToDosError",
                                     Arguments("Status", Hex{static_cast<std::uint32_t>(status)}),
                                     [&](const CallFaults&) { return ToDosError(status); });
}

struct Export {
  std::string_view name;
  FARPROC function;
};

const Export kNtdllExports[] = {
    {"NtCreateFile", reinterpret_cast<FARPROC>(&NtCreateFile)},
    {"NtDeleteKey", reinterpret_cast<FARPROC>(&SimulatedNtDeleteKey)},
    {"RtlNtStatusToDosError", reinterpret_cast<FARPROC>(&RtlNtStatusToDosError)},
};

/// Documented: GetModuleHandleW takes a name without an extension for that of a DLL.
bool NamesNtdll(std::u16string_view name) {
  return EqualsIgnoringCase(name, u"ntdll.dll") || EqualsIgnoringCase(name, u"ntdll");
}

FARPROC FindExport(const Process& process, const char* name) {
  const auto& missing = process.missingExports;
  if (std::find(missing.begin(), missing.end(), name) != missing.end()) return nullptr;
  for (const Export& entry : kNtdllExports) {
    if (entry.name == name) return entry.function;
  }
  return nullptr;
}

}  // namespace

std::vector<std::string_view> NtdllExports() {
  std::vector<std::string_view> names;
  for (const Export& entry : kNtdllExports)
    names.push_back(entry.name);
  return names;
}

}  // namespace simulated

using namespace simulated;

HMODULE GetModuleHandleW(const char16_t* moduleName) {
  return SimulateCall<HMODULE>("GetModuleHandleW", FailureStyle::LastError, nullptr,
                               Arguments("lpModuleName", moduleName),
                               [&](const CallFaults&) -> HMODULE {
                                 if (moduleName == nullptr) return ProgramModule();
                                 if (NamesNtdll(moduleName) && !Process::Current().ntdllMissing) {
                                   return NtdllModule();
                                 }
                                 SetLastError(ERROR_MOD_NOT_FOUND);
                                 return nullptr;
                               });
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  return SimulateCall<FARPROC>(
      "GetProcAddress", FailureStyle::LastError, nullptr,
      Arguments("hModule", module, "lpProcName", name), [&](const CallFaults&) -> FARPROC {
        const bool ntdll = module == NtdllModule();
        const bool program = module == ProgramModule();
        const FARPROC found = ntdll ? FindExport(Process::Current(), name) : nullptr;
        if (found != nullptr) return found;
        SetLastError(ntdll || program ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND);
        return nullptr;
      });
}

}  // namespace vorn::platform
