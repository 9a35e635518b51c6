#pragma once

// Files by the native call, as the program opens them: the function is looked up, names are NT
// names or relative to an open folder.

#include "platform/files.h"
#include "platform/native.h"
#include "platform/simulated/file_values.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::contract {

inline constexpr std::uint32_t kFile =
    platform::FILE_NON_DIRECTORY_FILE | platform::FILE_SYNCHRONOUS_IO_NONALERT;
inline constexpr std::uint32_t kFolder =
    platform::FILE_DIRECTORY_FILE | platform::FILE_SYNCHRONOUS_IO_NONALERT;
inline constexpr std::uint32_t kShareAll =
    platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE;
inline constexpr std::uint32_t kListFolder =
    platform::FILE_LIST_DIRECTORY | platform::FILE_TRAVERSE | platform::FILE_READ_ATTRIBUTES;

/// How to open; the default is an existing file for reading.
struct How {
  std::uint32_t access = platform::GENERIC_READ;
  std::uint32_t share = platform::FILE_SHARE_READ;
  std::uint32_t disposition = platform::FILE_OPEN;
  std::uint32_t options = kFile;
  std::uint32_t objectAttributes = platform::OBJ_CASE_INSENSITIVE;
};

/// An open file that closes itself, with what the open said.
class Opened {
 public:
  Opened() = default;
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  Opened(Opened&& other) noexcept : status(other.status), information(other.information) {
    handle_ = other.handle_;
    other.handle_ = nullptr;
  }
  ~Opened() { Close(); }

  platform::HANDLE Handle() const { return handle_; }
  void Close() {
    if (handle_ != nullptr) platform::CloseHandle(handle_);
    handle_ = nullptr;
  }

  platform::NTSTATUS status = 0;
  std::uintptr_t information = 0;

 private:
  friend Opened OpenNative(const std::u16string&, const How&, platform::HANDLE);
  platform::HANDLE handle_ = nullptr;
};

/// NtCreateFile with SYNCHRONIZE added, as found by GetProcAddress.
Opened OpenNative(const std::u16string& name, const How& how, platform::HANDLE folder = nullptr);

/// The NT name of a DOS path.
inline std::u16string Nt(const std::u16string& path) {
  return u"\\??\\" + path;
}

/// The Win32 error of a native status, as ntdll tells it.
std::uint32_t ToWin32(platform::NTSTATUS status);

/// Opens an existing folder so that opens can be relative to it.
Opened OpenFolder(const std::u16string& path);

/// Creates a file with that content; the case stops when it cannot.
void WriteNewFile(const std::u16string& path, std::string_view content);

/// Marks an open file or folder for deletion.
bool MarkForDeletion(platform::HANDLE file);

}  // namespace vorn::contract
