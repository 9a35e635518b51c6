#include "state.h"

#include <cstdio>
#include <cwchar>

namespace supplement {

void Log(const char* call) {
  const DWORD error = GetLastError();
  HANDLE file = CreateFileW(L"C:\\supplement.log", FILE_APPEND_DATA,
                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, 0, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    const std::string line = std::string(call) + "\n";
    DWORD written = 0;
    WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    CloseHandle(file);
  }
  SetLastError(error);
}

std::optional<DWORD> ReadDword(const wchar_t* key, const wchar_t* name) {
  DWORD value = 0;
  DWORD size = sizeof value;
  if (RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &value, &size) != 0) {
    return std::nullopt;
  }
  return value;
}

std::wstring ReadText(const std::wstring& key, const wchar_t* name) {
  wchar_t text[2048] = {};
  DWORD size = sizeof text;
  if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size) !=
      0) {
    return {};
  }
  return text;
}

void WriteText(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
  RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, text.c_str(),
                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

bool IsOn(const wchar_t* name) {
  return ReadDword(kKey, name).value_or(0) != 0;
}

std::wstring Endpoint::Id() const {
  wchar_t text[80];
  std::swprintf(text, 80, L"{0.0.%d.00000000}.{c0ffee00-0000-4000-8000-0000000000%d%d}",
                capture ? 1 : 0, capture ? 1 : 0, cable);
  return text;
}

bool IsDriverRunning() {
  return ReadDword(kVisibilityKey, L"Running").value_or(0) != 0;
}

std::vector<Endpoint> Endpoints() {
  std::vector<Endpoint> endpoints;
  for (const bool capture : {false, true}) {
    for (int cable = 0; cable < 10; ++cable) {
      const wchar_t name[3] = {capture ? L'C' : L'R', static_cast<wchar_t>(L'0' + cable), 0};
      const bool visible = ReadDword(kVisibilityKey, name).value_or(0) != 0;
      endpoints.push_back({cable, capture, visible});
    }
  }
  return endpoints;
}

std::wstring BoundPackage() {
  return ReadText(kKey, L"BoundPackage");
}

}  // namespace supplement
