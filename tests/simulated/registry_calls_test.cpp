#include "platform/files.h"
#include "platform/registry.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/process.h"
#include "platform/simulated/registry.h"
#include "platform/simulated/registry_values.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace vorn::platform::simulated {
namespace {

constexpr LSTATUS kOk = 0;
constexpr std::uint32_t kRead64 = KEY_READ | KEY_WOW64_64KEY;
constexpr std::uint32_t kDelete64 =
    DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_WOW64_64KEY;
constexpr char16_t kVendor[] = u"SOFTWARE\\Vendor";

LSTATUS Code(std::uint32_t error) {
  return static_cast<LSTATUS>(error);
}

/// An access list that grants administrators `mask` and nothing else.
SecurityRecord Only(std::uint32_t mask) {
  SecurityRecord security;
  security.owner = kLocalSystem;
  security.daclProtected = true;
  security.entries = {{0, 0, KEY_ALL_ACCESS, kLocalSystem}, {0, 0, mask, kAdministrators}};
  return security;
}

/// A process on a machine whose registry has a few vendor keys.
class RegistryCalls : public testing::Test {
 protected:
  RegistryCalls() {
    for (const char16_t* name : {u"First", u"Second", u"Third"})
      MakeKey(machine.registry, std::u16string(kVendor) + u"\\" + name);
    PutDword(machine.registry, kVendor, u"Number", 7);
    PutString(machine.registry, kVendor, u"Text", u"abc");
  }

  /// Opens a key and stores the result in `status`.
  HKEY Open(const char16_t* path, std::uint32_t access = kRead64, std::uint32_t options = 0) {
    HKEY key = nullptr;
    status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, options, access, &key);
    return key;
  }

  /// Reads a value of the vendor's key into a DWORD-sized buffer.
  LSTATUS Read(const char16_t* name, std::uint32_t flags = RRF_RT_ANY | RRF_NOEXPAND) {
    size = 4;
    type = 0xDEAD;
    data.fill(0xEE);
    return RegGetValueW(HKEY_LOCAL_MACHINE, kVendor, name, flags, &type, data.data(), &size);
  }

  void Put(const char16_t* name, std::uint32_t valueType, Bytes content) {
    PutValue(machine.registry, kVendor, name, valueType, std::move(content));
  }

  Machine machine;
  Process process{machine};
  LSTATUS status = 0;
  std::uint32_t size = 0;
  std::uint32_t type = 0;
  std::array<std::uint8_t, 16> data = {};
};

// ------------------------------------------------------------------------------------------------
// Opening.

TEST_F(RegistryCalls, OpenAKeyByPathInAnyCaseAndCloseItOnce) {
  const HKEY key = Open(u"software\\VENDOR\\\\first\\");
  EXPECT_EQ(status, kOk);
  EXPECT_EQ(process.OpenObjects()[ObjectKind::Key], 1u);
  EXPECT_EQ(RegCloseKey(key), kOk);
  EXPECT_EQ(RegCloseKey(key), Code(ERROR_INVALID_HANDLE));
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), kOk);
  EXPECT_TRUE(process.OpenObjects().empty());
}

TEST_F(RegistryCalls, OpenBelowAnOpenKey) {
  const HKEY vendor = Open(kVendor);
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(vendor, u"Second", 0, kRead64, &key), kOk);
  EXPECT_EQ(RegOpenKeyExW(vendor, nullptr, 0, kRead64, &key), kOk);
  char16_t name[16];
  size = 16;
  EXPECT_EQ(RegEnumKeyExW(key, 0, name, &size), kOk);
}

TEST_F(RegistryCalls, RefuseWrongPathsHandlesAndViews) {
  HKEY untouched = HKEY_LOCAL_MACHINE;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Nobody", 0, kRead64, &untouched),
            Code(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(untouched, HKEY_LOCAL_MACHINE);
  EXPECT_EQ(RegOpenKeyExW(nullptr, kVendor, 0, kRead64, &untouched), Code(ERROR_INVALID_HANDLE));
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"\\SOFTWARE", 0, kRead64, &untouched),
            Code(ERROR_BAD_PATHNAME));
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kVendor, 0, kRead64, nullptr),
            Code(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kVendor, 0, kRead64 | KEY_WOW64_32KEY, &untouched),
            Code(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kVendor, 0, KEY_READ | KEY_WOW64_32KEY, &untouched),
            Code(ERROR_FILE_NOT_FOUND));
}

