#pragma once

// A registry with endpoint records in it, and the keys that a run opened.

#include "platform/registry.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/device_world.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

inline constexpr char16_t kRecordsPath[] = u"SOFTWARE\\Endpoints\\Audio";
/// Read access alone for administrators.
inline constexpr char16_t kReadOnlySddl[] = u"O:SYD:P(A;CI;0x20019;;;BA)";

/// A process on a machine whose records lie below kRecordsPath, free to delete for administrators.
class RegistryWorld : public DeviceWorld {
 protected:
  platform::simulated::Registry& TheRegistry() { return machine.registry; }

  /// The path of a key below kRecordsPath.
  static std::u16string PathOf(std::u16string_view record) {
    return kRecordsPath + std::u16string(u"\\") + std::u16string(record);
  }

  /// A record as Windows leaves one of the program's: marker, state, another subkey.
  void AddRecord(std::u16string_view record, std::uint32_t cable = 0, std::uint32_t state = 4) {
    PutState(record, state);
    platform::simulated::MakeKey(TheRegistry(), PathOf(record) + u"\\FxProperties");
    PutMarker(record, platform::REG_DWORD, DwordBytes(cable));
  }

  void PutState(std::u16string_view record, std::uint32_t state) {
    platform::simulated::PutDword(TheRegistry(), PathOf(record), u"DeviceState", state);
  }

  void PutMarker(std::u16string_view record, std::uint32_t type, platform::simulated::Bytes data) {
    platform::simulated::PutValue(TheRegistry(), PathOf(record) + u"\\Properties",
                                  platform::simulated::kCableMarkerName, type, std::move(data));
  }

  static platform::simulated::Bytes DwordBytes(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
  }

  bool Exists(std::u16string_view record) {
    return platform::simulated::FindKey(TheRegistry(), PathOf(record)).has_value();
  }

  platform::simulated::Key& KeyAt(std::u16string_view record) {
    return TheRegistry().keys.at(*platform::simulated::FindKey(TheRegistry(), PathOf(record)));
  }

  void Secure(std::u16string_view record, std::u16string_view sddl) {
    const auto security = platform::simulated::ParseSddl(sddl);
    ASSERT_TRUE(security);
    platform::simulated::SecureKey(TheRegistry(), PathOf(record), *security);
  }

  /// One argument of all calls of that name, in order.
  std::vector<std::string> ArgumentsOf(std::string_view name, std::string_view argument) const {
    std::vector<std::string> found;
    for (const auto& call : CallsOf(process, name))
      found.push_back(call.Argument(argument));
    return found;
  }
};

}  // namespace vorn::tests
