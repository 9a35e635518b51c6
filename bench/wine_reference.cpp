// What the shipped executable is measured against on Wine: the least that anybody would do for the
// same result, and the same calls as the program's in a bare loop.
//
//   copy FROM TO    copies the files of a folder with CopyFileW, flushes and deletes each
//   looks FROM TO   opens, looks at, copies and deletes them with the calls of the private copy
//   hash FOLDER     opens and hashes every published INF, twice
//   sizes FOLDER    opens each and reads its size as the program does, twice

#include <windows.h>
// After it: these need its types.
#include <aclapi.h>
#include <bcrypt.h>
#include <cstdio>
#include <cwchar>
#include <sddl.h>
#include <string>
#include <vector>
#include <winternl.h>

namespace {

using Create = decltype(&NtCreateFile);

constexpr DWORD kMebibyte = 1048576;

[[noreturn]] void Fail(const char* call, unsigned long error) {
  std::printf("%s failed: 0x%lX\n", call, error);
  std::exit(1);
}

std::vector<std::wstring> Names(const std::wstring& pattern) {
  std::vector<std::wstring> names;
  WIN32_FIND_DATAW found;
  const HANDLE listing = FindFirstFileW(pattern.c_str(), &found);
  if (listing == INVALID_HANDLE_VALUE) Fail("FindFirstFileW", GetLastError());
  do {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
      names.emplace_back(found.cFileName);
  } while (FindNextFileW(listing, &found));
  FindClose(listing);
  return names;
}

void Copy(const std::wstring& from, const std::wstring& to) {
  CreateDirectoryW(to.c_str(), nullptr);
  const std::vector<std::wstring> names = Names(from + L"\\*");
  for (const std::wstring& name : names) {
    const std::wstring target = to + L"\\" + name;
    if (!CopyFileW((from + L"\\" + name).c_str(), target.c_str(), TRUE)) {
      Fail("CopyFileW", GetLastError());
    }
    const HANDLE copy =
        CreateFileW(target.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (!FlushFileBuffers(copy)) Fail("FlushFileBuffers", GetLastError());
    CloseHandle(copy);
  }
  for (const std::wstring& name : names)
    DeleteFileW((to + L"\\" + name).c_str());
  RemoveDirectoryW(to.c_str());
}

HANDLE OpenFolder(const std::wstring& path) {
  return CreateFileW(path.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                     FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

HANDLE OpenIn(HANDLE folder, const std::wstring& name, ACCESS_MASK access, ULONG disposition,
              void* descriptor = nullptr) {
  static const auto create = reinterpret_cast<Create>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtCreateFile")));
  const auto bytes = static_cast<USHORT>(name.size() * sizeof(wchar_t));
  UNICODE_STRING text = {bytes, bytes, const_cast<wchar_t*>(name.data())};
  OBJECT_ATTRIBUTES attributes = {};
  attributes.Length = sizeof attributes;
  attributes.RootDirectory = folder;
  attributes.ObjectName = &text;
  attributes.Attributes = 0x1040;  // ignoring case, through no link
  attributes.SecurityDescriptor = descriptor;
  IO_STATUS_BLOCK status = {};
  HANDLE file = nullptr;
  const NTSTATUS result =
      create(&file, access | SYNCHRONIZE, &attributes, &status, nullptr, FILE_ATTRIBUTE_NORMAL,
             FILE_SHARE_READ, disposition, 0x200060, nullptr, 0);
  if (result < 0) Fail("NtCreateFile", static_cast<unsigned long>(result));
  return file;
}

ULONGLONG Look(HANDLE file) {
  FILE_ATTRIBUTE_TAG_INFO tag = {};
  BY_HANDLE_FILE_INFORMATION information = {};
  if (GetFileType(file) != FILE_TYPE_DISK ||
      !GetFileInformationByHandleEx(file, FileAttributeTagInfo, &tag, sizeof tag) ||
      !GetFileInformationByHandle(file, &information)) {
    Fail("a look", GetLastError());
  }
  return ULONGLONG{information.nFileSizeHigh} << 32 | information.nFileSizeLow;
}

void LookAtProtection(HANDLE file) {
  PSID owner = nullptr;
  PACL dacl = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error =
      GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                      &owner, nullptr, &dacl, nullptr, &descriptor);
  if (error != 0) Fail("GetSecurityInfo", error);
  for (DWORD i = 0; dacl != nullptr && i < dacl->AceCount; ++i) {
    void* entry = nullptr;
    GetAce(dacl, i, &entry);
    PSID holder = &static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart;
    IsWellKnownSid(holder, WinLocalSystemSid);
    IsWellKnownSid(holder, WinBuiltinAdministratorsSid);
  }
  LocalFree(descriptor);
}

void CopyContent(HANDLE from, HANDLE to, ULONGLONG size, std::vector<char>& buffer) {
  const LARGE_INTEGER start = {};
  SetFilePointerEx(to, start, nullptr, FILE_BEGIN);
  SetFilePointerEx(from, start, nullptr, FILE_BEGIN);
  while (size > 0) {
    const DWORD piece = size < kMebibyte ? static_cast<DWORD>(size) : kMebibyte;
    DWORD moved = 0;
    if (!ReadFile(from, buffer.data(), piece, &moved, nullptr) || moved != piece ||
        !WriteFile(to, buffer.data(), piece, &moved, nullptr) || moved != piece) {
      Fail("copying", GetLastError());
    }
    size -= piece;
  }
  SetEndOfFile(to);
  FlushFileBuffers(to);
}

void CopyWithLooks(const std::wstring& from, const std::wstring& to) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)",
                                                       SDDL_REVISION_1, &descriptor, nullptr);
  CreateDirectoryW(to.c_str(), nullptr);
  const std::vector<std::wstring> names = Names(from + L"\\*");
  const HANDLE sources = OpenFolder(from);
  const HANDLE copies = OpenFolder(to);
  std::vector<char> buffer(kMebibyte);
  std::vector<HANDLE> held;
  for (const std::wstring& name : names) {
    const HANDLE source = OpenIn(sources, name, 0x80020000, 1);
    const ULONGLONG size = Look(source);
    const HANDLE copy = OpenIn(copies, name, 0xC0030000, 2, descriptor);
    Look(copy);
    CopyContent(source, copy, size, buffer);
    Look(copy);
    CloseHandle(copy);
    held.push_back(OpenIn(copies, name, 0x80020000, 1));
    Look(held.back());
    LookAtProtection(held.back());
    CloseHandle(source);
  }
  for (const HANDLE copy : held)
    CloseHandle(copy);
  for (const std::wstring& name : names) {
    const HANDLE copy = OpenIn(copies, name, 0x80030100, 1);
    Look(copy);
    FILE_BASIC_INFO basic = {};
    GetFileInformationByHandleEx(copy, FileBasicInfo, &basic, sizeof basic);
    FILE_DISPOSITION_INFO disposition = {TRUE};
    SetFileInformationByHandle(copy, FileDispositionInfo, &disposition, sizeof disposition);
    CloseHandle(copy);
  }
  CloseHandle(sources);
  CloseHandle(copies);
  RemoveDirectoryW(to.c_str());
}

