// Packages that the commands refuse: folders that cannot be copied faithfully, INFs without a
// version, and, for the removal, INFs that are not exactly the product's.

#include "base/text.h"
#include "platform/files.h"
#include "platform/simulated/file_values.h"
#include "tests/scenarios/refused_run.h"
#include "tests/support/activation.h"
#include "tests/support/sample.h"

#include <functional>
#include <gtest/gtest.h>

namespace vorn {
namespace {

using namespace platform::simulated;
using tests::Console;
using tests::Err;
using tests::ExpectRefused;
using tests::kSampleFolder;
using tests::kSampleInf;
using tests::kSampleJournal;

/// A path in the folder of the package.
std::u16string InFolder(const std::u16string& name) {
  return kSampleFolder + (u"\\" + name);
}

// ------------------------------------------------------------------------------------------------
// The copy of the folder.

struct BadFolder {
  const char* name;
  void (*shape)(Machine& machine);
  const char* error;
};

void PutMany(Machine& machine, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    PutFile(machine.files, InFolder(u"many\\n" + ToUtf16(std::to_string(i))), "");
}

std::u16string Nested(std::size_t levels) {
  std::u16string path;
  for (std::size_t level = 0; level < levels; ++level)
    path += u"\\d";
  return path;
}

TEST(RefusedPackage, CannotBeCopiedFaithfully) {
  const BadFolder cases[] = {
      {"an INF of more than 4 MiB",
       [](Machine& m) { NodeAt(m.files, kSampleInf).zeroTail = 4 * 1024 * 1024; }, "000003EE"},
      {"a file of more than 512 MiB",
       [](Machine& m) { PutEmptyFile(m.files, InFolder(u"zz"), 536870913); }, "000003EE"},
      {"files of more than 512 MiB together",
       [](Machine& m) {
         PutEmptyFile(m.files, InFolder(u"zz1"), 1);
         PutEmptyFile(m.files, InFolder(u"zz2"), 536870912);
       },
       "000003EE"},
      {"more than 4096 entries", [](Machine& m) { PutMany(m, 4095); }, "000003EE"},
      {"17 levels of folders", [](Machine& m) { MakeFolder(m.files, kSampleFolder + Nested(17)); },
       "000003EE"},
      {"a file with a second name",
       [](Machine& m) {
         AddHardLink(m.files, InFolder(u"vorn_audio.cat"), u"C:\\pkg\\second.cat");
       },
       "000003EE"},
      {"a symbolic link",
       [](Machine& m) {
         PutLink(m.files, InFolder(u"link"), ReparseKind::SymbolicLink, u"\\??\\C:\\Windows",
                 false);
       },
       "000003EE"},
      {"a junction",
       [](Machine& m) {
         PutLink(m.files, InFolder(u"link"), ReparseKind::Junction, u"\\??\\C:\\Windows", true);
       },
       "00001129"},
      {"another reparse point",
       [](Machine& m) {
         PutLink(m.files, InFolder(u"link"), ReparseKind::Other, u"\\??\\C:\\Windows", false);
       },
       "000003EE"},
      {"a reserved name", [](Machine& m) { PutFile(m.files, InFolder(u"aux.txt"), ""); },
       "0000007B"},
      {"a name with a trailing dot", [](Machine& m) { PutFile(m.files, InFolder(u"name."), ""); },
       "0000007B"},
      {"a name with a trailing blank", [](Machine& m) { PutFile(m.files, InFolder(u"name "), ""); },
       "0000007B"},
      {"a folder with a reserved name", [](Machine& m) { MakeFolder(m.files, InFolder(u"com1")); },
       "0000007B"},
      {"a file that somebody may be writing",
       [](Machine& m) {
         HoldOpen(m.files, InFolder(u"vorn_audio.sys"), platform::FILE_WRITE_DATA,
                  platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
       },
       "00000020"},
      {"a folder that somebody may remove",
       [](Machine& m) {
         MakeFolder(m.files, InFolder(u"deep"));
         HoldOpen(m.files, InFolder(u"deep"), platform::DELETE,
                  platform::FILE_SHARE_READ | platform::FILE_SHARE_DELETE);
       },
       "00000020"},
      {"a full disk", [](Machine& m) { m.files.volumes[0].freeBytes = 100; }, "00000070"},
  };
  for (const BadFolder& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = InstalledMachine();
    row.shape(machine);
    const Console refused = {
        Err(std::string("vorn_devnode: protected local package snapshot refused (error 0x") +
            row.error + ")")};
    const tests::RunOptions fast = {.logCalls = false};
    ExpectRefused(machine, {u"install", kSampleInf, kSampleJournal}, kExitInputRefused, refused,
                  fast);
    ExpectRefused(machine, {u"audit-current", kSampleInf}, kExitInputRefused, refused, fast);
    ExpectRefused(machine, {u"remove", kSampleInf}, kExitRemoveRefused, refused, fast);
  }
}

// ------------------------------------------------------------------------------------------------
// INFs without a version and date to expect.

struct BadInf {
  const char* name;
  std::string text;
  std::string line;  // printed by the INF reader
};

TEST(RefusedPackage, HasNoDriverVersionOrDate) {
  const std::string signature = "[Version]\r\nSignature=\"$Windows NT$\"\r\n";
  const std::string invalid = "vorn_devnode: INF has no valid DriverVer date/version";
  const auto notOpened = [](const std::string& error) {
    return "vorn_devnode: SetupOpenInfFile(expected DriverVer) failed (error 0x" + error + ")";
  };
  const BadInf cases[] = {
      {"an empty file", "", notOpened("000003EE")},
      {"no INF", "this is a letter", notOpened("E0000000")},
      {"an INF of no known kind", "[Version]\r\nSignature=\"$Other$\"\r\n", notOpened("E0000100")},
      {"no DriverVer", signature + "Class=MEDIA\r\n", invalid},
      {"DriverVer in another section", signature + "[Other]\r\nDriverVer=08/10/2026,1.2.3.4\r\n",
       invalid},
      {"no date", signature + "DriverVer=,26.8.10.5\r\n", invalid},
      {"no version", signature + "DriverVer=08/10/2026\r\n", invalid},
      {"an empty version", signature + "DriverVer=08/10/2026,\r\n", invalid},
      {"a date of 33 units", signature + "DriverVer=" + std::string(33, '1') + ",1.2.3.4\r\n",
       invalid},
      {"a version of 65 units", signature + "DriverVer=08/10/2026," + std::string(65, '1') + "\r\n",
       invalid},
  };
  for (const BadInf& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = InstalledMachine();
    PutFile(machine.files, kSampleInf, row.text);
    const Console console = {Err(row.line),
                             Err("vorn_devnode: target INF identity could not be read")};
    ExpectRefused(machine, {u"install", kSampleInf, kSampleJournal}, kExitInputRefused, console);
    ExpectRefused(machine, {u"install", kSampleInf, kSampleJournal, u"--rollback"},
                  kExitInputRefused, console);
    ExpectRefused(machine, {u"audit-current", kSampleInf}, kExitInputRefused, {Err(row.line)});
  }
}

// ------------------------------------------------------------------------------------------------
// The removal accepts only the product's own INF.

/// The product's INF with the first occurrence of `from` replaced; there must be one.
std::string InfWith(const std::string& from, const std::string& to) {
  std::string text = InfText(PackageRecipe{});
  const std::size_t place = text.find(from);
  EXPECT_NE(place, std::string::npos) << from;
  return text.replace(place, from.size(), to);
}

std::string InfOf(const std::function<void(PackageRecipe&)>& change) {
  PackageRecipe recipe;
  change(recipe);
  return InfText(recipe);
}

const Console kNotAuthenticated = {
    Err("vorn_devnode: RESULT=REMOVE_FAILED - expected INF could not be authenticated; no device "
        "was touched")};

void ExpectNotAuthenticated(const std::u16string& inf, const std::string& text) {
  Machine machine = InstalledMachine();
  PutFile(machine.files, inf, text);
  ExpectRefused(machine, {u"remove", inf}, kExitRemoveRefused, kNotAuthenticated);
}

TEST(RefusedPackage, IsNotTheProductsOwn) {
  const std::pair<const char*, std::string> cases[] = {
      {"an empty file", ""},
      {"no INF", "this is a letter"},
      {"another provider's name",
       InfOf([](PackageRecipe& r) { r.providerName = u"VORN Audio GmbH"; })},
      {"another provider", InfOf([](PackageRecipe& r) { r.provider = u"\"Fabrikam\""; })},
      {"an unknown provider token", InfOf([](PackageRecipe& r) { r.provider = u"%Unknown%"; })},
      {"another class", InfOf([](PackageRecipe& r) { r.className = u"SYSTEM"; })},
      {"another class GUID",
       InfOf([](PackageRecipe& r) { r.classGuid = u"{4d36e97d-e325-11ce-bfc1-08002be10318}"; })},
      {"another catalog", InfOf([](PackageRecipe& r) { r.catalogName = u"other.cat"; })},
      {"another hardware id", InfOf([](PackageRecipe& r) { r.hardwareId = u"Root\\VornAudio2"; })},
      {"another service", InfOf([](PackageRecipe& r) { r.service = u"VornAudio2"; })},
      {"an empty date", InfOf([](PackageRecipe& r) { r.date = u""; })},
      {"an empty version", InfOf([](PackageRecipe& r) { r.version = u""; })},
      {"a date of 33 units", InfOf([](PackageRecipe& r) { r.date = std::u16string(33, u'1'); })},
      {"a version of 65 units",
       InfOf([](PackageRecipe& r) { r.version = std::u16string(65, u'1'); })},
      {"no class", InfWith("Class", ";")},
      {"no DriverVer", InfWith("DriverVer", ";")},
      {"no catalog", InfWith("CatalogFile", ";")},
      {"another models section",
       InfWith("[VornAudioDevices.NTamd64.10.0...19041]", "[VornAudioDevices.NTamd64]")},
      {"another install section", InfWith("VornAudio_Install,", "Other_Install,")},
      {"no services section", InfWith("[VornAudio_Install.Services]", "[Other.Services]")},
      {"another service first",
       InfWith("AddService", "AddService = Other,2,VornAudio_Service\r\nAddService")},
      {"no strings", InfWith("[Strings]", "[Other]")},
  };
  for (const auto& [name, text] : cases) {
    SCOPED_TRACE(name);
    ExpectNotAuthenticated(kSampleInf, text);
  }
  SCOPED_TRACE("another name");
  ExpectNotAuthenticated(InFolder(u"other.inf"), InfText(PackageRecipe{}));
}

}  // namespace
}  // namespace vorn
