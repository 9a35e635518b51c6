// The life of a package whose INF is written in the system's code page and holds text outside
// ASCII.

#include "base/text.h"
#include "platform/simulated/driver_package.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/judged_run.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace vorn {
namespace {

using platform::simulated::Bytes;
using platform::simulated::CatalogLine;
using platform::simulated::CleanMachine;
using platform::simulated::Machine;
using platform::simulated::PutFile;
using platform::simulated::ReadWholeFile;
using tests::Err;
using tests::ExpectRun;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::Out;
using tests::RunResult;
using tests::TextOf;

constexpr char16_t kImage[] = u"C:\\pkg\\driver\\vorn_audio.sys";
constexpr char16_t kCatalog[] = u"C:\\pkg\\driver\\vorn_audio.cat";

/// Replaces `from` in the INF of the sample package and signs the package again.
void ReplaceInInf(Machine& machine, std::string_view from, std::string_view to) {
  std::string inf = TextOf(machine, kSampleInf);
  const std::size_t place = inf.find(from);
  ASSERT_NE(place, std::string::npos) << from;
  inf.replace(place, from.size(), to);
  const Bytes bytes(inf.begin(), inf.end());
  PutFile(machine.files, kSampleInf, bytes);
  PutFile(
      machine.files, kCatalog,
      CatalogLine(bytes) + "\r\n" + CatalogLine(*ReadWholeFile(machine.files, kImage)) + "\r\n");
}

/// In Windows-1252: an umlaut, the euro sign and a byte that begins no sequence of UTF-8.
constexpr char kName[] =
    "DeviceName   = \"K\xE4"
    "bel f\xFCr 5 \x80\"  ; \xFF\r\nUnused       = \"";

Machine MachineWithAnsiInf() {
  Machine machine = CleanMachine();
  ReplaceInInf(machine, "DeviceName   = \"", kName);
  return machine;
}

RunResult InstallAnsi(Machine& machine) {
  return tests::RunJudged(machine, tests::Command::Install,
                          {u"install", kSampleInf, kSampleJournal}, {});
}

TEST(AnsiInf, IsInstalledAndPublishedByteForByte) {
  Machine machine = MachineWithAnsiInf();
  const RunResult run = InstallAnsi(machine);
  ExpectRun(run, kExitOk,
            {Out("vorn_devnode: persisted protected pre-bind activation state"),
             Out("vorn_devnode: Root\\VornAudio installed"), tests::ProvenLine(machine)});
  EXPECT_EQ(TextOf(machine, u"C:\\Windows\\INF\\oem3.inf"), TextOf(machine, kSampleInf));
  EXPECT_EQ(tests::VisibleEndpoints(machine), 20U);
}

TEST(AnsiInf, IsAuditedAndRemovedLikeAnyOther) {
  Machine machine = MachineWithAnsiInf();
  InstallAnsi(machine);
  ExpectRun(tests::RunCommand(machine, {u"audit-current", kSampleInf}), kExitOk,
            {tests::ProvenLine(machine)});
  const RunResult removal = tests::RunCommand(machine, {u"remove", kSampleInf});
  EXPECT_EQ(removal.status, kExitOk);
  EXPECT_NE(ToUtf8(removal.output)
                .find("RESULT=OK - removed 1 Root\\VornAudio device(s), 1 exact driver package(s)"),
            std::string::npos)
      << ToUtf8(removal.output) << ToUtf8(removal.errorOutput);
  EXPECT_EQ(tests::InstalledRootIds(machine).size(), 0U);
  EXPECT_FALSE(tests::HasFile(machine, u"C:\\Windows\\INF\\oem3.inf"));
}

/// The same letter in another encoding is written in other bytes, and other bytes are another
/// package.
TEST(AnsiInf, IsNotTakenForTheSameTextInAnotherEncoding) {
  Machine machine = MachineWithAnsiInf();
  InstallAnsi(machine);
  ReplaceInInf(machine,
               "K\xE4"
               "bel",
               "K\xC3\xA4"
               "bel");
  const RunResult audit = tests::RunCommand(machine, {u"audit-current", kSampleInf});
  EXPECT_EQ(audit.status, kExitEndpointsMissing);
  EXPECT_NE(ToUtf8(audit.errorOutput)
                .find("package=live root is bound to a different signed INF package"),
            std::string::npos)
      << ToUtf8(audit.errorOutput);
}

/// A provider spelled with other letters is another provider, whatever the encoding, so nothing is
/// removed.
TEST(AnsiInf, IsNotTheProductsWhenItsProviderIsSpelledDifferently) {
  for (const std::string_view provider : {"VORN \xC4udio", "VORN Audio\x80",
                                          "VORN\xA0"
                                          "Audio"}) {
    Machine machine = CleanMachine();
    ReplaceInInf(machine, "ProviderName = \"VORN Audio\"",
                 "ProviderName = \"" + std::string(provider) + "\"");
    const RunResult run = tests::RunCommand(machine, {u"remove", kSampleInf});
    ExpectRun(run, kExitRemoveRefused,
              {Err("vorn_devnode: RESULT=REMOVE_FAILED - expected INF could not be authenticated; "
                   "no device was touched")});
  }
}

}  // namespace
}  // namespace vorn