void HashTwice(const std::wstring& folder) {
  std::vector<unsigned char> buffer(65536);
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
  for (int round = 0; round < 2; ++round) {
    for (const std::wstring& name : Names(folder + L"\\oem*.inf")) {
      const HANDLE file = CreateFileW((folder + L"\\" + name).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
      BCRYPT_HASH_HANDLE hash = nullptr;
      BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0);
      DWORD read = 0;
      while (ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &read, nullptr) &&
             read > 0)
        BCryptHashData(hash, buffer.data(), read, 0);
      unsigned char digest[32];
      BCryptFinishHash(hash, digest, sizeof digest, 0);
      BCryptDestroyHash(hash);
      CloseHandle(file);
    }
  }
  BCryptCloseAlgorithmProvider(algorithm, 0);
}

void SizesTwice(const std::wstring& folder) {
  const HANDLE files = OpenFolder(folder);
  for (int round = 0; round < 2; ++round) {
    for (const std::wstring& name : Names(folder + L"\\oem*.inf")) {
      const HANDLE file = OpenIn(files, name, 0x80020000, 1);
      Look(file);
      CloseHandle(file);
    }
  }
  CloseHandle(files);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const std::wstring what = argc > 2 ? argv[1] : L"";
  if (what == L"copy" && argc == 4) {
    Copy(argv[2], argv[3]);
  } else if (what == L"looks" && argc == 4) {
    CopyWithLooks(argv[2], argv[3]);
  } else if (what == L"hash") {
    HashTwice(argv[2]);
  } else if (what == L"sizes") {
    SizesTwice(argv[2]);
  } else {
    return 64;
  }
  std::puts("done");
  return 0;
}
