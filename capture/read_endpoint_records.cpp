#include "base/text.h"
#include "capture/observation.h"
#include "capture/readers.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "platform/registry.h"
#include "product/product.h"
#include "remove/registry_keys.h"

#include <algorithm>

namespace vorn::capture {

namespace {

constexpr std::u16string_view kRecordsPath =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio";
constexpr std::u16string_view kFlows[] = {u"Render", u"Capture"};
constexpr char16_t kStateValue[] = u"DeviceState";
constexpr char16_t kPropertiesKey[] = u"Properties";

constexpr std::uint32_t kMostKeyDepth = 16;
constexpr std::size_t kMostKeys = 20000;
constexpr std::uint32_t kMostMarkerBytes = 64;  // of a marker that is no number

class RecordReader {
 public:
  explicit RecordReader(CapturedMachine& machine) : machine_(machine) {}

  void Read() {
    KeyFact base = {.path = std::u16string(kRecordsPath)};
    const std::optional<SecurityFact> security = ReadSecurity(base.path);
    base.security = security;
    const std::size_t place = machine_.keys.size();
    machine_.keys.push_back(std::move(base));
    bool any = false;
    for (const std::u16string_view flow : kFlows)
      any = ReadFlow(JoinKey(kRecordsPath, flow), security) || any;
    // Nothing there, and nothing that was refused: the machine has no records.
    if (!any) machine_.keys.erase(machine_.keys.begin() + static_cast<std::ptrdiff_t>(place));
  }

 private:
  static std::u16string JoinKey(std::u16string_view parent, std::u16string_view name) {
    return std::u16string(parent) + u"\\" + std::u16string(name);
  }

  std::optional<SecurityFact> ReadSecurity(const std::u16string& path) {
    std::uint32_t error = 0;
    std::optional<SecurityFact> security = ObserveKeySecurity(path, &error);
    if (!security && error != platform::ERROR_FILE_NOT_FOUND) {
      machine_.Miss(u"access list of " + path, "GetSecurityInfo", error);
    }
    return security;
  }

  static std::uint32_t Open(const std::u16string& path, platform::RegistryKey& key) {
    return static_cast<std::uint32_t>(
        platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, path.c_str(), 0,
                                platform::KEY_READ | platform::KEY_WOW64_64KEY, key.Receive()));
  }

  /// Adds a key with its names; empty where it cannot be opened or listed.
  std::vector<std::u16string> ListKey(KeyFact fact, const platform::RegistryKey& key) {
    SubkeyListing listing;
    if (key) {
      listing = ListSubkeys(key.Get());
      if (!listing.complete) {
        // The listing does not tell its error; any but "no more items" ends it.
        fact.listError = platform::ERROR_CANTREAD;
        machine_.Miss(u"names below " + fact.path, "RegEnumKeyExW", fact.listError);
      }
    }
    machine_.keys.push_back(std::move(fact));
    return listing.names;
  }

  /// False when there is no such key.
  bool ReadFlow(const std::u16string& path, const std::optional<SecurityFact>& above) {
    platform::RegistryKey key;
    const std::uint32_t error = Open(path, key);
    if (error == platform::ERROR_FILE_NOT_FOUND) return false;
    KeyFact fact = {.path = path, .openError = error};
    if (error != 0) machine_.Miss(path, "RegOpenKeyExW", error);
    std::optional<SecurityFact> security = error == 0 ? ReadSecurity(path) : std::nullopt;
    if (security && security != above) fact.security = security;
    if (!security) security = above;
    const std::vector<std::u16string> names = ListKey(std::move(fact), key);
    for (const std::u16string& name : names)
      ReadRecord(key.Get(), JoinKey(path, name), name, security);
    return true;
  }

  /// The driver's marker; nothing when the record has none.
  static std::optional<ValueFact> ReadMarker(platform::HKEY flow, const std::u16string& name,
                                             std::uint32_t& error) {
    ValueFact marker = {.name = kCableIndexValueName};
    marker.data.resize(kMostMarkerBytes);
    auto size = static_cast<std::uint32_t>(marker.data.size());
    error = static_cast<std::uint32_t>(platform::RegGetValueW(
        flow, JoinKey(name, kPropertiesKey).c_str(), kCableIndexValueName,
        platform::RRF_RT_ANY | platform::RRF_NOEXPAND, &marker.type, marker.data.data(), &size));
    if (error == platform::ERROR_FILE_NOT_FOUND) {
      error = 0;
      return std::nullopt;
    }
    // A longer one is not the driver's; that it is too long is all that matters.
    if (error == platform::ERROR_MORE_DATA) error = 0;
    if (error != 0) return std::nullopt;
    marker.data.resize(std::min<std::size_t>(size, kMostMarkerBytes));
    return marker;
  }

  void ReadRecord(platform::HKEY flow, const std::u16string& path, const std::u16string& name,
                  const std::optional<SecurityFact>& above) {
    std::uint32_t error = 0;
    const std::optional<ValueFact> marker = ReadMarker(flow, name, error);
    if (error != 0) {
      machine_.Miss(JoinKey(path, kPropertiesKey), "RegGetValueW", error);
      machine_.keys.push_back({.path = path});
      machine_.keys.push_back({.path = JoinKey(path, kPropertiesKey), .openError = error});
      return;
    }
    if (!marker) {
      machine_.keys.push_back({.path = path});
      return;
    }
    ReadTree(path, 0, above);
    for (KeyFact& key : machine_.keys) {
      if (key.path == path) ReadState(flow, name, key);
      if (key.path == JoinKey(path, kPropertiesKey)) key.values.push_back(*marker);
    }
  }

  static void ReadState(platform::HKEY flow, const std::u16string& name, KeyFact& record) {
    ValueFact state = {.name = kStateValue, .type = platform::REG_DWORD, .data = Bytes(4)};
    std::uint32_t size = 4;
    const auto error = static_cast<std::uint32_t>(
        platform::RegGetValueW(flow, name.c_str(), kStateValue, platform::RRF_RT_REG_DWORD, nullptr,
                               state.data.data(), &size));
    if (error == 0 && size == 4) record.values.push_back(std::move(state));
  }

  /// A record of ours with everything below it, which its deletion would walk through.
  void ReadTree(const std::u16string& path, std::uint32_t depth,
                const std::optional<SecurityFact>& above) {
    if (depth > kMostKeyDepth || machine_.keys.size() > kMostKeys) {
      machine_.Miss(path, "RegEnumKeyExW", 0);
      return;
    }
    platform::RegistryKey key;
    KeyFact fact = {.path = path, .openError = Open(path, key)};
    if (fact.openError != 0) machine_.Miss(path, "RegOpenKeyExW", fact.openError);
    std::optional<SecurityFact> security = ReadSecurity(path);
    if (security && security != above) fact.security = security;
    if (!security) security = above;
    const std::vector<std::u16string> names = ListKey(std::move(fact), key);
    for (const std::u16string& name : names)
      ReadTree(JoinKey(path, name), depth + 1, security);
  }

  CapturedMachine& machine_;
};

}  // namespace

void ReadEndpointRecords(CapturedMachine& machine) {
  RecordReader(machine).Read();
}

}  // namespace vorn::capture
