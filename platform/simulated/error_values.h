#pragma once

// Error codes that only the model and its tests name; those that the program names are in
// platform/last_error.h.

#include <cstdint>

namespace vorn::platform {

inline constexpr std::uint32_t ERROR_INVALID_FUNCTION = 1;
inline constexpr std::uint32_t ERROR_PATH_NOT_FOUND = 3;
inline constexpr std::uint32_t ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr std::uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr std::uint32_t ERROR_INVALID_DATA = 13;
inline constexpr std::uint32_t ERROR_NOT_SAME_DEVICE = 17;
inline constexpr std::uint32_t ERROR_WRITE_PROTECT = 19;
inline constexpr std::uint32_t ERROR_NOT_READY = 21;
inline constexpr std::uint32_t ERROR_BAD_LENGTH = 24;
inline constexpr std::uint32_t ERROR_GEN_FAILURE = 31;
inline constexpr std::uint32_t ERROR_SHARING_VIOLATION = 32;
inline constexpr std::uint32_t ERROR_HANDLE_EOF = 38;
inline constexpr std::uint32_t ERROR_NOT_SUPPORTED = 50;
inline constexpr std::uint32_t ERROR_BAD_NETPATH = 53;
inline constexpr std::uint32_t ERROR_DISK_FULL = 112;
inline constexpr std::uint32_t ERROR_MOD_NOT_FOUND = 126;
inline constexpr std::uint32_t ERROR_NEGATIVE_SEEK = 131;
inline constexpr std::uint32_t ERROR_DIR_NOT_EMPTY = 145;
inline constexpr std::uint32_t ERROR_BAD_PATHNAME = 161;
inline constexpr std::uint32_t ERROR_BUSY = 170;
inline constexpr std::uint32_t ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr std::uint32_t ERROR_DIRECTORY = 267;
inline constexpr std::uint32_t ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr std::uint32_t ERROR_NO_SUCH_DEVICE = 433;
inline constexpr std::uint32_t ERROR_OPERATION_ABORTED = 995;
inline constexpr std::uint32_t ERROR_NOACCESS = 998;
inline constexpr std::uint32_t ERROR_INVALID_FLAGS = 1004;
inline constexpr std::uint32_t ERROR_KEY_DELETED = 1018;
inline constexpr std::uint32_t ERROR_KEY_HAS_CHILDREN = 1020;
inline constexpr std::uint32_t ERROR_SERVICE_ALREADY_RUNNING = 1056;
inline constexpr std::uint32_t ERROR_SERVICE_DISABLED = 1058;
inline constexpr std::uint32_t ERROR_SERVICE_DOES_NOT_EXIST = 1060;
inline constexpr std::uint32_t ERROR_SERVICE_DEPENDENCY_FAIL = 1068;
inline constexpr std::uint32_t ERROR_SERVICE_MARKED_FOR_DELETE = 1072;
inline constexpr std::uint32_t ERROR_SERVICE_DEPENDENCY_DELETED = 1075;
inline constexpr std::uint32_t ERROR_NOT_FOUND = 1168;
inline constexpr std::uint32_t ERROR_NOT_ALL_ASSIGNED = 1300;
inline constexpr std::uint32_t ERROR_UNKNOWN_REVISION = 1305;
inline constexpr std::uint32_t ERROR_INVALID_OWNER = 1307;
inline constexpr std::uint32_t ERROR_NO_SUCH_PRIVILEGE = 1313;
inline constexpr std::uint32_t ERROR_PRIVILEGE_NOT_HELD = 1314;
inline constexpr std::uint32_t ERROR_INVALID_ACL = 1336;
inline constexpr std::uint32_t ERROR_INVALID_SID = 1337;
inline constexpr std::uint32_t ERROR_INVALID_SECURITY_DESCR = 1338;
inline constexpr std::uint32_t ERROR_NO_SYSTEM_RESOURCES = 1450;
inline constexpr std::uint32_t ERROR_DATATYPE_MISMATCH = 1629;
inline constexpr std::uint32_t ERROR_UNSUPPORTED_TYPE = 1630;
inline constexpr std::uint32_t ERROR_INVALID_USER_BUFFER = 1784;
inline constexpr std::uint32_t ERROR_CANT_ACCESS_FILE = 1920;
inline constexpr std::uint32_t ERROR_CANT_RESOLVE_FILENAME = 1921;
inline constexpr std::uint32_t ERROR_REPARSE_POINT_ENCOUNTERED = 4395;

// Device installation errors (SETUPAPI).
inline constexpr std::uint32_t ERROR_EXPECTED_SECTION_NAME = 0xE0000000;
inline constexpr std::uint32_t ERROR_BAD_SECTION_NAME_LINE = 0xE0000001;
inline constexpr std::uint32_t ERROR_SECTION_NAME_TOO_LONG = 0xE0000002;
inline constexpr std::uint32_t ERROR_GENERAL_SYNTAX = 0xE0000003;
inline constexpr std::uint32_t ERROR_WRONG_INF_STYLE = 0xE0000100;
inline constexpr std::uint32_t ERROR_SECTION_NOT_FOUND = 0xE0000101;
inline constexpr std::uint32_t ERROR_LINE_NOT_FOUND = 0xE0000102;
inline constexpr std::uint32_t ERROR_CLASS_MISMATCH = 0xE0000201;
inline constexpr std::uint32_t ERROR_INVALID_DEVINST_NAME = 0xE0000205;
inline constexpr std::uint32_t ERROR_INVALID_CLASS = 0xE0000206;
inline constexpr std::uint32_t ERROR_DEVINST_ALREADY_EXISTS = 0xE0000207;
inline constexpr std::uint32_t ERROR_INVALID_REG_PROPERTY = 0xE0000209;
inline constexpr std::uint32_t ERROR_NO_SUCH_DEVINST = 0xE000020B;
inline constexpr std::uint32_t ERROR_DI_DO_DEFAULT = 0xE000020E;
inline constexpr std::uint32_t ERROR_NO_CLASSINSTALL_PARAMS = 0xE0000215;
inline constexpr std::uint32_t ERROR_NO_SUCH_DEVICE_INTERFACE = 0xE0000225;
inline constexpr std::uint32_t ERROR_NO_CATALOG_FOR_OEM_INF = 0xE000022F;
inline constexpr std::uint32_t ERROR_NOT_AN_INSTALLED_OEM_INF = 0xE000023C;
inline constexpr std::uint32_t ERROR_INF_IN_USE_BY_DEVICES = 0xE000023D;
inline constexpr std::uint32_t ERROR_FILE_HASH_NOT_IN_CATALOG = 0xE000024B;

}  // namespace vorn::platform
