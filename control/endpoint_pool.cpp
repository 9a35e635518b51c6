#include "control/endpoint_pool.h"

#include "base/format.h"
#include "control/control_channel.h"
#include "control/control_request.h"

#include <algorithm>
#include <iterator>

namespace vorn {

CheckResult ReadEndpointPoolReply(const EndpointPoolReply& reply, std::uint32_t bytes,
                                  std::vector<EndpointPoolEntry>& entries) {
  entries.clear();
  if (bytes < sizeof reply.count || reply.count > kEndpointCount) {
    return CheckResult::Failed(u"live endpoint-pool IOCTL returned a malformed payload");
  }
  // Entries that were not returned are zero; ValidateEndpointPool refuses their empty names.
  for (std::uint32_t i = 0; i < reply.count; ++i) {
    const EndpointPoolReply::Entry& entry = reply.entries[i];
    const char16_t* const nameEnd =
        std::find(std::begin(entry.subdeviceName), std::end(entry.subdeviceName), u'\0');
    if (nameEnd == std::end(entry.subdeviceName)) {
      return CheckResult::Failed(u"driver returned an unterminated subdevice name");
    }
    entries.push_back({entry.cableIndex, entry.flow != 0,
                       std::u16string(std::begin(entry.subdeviceName), nameEnd)});
  }
  return CheckResult::Passed();
}

CheckResult ValidateEndpointPool(const std::vector<EndpointPoolEntry>& entries) {
  if (entries.size() != kEndpointCount) {
    return CheckResult::Failed(u"driver reported the wrong endpoint-pool size");
  }
  bool seen[2][kCableCount] = {};
  for (const EndpointPoolEntry& entry : entries) {
    if (entry.cableIndex >= kCableCount) {
      return CheckResult::Failed(u"driver reported an out-of-range cable index");
    }
    if (entry.subdeviceName.empty()) {
      return CheckResult::Failed(u"driver reported an endpoint without a subdevice name");
    }
    bool& seenBefore = seen[entry.capture ? 1 : 0][entry.cableIndex];
    if (seenBefore) {
      return CheckResult::Failed(u"driver reported a duplicate cable/flow identity");
    }
    seenBefore = true;
  }
  for (const auto& flow : seen) {
    if (std::find(std::begin(flow), std::end(flow), false) != std::end(flow)) {
      return CheckResult::Failed(u"driver omitted a cable/flow identity");
    }
  }
  return CheckResult::Passed();
}

CheckResult QueryEndpointPool(const std::u16string& rootId) {
  ControlChannel channel = OpenRootControlChannel(rootId);
  if (!channel.handle) return CheckResult::Failed(channel.reason);
  EndpointPoolReply reply;
  const ControlAnswer answer =
      SendControlRequest(channel.handle.Get(), kEndpointPoolCode, nullptr, 0, &reply, sizeof reply);
  channel.handle.Reset();
  if (!answer.succeeded) {
    return CheckResult::Failed(
        Format(u"live endpoint-pool IOCTL failed (error 0x%08lX)", answer.error));
  }
  std::vector<EndpointPoolEntry> entries;
  CheckResult wellFormed = ReadEndpointPoolReply(reply, answer.bytes, entries);
  return wellFormed.ok ? ValidateEndpointPool(entries) : wellFormed;
}

}  // namespace vorn
