#pragma once

// JournalStorage: a machine on which a run keeps its journal in the usual place.

#include "base/text.h"
#include "journal/activation_storage.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/protected_files.h"
#include "tests/privileged_input/input_test.h"
#include "tests/support/catalog_lists.h"
#include "tests/support/sample.h"

#include <string_view>

namespace vorn::tests {

inline ActivationState JournalOfAFreshInstall() {
  ActivationState state;
  state.fresh = true;
  state.target.version = u"26.8.10.5";
  state.target.date = u"08/10/2026";
  state.target.service = u"VornAudio";
  state.target.infSha256 = u"0123456789abcdef0123456789ABCDEF0123456789abcdef0123456789abcdef";
  return state;
}

inline ActivationState JournalOfAnUpdate() {
  ActivationState state = JournalOfAFreshInstall();
  state.fresh = false;
  state.catalog = CompleteCatalog();
  for (const CatalogEndpoint& endpoint : state.catalog)
    state.present.push_back(InstanceIdOfEndpoint(endpoint.endpointId));
  return state;
}

inline sim::Bytes ToBytes(std::u16string_view text) {
  sim::Bytes bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

class JournalStorage : public InputTest {
 protected:
  JournalStorage() { sim::MakeFolder(Files(), u"C:\\pkg"); }

  /// Releases this run's handles, so that what follows finds the file as another run would.
  void EndRun() { protectedFiles_ = {}; }

  /// A journal of this run in another place.
  Journal JournalAt(std::u16string_view path) {
    return Journal(protectedFiles_, privileged_input::AbsolutePath::Parse(path));
  }

  void PutJournal(std::u16string_view text) { PutProtectedFile(kSampleJournal, ToBytes(text)); }

  bool Reads() { return journal_.Read().has_value(); }
  void ExpectErrorLine(std::u16string_view line) {
    EXPECT_EQ(ToUtf8(process.ErrorOutput()), ToUtf8(line));
    process.console.clear();
  }

  privileged_input::ProtectedFiles protectedFiles_;
  Journal journal_{protectedFiles_, PathOf(kSampleJournal)};
};

}  // namespace vorn::tests
