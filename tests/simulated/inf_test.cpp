#include "platform/inf.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/driver_store.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace vorn::platform::simulated {
namespace {

constexpr char16_t kPath[] = u"C:\\pkg\\test.inf";
constexpr char kText[] =
    "[Version]\nSignature=$Chicago$\nCatalogFile=test.cat\n"
    "[Models]\n%Name%=First,Root\\A\nSecond,Root\\B\n[Empty]\n[Strings]\nName=\"The Name\"\n";

class Inf : public ::testing::Test {
 protected:
  Inf() {
    AddVolume(machine.files, u'C', u"\\Device\\HarddiskVolume3",
              u"01234567-89ab-cdef-0123-456789abcdef");
    MakeFolder(machine.files, u"C:\\Windows\\INF");
    PutFile(machine.files, kPath, kText);
  }

  HINF Open(const char16_t* path = kPath, std::uint32_t* errorLine = nullptr) {
    return SetupOpenInfFileW(path, INF_STYLE_WIN4 | INF_STYLE_CACHE_DISABLE, errorLine);
  }

  std::uint32_t OpenError(const char16_t* path) {
    process.lastError = 0;
    EXPECT_EQ(Open(path), INVALID_INF);
    return process.lastError;
  }

  std::u16string Field(const INFCONTEXT& line, std::uint32_t index) {
    char16_t buffer[64] = {};
    return SetupGetStringFieldW(&line, index, buffer, 64, nullptr) ? buffer : u"<none>";
  }

  std::vector<std::uint8_t> Information(const char16_t* path) {
    std::uint32_t size = 0;
    EXPECT_TRUE(SetupGetInfInformationW(path, INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size));
    std::vector<std::uint8_t> bytes(size);
    EXPECT_TRUE(SetupGetInfInformationW(path, INFINFO_INF_NAME_IS_ABSOLUTE,
                                        reinterpret_cast<SP_INF_INFORMATION*>(bytes.data()), size,
                                        &size));
    return bytes;
  }

  std::pair<std::u16string, std::u16string> OriginalNames(const char16_t* path) {
    const std::vector<std::uint8_t> information = Information(path);
    SP_ORIGINAL_FILE_INFO_W original = {};
    original.cbSize = sizeof original;
    EXPECT_TRUE(SetupQueryInfOriginalFileInformationW(
        reinterpret_cast<const SP_INF_INFORMATION*>(information.data()), 0, &original));
    return {original.OriginalInfName, original.OriginalCatalogName};
  }