TEST_F(RegistryCalls, CheckTheRequestedAccessAgainstTheKeysDescriptor) {
  SecureKey(machine.registry, kVendor, Only(KEY_READ));
  struct Row {
    std::uint32_t access;
    bool denied;
  };
  const Row rows[] = {{KEY_READ, false},        {KEY_READ | KEY_WOW64_64KEY, false},
                      {KEY_QUERY_VALUE, false}, {0, false},
                      {DELETE, true},           {kDelete64, true},
                      {KEY_WRITE, true},        {KEY_ALL_ACCESS, true},
                      {GENERIC_READ, false},    {GENERIC_WRITE, true},
                      {MAXIMUM_ALLOWED, false}, {MAXIMUM_ALLOWED | DELETE, true},
                      {GENERIC_EXECUTE, false}, {GENERIC_ALL, true}};
  for (const Row& row : rows) {
    Open(u"SOFTWARE\\Vendor\\First", row.access);
    EXPECT_EQ(status, row.denied ? Code(ERROR_ACCESS_DENIED) : kOk) << std::hex << row.access;
  }
}

TEST_F(RegistryCalls, NeedNoRightOnTheParentKeys) {
  SecureKey(machine.registry, u"SOFTWARE\\Vendor\\First", Only(KEY_READ));
  SecureKey(machine.registry, kVendor, Only(0));
  Open(kVendor);
  EXPECT_EQ(status, Code(ERROR_ACCESS_DENIED));
  Open(u"SOFTWARE\\Vendor\\First");
  EXPECT_EQ(status, kOk);
}

TEST_F(RegistryCalls, OpenForBackupAndRestoreOnlyWithAnEnabledPrivilege) {
  SecureKey(machine.registry, kVendor, Only(0));
  Open(kVendor, KEY_WOW64_64KEY, REG_OPTION_BACKUP_RESTORE);
  EXPECT_EQ(status, Code(ERROR_ACCESS_DENIED));
  process.token.backupEnabled = true;
  process.token.restoreEnabled = true;
  process.token.holdsBackup = false;
  process.token.holdsRestore = false;
  Open(kVendor, KEY_WOW64_64KEY, REG_OPTION_BACKUP_RESTORE);
  EXPECT_EQ(status, Code(ERROR_ACCESS_DENIED));
  process.token.holdsBackup = true;
  process.token.holdsRestore = true;
  Open(kVendor, KEY_WOW64_64KEY, REG_OPTION_BACKUP_RESTORE);
  EXPECT_EQ(status, kOk);
}

TEST_F(RegistryCalls, ReadByTheBackupPrivilegeAndDeleteByTheRestorePrivilege) {
  SecureKey(machine.registry, u"SOFTWARE\\Vendor\\First", Only(0));
  char16_t name[16];
  process.token.backupEnabled = true;
  const HKEY toRead = Open(u"SOFTWARE\\Vendor\\First", KEY_WOW64_64KEY, REG_OPTION_BACKUP_RESTORE);
  size = 16;
  EXPECT_EQ(RegEnumKeyExW(toRead, 0, name, &size), Code(ERROR_NO_MORE_ITEMS));
  EXPECT_EQ(SimulatedNtDeleteKey(toRead), STATUS_ACCESS_DENIED);
  process.token.backupEnabled = false;
  process.token.restoreEnabled = true;
  const HKEY toDelete =
      Open(u"SOFTWARE\\Vendor\\First", KEY_WOW64_64KEY, REG_OPTION_BACKUP_RESTORE);
  EXPECT_EQ(RegEnumKeyExW(toDelete, 0, name, &size), Code(ERROR_ACCESS_DENIED));
  EXPECT_EQ(SimulatedNtDeleteKey(toDelete), STATUS_SUCCESS);
}

