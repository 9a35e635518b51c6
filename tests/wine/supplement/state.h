#pragma once

// What the parts of the supplement share: their log, the switches that a test sets, and the state
// of Wine that their answers come from. Everything is read anew at each question, from Wine's
// registry: the device's Enum key, the driver's own "Visibility" key, the table of published
// packages.

#include <windows.h>
#include <optional>
#include <string>
#include <vector>

namespace supplement {

inline constexpr wchar_t kKey[] = L"Software\\VornSupplement";
inline constexpr wchar_t kVisibilityKey[] =
    L"System\\CurrentControlSet\\Services\\VornAudio\\Visibility";

/// Appends a line to C:\supplement.log: which call was answered by the supplement, not by Wine.
void Log(const char* call);

std::optional<DWORD> ReadDword(const wchar_t* key, const wchar_t* name);
std::wstring ReadText(const std::wstring& key, const wchar_t* name);
void WriteText(const std::wstring& key, const wchar_t* name, const std::wstring& text);

/// A switch that a test sets below kKey; off when it is not there.
bool IsOn(const wchar_t* name);

/// One of the 20 endpoints of the device, as the driver shows it.
struct Endpoint {
  int cable;
  bool capture;
  bool visible;

  std::wstring Id() const;  // {0.0.0.00000000}.{guid}
};

/// Whether the driver says that its device runs.
bool IsDriverRunning();

/// All 20 endpoints, render before capture.
std::vector<Endpoint> Endpoints();

/// Name of the published package that the device is bound to, empty when none is.
std::wstring BoundPackage();

}  // namespace supplement
