// INF reading.

#include "platform/inf.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "tests/contract/contract.h"
#include "tests/contract/native_files.h"

namespace vorn::contract {

using namespace platform;

namespace {

constexpr std::string_view kVersion = "[Version]\r\nSignature=\"$Windows NT$\"\r\n";

class OpenInf {
 public:
  explicit OpenInf(const std::u16string& path, std::uint32_t* line = nullptr)
      : handle_(SetupOpenInfFileW(path.c_str(), INF_STYLE_WIN4, line)) {
    error = handle_ == INVALID_INF ? GetLastError() : 0;
  }
  OpenInf(const OpenInf&) = delete;
  OpenInf& operator=(const OpenInf&) = delete;
  ~OpenInf() {
    if (handle_ != INVALID_INF) SetupCloseInfFile(handle_);
  }
  /// The case cannot go on without it.
  HINF Handle() const {
    NEED(handle_ != INVALID_INF);
    return handle_;
  }
  std::uint32_t error = 0;

 private:
  HINF handle_;
};

std::u16string WriteInf(std::string_view body) {
  const std::u16string path = Scratch() + u"\\test.inf";
  WriteNewFile(path, std::string(kVersion) + std::string(body));
  return path;
}

std::u16string Field(const INFCONTEXT& line, std::uint32_t index) {
  char16_t buffer[600] = {};
  return SetupGetStringFieldW(&line, index, buffer, 600, nullptr) ? buffer : u"none";
}

/// The fields of a section's first line, with the key, in angle brackets.
std::u16string FirstLine(const OpenInf& inf, const char16_t* section) {
  INFCONTEXT line = {};
  if (!SetupFindFirstLineW(inf.Handle(), section, nullptr, &line)) return u"no line";
  std::u16string text;
  for (std::uint32_t index = 0; index < 5; ++index)
    text.append(u"<").append(Field(line, index)).append(u">");
  return text;
}

}  // namespace

CONTRACT(AnInfNeedsItsSignature) {
  const std::u16string folder = Scratch();
  WriteNewFile(folder + u"\\none.inf", "[Version]\r\nClass=MEDIA\r\n");
  CHECK_EQ(OpenInf(folder + u"\\none.inf").error, ERROR_WRONG_INF_STYLE);
  WriteNewFile(folder + u"\\other.inf", "[Version]\r\nSignature=\"$Other$\"\r\n");
  CHECK_EQ(OpenInf(folder + u"\\other.inf").error, ERROR_WRONG_INF_STYLE);
  WriteNewFile(folder + u"\\chicago.inf", "[Version]\r\nSignature=\"$CHICAGO$\"\r\n");
  CHECK_EQ(OpenInf(folder + u"\\chicago.inf").error, 0U);
}

CONTRACT(AMissingInfIsNotFound) {
  const std::u16string folder = Scratch();
  CHECK_EQ(OpenInf(folder + u"\\none.inf").error, ERROR_FILE_NOT_FOUND);
  CHECK_EQ(OpenInf(folder + u"\\none\\none.inf").error, ERROR_PATH_NOT_FOUND);
}

CONTRACT(ABrokenSectionNameTellsItsLine) {
  const std::u16string path = WriteInf("\r\n[Broken\r\nx=1\r\n");
  std::uint32_t line = 0;
  CHECK_EQ(OpenInf(path, &line).error, ERROR_BAD_SECTION_NAME_LINE);
  CHECK_EQ(line, 4U);
}

CONTRACT(AnInfOpensByAVolumeGuidPath) {
  const std::u16string path = WriteInf("[A]\r\nx=1\r\n");
  char16_t guid[MAX_PATH * 2] = {};
  {
    const Opened file = OpenNative(Nt(path), {});
    NEED(GetFinalPathNameByHandleW(file.Handle(), guid, MAX_PATH * 2, VOLUME_NAME_GUID) != 0);
  }
  const OpenInf inf(guid);
  CHECK_EQ(inf.error, 0U);
  CHECK_EQ(FirstLine(inf, u"A"), std::u16string(u"<x><1><none><none><none>"));
}

CONTRACT(AnInfIsReadBesideAReaderThatKeepsWritersOut) {
  const std::u16string path = WriteInf("[A]\r\nx=1\r\n");
  const Opened holder = OpenNative(Nt(path), {});
  CHECK_EQ(OpenInf(path).error, 0U);
}

CONTRACT(SectionsAreFoundWithoutRegardToCase) {
  const OpenInf inf(WriteInf("[Models]\r\nx=1\r\n"));
  CHECK_EQ(FirstLine(inf, u"MODELS"), std::u16string(u"<x><1><none><none><none>"));
}

CONTRACT(SectionsOfOneNameAreOne) {
  const OpenInf inf(WriteInf("[A]\r\nx=1\r\n[B]\r\ny=2\r\n[a]\r\nz=3\r\n"));
  INFCONTEXT line = {};
  NEED(SetupFindFirstLineW(inf.Handle(), u"A", nullptr, &line));
  NEED(SetupFindNextLine(&line, &line));
  CHECK_EQ(Field(line, 0), std::u16string(u"z"));
  CHECK(!SetupFindNextLine(&line, &line));
  CHECK_EQ(GetLastError(), ERROR_LINE_NOT_FOUND);
}

CONTRACT(AMissingLineIsNotFound) {
  const OpenInf inf(WriteInf("[Empty]\r\n[A]\r\nx=1\r\n"));
  INFCONTEXT line = {};
  for (const char16_t* section : {u"None", u"Empty"}) {
    SetLastError(0);
    CHECK(!SetupFindFirstLineW(inf.Handle(), section, nullptr, &line));
    CHECK_EQ(GetLastError(), ERROR_LINE_NOT_FOUND);
  }
  CHECK(!SetupFindFirstLineW(inf.Handle(), u"A", u"none", &line));
  CHECK_EQ(GetLastError(), ERROR_LINE_NOT_FOUND);
}

CONTRACT(AKeyIsFoundWithoutRegardToCase) {
  const OpenInf inf(WriteInf("[A]\r\nfirst=1\r\nSecond=2\r\nsecond=3\r\n"));
  INFCONTEXT line = {};
  NEED(SetupFindFirstLineW(inf.Handle(), u"A", u"SECOND", &line));
  CHECK_EQ(Field(line, 1), std::u16string(u"2"));
}

CONTRACT(AFieldTellsItsSizeWithTheTerminator) {
  const OpenInf inf(WriteInf("[A]\r\nkey=value\r\n"));
  INFCONTEXT line = {};
  NEED(SetupFindFirstLineW(inf.Handle(), u"A", nullptr, &line));
  std::uint32_t required = 0;
  CHECK(SetupGetStringFieldW(&line, 1, nullptr, 0, &required));
  CHECK_EQ(required, 6U);
  char16_t buffer[6] = {};
  required = 0;
  CHECK(!SetupGetStringFieldW(&line, 1, buffer, 5, &required));
  CHECK_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  CHECK_EQ(required, 6U);
  CHECK(SetupGetStringFieldW(&line, 1, buffer, 6, &required));
  CHECK_EQ(std::u16string(buffer), std::u16string(u"value"));
}

CONTRACT(AMissingFieldIsFalse) {
  const OpenInf inf(WriteInf("[A]\r\nkey=value\r\n"));
  INFCONTEXT line = {};
  NEED(SetupFindFirstLineW(inf.Handle(), u"A", nullptr, &line));
  char16_t buffer[8] = {};
  std::uint32_t required = 77;
  CHECK(!SetupGetStringFieldW(&line, 2, buffer, 8, &required));
}

CONTRACT(FieldsAreSeparatedByCommas) {
  const OpenInf inf(WriteInf("[A]\r\nkey = a , b c ,, d\r\n[B]\r\none, two\r\n"));
  CHECK_EQ(FirstLine(inf, u"A"), std::u16string(u"<key><a><b c><><d>"));
  CHECK_EQ(FirstLine(inf, u"B"), std::u16string(u"<none><one><two><none><none>"));
}

CONTRACT(QuotesKeepWhatIsInThem) {
  const OpenInf inf(WriteInf("[A]\r\nkey=\"a, b; c = d\",\" x \",\"say \"\"yes\"\"\"\r\n"));
  CHECK_EQ(FirstLine(inf, u"A"), std::u16string(u"<key><a, b; c = d>< x ><say \"yes\"><none>"));
}

CONTRACT(CommentsEndALine) {
  const OpenInf inf(WriteInf("; all\r\n[A] ; name\r\nkey=a;b\r\n"));
  CHECK_EQ(FirstLine(inf, u"A"), std::u16string(u"<key><a><none><none><none>"));
}

CONTRACT(ABackslashJoinsTheNextLine) {
  const OpenInf inf(WriteInf("[A]\r\nkey=a,\\\r\n  b,c\r\n[B]\r\nx=C:\\dir,y\r\n"));
  CHECK_EQ(FirstLine(inf, u"A"), std::u16string(u"<key><a><b><c><none>"));
  CHECK_EQ(FirstLine(inf, u"B"), std::u16string(u"<x><C:\\dir><y><none><none>"));
}

CONTRACT(PercentStringsAreSubstituted) {
  const OpenInf inf(
      WriteInf("[A]\r\n%Name%=a%Name%b,%%,%None%\r\n"
               "[Strings]\r\nname=\"The Name\"\r\n"));
  CHECK_EQ(FirstLine(inf, u"A"), std::u16string(u"<The Name><aThe Nameb><%><%None%><none>"));
}

CONTRACT(AUtf16FileIsReadByItsMark) {
  const std::u16string path = Scratch() + u"\\wide.inf";
  const std::u16string text =
      u"\uFEFF[Version]\r\nSignature=\"$Windows NT$\"\r\n[A]\r\nkey=\u00e4\u4e2d\r\n";
  WriteNewFile(path, std::string_view(reinterpret_cast<const char*>(text.data()),
                                      text.size() * sizeof(char16_t)));
  CHECK_EQ(FirstLine(OpenInf(path), u"A"),
           std::u16string(u"<key><\u00e4\u4e2d><none><none><none>"));
}

CONTRACT(AnInfHasInformationAboutItself) {
  const std::u16string path = WriteInf("CatalogFile=test.cat\r\n");
  std::uint32_t size = 0;
  NEED(SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size));
  CHECK(size >= sizeof(SP_INF_INFORMATION));
  std::vector<std::uint8_t> bytes(size);
  auto* information = reinterpret_cast<SP_INF_INFORMATION*>(bytes.data());
  CHECK(!SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, information, size - 1,
                                 &size));
  CHECK_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  NEED(SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, information,
                               static_cast<std::uint32_t>(bytes.size()), &size));
  CHECK_EQ(information->InfStyle, INF_STYLE_WIN4);
  CHECK_EQ(information->InfCount, 1U);
  SP_ORIGINAL_FILE_INFO_W original = {};
  original.cbSize = sizeof original;
  CHECK(SetupQueryInfOriginalFileInformationW(information, 0, &original));
  CHECK_EQ(std::u16string(original.OriginalInfName), std::u16string(u"test.inf"));
  CHECK_EQ(std::u16string(original.OriginalCatalogName), std::u16string(u"test.cat"));
  original.cbSize = sizeof original - 4;
  CHECK(!SetupQueryInfOriginalFileInformationW(information, 0, &original));
  CHECK_EQ(GetLastError(), ERROR_INVALID_USER_BUFFER);
}

CONTRACT(AMissingInfHasNoInformation) {
  const std::u16string path = Scratch() + u"\\none.inf";
  std::uint32_t size = 0;
  CHECK(!SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size));
  CHECK_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

CONTRACT(OnlyPublishedInfsAreUninstalled) {
  SkipOn(Side::Wine, "SetupUninstallOEMInfW is true and deletes nothing");
  CHECK(!SetupUninstallOEMInfW(u"vorn_contract_none.inf", 0));
}

}  // namespace vorn::contract
