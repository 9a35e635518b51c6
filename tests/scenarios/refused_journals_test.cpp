// Journals that the commands refuse: forbidden paths, files that somebody else could have written,
// and content that is malformed or belongs to another package.

#include "base/text.h"
#include "platform/files.h"
#include "platform/simulated/file_values.h"
#include "tests/scenarios/refused_run.h"
#include "tests/support/activation.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using namespace platform::simulated;
using tests::BadPath;
using tests::Console;
using tests::ConsoleLine;
using tests::Err;
using tests::ExpectRefused;
using tests::kSampleDate;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::kSampleVersion;
using tests::PutJournal;
using tests::UpdateTarget;

const ConsoleLine kUnsafe = Err("vorn_devnode: activation state missing or unsafe");
const ConsoleLine kVerifyMissing =
    Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - protected activation state is missing or "
        "malformed");
const ConsoleLine kVerifyMismatch =
    Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - journal target does not match protected INF "
        "DriverVer");
const ConsoleLine kActivateRefused =
    Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - protected activation identity is missing or "
        "mismatched");
const ConsoleLine kNotInspected =
    Err("vorn_devnode: activation state could not be safely inspected");

/// Both commands that only read a journal refuse it.
void ExpectNotRead(const Machine& machine, const std::u16string& path, const Console& before) {
  Console verify = before;
  verify.push_back(kVerifyMissing);
  ExpectRefused(machine, {u"verify", kSampleVersion, kSampleDate, path}, kExitEndpointsMissing,
                verify);
  Console activate = before;
  activate.push_back(kActivateRefused);
  ExpectRefused(machine, {u"hot-activate", kSampleVersion, kSampleDate, path}, kExitHotSwapFailed,
                activate);
}

/// Install refuses that journal, with --rollback and without.
void ExpectBlocked(const Machine& machine, const std::u16string& path, ExitStatus status,
                   const Console& console) {
  // The package lies elsewhere, so that a defect of the journal's folder does not affect the INF.
  const std::u16string inf = u"C:\\other\\driver\\vorn_audio.inf";
  ExpectRefused(machine, {u"install", inf, path}, status, console);
  ExpectRefused(machine, {u"install", inf, path, u"--rollback"}, status, console);
}

/// The package runs, its journal is in place, and a copy of the package lies elsewhere.
Machine JournalledMachine() {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  WritePackage(machine.files, u"C:\\other\\driver", {});
  return machine;
}

TEST(RefusedJournal, HasAPathInAForbiddenForm) {
  const Machine machine = JournalledMachine();
  for (const BadPath& row : tests::BadFormsOf(kSampleJournal)) {
    SCOPED_TRACE(row.name);
    ExpectNotRead(machine, row.path, {kUnsafe});
    ExpectBlocked(machine, row.path, kExitInputRefused, {});
  }
  ExpectNotRead(machine, u"C:\\", {kUnsafe});
  ExpectBlocked(machine, u"C:\\", kExitActivationStateBlocks, {kNotInspected});
}

struct BadJournal {
  const char* name;
  void (*shape)(Machine& machine);
  std::u16string path = kSampleJournal;
};

void Secure(Machine& machine, const char16_t* sddl) {
  NodeAt(machine.files, kSampleJournal).security = ParseSddl(sddl).value();
}

