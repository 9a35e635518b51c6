#pragma once

// Native statuses and open options that only the model and its tests name; the values that the
// program names are in platform/native.h.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

inline constexpr std::uint32_t FILE_OPEN_IF = 3;

inline constexpr std::uint32_t FILE_DELETE_ON_CLOSE = 0x00001000;
inline constexpr std::uint32_t FILE_OPEN_FOR_BACKUP_INTENT = 0x00004000;

inline constexpr NTSTATUS STATUS_SUCCESS = 0;
inline constexpr NTSTATUS STATUS_BUFFER_OVERFLOW = static_cast<NTSTATUS>(0x80000005);
inline constexpr NTSTATUS STATUS_NO_MORE_FILES = static_cast<NTSTATUS>(0x80000006);
inline constexpr NTSTATUS STATUS_UNSUCCESSFUL = static_cast<NTSTATUS>(0xC0000001);
inline constexpr NTSTATUS STATUS_NOT_IMPLEMENTED = static_cast<NTSTATUS>(0xC0000002);
inline constexpr NTSTATUS STATUS_INFO_LENGTH_MISMATCH = static_cast<NTSTATUS>(0xC0000004);
inline constexpr NTSTATUS STATUS_ACCESS_VIOLATION = static_cast<NTSTATUS>(0xC0000005);
inline constexpr NTSTATUS STATUS_INVALID_HANDLE = static_cast<NTSTATUS>(0xC0000008);
inline constexpr NTSTATUS STATUS_INVALID_PARAMETER = static_cast<NTSTATUS>(0xC000000D);
inline constexpr NTSTATUS STATUS_NO_SUCH_DEVICE = static_cast<NTSTATUS>(0xC000000E);
inline constexpr NTSTATUS STATUS_NO_SUCH_FILE = static_cast<NTSTATUS>(0xC000000F);
inline constexpr NTSTATUS STATUS_INVALID_DEVICE_REQUEST = static_cast<NTSTATUS>(0xC0000010);
inline constexpr NTSTATUS STATUS_END_OF_FILE = static_cast<NTSTATUS>(0xC0000011);
inline constexpr NTSTATUS STATUS_NO_MEMORY = static_cast<NTSTATUS>(0xC0000017);
inline constexpr NTSTATUS STATUS_ACCESS_DENIED = static_cast<NTSTATUS>(0xC0000022);
inline constexpr NTSTATUS STATUS_BUFFER_TOO_SMALL = static_cast<NTSTATUS>(0xC0000023);
inline constexpr NTSTATUS STATUS_OBJECT_TYPE_MISMATCH = static_cast<NTSTATUS>(0xC0000024);
inline constexpr NTSTATUS STATUS_OBJECT_NAME_INVALID = static_cast<NTSTATUS>(0xC0000033);
inline constexpr NTSTATUS STATUS_OBJECT_NAME_NOT_FOUND = static_cast<NTSTATUS>(0xC0000034);
inline constexpr NTSTATUS STATUS_OBJECT_NAME_COLLISION = static_cast<NTSTATUS>(0xC0000035);
inline constexpr NTSTATUS STATUS_OBJECT_PATH_INVALID = static_cast<NTSTATUS>(0xC0000039);
inline constexpr NTSTATUS STATUS_OBJECT_PATH_NOT_FOUND = static_cast<NTSTATUS>(0xC000003A);
inline constexpr NTSTATUS STATUS_OBJECT_PATH_SYNTAX_BAD = static_cast<NTSTATUS>(0xC000003B);
inline constexpr NTSTATUS STATUS_SHARING_VIOLATION = static_cast<NTSTATUS>(0xC0000043);
inline constexpr NTSTATUS STATUS_DELETE_PENDING = static_cast<NTSTATUS>(0xC0000056);
inline constexpr NTSTATUS STATUS_UNKNOWN_REVISION = static_cast<NTSTATUS>(0xC0000058);
inline constexpr NTSTATUS STATUS_INVALID_OWNER = static_cast<NTSTATUS>(0xC000005A);
inline constexpr NTSTATUS STATUS_PRIVILEGE_NOT_HELD = static_cast<NTSTATUS>(0xC0000061);
inline constexpr NTSTATUS STATUS_INVALID_ACL = static_cast<NTSTATUS>(0xC0000077);
inline constexpr NTSTATUS STATUS_INVALID_SID = static_cast<NTSTATUS>(0xC0000078);
inline constexpr NTSTATUS STATUS_INVALID_SECURITY_DESCR = static_cast<NTSTATUS>(0xC0000079);
inline constexpr NTSTATUS STATUS_DISK_FULL = static_cast<NTSTATUS>(0xC000007F);
inline constexpr NTSTATUS STATUS_INSUFFICIENT_RESOURCES = static_cast<NTSTATUS>(0xC000009A);
inline constexpr NTSTATUS STATUS_MEDIA_WRITE_PROTECTED = static_cast<NTSTATUS>(0xC00000A2);
inline constexpr NTSTATUS STATUS_DEVICE_NOT_READY = static_cast<NTSTATUS>(0xC00000A3);
inline constexpr NTSTATUS STATUS_FILE_IS_A_DIRECTORY = static_cast<NTSTATUS>(0xC00000BA);
inline constexpr NTSTATUS STATUS_NOT_SUPPORTED = static_cast<NTSTATUS>(0xC00000BB);
inline constexpr NTSTATUS STATUS_BAD_NETWORK_PATH = static_cast<NTSTATUS>(0xC00000BE);
inline constexpr NTSTATUS STATUS_DIRECTORY_NOT_EMPTY = static_cast<NTSTATUS>(0xC0000101);
inline constexpr NTSTATUS STATUS_NOT_A_DIRECTORY = static_cast<NTSTATUS>(0xC0000103);
inline constexpr NTSTATUS STATUS_TOO_MANY_OPENED_FILES = static_cast<NTSTATUS>(0xC000011F);
inline constexpr NTSTATUS STATUS_CANCELLED = static_cast<NTSTATUS>(0xC0000120);
inline constexpr NTSTATUS STATUS_CANNOT_DELETE = static_cast<NTSTATUS>(0xC0000121);
inline constexpr NTSTATUS STATUS_KEY_DELETED = static_cast<NTSTATUS>(0xC000017C);
inline constexpr NTSTATUS STATUS_KEY_HAS_CHILDREN = static_cast<NTSTATUS>(0xC0000180);
inline constexpr NTSTATUS STATUS_NOT_FOUND = static_cast<NTSTATUS>(0xC0000225);
inline constexpr NTSTATUS STATUS_IO_REPARSE_TAG_INVALID = static_cast<NTSTATUS>(0xC0000276);
inline constexpr NTSTATUS STATUS_IO_REPARSE_TAG_NOT_HANDLED = static_cast<NTSTATUS>(0xC0000279);
inline constexpr NTSTATUS STATUS_REPARSE_POINT_NOT_RESOLVED = static_cast<NTSTATUS>(0xC0000280);
inline constexpr NTSTATUS STATUS_REPARSE_POINT_ENCOUNTERED = static_cast<NTSTATUS>(0xC000050B);

}  // namespace vorn::platform
