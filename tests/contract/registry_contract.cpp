// The registry: opens, listing, values with restrictions, deletion by handle.

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/native.h"
#include "platform/registry.h"
#include "platform/security.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/registry_values.h"
#include "tests/contract/contract.h"

#include <algorithm>
#include <cstring>

namespace vorn::contract {

using namespace platform;

namespace {

class OpenKey {
 public:
  explicit OpenKey(const std::u16string& below, std::uint32_t access = KEY_READ) {
    const std::u16string path = below.empty() ? kRegistryPath : kRegistryPath + (u"\\" + below);
    error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, access | KEY_WOW64_64KEY, &key_);
  }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;
  ~OpenKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }
  HKEY Key() const { return key_; }
  LSTATUS error = 0;

 private:
  HKEY key_ = nullptr;
};

std::vector<std::uint8_t> TextBytes(std::u16string_view text) {
  std::vector<std::uint8_t> bytes(text.size() * sizeof(char16_t));
  std::memcpy(bytes.data(), text.data(), bytes.size());
  return bytes;
}

NTSTATUS DeleteKey(HKEY key) {
  const auto remove = reinterpret_cast<NtDeleteKeyFunction>(
      GetProcAddress(GetModuleHandleW(u"ntdll.dll"), "NtDeleteKey"));
  NEED(remove != nullptr);
  return remove(key);
}

void EnablePrivilege(const char16_t* name) {
  HANDLE token = nullptr;
  NEED(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token));
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  const bool enabled = LookupPrivilegeValueW(name, &privileges.Privileges[0].Luid) &&
                       AdjustTokenPrivileges(token, false, &privileges);
  CloseHandle(token);
  NEED(enabled);
}

}  // namespace

CONTRACT(AMissingKeyIsNotFound) {
  CHECK_EQ(OpenKey(u"none").error, static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
  MakeKey(u"a");
  CHECK_EQ(OpenKey(u"a\\none\\x").error, static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
  CHECK_EQ(OpenKey(u"A").error, 0);
}

CONTRACT(AKeyIsFoundWithoutRegardToCaseBeyondAscii) {
  MakeKey(u"\u00e4\u03c3\u0436");
  CHECK_EQ(OpenKey(u"\u00c4\u03a3\u0416").error, static_cast<LSTATUS>(ERROR_SUCCESS));
  CHECK_EQ(OpenKey(u"\u00c4\u03c2\u0416").error, static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
}

CONTRACT(BackupIntentOpensWhatOnlyTheSystemMayOpen) {
  SkipOn(Side::Wine, "has no such key, and its registry refuses nobody");
  const std::u16string path = SystemsOwnKey();
  EnablePrivilege(u"SeBackupPrivilege");
  EnablePrivilege(u"SeRestorePrivilege");
  HKEY key = nullptr;
  const LSTATUS plain =
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &key);
  if (plain == 0) RegCloseKey(key);  // the suite runs as the system itself
  CHECK(plain == 0 || plain == static_cast<LSTATUS>(ERROR_ACCESS_DENIED));
  NEED(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), REG_OPTION_BACKUP_RESTORE, KEY_WOW64_64KEY,
                     &key) == 0);
  char16_t name[256] = {};
  std::uint32_t size = 256;
  const LSTATUS listed = RegEnumKeyExW(key, 0, name, &size);
  CHECK(listed == 0 || listed == static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS));
  CHECK_EQ(RegCloseKey(key), 0);
}

CONTRACT(SubkeysAreListedByIndex) {
  MakeKey(u"list\\beta");
  MakeKey(u"list\\alpha");
  const OpenKey key(u"list");
  NEED(key.error == 0);
  std::vector<std::u16string> names;
  for (std::uint32_t index = 0; index < 2; ++index) {
    char16_t name[64] = {};
    std::uint32_t size = 64;
    CHECK_EQ(RegEnumKeyExW(key.Key(), index, name, &size), 0);
    CHECK_EQ(size, std::u16string_view(name).size());
    names.emplace_back(name);
  }
  CHECK_EQ(names[0], std::u16string(u"alpha"));
  CHECK_EQ(names[1], std::u16string(u"beta"));
  char16_t name[64] = {};
  std::uint32_t size = 64;
  CHECK_EQ(RegEnumKeyExW(key.Key(), 2, name, &size), static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS));
}

CONTRACT(ASubkeysNameNeedsRoomForItsTerminator) {
  MakeKey(u"list\\alpha");
  const OpenKey key(u"list");
  char16_t name[6] = {};
  std::uint32_t size = 5;
  CHECK_EQ(RegEnumKeyExW(key.Key(), 0, name, &size), static_cast<LSTATUS>(ERROR_MORE_DATA));
  size = 6;
  CHECK_EQ(RegEnumKeyExW(key.Key(), 0, name, &size), 0);
  CHECK_EQ(size, 5U);
}

CONTRACT(AValueTellsItsSizeAndType) {
  PutValue(u"v", u"word", REG_DWORD, {1, 2, 3, 4});
  const OpenKey key(u"v");
  std::uint32_t type = 0;
  std::uint32_t size = 77;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"word", RRF_RT_ANY, &type, nullptr, &size), 0);
  CHECK_EQ(type, REG_DWORD);
  CHECK_EQ(size, 4U);
  std::uint32_t value = 0;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"WORD", RRF_RT_REG_DWORD, &type, &value, &size), 0);
  CHECK_EQ(value, 0x04030201U);
}