TEST_F(RegistryCalls, FollowASymbolicLinkUnlessTheLinkItselfIsRequested) {
  const KeyId link = MakeKey(machine.registry, u"SOFTWARE\\Link");
  machine.registry.keys.at(link).linkTarget = kVendor;
  char16_t name[16];
  size = 16;
  EXPECT_EQ(RegEnumKeyExW(Open(u"SOFTWARE\\Link"), 0, name, &size), kOk);
  EXPECT_EQ(std::u16string(name), u"First");
  Open(u"SOFTWARE\\Link\\Second");
  EXPECT_EQ(status, kOk);
  size = 16;
  EXPECT_EQ(RegEnumKeyExW(Open(u"SOFTWARE\\Link", kRead64, REG_OPTION_OPEN_LINK), 0, name, &size),
            Code(ERROR_NO_MORE_ITEMS));
  machine.registry.keys.at(link).linkTarget = u"SOFTWARE\\Link";
  Open(u"SOFTWARE\\Link");
  EXPECT_EQ(status, Code(ERROR_FILE_NOT_FOUND));
}

TEST_F(RegistryCalls, FailAsTheKeyIsConfigured) {
  Key& key = machine.registry.keys.at(*FindKey(machine.registry, kVendor));
  const HKEY open = Open(kVendor, KEY_ALL_ACCESS);
  key.openError = 1450;
  Open(kVendor);
  EXPECT_EQ(status, 1450);
  Open(u"SOFTWARE\\Vendor\\First");
  EXPECT_EQ(status, kOk);
  key.listError = 1016;
  char16_t name[16];
  size = 16;
  EXPECT_EQ(RegEnumKeyExW(open, 0, name, &size), 1016);
  key.deleteStatus = STATUS_INSUFFICIENT_RESOURCES;
  EXPECT_EQ(SimulatedNtDeleteKey(open), STATUS_INSUFFICIENT_RESOURCES);
}

// ------------------------------------------------------------------------------------------------
// Listing.

TEST_F(RegistryCalls, ListSubkeysInOrderUntilThereAreNoMore) {
  const HKEY key = Open(kVendor);
  const char16_t* expected[] = {u"First", u"Second", u"Third"};
  for (std::uint32_t i = 0; i < 3; ++i) {
    char16_t name[256];
    size = 256;
    ASSERT_EQ(RegEnumKeyExW(key, i, name, &size), kOk);
    EXPECT_EQ(std::u16string(name), expected[i]);
    EXPECT_EQ(size, std::u16string(expected[i]).size());
  }
  char16_t name[256];
  EXPECT_EQ(RegEnumKeyExW(key, 3, name, &size), Code(ERROR_NO_MORE_ITEMS));
}

TEST_F(RegistryCalls, NeedRoomForANameAndItsTerminator) {
  const HKEY key = Open(kVendor);
  char16_t name[6] = {};
  size = 5;
  EXPECT_EQ(RegEnumKeyExW(key, 0, name, &size), Code(ERROR_MORE_DATA));
  EXPECT_EQ(name[0], u'\0');
  size = 6;
  EXPECT_EQ(RegEnumKeyExW(key, 0, name, &size), kOk);
}

TEST_F(RegistryCalls, ListOnlyThroughAHandleWithThatRight) {
  char16_t name[16];
  size = 16;
  EXPECT_EQ(RegEnumKeyExW(Open(kVendor, KEY_QUERY_VALUE), 0, name, &size),
            Code(ERROR_ACCESS_DENIED));
  EXPECT_EQ(RegEnumKeyExW(nullptr, 0, name, &size), Code(ERROR_INVALID_HANDLE));
}

// ------------------------------------------------------------------------------------------------
// Values.

TEST_F(RegistryCalls, ReadAValueWithItsTypeAndSize) {
  EXPECT_EQ(Read(u"NUMBER"), kOk);
  EXPECT_EQ(type, REG_DWORD);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(data[0], 7);
  EXPECT_EQ(data[4], 0xEE);
}

