// Descriptors, SIDs and the process's privileges.

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/security.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/security_values.h"
#include "tests/contract/contract.h"
#include "tests/contract/native_files.h"

namespace vorn::contract {

using namespace platform;

namespace {

constexpr char16_t kProtected[] = u"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

}  // namespace

CONTRACT(ADescriptorIsMadeFromItsText) {
  SECURITY_DESCRIPTOR* descriptor = nullptr;
  std::uint32_t size = 0;
  NEED(ConvertStringSecurityDescriptorToSecurityDescriptorW(kProtected, SDDL_REVISION_1,
                                                            &descriptor, &size));
  CHECK(descriptor != nullptr);
  CHECK(size > 20);
  std::uint16_t control = 0;
  std::uint32_t revision = 0;
  CHECK(GetSecurityDescriptorControl(descriptor, &control, &revision));
  CHECK((control & SE_DACL_PROTECTED) != 0);
  CHECK((control & SE_SELF_RELATIVE) != 0);
  CHECK_EQ(revision, 1U);
  LocalFree(descriptor);
}

CONTRACT(ATextThatIsNoDescriptorIsRefused) {
  SECURITY_DESCRIPTOR* descriptor = nullptr;
  CHECK(!ConvertStringSecurityDescriptorToSecurityDescriptorW(
      u"D:(A;;FA;;;NOBODY)", SDDL_REVISION_1, &descriptor, nullptr));
  CHECK(GetLastError() != 0);
}

CONTRACT(AFileKeepsTheDescriptorItWasMadeWith) {
  SkipOn(Side::Wine, "descriptors of files are not kept: the owner reads back as the user");
  SECURITY_DESCRIPTOR* descriptor = nullptr;
  NEED(ConvertStringSecurityDescriptorToSecurityDescriptorW(kProtected, SDDL_REVISION_1,
                                                            &descriptor, nullptr));
  const std::u16string name = Nt(Scratch() + u"\\made");
  const auto bytes = static_cast<std::uint16_t>(name.size() * sizeof(char16_t));
  const UNICODE_STRING object = {bytes, bytes, name.data()};
  const OBJECT_ATTRIBUTES attributes = {sizeof attributes,    nullptr,    &object,
                                        OBJ_CASE_INSENSITIVE, descriptor, nullptr};
  IO_STATUS_BLOCK block = {};
  const auto create = reinterpret_cast<NtCreateFileFunction>(
      GetProcAddress(GetModuleHandleW(u"ntdll.dll"), "NtCreateFile"));
  HANDLE folder = nullptr;
  const NTSTATUS status =
      create(&folder, kListFolder | READ_CONTROL | SYNCHRONIZE, &attributes, &block, nullptr,
             FILE_ATTRIBUTE_NORMAL, kShareAll, FILE_CREATE, kFolder, nullptr, 0);
  LocalFree(descriptor);
  NEED(status == STATUS_SUCCESS);
  const SID* owner = nullptr;
  const ACL* list = nullptr;
  SECURITY_DESCRIPTOR* read = nullptr;
  CHECK_EQ(
      GetSecurityInfo(folder, SE_FILE_OBJECT,
                      OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, &list, &read),
      0U);
  CHECK(owner != nullptr && IsValidSid(owner));
  CHECK(owner != nullptr && IsWellKnownSid(owner, WinBuiltinAdministratorsSid));
  CHECK(list != nullptr && IsValidAcl(list) && list->AceCount == 2);
  std::uint16_t control = 0;
  std::uint32_t revision = 0;
  CHECK(GetSecurityDescriptorControl(read, &control, &revision));
  CHECK((control & SE_DACL_PROTECTED) != 0);
  LocalFree(read);
  CloseHandle(folder);
}

CONTRACT(AFileTellsItsOwner) {
  const std::u16string path = Scratch() + u"\\f";
  WriteNewFile(path, "");
  How how;
  how.access = READ_CONTROL;
  const Opened file = OpenNative(Nt(path), how);
  const SID* owner = nullptr;
  const ACL* list = nullptr;
  SECURITY_DESCRIPTOR* descriptor = nullptr;
  NEED(GetSecurityInfo(file.Handle(), SE_FILE_OBJECT,
                       OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, &list,
                       &descriptor) == 0);
  CHECK(owner != nullptr && IsValidSid(owner));
  LocalFree(descriptor);
}

CONTRACT(APrivilegeHasItsIdentifier) {
  LUID luid = {};
  CHECK(LookupPrivilegeValueW(u"SeBackupPrivilege", &luid));
  CHECK_EQ(luid.LowPart, 17U);
  CHECK(!LookupPrivilegeValueW(u"SeNoSuchPrivilege", &luid));
  CHECK_EQ(GetLastError(), ERROR_NO_SUCH_PRIVILEGE);
}

CONTRACT(AHeldPrivilegeIsEnabled) {
  HANDLE token = nullptr;
  NEED(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token));
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  NEED(LookupPrivilegeValueW(u"SeBackupPrivilege", &privileges.Privileges[0].Luid));
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  SetLastError(77);
  CHECK(AdjustTokenPrivileges(token, false, &privileges));
  CHECK_EQ(GetLastError(), ERROR_SUCCESS);
  CHECK(CloseHandle(token));
}

}  // namespace vorn::contract
