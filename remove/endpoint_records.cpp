#include "remove/endpoint_records.h"

#include "base/format.h"
#include "platform/clock.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "product/endpoint_identity.h"
#include "product/product.h"
#include "remove/key_tree_deletion.h"
#include "remove/registry_keys.h"

#include <algorithm>

namespace vorn {

namespace {

constexpr char16_t kStateValue[] = u"DeviceState";
constexpr std::uint32_t kStateMask = 0xF;
constexpr std::uint32_t kStateNotPresent = 4;
constexpr std::uint32_t kIdlePollMs = 250;

struct OwnedRecord {
  platform::HKEY flowKey;  // not owned
  std::u16string name;
  std::u16string displayPath;
};

enum class Ownership { Ours, NotOurs, Unknown };

/// A value larger than 4 bytes is not our marker; the platform returns ERROR_MORE_DATA for it.
Ownership JudgeOwner(platform::HKEY flowKey, const std::u16string& name) {
  std::uint32_t type = platform::REG_NONE;
  std::uint32_t cable = 0;
  std::uint32_t size = sizeof cable;
  const auto error = static_cast<std::uint32_t>(
      platform::RegGetValueW(flowKey, (name + u"\\Properties").c_str(), kCableIndexValueName,
                             platform::RRF_RT_ANY | platform::RRF_NOEXPAND, &type, &cable, &size));
  if (error == platform::ERROR_FILE_NOT_FOUND || error == platform::ERROR_MORE_DATA) {
    return Ownership::NotOurs;
  }
  if (error != platform::ERROR_SUCCESS) return Ownership::Unknown;
  const bool marker = type == platform::REG_DWORD && size == sizeof cable && cable < kCableCount;
  return marker ? Ownership::Ours : Ownership::NotOurs;
}

void CollectFlow(platform::HKEY flowKey, const std::u16string& flow,
                 std::vector<OwnedRecord>& owned, EndpointRecordCleanupResult& result) {
  const SubkeyListing listing = ListSubkeys(flowKey);
  if (!listing.complete) result.listedAll = false;
  for (const std::u16string& name : listing.names) {
    std::u16string displayPath = flow + u"\\" + name;
    switch (JudgeOwner(flowKey, name)) {
      case Ownership::Ours:
        owned.push_back({flowKey, name, std::move(displayPath)});
        break;
      case Ownership::Unknown:
        result.unreadable.push_back(std::move(displayPath));
        break;
      case Ownership::NotOurs:
        break;
    }
  }
}

/// Fills `owned` from both flows; `flowKeys` keeps its keys open.
void CollectOwnedRecords(platform::HKEY rootKey, const std::u16string& basePath,
                         std::vector<platform::RegistryKey>& flowKeys,
                         std::vector<OwnedRecord>& owned, EndpointRecordCleanupResult& result) {
  for (const std::u16string flow : {u"Render", u"Capture"}) {
    platform::RegistryKey key;
    const auto error = static_cast<std::uint32_t>(
        platform::RegOpenKeyExW(rootKey, (basePath + u"\\" + flow).c_str(), 0,
                                platform::KEY_READ | platform::KEY_WOW64_64KEY, key.Receive()));
    if (error == platform::ERROR_FILE_NOT_FOUND) continue;
    if (error != platform::ERROR_SUCCESS) {
      result.listedAll = false;
      continue;
    }
    CollectFlow(key.Get(), flow, owned, result);
    flowKeys.push_back(std::move(key));
  }
}

/// Whether the state can be read and is not "not present".
bool IsActive(const OwnedRecord& record) {
  std::uint32_t state = 0;
  std::uint32_t size = sizeof state;
  const platform::LSTATUS status =
      platform::RegGetValueW(record.flowKey, record.name.c_str(), kStateValue,
                             platform::RRF_RT_REG_DWORD, nullptr, &state, &size);
  return status == 0 && (state & kStateMask) != kStateNotPresent;
}

void WaitUntilIdle(const std::vector<OwnedRecord>& owned, std::uint32_t budgetMs) {
  const std::uint64_t deadline = platform::GetTickCount64() + budgetMs;
  while (std::any_of(owned.begin(), owned.end(), IsActive)) {
    if (platform::GetTickCount64() >= deadline) return;
    platform::Sleep(kIdlePollMs);
  }
}

void DeleteRecords(const std::vector<OwnedRecord>& owned, EndpointRecordCleanupResult& result) {
  KeyTreeDeleter deleter;
  for (const OwnedRecord& record : owned) {
    const std::uint32_t error = deleter.DeleteKeyTree(record.flowKey, record.name);
    if (error == platform::ERROR_SUCCESS) {
      result.removed.push_back(record.displayPath);
    } else {
      result.retained.push_back(Format(u"%ls (error 0x%08lX)", record.displayPath, error));
    }
  }
}

}  // namespace

EndpointRecordCleanupResult CleanEndpointRecords(platform::HKEY rootKey,
                                                 const std::u16string& basePath,
                                                 std::uint32_t budgetMs) {
  EndpointRecordCleanupResult result;
  std::vector<platform::RegistryKey> flowKeys;
  std::vector<OwnedRecord> owned;
  CollectOwnedRecords(rootKey, basePath, flowKeys, owned, result);
  WaitUntilIdle(owned, budgetMs);
  DeleteRecords(owned, result);
  return result;
}

}  // namespace vorn
