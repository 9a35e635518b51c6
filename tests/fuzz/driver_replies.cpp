// Replies of a driver that may send anything: a pool or a status is accepted exactly if it is
// complete, as judged from the bytes a second time.

#include "control/endpoint_pool.h"
#include "control/exact_driver_version.h"
#include "control/resident_status.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <algorithm>
#include <bitset>
#include <cstring>

namespace vorn::tests {

namespace driver_replies {
namespace {

std::uint32_t WordAt(const std::uint8_t* bytes, std::size_t offset) {
  std::uint32_t word = 0;
  std::memcpy(&word, bytes + offset, sizeof word);
  return word;
}

/// Whether 2804 bytes are 20 named entries of 140 bytes, one for each cable and flow.
bool IsWholePool(const std::uint8_t* bytes, std::uint32_t returned) {
  if (returned < 4 || WordAt(bytes, 0) != 20) return false;
  std::bitset<20> identities;
  for (std::size_t at = 4; at < 2804; at += 140) {
    char16_t name[64];
    std::memcpy(name, bytes + at + 12, sizeof name);
    const auto end = std::find(std::begin(name), std::end(name), u'\0');
    const std::uint32_t cable = WordAt(bytes, at);
    if (end == std::begin(name) || end == std::end(name) || cable > 9) return false;
    identities.set(2 * cable + (WordAt(bytes, at + 4) != 0 ? 1 : 0));
  }
  return identities.all();
}

void CheckPool(std::span<const std::uint8_t> input) {
  EndpointPoolReply reply;
  std::uint8_t bytes[sizeof reply] = {};
  std::copy_n(input.begin(), std::min(input.size(), sizeof bytes), bytes);
  std::memcpy(&reply, bytes, sizeof reply);
  const auto returned = static_cast<std::uint32_t>(std::min(input.size(), sizeof bytes));

  std::vector<EndpointPoolEntry> entries;
  const CheckResult read = ReadEndpointPoolReply(reply, returned, entries);
  const bool accepted = read.ok && ValidateEndpointPool(entries).ok;
  Require(accepted == IsWholePool(bytes, returned), "a pool is accepted exactly if it is whole");
  Require(read.ok == read.reason.empty(), "a reason for a refusal and for nothing else");
}

/// Whether a reply proves that version; from 26.8.10 on it must prove the interface as well.
bool Proves(const std::uint8_t* bytes, std::uint32_t returned, const ExactDriverVersion& version) {
  if (WordAt(bytes, 0) != version.packed) return false;
  if (version.packed < (26U << 16 | 8U << 8 | 10U)) return true;
  return returned >= 124 && WordAt(bytes, 104) == 3 && WordAt(bytes, 108) == 3 &&
         WordAt(bytes, 112) % 2 == 1 && WordAt(bytes, 120) == version.revision;
}

void CheckStatus(std::span<const std::uint8_t> input) {
  if (input.size() < 12) return;
  const ExactDriverVersion version = {WordAt(input.data(), 0) & 0xFFFFFF, WordAt(input.data(), 4)};
  input = input.subspan(8);
  StatusReply reply;
  std::uint8_t bytes[sizeof reply] = {};
  std::copy_n(input.begin(), std::min(input.size(), sizeof bytes), bytes);
  std::memcpy(&reply, bytes, sizeof reply);
  const auto returned = static_cast<std::uint32_t>(std::min(input.size(), sizeof bytes));
  const CheckResult judged = JudgeResidentStatus(reply, returned, version, u"26.8.10.5");
  Require(judged.ok == Proves(bytes, returned, version), "a status is believed exactly if it fits");
  Require(judged.ok == judged.reason.empty(), "a reason for a refusal and for nothing else");
  Require(judged.reason.size() < 256, "a reason has its limit");
}

/// Parses the four decimal parts of a version a second time, in a different way.
void CheckVersion(std::span<const std::uint8_t> input) {
  const std::u16string text(input.begin(), input.end());
  const auto parsed = ParseExactDriverVersion(text);
  if (!parsed) return;
  std::uint64_t parts[4] = {};
  std::size_t part = 0;
  for (const char16_t unit : text) {
    if (unit == u'.') {
      Require(++part < 4, "four parts");
      continue;
    }
    Require(unit >= u'0' && unit <= u'9', "digits and dots");
    parts[part] = parts[part] * 10 + (unit - u'0');
  }
  Require(part == 3 && parts[0] < 256 && parts[1] < 256 && parts[2] < 256, "parts in their range");
  Require(parsed->packed == (parts[0] << 16 | parts[1] << 8 | parts[2]), "packed as they are");
  Require(parsed->revision == parts[3], "the revision as it is");
}

}  // namespace
}  // namespace driver_replies

void FuzzDriverReplies(std::span<const std::uint8_t> input) {
  driver_replies::CheckPool(input);
  driver_replies::CheckStatus(input);
  driver_replies::CheckVersion(input);
}

}  // namespace vorn::tests
