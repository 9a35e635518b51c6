#pragma once

// Files, directories and volumes through kernel32: everything that works on an open handle, and the
// few calls that resolve or create by name. Verified opens go through platform/native.h.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

// Access rights.
inline constexpr std::uint32_t FILE_LIST_DIRECTORY = 0x0001;
inline constexpr std::uint32_t FILE_WRITE_DATA = 0x0002;
inline constexpr std::uint32_t FILE_APPEND_DATA = 0x0004;
inline constexpr std::uint32_t FILE_WRITE_EA = 0x0010;
inline constexpr std::uint32_t FILE_TRAVERSE = 0x0020;
inline constexpr std::uint32_t FILE_DELETE_CHILD = 0x0040;
inline constexpr std::uint32_t FILE_READ_ATTRIBUTES = 0x0080;
inline constexpr std::uint32_t FILE_WRITE_ATTRIBUTES = 0x0100;
inline constexpr std::uint32_t DELETE = 0x00010000;
inline constexpr std::uint32_t READ_CONTROL = 0x00020000;
inline constexpr std::uint32_t WRITE_DAC = 0x00040000;
inline constexpr std::uint32_t WRITE_OWNER = 0x00080000;
inline constexpr std::uint32_t SYNCHRONIZE = 0x00100000;
inline constexpr std::uint32_t MAXIMUM_ALLOWED = 0x02000000;
inline constexpr std::uint32_t GENERIC_ALL = 0x10000000;
inline constexpr std::uint32_t GENERIC_WRITE = 0x40000000;
inline constexpr std::uint32_t GENERIC_READ = 0x80000000;

// Sharing.
inline constexpr std::uint32_t FILE_SHARE_READ = 0x1;
inline constexpr std::uint32_t FILE_SHARE_WRITE = 0x2;

// Attributes.
inline constexpr std::uint32_t FILE_ATTRIBUTE_READONLY = 0x1;
inline constexpr std::uint32_t FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr std::uint32_t FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr std::uint32_t FILE_ATTRIBUTE_REPARSE_POINT = 0x400;

inline constexpr std::uint32_t FILE_TYPE_DISK = 1;

inline constexpr std::uint32_t FILE_BEGIN = 0;

inline constexpr std::uint32_t VOLUME_NAME_GUID = 0x1;

// Information classes of GetFileInformationByHandleEx and SetFileInformationByHandle.
inline constexpr std::uint32_t FileBasicInfo = 0;
inline constexpr std::uint32_t FileDispositionInfo = 4;
inline constexpr std::uint32_t FileAttributeTagInfo = 9;
inline constexpr std::uint32_t FileIdBothDirectoryInfo = 10;
inline constexpr std::uint32_t FileIdBothDirectoryRestartInfo = 11;

struct FILETIME {
  std::uint32_t dwLowDateTime;
  std::uint32_t dwHighDateTime;
};

struct BY_HANDLE_FILE_INFORMATION {
  std::uint32_t dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  std::uint32_t dwVolumeSerialNumber;
  std::uint32_t nFileSizeHigh;
  std::uint32_t nFileSizeLow;
  std::uint32_t nNumberOfLinks;
  std::uint32_t nFileIndexHigh;
  std::uint32_t nFileIndexLow;
};
static_assert(sizeof(BY_HANDLE_FILE_INFORMATION) == 52);

struct FILE_BASIC_INFO {
  std::int64_t CreationTime;
  std::int64_t LastAccessTime;
  std::int64_t LastWriteTime;
  std::int64_t ChangeTime;
  std::uint32_t FileAttributes;
  std::uint32_t Reserved;
};
static_assert(sizeof(FILE_BASIC_INFO) == 40);

struct FILE_ATTRIBUTE_TAG_INFO {
  std::uint32_t FileAttributes;
  std::uint32_t ReparseTag;
};
static_assert(sizeof(FILE_ATTRIBUTE_TAG_INFO) == 8);

struct FILE_DISPOSITION_INFO {
  std::uint8_t DeleteFile;
};
static_assert(sizeof(FILE_DISPOSITION_INFO) == 1);

