#include "lab/call_families.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace vorn::lab {

namespace {

constexpr CallFamily kFamilies[] = {
    {"files", "Files", "open files and folders, by handle"},
    {"native", "Native files", "opening of files below ntdll.dll"},
    {"security", "Security", "owners, access lists and privileges"},
    {"crypto", "Hashing", "SHA-256 and random numbers"},
    {"inf", "INF files", "reading and uninstalling of INF files"},
    {"device_setup", "Device setup", "device lists, class installers, the bind"},
    {"config_manager", "Device tree", "device nodes, their children and states"},
    {"device_io", "Driver requests", "requests to the running driver"},
    {"audio_endpoints", "Audio catalog", "audio endpoints as Windows lists them"},
    {"services", "Services", "the audio services"},
    {"registry", "Registry", "endpoint records"},
    {"clock", "Clock", "time, and waiting"},
    {"console", "Console, log", "console lines and the removal log"},
};

struct NameRule {
  std::string_view beginning;  // of the names of calls
  std::string_view header;
};

// The longest beginning that fits decides.
constexpr NameRule kRules[] = {
    {"Adjust", "security"},
    {"BCrypt", "crypto"},
    {"CM_", "config_manager"},
    {"CloseHandle", "files"},
    {"CloseService", "services"},
    {"Co", "audio_endpoints"},
    {"Convert", "security"},
    {"CreateDirectory", "files"},
    {"CreateFile", "device_io"},
    {"DeviceIo", "device_io"},
    {"Flush", "files"},
    {"Get", "files"},
    {"GetAce", "security"},
    {"GetModuleHandle", "native"},
    {"GetProcAddress", "native"},
    {"GetSecurity", "security"},
    {"GetSystemTime", "clock"},
    {"GetTickCount", "clock"},
    {"IConnector", "audio_endpoints"},
    {"IDeviceTopology", "audio_endpoints"},
    {"IMMDevice", "audio_endpoints"},
    {"IPropertyStore", "audio_endpoints"},
    {"Is", "security"},
    {"Lo", "security"},
    {"NtCreateFile", "native"},
    {"NtDeleteKey", "registry"},
    {"OpenProcess", "security"},
    {"OpenS", "services"},
    {"PropVariant", "audio_endpoints"},
    {"QueryDosDevice", "files"},
    {"ReadFile", "files"},
    {"Reg", "registry"},
    {"Rtl", "native"},
    {"SetEndOfFile", "files"},
    {"SetFile", "files"},
    {"Setup", "inf"},
    {"SetupDi", "device_setup"},
    {"Sleep", "clock"},
    {"StartService", "services"},
    {"UpdateDriver", "device_setup"},
    {"WriteFile", "files"},
    {"_wfsopen", "console"},
    {"f", "console"},
};

}  // namespace

std::span<const CallFamily> CallFamilies() {
  return kFamilies;
}

std::size_t FamilyOf(std::string_view call) {
  const NameRule* best = nullptr;
  for (const NameRule& rule : kRules) {
    if (!call.starts_with(rule.beginning)) continue;
    if (best == nullptr || rule.beginning.size() > best->beginning.size()) best = &rule;
  }
  if (best == nullptr) throw std::invalid_argument("no family of calls has " + std::string(call));
  const auto family =
      std::find_if(std::begin(kFamilies), std::end(kFamilies),
                   [best](const CallFamily& each) { return each.header == best->header; });
  return static_cast<std::size_t>(family - std::begin(kFamilies));
}

}  // namespace vorn::lab
