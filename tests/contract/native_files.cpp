#include "tests/contract/native_files.h"

#include "platform/simulated/native_values.h"
#include "tests/contract/contract.h"

namespace vorn::contract {

Opened OpenNative(const std::u16string& name, const How& how, platform::HANDLE folder) {
  const auto create = reinterpret_cast<platform::NtCreateFileFunction>(
      platform::GetProcAddress(platform::GetModuleHandleW(u"ntdll.dll"), "NtCreateFile"));
  NEED(create != nullptr);
  const auto bytes = static_cast<std::uint16_t>(name.size() * sizeof(char16_t));
  const platform::UNICODE_STRING object = {bytes, bytes, name.data()};
  const platform::OBJECT_ATTRIBUTES attributes = {sizeof attributes,    folder,  &object,
                                                  how.objectAttributes, nullptr, nullptr};
  platform::IO_STATUS_BLOCK block = {};
  Opened opened;
  opened.status =
      create(&opened.handle_, how.access | platform::SYNCHRONIZE, &attributes, &block, nullptr,
             platform::FILE_ATTRIBUTE_NORMAL, how.share, how.disposition, how.options, nullptr, 0);
  if (opened.status < 0) opened.handle_ = nullptr;
  opened.information = block.Information;
  return opened;
}

std::uint32_t ToWin32(platform::NTSTATUS status) {
  const auto toError = reinterpret_cast<platform::RtlNtStatusToDosErrorFunction>(
      platform::GetProcAddress(platform::GetModuleHandleW(u"ntdll.dll"), "RtlNtStatusToDosError"));
  NEED(toError != nullptr);
  return toError(status);
}

Opened OpenFolder(const std::u16string& path) {
  How how;
  how.access = kListFolder;
  how.share = kShareAll;
  how.options = kFolder;
  Opened folder = OpenNative(Nt(path), how);
  NEED(folder.status == platform::STATUS_SUCCESS);
  return folder;
}

void WriteNewFile(const std::u16string& path, std::string_view content) {
  How how;
  how.access = platform::GENERIC_WRITE;
  how.disposition = platform::FILE_CREATE;
  const Opened file = OpenNative(Nt(path), how);
  NEED(file.status == platform::STATUS_SUCCESS);
  std::uint32_t written = 0;
  NEED(platform::WriteFile(file.Handle(), content.data(),
                           static_cast<std::uint32_t>(content.size()), &written));
  NEED(written == content.size());
}

bool MarkForDeletion(platform::HANDLE file) {
  const platform::FILE_DISPOSITION_INFO disposition = {1};
  return platform::SetFileInformationByHandle(file, platform::FileDispositionInfo, &disposition,
                                              sizeof disposition);
}

}  // namespace vorn::contract