TEST_F(RegistryCalls, ReportTheSizeThatAValueNeeds) {
  Put(u"Quad", REG_QWORD, Bytes(8, 1));
  EXPECT_EQ(Read(u"Quad"), Code(ERROR_MORE_DATA));
  EXPECT_EQ(type, REG_QWORD);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(data[0], 0xEE);
  EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, kVendor, u"Quad", RRF_RT_ANY, nullptr, nullptr, &size),
            kOk);
  EXPECT_EQ(size, 8u);
}

TEST_F(RegistryCalls, DoNotFindAMissingValue) {
  EXPECT_EQ(Read(u"Nothing"), Code(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(type, 0xDEADu);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Nobody", u"Number", RRF_RT_ANY, &type,
                         data.data(), &size),
            Code(ERROR_FILE_NOT_FOUND));
}

TEST_F(RegistryCalls, RefuseTypesThatWereNotRequested) {
  Put(u"Bytes", REG_BINARY, Bytes(4, 1));
  Put(u"FewBytes", REG_BINARY, Bytes(3, 1));
  Put(u"Expand", REG_EXPAND_SZ, {'a', 0});
  Put(u"Odd", 99, Bytes(2, 1));
  struct Row {
    const char16_t* name;
    std::uint32_t flags;
    LSTATUS expected;
  };
  const Row rows[] = {{u"Number", RRF_RT_REG_DWORD, kOk},
                      {u"Number", RRF_RT_DWORD, kOk},
                      {u"Bytes", RRF_RT_REG_DWORD, Code(ERROR_UNSUPPORTED_TYPE)},
                      {u"Bytes", RRF_RT_DWORD, kOk},
                      {u"FewBytes", RRF_RT_DWORD, Code(ERROR_DATATYPE_MISMATCH)},
                      {u"FewBytes", RRF_RT_ANY, kOk},
                      {u"Text", RRF_RT_REG_DWORD, Code(ERROR_UNSUPPORTED_TYPE)},
                      {u"Odd", RRF_RT_DWORD, Code(ERROR_UNSUPPORTED_TYPE)},
                      {u"Odd", RRF_RT_ANY, kOk},
                      {u"Expand", RRF_RT_REG_EXPAND_SZ, Code(ERROR_INVALID_PARAMETER)},
                      {u"Expand", RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, kOk}};
  for (const Row& row : rows)
    EXPECT_EQ(Read(row.name, row.flags), row.expected) << std::hex << row.flags;
}

TEST_F(RegistryCalls, ReportARefusedTypeAndWipeTheBufferOnRequest) {
  EXPECT_EQ(Read(u"Text", RRF_RT_REG_DWORD | RRF_ZEROONFAILURE), Code(ERROR_UNSUPPORTED_TYPE));
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(data[0], 0);
  EXPECT_EQ(data[3], 0);
  EXPECT_EQ(data[4], 0xEE);
}

TEST_F(RegistryCalls, TerminateAnUnterminatedText) {
  Put(u"Bare", REG_SZ, {'a', 0});
  EXPECT_EQ(Read(u"Bare"), kOk);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(data[2], 0);
  Put(u"Torn", REG_SZ, {'a', 0, 'b'});
  EXPECT_EQ(Read(u"Torn"), Code(ERROR_MORE_DATA));
  EXPECT_EQ(size, 6u);
}

TEST_F(RegistryCalls, TerminateAListOfTextsTwice) {
  constexpr std::uint32_t kListsOfTexts = 0x20;
  constexpr std::uint32_t kNumbersOfEightBytes = 0x40;
  Put(u"List", REG_MULTI_SZ, {'a', 0, 0, 0});
  size = static_cast<std::uint32_t>(data.size());
  EXPECT_EQ(
      RegGetValueW(HKEY_LOCAL_MACHINE, kVendor, u"List", kListsOfTexts, &type, data.data(), &size),
      kOk);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(Read(u"List", kNumbersOfEightBytes), Code(ERROR_UNSUPPORTED_TYPE));
  Put(u"List", REG_MULTI_SZ, {'a', 0, 0, 0, 0});
  EXPECT_EQ(
      RegGetValueW(HKEY_LOCAL_MACHINE, kVendor, u"List", kListsOfTexts, &type, nullptr, &size),
      kOk);
  EXPECT_EQ(size, 6u) << "half a character is filled up";
}

