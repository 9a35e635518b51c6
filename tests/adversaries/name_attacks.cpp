// Attacks by the text of a path alone: forms that Windows would read as something else.

#include "platform/files.h"
#include "platform/simulated/file_system.h"
#include "platform/simulated/file_values.h"
#include "tests/adversaries/attack.h"
#include "tests/support/sample.h"

#include <cstring>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

struct NameRow {
  const char* name;
  const char16_t* path;
  const char* why;
  bool pathCheck;  // install refuses it silently, before any snapshot
  const char16_t* error = u"0000007B";
};

constexpr NameRow kRows[] = {
    {"alternate data stream of the INF", u"C:\\pkg\\driver\\vorn_audio.inf:twin",
     "a colon is in no safe name", true},
    {"default stream of the INF by its full name", u"C:\\pkg\\driver\\vorn_audio.inf::$DATA",
     "a colon is in no safe name", true},
    {"folder's index stream", u"C:\\pkg\\driver::$INDEX_ALLOCATION\\vorn_audio.inf",
     "a colon is in no safe name", true},
    {"trailing dot", u"C:\\pkg\\driver\\vorn_audio.inf.", "no safe name ends in a dot", true},
    {"trailing blank", u"C:\\pkg\\driver\\vorn_audio.inf ", "no safe name ends in a blank", true},
    {"folder with a trailing dot", u"C:\\pkg\\driver.\\vorn_audio.inf",
     "no safe name ends in a dot", true},
    {"reserved name", u"C:\\pkg\\driver\\nul.inf", "device names are refused with any ending",
     true},
    {"reserved name with a superscript digit", u"C:\\pkg\\driver\\com\u00B9.inf",
     "Windows takes the superscript digits too", true},
    {"reserved folder name", u"C:\\pkg\\CONIN$\\vorn_audio.inf", "console names are devices too",
     true},
    {"step upwards", u"C:\\pkg\\driver\\..\\driver\\vorn_audio.inf", "no steps in a path", true},
    {"extended prefix", u"\\\\?\\C:\\pkg\\driver\\vorn_audio.inf",
     "only a drive letter begins a path", true},
    {"device prefix", u"\\\\.\\C:\\pkg\\driver\\vorn_audio.inf",
     "only a drive letter begins a path", true},
    {"network share", u"\\\\server\\share\\driver\\vorn_audio.inf",
     "only a drive letter begins a path", true},
    {"forward slashes", u"C:/pkg/driver/vorn_audio.inf", "only a backslash separates", true},
    {"wildcard", u"C:\\pkg\\driver\\vorn_aud?o.inf", "no wildcard in a safe name", true},
    {"8.3 alias of the INF", u"C:\\pkg\\driver\\VORN_A~1.INF",
     "the copy has its long name, and the alias is not found among the copies", false, u"000003EE"},
};

void AddAliases(Machine& machine) {
  SetShortName(machine.files, kSampleInf, u"VORN_A~1.INF");
  SetShortName(machine.files, u"C:\\pkg", u"PKGPAC~1");
}

Attack RowOf(const NameRow& row) {
  Attack attack;
  attack.name = row.name;
  attack.expectation = Expectation::Refused;
  attack.why = row.why;
  attack.infPath = row.path;
  attack.prepare = AddAliases;
  attack.jobs = JobsWithInf();
  attack.answers = SnapshotRefused(row.error);
  if (row.pathCheck) attack.answers[0].text = attack.answers[1].text = u"";
  return attack;
}

constexpr NameRow kStateRows[] = {
    {"alternate data stream of a protected file", u"C:\\protected\\victim.txt:state",
     "a colon is in no safe name", true},
    {"default stream of a protected file", u"C:\\protected\\victim.txt::$DATA",
     "a colon is in no safe name", true},
    {"folder's index stream", u"C:\\pkg::$INDEX_ALLOCATION\\state", "a colon is in no safe name",
     true},
    {"reserved name", u"C:\\pkg\\NUL", "device names are refused", true},
    {"reserved name with a superscript digit", u"C:\\pkg\\lpt\u00B2.txt",
     "Windows takes the superscript digits too", true},
    {"reserved folder name", u"C:\\AUX\\state", "device names are refused", true},
    {"trailing dot", u"C:\\pkg\\state.", "no safe name ends in a dot", true},
    {"trailing blank", u"C:\\pkg\\state ", "no safe name ends in a blank", true},
    {"folder with a trailing dot", u"C:\\pkg.\\state", "no safe name ends in a dot", true},
    {"step upwards", u"C:\\pkg\\driver\\..\\state", "no steps in a path", true},
    {"extended prefix", u"\\\\?\\C:\\pkg\\state", "only a drive letter begins a path", true},
    {"device prefix", u"\\\\.\\C:\\pkg\\state", "only a drive letter begins a path", true},
    {"network share", u"\\\\server\\share\\state", "only a drive letter begins a path", true},
    {"forward slashes", u"C:/pkg/state", "only a backslash separates", true},
    {"wildcard", u"C:\\pkg\\sta*e", "no wildcard in a safe name", true},
};

