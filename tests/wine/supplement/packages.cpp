#include "packages.h"

#include "state.h"

#include <windows.h>
#include <setupapi.h>
#include <string>
#include <vector>

namespace supplement {

namespace {

constexpr wchar_t kPublished[] = L"Software\\VornSupplement\\Published";
constexpr wchar_t kInfFolder[] = L"C:\\windows\\inf\\";
constexpr wchar_t kStore[] = L"C:\\supplement\\";
constexpr int kMostPackages = 100;

std::wstring KeyOf(const std::wstring& name) {
  return std::wstring(kPublished) + L"\\" + name;
}

std::string ReadFileBytes(const std::wstring& path) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_READ,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return {};
  std::string bytes(GetFileSize(file, nullptr), '\0');
  DWORD read = 0;
  ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
  CloseHandle(file);
  bytes.resize(read);
  return bytes;
}

void WriteFileBytes(const std::wstring& path, const std::string& bytes) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return;
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);
}

/// A function of Wine's own setupapi.
template <class Function>
Function RealSetup(const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"setupapi_real.dll"), name)));
}

std::wstring VersionField(const std::wstring& infPath, const wchar_t* key, DWORD field) {
  const auto open = RealSetup<decltype(&SetupOpenInfFileW)>("SetupOpenInfFileW");
  const auto find = RealSetup<decltype(&SetupFindFirstLineW)>("SetupFindFirstLineW");
  const auto read = RealSetup<decltype(&SetupGetStringFieldW)>("SetupGetStringFieldW");
  const auto close = RealSetup<decltype(&SetupCloseInfFile)>("SetupCloseInfFile");
  HINF inf = open(infPath.c_str(), nullptr, INF_STYLE_WIN4, nullptr);
  if (inf == INVALID_HANDLE_VALUE) return {};
  INFCONTEXT line;
  wchar_t text[256] = {};
  if (find(inf, L"Version", key, &line)) read(&line, field, text, 256, nullptr);
  close(inf);
  return text;
}

std::wstring Folder(const std::wstring& path) {
  return path.substr(0, path.rfind(L'\\') + 1);
}

/// Copies the package whose INF is at `infPath` into the store.
void KeepPackage(const std::wstring& name, const std::wstring& infPath) {
  CreateDirectoryW(kStore, nullptr);
  CreateDirectoryW((kStore + name).c_str(), nullptr);
  for (const wchar_t* file : {L"vorn_audio.inf", L"vorn_audio.cat", L"vorn_audio.sys"}) {
    WriteFileBytes(kStore + name + L"\\" + file, ReadFileBytes(Folder(infPath) + file));
  }
}

}  // namespace

std::wstring FileName(const std::wstring& path) {
  return path.substr(path.rfind(L'\\') + 1);
}

std::wstring Publish(const std::wstring& infPath) {
  const std::string bytes = ReadFileBytes(infPath);
  if (bytes.empty()) return {};
  std::wstring freeName;
  for (int i = 0; i < kMostPackages; ++i) {
    const std::wstring name = L"oem" + std::to_wstring(i) + L".inf";
    const bool known = !OriginalInf(name).empty();
    if (known && ReadFileBytes(kInfFolder + name) == bytes) return name;
    if (!known && freeName.empty()) freeName = name;
  }
  WriteFileBytes(kInfFolder + freeName, bytes);
  KeepPackage(freeName, infPath);
  WriteText(KeyOf(freeName), L"Version", VersionField(infPath, L"DriverVer", 2));
  WriteText(KeyOf(freeName), L"OriginalCatalog", VersionField(infPath, L"CatalogFile", 1));
  WriteText(KeyOf(freeName), L"OriginalInf", FileName(infPath));
  return freeName;
}

bool Unpublish(const std::wstring& name) {
  if (OriginalInf(name).empty()) return false;
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, KeyOf(name).c_str());
  return DeleteFileW((kInfFolder + name).c_str()) != 0;
}

void Bind(const std::wstring& name) {
  WriteText(kKey, L"BoundPackage", name);
}

void Unbind() {
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"BoundPackage");
}

std::wstring StoredInf(const std::wstring& name) {
  return kStore + name + L"\\vorn_audio.inf";
}

std::wstring PackageVersion(const std::wstring& name) {
  return name.empty() ? std::wstring() : ReadText(KeyOf(name), L"Version");
}

std::wstring OriginalInf(const std::wstring& name) {
  return ReadText(KeyOf(name), L"OriginalInf");
}

std::wstring OriginalCatalog(const std::wstring& name) {
  return ReadText(KeyOf(name), L"OriginalCatalog");
}

}  // namespace supplement