TEST_F(RegistryCalls, GiveAnExpandableTextTheTypeOfATextWhenItIsExpanded) {
  Put(u"Expandable", REG_EXPAND_SZ, {'a', 0, 0, 0});
  EXPECT_EQ(Read(u"Expandable", RRF_RT_ANY), kOk);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(Read(u"Expandable", RRF_RT_ANY | RRF_NOEXPAND), kOk);
  EXPECT_EQ(type, REG_EXPAND_SZ);
}

TEST_F(RegistryCalls, TakeEightBytesForANumberOfThatSize) {
  for (const std::size_t length : {7U, 8U, 9U}) {
    Put(u"Bytes", REG_BINARY, Bytes(length, 1));
    size = static_cast<std::uint32_t>(data.size());
    const LSTATUS read = RegGetValueW(HKEY_LOCAL_MACHINE, kVendor, u"Bytes", RRF_RT_QWORD, &type,
                                      data.data(), &size);
    EXPECT_EQ(read, length == 8 ? kOk : Code(ERROR_DATATYPE_MISMATCH)) << length;
  }
}

TEST_F(RegistryCalls, ReadOnlyWhereReadingIsGranted) {
  EXPECT_EQ(RegGetValueW(Open(kVendor, KEY_ENUMERATE_SUB_KEYS), nullptr, u"Number", RRF_RT_ANY,
                         nullptr, data.data(), &(size = 4)),
            Code(ERROR_ACCESS_DENIED));
  SecureKey(machine.registry, kVendor, Only(KEY_ENUMERATE_SUB_KEYS));
  EXPECT_EQ(Read(u"Number"), Code(ERROR_ACCESS_DENIED));
}

TEST_F(RegistryCalls, RequireTheSizeOfABuffer) {
  EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, kVendor, u"Number", RRF_RT_ANY, nullptr, data.data(),
                         nullptr),
            Code(ERROR_INVALID_PARAMETER));
}

TEST_F(RegistryCalls, CutAValueAsPlanned) {
  process.faults.push_back({"RegGetValueW", 1, 1, FaultKind::Short, 0, 2, {}});
  EXPECT_EQ(Read(u"Number"), kOk);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(data[2], 0xEE);
}

TEST_F(RegistryCalls, LetForeignBytesFollowAValueAsPlanned) {
  Fault fault;
  fault.call = "RegGetValueW";
  fault.kind = FaultKind::Long;
  fault.amount = 2;
  process.faults = {fault};
  size = static_cast<std::uint32_t>(data.size());
  EXPECT_EQ(
      RegGetValueW(HKEY_LOCAL_MACHINE, kVendor, u"Number", RRF_RT_ANY, &type, data.data(), &size),
      kOk);
  EXPECT_EQ(Bytes(data.begin(), data.begin() + size), (Bytes{7, 0, 0, 0, 'A', 'A'}));
}

// ------------------------------------------------------------------------------------------------
// Deletion.

TEST_F(RegistryCalls, DeleteAKeyThroughAHandleWithThatRight) {
  EXPECT_EQ(SimulatedNtDeleteKey(Open(u"SOFTWARE\\Vendor\\First")), STATUS_ACCESS_DENIED);
  EXPECT_EQ(SimulatedNtDeleteKey(Open(u"SOFTWARE\\Vendor\\First", kDelete64)), STATUS_SUCCESS);
  EXPECT_FALSE(FindKey(machine.registry, u"SOFTWARE\\Vendor\\First"));
}

TEST_F(RegistryCalls, KeepAKeyThatHasSubkeys) {
  EXPECT_EQ(SimulatedNtDeleteKey(Open(kVendor, kDelete64)), STATUS_CANNOT_DELETE);
  EXPECT_TRUE(FindKey(machine.registry, kVendor));
}