Attack StateRow(const NameRow& row) {
  Attack attack;
  attack.name = std::string("state path: ") + row.name;
  attack.expectation = Expectation::Refused;
  attack.why = row.why;
  attack.statePath = row.path;
  attack.jobs = {Job::FreshInstall, Job::Update, Job::Verify, Job::HotActivate};
  attack.answers = {{Job::FreshInstall, 2, u""},
                    {Job::Update, 2, u""},
                    {Job::Verify, 11, u"vorn_devnode: activation state missing or unsafe\n"},
                    {Job::HotActivate, 15, u"vorn_devnode: activation state missing or unsafe\n"}};
  return attack;
}

/// A page of a folder listing that names these plain files.
Bytes ListingOf(const std::vector<std::u16string>& names) {
  constexpr std::size_t kRoomForName = 64;  // keeps the records aligned
  constexpr std::size_t kRecordSize = sizeof(platform::FILE_ID_BOTH_DIR_INFO) + kRoomForName;
  Bytes page(names.size() * kRecordSize);
  for (std::size_t i = 0; i < names.size(); ++i) {
    platform::FILE_ID_BOTH_DIR_INFO record = {};
    record.NextEntryOffset = i + 1 < names.size() ? std::uint32_t{kRecordSize} : 0;
    record.FileAttributes = platform::FILE_ATTRIBUTE_ARCHIVE;
    record.FileNameLength = static_cast<std::uint32_t>(names[i].size() * sizeof(char16_t));
    std::uint8_t* start = page.data() + i * kRecordSize;
    std::memcpy(start, &record, sizeof record);
    std::memcpy(start + sizeof record, names[i].data(), record.FileNameLength);
  }
  return page;
}

/// A case-sensitive folder, which a user may create. The simulated volume is not case-sensitive, so
/// both names open the same file; what matters is that both are listed.
Attack CaseTwins() {
  Attack attack;
  attack.name = "folder that lists two names which differ in case only";
  attack.expectation = Expectation::Refused;
  attack.why = "the private copy cannot have both names";
  attack.jobs = JobsWithInf();
  attack.answers = SnapshotRefused(u"000000B7");
  attack.prepare = [](Machine& machine) {
    NodeAt(machine.files, kSampleFolder).reportedPages = {
        ListingOf({u"VORN_AUDIO.INF", u"vorn_audio.cat", u"vorn_audio.inf", u"vorn_audio.sys"})};
  };
  return attack;
}

/// Aliases of the journal itself.
std::vector<Attack> StateAliases() {
  Attack alias;
  alias.name = "state path: 8.3 alias of the journal";
  alias.why = "it is another name of the same file, which is opened, proven and held";
  alias.statePath = u"C:\\pkg\\VORN-D~1";
  alias.jobs = {Job::Verify, Job::HotActivate};
  alias.prepare = [](Machine& machine) {
    SetShortName(machine.files, kSampleJournal, u"VORN-D~1");
  };
  alias.answers = {{Job::Verify, 0, u""}, {Job::HotActivate, 0, u""}};
  Attack folder = alias;
  folder.name = "state path: 8.3 alias of a folder";
  folder.why = "it is another name of the same folder, which is held";
  folder.statePath = u"C:\\PKGPAC~1\\.vorn-driver-activation-state";
  folder.prepare = AddAliases;
  folder.jobs = {Job::FreshInstall, Job::Update, Job::Verify, Job::HotActivate};
  folder.answers = {{Job::FreshInstall, 0, u""},
                    {Job::Update, 0, u""},
                    {Job::Verify, 0, u""},
                    {Job::HotActivate, 0, u""}};
  Attack otherCase = folder;
  otherCase.name = "state path: another case of the same name";
  otherCase.why = "names differ by more than case on the volume";
  otherCase.statePath = u"c:\\PKG\\.VORN-Driver-Activation-STATE";
  return {alias, folder, otherCase};
}

}  // namespace

std::vector<Attack> NameAttacks() {
  std::vector<Attack> attacks;
  for (const NameRow& row : kRows)
    attacks.push_back(RowOf(row));

  Attack folderAlias = RowOf(kRows[0]);
  folderAlias.name = "8.3 alias of a folder";
  folderAlias.expectation = Expectation::Harmless;
  folderAlias.why = "it is another name of the same folder, which is held";
  folderAlias.infPath = u"C:\\PKGPAC~1\\driver\\vorn_audio.inf";
  folderAlias.answers.clear();
  attacks.push_back(folderAlias);

  Attack otherCase = folderAlias;
  otherCase.name = "another case of the same name";
  otherCase.why =
      "names differ by more than case on the volume; the copy is found without regard to it";
  otherCase.infPath = u"c:\\PKG\\Driver\\VORN_AUDIO.INF";
  attacks.push_back(otherCase);

  Attack twin = folderAlias;
  twin.name = "file planted whose name differs in case only";
  twin.expectation = Expectation::Impossible;
  twin.why = "the volume keeps one file of a name";
  twin.infPath = kSampleInf;
  twin.strike = [](Attacker& user) {
    return user.TryCreateFile(u"C:\\pkg\\driver\\VORN_AUDIO.INF", "x");
  };
  attacks.push_back(twin);

  attacks.push_back(CaseTwins());
  for (const NameRow& row : kStateRows)
    attacks.push_back(StateRow(row));
  for (Attack& attack : StateAliases())
    attacks.push_back(std::move(attack));
  return attacks;
}

}  // namespace vorn::tests
