#pragma once

// A small machine for tests of the simulated file system, and native opens in one line.

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/native.h"
#include "platform/security.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/process.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

inline constexpr char16_t kDevice[] = u"\\Device\\HarddiskVolume3";
inline constexpr char16_t kGuid[] = u"01234567-89ab-cdef-0123-456789abcdef";

inline constexpr std::uint32_t kDirectoryOptions =
    FILE_OPEN_REPARSE_POINT | FILE_SYNCHRONOUS_IO_NONALERT | FILE_DIRECTORY_FILE;
inline constexpr std::uint32_t kFileOptions =
    FILE_OPEN_REPARSE_POINT | FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE;
inline constexpr std::uint32_t kEverythingShared =
    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// How to open a file; the default is for reading, without following links.
struct How {
  std::uint32_t access = GENERIC_READ;
  std::uint32_t share = FILE_SHARE_READ;
  std::uint32_t disposition = FILE_OPEN;
  std::uint32_t options = kFileOptions;
  std::uint32_t attributes = FILE_ATTRIBUTE_NORMAL;
  std::uint32_t objectAttributes = OBJ_CASE_INSENSITIVE | OBJ_DONT_REPARSE;
  const void* security = nullptr;
};

inline How Folder() {
  How how;
  how.access = READ_CONTROL | FILE_READ_ATTRIBUTES | FILE_TRAVERSE | FILE_LIST_DIRECTORY;
  how.options = kDirectoryOptions;
  return how;
}

inline How Follow(How how) {
  how.options &= ~FILE_OPEN_REPARSE_POINT;
  how.objectAttributes = OBJ_CASE_INSENSITIVE;
  return how;
}

inline How With(std::uint32_t access, std::uint32_t share = kEverythingShared) {
  How how;
  how.access = access;
  how.share = share;
  return how;
}

inline How New(std::uint32_t access = GENERIC_READ | GENERIC_WRITE | DELETE | READ_CONTROL) {
  How how;
  how.access = access;
  how.disposition = FILE_CREATE;
  return how;
}

inline How NewFolder() {
  How how = Folder();
  how.access |= DELETE;
  how.disposition = FILE_CREATE;
  return how;
}

class FileWorld : public ::testing::Test {
 protected:
  FileWorld() {
    AddVolume(Files(), u'C', kDevice, kGuid);
    MakeFolder(Files(), u"C:\\Windows\\INF");
    PutFile(Files(), u"C:\\a\\file.txt", std::string_view("content"));
  }

  FileSystem& Files() { return machine_.files; }
  Machine& TheMachine() { return machine_; }

  /// The process of the test, created at its first use.
  Process& TheProcess() {
    if (process_ == nullptr) process_ = std::make_unique<Process>(machine_);
    return *process_;
  }
  void EndProcess() { process_.reset(); }

  /// NtCreateFile as a program calls it; null and `Status()` when it fails.
  HANDLE Open(std::u16string_view name, const How& how = {}, HANDLE root = nullptr) {
    TheProcess();
    const auto bytes = static_cast<std::uint16_t>(name.size() * sizeof(char16_t));
    const UNICODE_STRING text = {bytes, bytes, name.data()};
    const OBJECT_ATTRIBUTES attributes = {sizeof(OBJECT_ATTRIBUTES), root,         &text,
                                          how.objectAttributes,      how.security, nullptr};
    const auto create = reinterpret_cast<NtCreateFileFunction>(
        GetProcAddress(GetModuleHandleW(u"ntdll.dll"), "NtCreateFile"));
    HANDLE handle = nullptr;
    status_ = create(&handle, how.access | SYNCHRONIZE, &attributes, &ioStatus_, nullptr,
                     how.attributes, how.share, how.disposition, how.options, nullptr, 0);
    return handle;
  }

  /// The same for a path on drive C.
  HANDLE OpenPath(std::u16string_view path, const How& how = {}) {
    return Open(kDevice + std::u16string(path.substr(2)), how);
  }

  /// Opens, closes again, and returns the status.
  NTSTATUS StatusOf(std::u16string_view path, const How& how = {}) {
    const HANDLE handle = OpenPath(path, how);
    if (handle != nullptr) CloseHandle(handle);
    return status_;
  }

  NTSTATUS Status() const { return status_; }
  const IO_STATUS_BLOCK& IoStatus() const { return ioStatus_; }

  static std::string ReadAll(HANDLE file, std::uint32_t most = 4096) {
    std::string text(most, '\0');
    std::uint32_t read = 0;
    if (!ReadFile(file, text.data(), most, &read)) return "failed";
    text.resize(read);
    return text;
  }

  static bool Write(HANDLE file, std::string_view text) {
    std::uint32_t written = 0;
    return WriteFile(file, text.data(), static_cast<std::uint32_t>(text.size()), &written) &&
           written == text.size();
  }

  static bool Dispose(HANDLE file, bool remove = true) {
    const FILE_DISPOSITION_INFO info = {static_cast<std::uint8_t>(remove)};
    return SetFileInformationByHandle(file, FileDispositionInfo, &info, sizeof info);
  }

  static BY_HANDLE_FILE_INFORMATION FactsOf(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION facts = {};
    EXPECT_TRUE(GetFileInformationByHandle(file, &facts));
    return facts;
  }

  static std::uint32_t AttributesOf(HANDLE file) {
    FILE_ATTRIBUTE_TAG_INFO info = {};
    EXPECT_TRUE(GetFileInformationByHandleEx(file, FileAttributeTagInfo, &info, sizeof info));
    return info.FileAttributes;
  }

  std::string Content(std::u16string_view path) {
    const auto bytes = ReadWholeFile(Files(), path);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "missing";
  }

  bool Exists(std::u16string_view path) { return FindNode(Files(), path).has_value(); }

 private:
  Machine machine_;
  std::unique_ptr<Process> process_;
  NTSTATUS status_ = STATUS_SUCCESS;
  IO_STATUS_BLOCK ioStatus_ = {};
};

/// Compares the last error, and prints both values when they differ.
inline ::testing::AssertionResult FailsWith(bool succeeded, std::uint32_t error) {
  if (succeeded) return ::testing::AssertionFailure() << "it succeeded";
  if (GetLastError() == error) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "the last error is " << GetLastError();
}

}  // namespace vorn::platform::simulated