TEST_F(RegistryCalls, ReportADeletedKeyThroughItsHandles) {
  const HKEY key = Open(u"SOFTWARE\\Vendor\\First", kDelete64);
  const HKEY other = Open(u"SOFTWARE\\Vendor\\First");
  SimulatedNtDeleteKey(key);
  char16_t name[16];
  size = 16;
  EXPECT_EQ(RegEnumKeyExW(other, 0, name, &size), Code(ERROR_KEY_DELETED));
  EXPECT_EQ(RegGetValueW(other, nullptr, u"Value", RRF_RT_ANY, nullptr, nullptr, &size),
            Code(ERROR_KEY_DELETED));
  HKEY below = nullptr;
  EXPECT_EQ(RegOpenKeyExW(other, u"Sub", 0, kRead64, &below), Code(ERROR_KEY_DELETED));
  EXPECT_EQ(SimulatedNtDeleteKey(key), STATUS_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(other), kOk);
  MakeKey(machine.registry, u"SOFTWARE\\Vendor\\First");
  EXPECT_EQ(SimulatedNtDeleteKey(key), STATUS_KEY_DELETED);
}

TEST_F(RegistryCalls, DeleteNothingThroughOtherHandles) {
  EXPECT_EQ(SimulatedNtDeleteKey(nullptr), STATUS_INVALID_HANDLE);
  EXPECT_EQ(SimulatedNtDeleteKey(HKEY_LOCAL_MACHINE), STATUS_INVALID_HANDLE);
}

TEST_F(RegistryCalls, NameTheDeletionInPlanAndLog) {
  const HKEY key = Open(u"SOFTWARE\\Vendor\\First", kDelete64);
  process.logCalls = true;
  process.faults.push_back({"NtDeleteKey",
                            1,
                            1,
                            FaultKind::Fail,
                            static_cast<std::uint32_t>(STATUS_CANNOT_DELETE),
                            0,
                            {}});
  process.faults.push_back({"NtDeleteKey", 2, 2, FaultKind::Fail, ERROR_ACCESS_DENIED, 0, {}});
  EXPECT_EQ(SimulatedNtDeleteKey(key), STATUS_CANNOT_DELETE);
  EXPECT_LT(SimulatedNtDeleteKey(key), STATUS_SUCCESS);
  EXPECT_TRUE(FindKey(machine.registry, u"SOFTWARE\\Vendor\\First"));
  ASSERT_EQ(process.calls.size(), 2u);
  EXPECT_EQ(process.calls[0].name, "NtDeleteKey");
}

// ------------------------------------------------------------------------------------------------
// Planned failures and ends.

TEST_F(RegistryCalls, KeepNoHandleOfAFailedOpen) {
  process.faults.push_back(
      {"RegOpenKeyExW", 1, 1, FaultKind::FailAfterEffect, ERROR_ACCESS_DENIED, 0, {}});
  EXPECT_EQ(Open(kVendor), nullptr);
  EXPECT_EQ(status, Code(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(process.OpenObjects().empty());
}

TEST_F(RegistryCalls, ReportSuccessWithoutAKey) {
  process.faults.push_back({"RegOpenKeyExW", 1, 1, FaultKind::SucceedWithoutEffect, 0, 0, {}});
  EXPECT_EQ(Open(kVendor), nullptr);
  EXPECT_EQ(status, kOk);
}

TEST_F(RegistryCalls, FailInAKilledProcess) {
  const HKEY key = Open(u"SOFTWARE\\Vendor\\First", kDelete64);
  process.Kill();
  EXPECT_LT(SimulatedNtDeleteKey(key), STATUS_SUCCESS);
  EXPECT_NE(Read(u"Number"), kOk);
  EXPECT_NE(RegCloseKey(key), kOk);
  EXPECT_TRUE(FindKey(machine.registry, u"SOFTWARE\\Vendor\\First"));
}

}  // namespace
}  // namespace vorn::platform::simulated