CONTRACT(AValueIsReadThroughASubkeyPath) {
  PutValue(u"v\\below", u"word", REG_DWORD, {7, 0, 0, 0});
  const OpenKey key(u"v");
  std::uint32_t value = 0;
  std::uint32_t size = sizeof value;
  CHECK_EQ(RegGetValueW(key.Key(), u"below", u"word", RRF_RT_REG_DWORD, nullptr, &value, &size), 0);
  CHECK_EQ(value, 7U);
  CHECK_EQ(RegGetValueW(key.Key(), u"none", u"word", RRF_RT_REG_DWORD, nullptr, &value, &size),
           static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
}

CONTRACT(AMissingValueIsNotFound) {
  MakeKey(u"v");
  const OpenKey key(u"v");
  std::uint32_t value = 0x55555555;
  std::uint32_t size = sizeof value;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"none", RRF_RT_ANY, nullptr, &value, &size),
           static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
  CHECK_EQ(value, 0x55555555U);
}

CONTRACT(ALargerValueAsksForMoreRoom) {
  PutValue(u"v", u"eight", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8});
  const OpenKey key(u"v");
  std::uint32_t value = 0;
  std::uint32_t size = sizeof value;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"eight", RRF_RT_ANY, nullptr, &value, &size),
           static_cast<LSTATUS>(ERROR_MORE_DATA));
  CHECK_EQ(size, 8U);
}

CONTRACT(AnotherTypeIsRefused) {
  PutValue(u"v", u"text", REG_SZ, TextBytes(std::u16string_view(u"abc\0", 4)));
  const OpenKey key(u"v");
  std::uint32_t value = 0;
  std::uint32_t size = sizeof value;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"text", RRF_RT_REG_DWORD, nullptr, &value, &size),
           static_cast<LSTATUS>(ERROR_UNSUPPORTED_TYPE));
}

CONTRACT(BinaryDataIsAWordOnlyWithItsSize) {
  PutValue(u"v", u"four", REG_BINARY, {9, 0, 0, 0});
  PutValue(u"v", u"three", REG_BINARY, {9, 0, 0});
  const OpenKey key(u"v");
  std::uint32_t value = 0;
  std::uint32_t size = sizeof value;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"four", RRF_RT_DWORD, nullptr, &value, &size), 0);
  CHECK_EQ(value, 9U);
  size = sizeof value;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"three", RRF_RT_DWORD, nullptr, &value, &size),
           static_cast<LSTATUS>(ERROR_DATATYPE_MISMATCH));
}

CONTRACT(FailureClearsTheBufferWhenAsked) {
  PutValue(u"v", u"text", REG_SZ, TextBytes(std::u16string_view(u"abc\0", 4)));
  const OpenKey key(u"v");
  std::uint32_t value = 0x55555555;
  std::uint32_t size = sizeof value;
  CHECK(RegGetValueW(key.Key(), nullptr, u"text", RRF_RT_REG_DWORD | RRF_ZEROONFAILURE, nullptr,
                     &value, &size) != 0);
  CHECK_EQ(value, 0U);
}

CONTRACT(ATextWithoutTerminatorGetsOne) {
  PutValue(u"v", u"text", REG_SZ, TextBytes(u"abc"));
  const OpenKey key(u"v");
  char16_t text[8] = {u'?', u'?', u'?', u'?'};
  std::uint32_t size = sizeof text;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"text", RRF_RT_ANY, nullptr, text, &size), 0);
  CHECK_EQ(std::u16string(text), std::u16string(u"abc"));
  CHECK_EQ(size, 8U);
}

CONTRACT(ExpandableTextNeedsARequestNotToExpandIt) {
  PutValue(u"v", u"text", REG_EXPAND_SZ, TextBytes(std::u16string_view(u"%x%\0", 4)));
  const OpenKey key(u"v");
  char16_t text[64] = {};
  std::uint32_t size = sizeof text;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"text", RRF_RT_REG_EXPAND_SZ, nullptr, text, &size),
           static_cast<LSTATUS>(ERROR_INVALID_PARAMETER));
  size = sizeof text;
  CHECK_EQ(RegGetValueW(key.Key(), nullptr, u"text", RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr,
                        text, &size),
           0);
  CHECK_EQ(std::u16string(text), std::u16string(u"%x%"));
}

CONTRACT(AKeyWithoutSubkeysIsDeletedByItsHandle) {
  MakeKey(u"gone");
  {
    const OpenKey key(u"gone", DELETE | KEY_READ);
    NEED(key.error == 0);
    CHECK_EQ(DeleteKey(key.Key()), STATUS_SUCCESS);
    char16_t name[8] = {};
    std::uint32_t size = 8;
    CHECK_EQ(RegEnumKeyExW(key.Key(), 0, name, &size), static_cast<LSTATUS>(ERROR_KEY_DELETED));
  }
  CHECK_EQ(OpenKey(u"gone").error, static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
}

CONTRACT(AKeyIsNotDeletedThroughAHandleWithoutTheRight) {
  MakeKey(u"kept");
  const OpenKey key(u"kept", KEY_READ);
  CHECK_EQ(DeleteKey(key.Key()), STATUS_ACCESS_DENIED);
  CHECK_EQ(OpenKey(u"kept").error, 0);
}

CONTRACT(AKeyWithSubkeysIsNotDeleted) {
  MakeKey(u"full\\below");
  const OpenKey key(u"full", DELETE | KEY_READ);
  CHECK(DeleteKey(key.Key()) < 0);
  CHECK_EQ(OpenKey(u"full\\below").error, 0);
}

CONTRACT(ARefusalForSubkeysHasItsOwnStatus) {
  SkipOn(Side::Wine, "answers STATUS_ACCESS_DENIED");
  MakeKey(u"full\\below");
  const OpenKey key(u"full", DELETE | KEY_READ);
  CHECK_EQ(DeleteKey(key.Key()), STATUS_CANNOT_DELETE);
}

}  // namespace vorn::contract
