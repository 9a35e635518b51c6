#include "tests/contract/world.h"

#include "tests/contract/own_device.h"
#include "tests/contract/windows/clean_up.h"
#include "tests/contract/windows/guest_state.h"
#include "platform/simulated/registry_values.h"

#include <windows.h>

#include <filesystem>
#include <string>

namespace vorn::contract {

namespace {

int folders = 0;

std::wstring Wide(const std::u16string& text) {
  return std::wstring(text.begin(), text.end());
}

std::wstring RootFolder(std::uint32_t processId) {
  wchar_t path[MAX_PATH + 1] = {};
  ::GetTempPathW(MAX_PATH, path);
  wchar_t name[32] = {};
  ::wsprintfW(name, L"vorn_contract_%lu", static_cast<unsigned long>(processId));
  return std::wstring(path) + name;
}

std::wstring FullKey(const std::u16string& path) {
  std::wstring full = Wide(kRegistryPath);
  if (!path.empty()) full += L"\\" + Wide(path);
  return full;
}

void RemoveFilesAndKeys(std::uint32_t processId) {
  std::error_code ignored;
  std::filesystem::remove_all(RootFolder(processId), ignored);
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, Wide(kRegistryPath).c_str());
}

::HKEY OpenOrCreate(const std::u16string& path) {
  ::HKEY key = nullptr;
  ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, FullKey(path).c_str(), 0, nullptr, 0,
                    KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &key, nullptr);
  return key;
}

}  // namespace

Side TheSide() {
  static const bool wine =
      ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
  return wine ? Side::Wine : Side::Windows;
}

void BeginCase() {
  ::SetLastError(0);
}

std::size_t EndCase() {
  RemoveFilesAndKeys(::GetCurrentProcessId());
  return 0;
}

void CleanUpAfter(std::uint32_t processId) {
  RemoveFilesAndKeys(processId);
  RemoveOwnDevices();
  RestoreGuestState();
}

std::u16string Scratch() {
  const std::wstring path =
      RootFolder(::GetCurrentProcessId()) + L"\\" + std::to_wstring(folders++);
  std::filesystem::create_directories(path);
  return std::u16string(path.begin(), path.end());
}

bool MakeHardLink(const std::u16string& existing, const std::u16string& name) {
  return ::CreateHardLinkW(Wide(name).c_str(), Wide(existing).c_str(), nullptr) != 0;
}

std::uint32_t MoveTo(const std::u16string& existing, const std::u16string& name) {
  const bool moved = ::MoveFileExW(Wide(existing).c_str(), Wide(name).c_str(), 0) != 0;
  return moved ? 0 : ::GetLastError();
}

bool MakeFolderLink(const std::u16string& path, const std::u16string& target) {
  return ::CreateSymbolicLinkW(Wide(path).c_str(), Wide(target).c_str(),
                               SYMBOLIC_LINK_FLAG_DIRECTORY) != 0;
}

std::u16string SystemsOwnKey() {
  return u"SECURITY";
}

void MakeKey(const std::u16string& path) {
  ::RegCloseKey(OpenOrCreate(path));
}

void PutValue(const std::u16string& path, const std::u16string& name, std::uint32_t type,
              const std::vector<std::uint8_t>& data) {
  const ::HKEY key = OpenOrCreate(path);
  ::RegSetValueExW(key, Wide(name).c_str(), 0, type, data.data(), static_cast<DWORD>(data.size()));
  ::RegCloseKey(key);
}

std::u16string RunningService() {
  return u"EventLog";
}

}  // namespace vorn::contract