/// The fixed part of a directory record (FILE_ID_BOTH_DIR_INFO); the name follows at byte 104.
struct FILE_ID_BOTH_DIR_INFO {
  std::uint32_t NextEntryOffset;
  std::uint32_t FileIndex;
  std::int64_t CreationTime;
  std::int64_t LastAccessTime;
  std::int64_t LastWriteTime;
  std::int64_t ChangeTime;
  std::int64_t EndOfFile;
  std::int64_t AllocationSize;
  std::uint32_t FileAttributes;
  std::uint32_t FileNameLength;  // bytes
  std::uint32_t EaSize;
  std::int8_t ShortNameLength;  // bytes
  char16_t ShortName[12];
  std::int64_t FileId;
};
static_assert(sizeof(FILE_ID_BOTH_DIR_INFO) == 104);
static_assert(offsetof(FILE_ID_BOTH_DIR_INFO, FileAttributes) == 56);
static_assert(offsetof(FILE_ID_BOTH_DIR_INFO, FileNameLength) == 60);

/// Closes any kernel handle (CloseHandle).
bool CloseHandle(HANDLE handle);

/// FILE_TYPE_DISK for files and directories (GetFileType).
std::uint32_t GetFileType(HANDLE file);

/// Attributes, volume serial, size, links and index of an open file (GetFileInformationByHandle).
bool GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information);

/// One information class of an open file, or the next page of an open directory's records
/// (GetFileInformationByHandleEx). A finished listing fails with ERROR_NO_MORE_FILES.
bool GetFileInformationByHandleEx(HANDLE file, std::uint32_t informationClass, void* information,
                                  std::uint32_t size);

/// Sets one information class of an open file (SetFileInformationByHandle): attributes, or the
/// delete-on-close disposition.
bool SetFileInformationByHandle(HANDLE file, std::uint32_t informationClass,
                                const void* information, std::uint32_t size);

/// The path of an open file (GetFinalPathNameByHandleW): its length without the terminator, the
/// required size with it when `size` is too small, or 0 on failure.
std::uint32_t GetFinalPathNameByHandleW(HANDLE file, char16_t* path, std::uint32_t size,
                                        std::uint32_t flags);

/// Moves the file position (SetFilePointerEx).
bool SetFilePointerEx(HANDLE file, std::int64_t distance, std::int64_t* newPosition,
                      std::uint32_t method);

/// Reads up to `size` bytes at the file position; 0 bytes read means the end (ReadFile without
/// overlapped I/O).
bool ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read);

/// Writes `size` bytes at the file position (WriteFile without overlapped I/O).
bool WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written);

/// Truncates or extends the file to its position (SetEndOfFile).
bool SetEndOfFile(HANDLE file);

/// Writes buffered data through to the disk (FlushFileBuffers).
bool FlushFileBuffers(HANDLE file);

/// The targets of a DOS device name as a multi-string (QueryDosDeviceW): the number of characters
/// stored, 0 on failure.
std::uint32_t QueryDosDeviceW(const char16_t* deviceName, char16_t* targets, std::uint32_t size);

/// The temporary folder with a trailing backslash (GetTempPathW): its length, the required size
/// when `size` is too small, 0 on failure.
std::uint32_t GetTempPathW(std::uint32_t size, char16_t* path);

/// The Windows folder (GetWindowsDirectoryW): as GetTempPathW, without a trailing backslash.
std::uint32_t GetWindowsDirectoryW(char16_t* path, std::uint32_t size);

/// Makes a path absolute without touching the disk (GetFullPathNameW): its length, the required
/// size with terminator when `size` is too small, 0 on failure. `filePart` may be null.
std::uint32_t GetFullPathNameW(const char16_t* fileName, std::uint32_t size, char16_t* path,
                               char16_t** filePart);

/// The path of a module, of the program itself with null (GetModuleFileNameW): its length, `size`
/// when it was truncated, 0 on failure.
std::uint32_t GetModuleFileNameW(HMODULE module, char16_t* path, std::uint32_t size);

/// Creates a folder with inherited security (CreateDirectoryW without attributes). An existing name
/// fails with ERROR_ALREADY_EXISTS.
bool CreateDirectoryW(const char16_t* path);

}  // namespace vorn::platform