TEST(RefusedJournal, CouldHaveBeenWrittenBySomebodyElse) {
  const BadJournal cases[] = {
      {"of another user",
       [](Machine& m) {
         Secure(m, u"O:S-1-5-21-1000000000-2000000000-3000000000-1002D:P(A;;FA;;;SY)(A;;FA;;;BA)");
       }},
      {"of the users", [](Machine& m) { Secure(m, u"O:BUD:P(A;;FA;;;SY)(A;;FA;;;BA)"); }},
      {"with an open access list",
       [](Machine& m) { Secure(m, u"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)"); }},
      {"that everybody may write",
       [](Machine& m) { Secure(m, u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;WD)"); }},
      {"that users may write", [](Machine& m) { Secure(m, u"O:BAD:P(A;;FA;;;SY)(A;;FW;;;BU)"); }},
      {"without an access list", [](Machine& m) { Secure(m, u"O:BA"); }},
      {"with a second name",
       [](Machine& m) { AddHardLink(m.files, kSampleJournal, u"C:\\pkg\\second"); }},
      {"of more than 64 KiB", [](Machine& m) { NodeAt(m.files, kSampleJournal).zeroTail = 65536; }},
      {"that is a folder",
       [](Machine& m) {
         RemovePath(m.files, kSampleJournal);
         MakeFolder(m.files, kSampleJournal);
       }},
      {"that is a symbolic link",
       [](Machine& m) {
         MovePath(m.files, kSampleJournal, u"C:\\elsewhere");
         PutLink(m.files, kSampleJournal, ReparseKind::SymbolicLink, u"\\??\\C:\\elsewhere", false);
       }},
      {"behind a junction",
       [](Machine& m) {
         MovePath(m.files, u"C:\\pkg", u"C:\\elsewhere");
         PutLink(m.files, u"C:\\pkg", ReparseKind::Junction, u"\\??\\C:\\elsewhere", true);
       }},
      {"that another process may be writing",
       [](Machine& m) {
         HoldOpen(
             m.files, kSampleJournal, platform::FILE_WRITE_DATA,
             platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE);
       }},
      {"on a network drive",
       [](Machine& m) { m.files.dosDevices[u"N:"] = u"\\Device\\Mup\\server\\share"; },
       u"N:\\state"},
      {"on a substituted drive", [](Machine& m) { m.files.dosDevices[u"N:"] = u"\\??\\C:\\pkg"; },
       u"N:\\.vorn-driver-activation-state"},
  };
  for (const BadJournal& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = JournalledMachine();
    row.shape(machine);
    ExpectNotRead(machine, row.path, {kUnsafe});
    ExpectBlocked(machine, row.path, kExitActivationStateBlocks, {kNotInspected});
  }
}

TEST(RefusedJournal, HoldsNoJournalOfTheTarget) {
  Machine sound = JournalledMachine();
  const Bytes journal = *ReadWholeFile(sound.files, kSampleJournal);
  const std::string text(journal.begin(), journal.end());
  std::string withNul = text;
  withNul.insert(40, 2, '\0');
  const std::string narrow = [&text] {
    std::string units;
    for (std::size_t i = 0; i < text.size(); i += 2)
      units += text[i];
    return units.size() % 2 == 0 ? units : units + "\n";
  }();
  const std::pair<const char*, std::string> cases[] = {
      {"nothing", ""},
      {"one byte", "V"},
      {"half a unit at the end", text + "x"},
      {"a half of it", text.substr(0, text.size() / 4 * 2)},
      {"something behind it", text + std::string("x\0\n\0", 4)},
      {"a NUL", withNul},
      {"a mark before it", "\xFF\xFE" + text},
      {"one byte for each unit", narrow},
      {"zeros", std::string(1000, '\0')},
  };
  for (const auto& [name, content] : cases) {
    SCOPED_TRACE(name);
    Machine machine = sound;
    PutFile(machine.files, kSampleJournal, content);
    ExpectNotRead(machine, kSampleJournal, {});
    ExpectBlocked(machine, kSampleJournal, kExitActivationStateBlocks,
                  {Err("vorn_devnode: protected activation state exists and does not match the "
                       "live driver (readable=0, verify=12); recover or roll it back before "
                       "another bind")});
  }
}

TEST(RefusedJournal, IsNotOfTheExpectedVersionAndDate) {
  const Machine machine = JournalledMachine();
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"", u""},
      {u"", kSampleDate},
      {kSampleVersion, u""},
      {u"26.8.10", kSampleDate},
      {u"26.8.10.05", kSampleDate},
      {u"26.8.10.5.0", kSampleDate},
      {u" 26.8.10.5", kSampleDate},
      {u"26.8.10.6", kSampleDate},
      {kSampleVersion, u"8/10/2026"},
      {kSampleVersion, u"10/08/2026"},
      {kSampleVersion, u"2026-08-10"},
      {kSampleVersion, u"08/10/2026 "},
      {kSampleDate, kSampleVersion},
  };
  for (const auto& [version, date] : cases) {
    SCOPED_TRACE(ToUtf8(version) + std::string(" of ") + ToUtf8(date));
    ExpectRefused(machine, {u"verify", version, date, kSampleJournal}, kExitEndpointsMissing,
                  {kVerifyMismatch});
    ExpectRefused(machine, {u"hot-activate", version, date, kSampleJournal}, kExitHotSwapFailed,
                  {kActivateRefused});
  }
}

TEST(RefusedJournal, CannotBeWrittenAtItsPath) {
  const auto failed = [](const std::string& error) {
    return Console{
        Err("vorn_devnode: safe create(activation state) failed (error 0x" + error + ")")};
  };
  Machine machine = OutdatedMachine();
  AddVolume(machine.files, u'D', u"\\Device\\HarddiskVolume4",
            u"5a17c0de-0000-4000-8000-000000000004");
  machine.files.volumes[1].readOnly = true;
  const std::pair<const char16_t*, const char*> cases[] = {
      {u"C:\\missing\\state", "00000002"},
      {u"N:\\state", "00000002"},
      {u"D:\\state", "00000013"},
  };
  for (const auto& [path, error] : cases) {
    SCOPED_TRACE(ToUtf8(path));
    ExpectRefused(machine, {u"install", kSampleInf, path}, kExitActivationStateBlocks,
                  failed(error));
    ExpectRefused(machine, {u"install", kSampleInf, path, u"--rollback"},
                  kExitActivationStateBlocks, failed(error));
  }
}

}  // namespace
}  // namespace vorn
