#pragma once

// One reading of an INF by a process of its own, which must print nothing and leave nothing open.

#include "package/content_hash.h"
#include "package_world.h"
#include "privileged_input/input_file.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vorn::tests {

/// Opens and reads a source INF in the current process.
inline std::optional<InfIdentity> OpenAndRead(const std::u16string& path = kSampleInf) {
  return ReadInfIdentity(privileged_input::OpenInputFile(path));
}

/// Opens, hashes and reads the published INF of that name in the current process.
inline std::optional<InfIdentity> OpenAndReadPublished(const std::u16string& name = u"oem3.inf") {
  const PublishedPlace place = {name, kInfFolder + name};
  const privileged_input::File file = privileged_input::OpenInputFile(place.path);
  std::optional<std::u16string> digest = HashFileSha256(file);
  if (!digest) return std::nullopt;
  return ReadPublishedIdentity(file, std::move(*digest), place);
}

inline std::optional<InfIdentity> ReadSource(platform::simulated::Machine machine,
                                             const std::u16string& path = kSampleInf) {
  platform::simulated::Process process(machine);
  const std::optional<InfIdentity> identity = OpenAndRead(path);
  EXPECT_TRUE(NothingIsOpen(process));
  EXPECT_EQ(process.Output() + process.ErrorOutput(), u"") << "the reader prints nothing";
  return identity;
}

inline std::optional<InfIdentity> ReadText(std::string_view text) {
  return ReadSource(MachineWithInf(text));
}

inline std::optional<InfIdentity> ReadPublished(platform::simulated::Machine machine) {
  platform::simulated::Process process(machine);
  const std::optional<InfIdentity> identity = OpenAndReadPublished();
  EXPECT_TRUE(NothingIsOpen(process));
  EXPECT_EQ(process.Output() + process.ErrorOutput(), u"") << "the reader prints nothing";
  return identity;
}

}  // namespace vorn::tests
