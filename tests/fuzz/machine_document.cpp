// Machine documents of arbitrary bytes: a bad one is refused with one line, and a good one survives
// a round trip.

#include "lab/machine_document.h"

#include "lab/bad_input.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <optional>
#include <string_view>

namespace vorn::tests {

namespace machine_document {
namespace {

std::optional<lab::MachineDocument> Read(std::string_view text) {
  try {
    return lab::ReadDocument(text);
  } catch (const lab::BadInput& refusal) {
    const std::string_view line = refusal.what();
    Require(!line.empty() && line.find('\n') == line.npos, "one line says what is wrong");
    return std::nullopt;
  }
}

void Check(std::string_view text) {
  const auto document = Read(text);
  if (!document) return;
  const std::string written = lab::WriteDocument(*document);
  const auto again = Read(written);
  Require(again.has_value(), "what was written can be read");
  Require(lab::WriteDocument(*again) == written, "and says the same");
}

}  // namespace
}  // namespace machine_document

void FuzzMachineDocument(std::span<const std::uint8_t> input) {
  machine_document::Check({reinterpret_cast<const char*>(input.data()), input.size()});
}

}  // namespace vorn::tests