  Machine machine;
  Process process{machine};
};

TEST_F(Inf, OpensByDosPathVolumePathAndBareName) {
  PutFile(machine.files, u"C:\\Windows\\INF\\bare.inf", kText);
  for (const char16_t* path :
       {kPath, u"c:\\PKG\\TEST.INF", u"C:/pkg/test.inf", u"\\\\?\\C:\\pkg\\test.inf",
        u"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\pkg\\test.inf", u"bare.inf"}) {
    const HINF inf = Open(path);
    EXPECT_NE(inf, INVALID_INF);
    SetupCloseInfFile(inf);
  }
  EXPECT_EQ(process.OpenObjects()[ObjectKind::Inf], 0U);
}

TEST_F(Inf, ReportsWhyItDoesNotOpen) {
  EXPECT_EQ(OpenError(u"C:\\pkg\\none.inf"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(OpenError(u"C:\\none\\test.inf"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(OpenError(u"none.inf"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(OpenError(u"C:\\pkg"), ERROR_ACCESS_DENIED) << "a folder";
  PutFile(machine.files, u"C:\\bad.inf", "[Version]\n");
  EXPECT_EQ(OpenError(u"C:\\bad.inf"), ERROR_WRONG_INF_STYLE);
}

TEST_F(Inf, ReportsTheLineOfAnErrorAndNothingOtherwise) {
  PutFile(machine.files, u"C:\\bad.inf", "\n\n[Version\n");
  std::uint32_t line = 77;
  EXPECT_EQ(Open(u"C:\\bad.inf", &line), INVALID_INF);
  EXPECT_EQ(process.lastError, ERROR_BAD_SECTION_NAME_LINE);
  EXPECT_EQ(line, 3U);
  line = 77;
  EXPECT_EQ(Open(u"C:\\none.inf", &line), INVALID_INF);
  EXPECT_EQ(line, 77U);
}

TEST_F(Inf, NeedsReadAccess) {
  NodeAt(machine.files, kPath).security.entries.clear();
  EXPECT_EQ(OpenError(kPath), ERROR_ACCESS_DENIED);
}

TEST_F(Inf, SharesWithReadersButNotWithWriters) {
  const std::uint64_t reader = HoldOpen(machine.files, kPath, GENERIC_READ, FILE_SHARE_READ);
  const HINF inf = Open();
  EXPECT_NE(inf, INVALID_INF);
  ReleaseHold(machine.files, reader);
  HoldOpen(machine.files, kPath, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
  EXPECT_EQ(OpenError(kPath), ERROR_SHARING_VIOLATION);
}

TEST_F(Inf, IsReadAtOnceAndHoldsNoFile) {
  const HINF inf = Open();
  EXPECT_EQ(CountOwnOpens(machine.files), 0U);
  RemovePath(machine.files, kPath);
  INFCONTEXT line = {};
  EXPECT_TRUE(SetupFindFirstLineW(inf, u"Models", nullptr, &line));
}

TEST_F(Inf, WalksTheLinesOfASection) {
  const HINF inf = Open();
  INFCONTEXT line = {};
  ASSERT_TRUE(SetupFindFirstLineW(inf, u"MODELS", nullptr, &line));
  EXPECT_EQ(Field(line, 0), u"The Name");
  EXPECT_EQ(Field(line, 1), u"First");
  EXPECT_EQ(Field(line, 2), u"Root\\A");
  EXPECT_EQ(Field(line, 3), u"<none>");
  INFCONTEXT next = {};
  ASSERT_TRUE(SetupFindNextLine(&line, &next));
  EXPECT_EQ(Field(next, 0), u"<none>");
  EXPECT_EQ(Field(next, 1), u"Second");
  ASSERT_FALSE(SetupFindNextLine(&next, &line));
  EXPECT_EQ(process.lastError, ERROR_LINE_NOT_FOUND);
  EXPECT_EQ(Field(line, 1), u"First") << "untouched by the failure";
  ASSERT_TRUE(SetupFindFirstLineW(inf, u"Models", nullptr, &line));
  EXPECT_TRUE(SetupFindNextLine(&line, &line)) << "in place";
  EXPECT_EQ(Field(line, 1), u"Second");
}

TEST_F(Inf, DoesNotFindAMissingLine) {
  const HINF inf = Open();
  INFCONTEXT line = {};
  EXPECT_FALSE(SetupFindFirstLineW(inf, u"Missing", nullptr, &line));
  EXPECT_EQ(process.lastError, ERROR_LINE_NOT_FOUND);
  EXPECT_FALSE(SetupFindFirstLineW(inf, u"Version", u"Missing", &line));
  EXPECT_EQ(process.lastError, ERROR_LINE_NOT_FOUND);
  EXPECT_FALSE(SetupFindFirstLineW(inf, u"Empty", nullptr, &line));
  EXPECT_EQ(process.lastError, ERROR_LINE_NOT_FOUND);
  EXPECT_TRUE(SetupFindFirstLineW(inf, u"Version", u"catalogfile", &line));
}

TEST_F(Inf, ReportsSizesWithTheTerminator) {
  INFCONTEXT line = {};
  ASSERT_TRUE(SetupFindFirstLineW(Open(), u"Version", u"CatalogFile", &line));
  std::uint32_t required = 0;
  EXPECT_TRUE(SetupGetStringFieldW(&line, 1, nullptr, 0, &required));
  EXPECT_EQ(required, 9U);
  char16_t buffer[9] = {u'?'};
  required = 0;
  EXPECT_FALSE(SetupGetStringFieldW(&line, 1, buffer, 8, &required));
  EXPECT_EQ(process.lastError, ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(required, 9U);
  EXPECT_EQ(buffer[0], u'?');
  EXPECT_TRUE(SetupGetStringFieldW(&line, 1, buffer, 9, nullptr));
  EXPECT_EQ(std::u16string(buffer), u"test.cat");
  EXPECT_FALSE(SetupGetStringFieldW(&line, 2, buffer, 9, &required));
  EXPECT_EQ(process.lastError, ERROR_SUCCESS) << "a missing field leaves no error";
}

TEST_F(Inf, IsInvalidAfterItIsClosed) {
  const HINF inf = Open();
  INFCONTEXT line = {};
  ASSERT_TRUE(SetupFindFirstLineW(inf, u"Version", nullptr, &line));
  SetupCloseInfFile(inf);
  EXPECT_FALSE(SetupFindFirstLineW(inf, u"Version", nullptr, &line));
  EXPECT_FALSE(SetupFindNextLine(&line, &line));
  EXPECT_FALSE(SetupGetStringFieldW(&line, 1, nullptr, 0, nullptr));
}

TEST_F(Inf, ReturnsInformationOfTheReportedSize) {
  std::uint32_t size = 0;
  EXPECT_TRUE(SetupGetInfInformationW(kPath, INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size));
  EXPECT_GE(size, sizeof(SP_INF_INFORMATION));
  std::vector<std::uint8_t> bytes(size);
  auto* information = reinterpret_cast<SP_INF_INFORMATION*>(bytes.data());
  EXPECT_FALSE(
      SetupGetInfInformationW(kPath, INFINFO_INF_NAME_IS_ABSOLUTE, information, size - 1, &size));
  EXPECT_EQ(process.lastError, ERROR_INSUFFICIENT_BUFFER);
  EXPECT_TRUE(
      SetupGetInfInformationW(kPath, INFINFO_INF_NAME_IS_ABSOLUTE, information, size, nullptr));
  EXPECT_EQ(information->InfStyle, INF_STYLE_WIN4);
  EXPECT_EQ(information->InfCount, 1U);
}

TEST_F(Inf, HasNoInformationAboutOtherFiles) {
  std::uint32_t size = 77;
  EXPECT_FALSE(
      SetupGetInfInformationW(u"C:\\none.inf", INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size));
  EXPECT_EQ(process.lastError, ERROR_FILE_NOT_FOUND);
  PutFile(machine.files, u"C:\\bad.inf", "[Version]\n");
  EXPECT_FALSE(
      SetupGetInfInformationW(u"C:\\bad.inf", INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size));
  EXPECT_EQ(process.lastError, ERROR_WRONG_INF_STYLE);
  EXPECT_EQ(size, 77U);
  EXPECT_FALSE(SetupGetInfInformationW(kPath, 77, nullptr, 0, &size));
  EXPECT_EQ(process.lastError, ERROR_INVALID_PARAMETER);
}

TEST_F(Inf, HasItsOwnNamesAsASource) {
  EXPECT_EQ(OriginalNames(kPath),
            std::pair(std::u16string(u"test.inf"), std::u16string(u"test.cat")));
}

TEST_F(Inf, HasTheNamesOfItsSourceWhenItIsPublished) {
  PublishedPackage package;
  package.publishedInf = u"oem7.inf";
  package.originalInf = u"source.inf";
  package.originalCatalog = u"source.cat";
  machine.store.packages.push_back(package);
  PutFile(machine.files, u"C:\\Windows\\INF\\oem7.inf", kText);
  PutFile(machine.files, u"C:\\pkg\\oem7.inf", kText);
  EXPECT_EQ(OriginalNames(u"c:\\windows\\inf\\OEM7.inf"),
            std::pair(std::u16string(u"source.inf"), std::u16string(u"source.cat")));
  EXPECT_EQ(OriginalNames(u"C:\\pkg\\oem7.inf"),
            std::pair(std::u16string(u"oem7.inf"), std::u16string(u"test.cat")))
      << "the name alone makes no published package";
}

TEST_F(Inf, ChecksTheSizeWordAndTheIndexOfOriginalNames) {
  const std::vector<std::uint8_t> bytes = Information(kPath);
  const auto* information = reinterpret_cast<const SP_INF_INFORMATION*>(bytes.data());
  SP_ORIGINAL_FILE_INFO_W original = {};
  original.cbSize = sizeof original - 1;
  EXPECT_FALSE(SetupQueryInfOriginalFileInformationW(information, 0, &original));
  EXPECT_EQ(process.lastError, ERROR_INVALID_USER_BUFFER);
  original.cbSize = sizeof original;
  EXPECT_FALSE(SetupQueryInfOriginalFileInformationW(information, 1, &original));
  EXPECT_EQ(original.OriginalInfName[0], u'\0');
}

TEST_F(Inf, IsUninstalledByItsPublishedName) {
  PublishedPackage package;
  package.publishedInf = u"oem7.inf";
  machine.store.packages.push_back(package);
  PutFile(machine.files, u"C:\\Windows\\INF\\oem7.inf", kText);
  EXPECT_FALSE(SetupUninstallOEMInfW(u"test.inf", 0));
  EXPECT_EQ(process.lastError, ERROR_NOT_AN_INSTALLED_OEM_INF);
  EXPECT_TRUE(SetupUninstallOEMInfW(u"oem7.inf", 0));
  EXPECT_EQ(FindNode(machine.files, u"C:\\Windows\\INF\\oem7.inf"), std::nullopt);
  EXPECT_FALSE(SetupUninstallOEMInfW(u"oem7.inf", 0));
  EXPECT_EQ(process.lastError, ERROR_FILE_NOT_FOUND);
}

TEST_F(Inf, CutsAFieldWhenPlanned) {
  INFCONTEXT line = {};
  ASSERT_TRUE(SetupFindFirstLineW(Open(), u"Version", u"CatalogFile", &line));
  Fault fault;
  fault.call = "SetupGetStringFieldW";
  fault.kind = FaultKind::Short;
  fault.amount = 8;
  process.faults.push_back(fault);
  EXPECT_EQ(Field(line, 1), u"test");
}

}  // namespace
}  // namespace vorn::platform::simulated
