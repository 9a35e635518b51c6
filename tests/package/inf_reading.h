#pragma once

// One reading of an INF by a process of its own, which must print nothing and leave nothing open.

#include "package_world.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace vorn::tests {

struct Reading {
  bool ok = false;
  InfIdentity identity;
};

inline Reading ReadSource(platform::simulated::Machine machine,
                          const std::u16string& path = kInfPath) {
  platform::simulated::Process process(machine);
  Reading reading;
  reading.identity.className = u"left over";
  reading.ok = ReadInfIdentity(path, u"", nullptr, reading.identity);
  EXPECT_TRUE(NothingIsOpen(process));
  EXPECT_EQ(process.Output() + process.ErrorOutput(), u"") << "the reader prints nothing";
  return reading;
}

inline Reading ReadText(std::string_view text) {
  return ReadSource(MachineWithInf(text));
}

inline Reading ReadPublished(platform::simulated::Machine machine,
                             const std::u16string& name = u"oem3.inf") {
  platform::simulated::Process process(machine);
  Reading reading;
  reading.ok = ReadInfIdentity(kInfFolder + name, name, nullptr, reading.identity);
  EXPECT_TRUE(NothingIsOpen(process));
  return reading;
}

}  // namespace vorn::tests
