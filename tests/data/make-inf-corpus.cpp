// Writes the INF corpus, the same files each time.
//
// usage: make_inf_corpus FOLDER

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kRandomFiles = 170;
constexpr char kVersion[] = "[Version]\r\nSignature=\"$Windows NT$\"\r\nClass=MEDIA\r\n";

enum class Encoding { Ansi, Utf8Mark, Utf16Mark };

/// Converts UTF-8 text into the units of a file.
std::u16string Decode(const std::string& text) {
  std::u16string result;
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : 2;
    std::uint32_t unit = more == 0 ? lead : more == 1 ? lead & 0x1FU : lead & 0x0FU;
    for (std::size_t i = 1; i <= more; ++i)
      unit = (unit << 6) | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
    result += static_cast<char16_t>(unit);
    at += more + 1;
  }
  return result;
}

void WriteFile(const std::string& path, const std::string& text, Encoding encoding) {
  std::ofstream file(path, std::ios::binary);
  if (encoding == Encoding::Utf8Mark) file << "\xEF\xBB\xBF" << text;
  if (encoding == Encoding::Ansi) {
    for (const char16_t unit : Decode(text))
      file.put(static_cast<char>(unit));
  }
  if (encoding == Encoding::Utf16Mark) {
    file << "\xFF\xFE";
    for (const char16_t unit : Decode(text)) {
      file.put(static_cast<char>(unit & 0xFF));
      file.put(static_cast<char>(unit >> 8));
    }
  }
}

/// Builds files from the grammar. The engine's numbers are the same everywhere, which the library's
/// distributions do not guarantee.
class Generator {
 public:
  explicit Generator(std::uint32_t seed) : engine_(seed) {}

  std::string File() {
    std::string text = Comment(4);
    text += Version();
    const std::size_t sections = 2 + Below(6);
    for (std::size_t i = 0; i < sections; ++i)
      text += Section(Pick({"Manufacturer", "Models", "Install", "manufacturer", "Models.NTamd64",
                            "Install.Services", "Other Section", "A"}));
    if (Below(4) != 0) text += Strings();
    if (Below(5) == 0) text += Section("Models");
    if (Below(6) == 0) text += Pick({"no end of line=1", "[A]", "\x1a after the end", "x=\"open"});
    return text;
  }

  Encoding AnEncoding() { return static_cast<Encoding>(Below(3)); }

 private:
  std::size_t Below(std::size_t limit) { return engine_() % limit; }

  std::string Pick(const std::vector<std::string>& choices) {
    return choices[Below(choices.size())];
  }

  std::string Blanks() { return Pick({"", "", "", " ", "  ", "\t", " \t "}); }

  std::string LineEnd() {
    return Comment(9) + (Below(12) == 0 ? "\n" : "\r\n") + (Below(10) == 0 ? " \r\n" : "");
  }

  std::string Comment(std::size_t oneIn) {
    if (Below(oneIn) != 0) return {};
    return Pick({"; a comment", ";\"quoted\"", ";", "; [NoSection]", "; x=y, \\"});
  }

  std::string Version() {
    std::string text = Pick({"[Version]", "[VERSION]", "[version]"}) + "\r\n";
    text += Pick({"Signature=\"$Windows NT$\"", "signature = $CHICAGO$",
                  "Signature = \"$WINDOWS NT$\" ; which", "Signature=$Windows NT$"}) +
            "\r\n";
    text += Pick({"DriverVer=08/10/2026,26.8.10.5\r\n", "DriverVer = 08/10/2026 , 26.8.10.5\r\n",
                  "DriverVer=08/10/2026\r\n", "DriverVer=,\r\n", ""});
    text += Pick({"CatalogFile=vorn_audio.cat\r\n", "CatalogFile=\"vorn audio.cat\"\r\n", ""});
    return text + Pick({"Provider=%Provider%\r\n", "Provider=VORN\r\n", ""});
  }

  std::string Section(const std::string& name) {
    std::string text = Blanks() + "[" + name + "]" + Blanks() + LineEnd();
    const std::size_t lines = Below(7);
    for (std::size_t i = 0; i < lines; ++i)
      text += Line();
    return text;
  }

  std::string Line() {
    std::string text = Blanks();
    if (Below(3) != 0) text += Field() + Blanks() + "=" + Blanks();
    const std::size_t fields = 1 + Below(5);
    for (std::size_t i = 0; i < fields; ++i) {
      if (i != 0) text += Blanks() + "," + Blanks();
      if (Below(14) == 0) text += "\\" + Blanks() + "\r\n" + Blanks();
      text += Field();
    }
    return text + Blanks() + LineEnd();
  }

  std::string Field() {
    switch (Below(10)) {
      case 0:
        return {};
      case 1:
        return Quoted();
      case 2:
        return Pick({"%Provider%", "%device%", "%Unknown%", "%%", "100%", "a%Provider%b%%c"});
      case 3:
        return Pick({"Root\\VornAudio", "C:\\a\\b", "a\\b\\", "\\x"});
      case 4:
        return Pick({"\xC3\xA4\xC3\xB6\xC3\xBC", "caf\xC3\xA9", "\xC2\xA7"});
      case 5:
        return Plain() + Quoted() + Plain();
      case 6:
        return Plain() + Blanks() + Plain();
      default:
        return Plain();
    }
  }

  std::string Plain() {
    return Pick({"a", "Key", "value", "x1", "0x00010001", "12", "vorn_audio.sys", "{4d36e96c}"});
  }

  std::string Quoted() {
    return Pick({"\"\"", "\"a, b\"", "\"a;b\"", "\"a=b\"", "\" lead and end \"", "\"a\"\"b\"",
                 "\"%Provider%\"", "\"a\\b\\\"", "\"\"\"\"", "\"]\""});
  }

  std::string Strings() {
    std::string text = Pick({"[Strings]", "[STRINGS]", "[strings]"}) + "\r\n";
    text += Pick({"Provider=\"VORN Audio\"\r\n", "PROVIDER = VORN\r\n", "Provider=\r\n",
                  "Provider=\"one\"\r\nprovider=\"two\"\r\n"});
    return text + Pick({"Device=\"VORN Virtual Audio\"\r\n", "device=%Provider%\r\n",
                        "Device=a,b\r\n", ""});
  }

  std::mt19937 engine_;
};

struct Chosen {
  const char* name;
  std::string text;
  Encoding encoding = Encoding::Ansi;
};

/// The files that each show one rule.
std::vector<Chosen> ChosenFiles() {
  const std::string version = kVersion;
  const std::string ten = "1234567890";
  const auto repeat = [](const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
      result += text;
    return result;
  };
  return {
      {"empty", ""},
      {"only-blank-lines", "\r\n \r\n\t\r\n"},
      {"only-a-comment", "; nothing\r\n"},
      {"no-version", "[A]\r\nx=1\r\n"},
      {"version-without-signature", "[Version]\r\nClass=MEDIA\r\n"},
      {"version-empty", "[Version]\r\n"},
      {"signature-unknown", "[Version]\r\nSignature=\"$Other$\"\r\n"},
      {"signature-of-windows-95", "[Version]\r\nSignature=\"$Windows 95$\"\r\n[A]\r\nx=1\r\n"},
      {"signature-with-blanks", "[Version]\r\nSignature = \" $Windows NT$ \"\r\n"},
      {"signature-by-string", "[Version]\r\nSignature=%S%\r\n[Strings]\r\nS=\"$Windows NT$\"\r\n"},
      {"signature-twice", "[Version]\r\nSignature=x\r\nSignature=\"$Windows NT$\"\r\n"},
      {"version-last", "[A]\r\nx=1\r\n" + version},
      {"version-in-two-parts", "[Version]\r\nClass=A\r\n[A]\r\nx=1\r\n" + version},
      {"text-before-the-first-section", "stray=1\r\n" + version + "[A]\r\nx=1\r\n"},
      {"text-and-no-version", "stray=1\r\n[A]\r\nx=1\r\n"},
      {"text-no-version-but-strings", "stray=1\r\n[Strings]\r\nx=1\r\n"},
      {"section-without-bracket", version + "[A\r\nx=1\r\n"},
      {"section-without-bracket-at-the-end", version + "[A"},
      {"section-with-text-after", version + "[A] text\r\nx=1\r\n"},
      {"section-with-comment-after", version + "[A];text\r\nx=1\r\n"},
      {"section-with-blanks-inside", version + "[ A ]\r\nx=1\r\n[A]\r\nx=2\r\n"},
      {"section-without-name", version + "[]\r\nx=1\r\n[A]\r\ny=2\r\n"},
      {"section-in-quotes", version + "[\"A\"]\r\nx=1\r\n"},
      {"section-in-brackets", version + "[[A]\r\nx=1\r\n"},
      {"section-with-two-ends", version + "[A]]\r\nx=1\r\n"},
      {"section-of-255", version + "[" + repeat("n", 255) + "]\r\nx=1\r\n"},
      {"section-of-256", version + "[" + repeat("n", 256) + "]\r\nx=1\r\n"},
      {"section-of-600", version + "[" + repeat("n", 600) + "]\r\nx=1\r\n"},
      {"sections-twice", version + "[A]\r\nx=1\r\n[B]\r\ny=1\r\n[a]\r\nx=2\r\n"},
      {"keys-twice", version + "[A]\r\nx=1\r\nX=2\r\nx=3\r\n"},
      {"key-alone", version + "[A]\r\nalone\r\n"},
      {"key-empty", version + "[A]\r\n=1\r\n= \r\n"},
      {"key-in-quotes", version + "[A]\r\n\"a=b\"=1\r\n\" x \"=2\r\n"},
      {"key-after-a-comma", version + "[A]\r\na,b=c,d\r\n"},
      {"two-equals-signs", version + "[A]\r\na=b=c\r\n"},
      {"empty-fields", version + "[A]\r\nx=,,\r\n,\r\n,,y\r\nz=\r\n"},
      {"quotes-left-open", version + "[A]\r\nx=\"open, a\r\ny=2\r\n"},
      {"quotes-of-quotes", version + "[A]\r\nx=\"\"\"\",\"a\"\"\",\"\"a\"\"\r\n"},
      {"quotes-within-a-word", version + "[A]\r\nx=a\"b c\"d\r\n"},
      {"quotes-and-blanks-after", version + "[A]\r\nx=\" a \"  ,\" b \" \r\n"},
      {"quotes-with-strings", version + "[A]\r\nx=\"%S%\"\r\n[Strings]\r\nS=\"v\"\r\n"},
      {"comment-in-a-field", version + "[A]\r\nx=a;b,c\r\ny=\"a;b\",c\r\n"},
      {"comment-lines", version + "[A]\r\n;x=1\r\n  ; y\r\nz=1\r\n"},
      {"continuation", version + "[A]\r\nx=a,\\\r\n  b,\\\r\nc\r\n"},
      {"continuation-in-a-word", version + "[A]\r\nx=ab\\\r\ncd\r\n"},
      {"continuation-in-quotes", version + "[A]\r\nx=\"ab\\\r\ncd\"\r\ny=1\r\n"},
      {"continuation-before-a-comment", version + "[A]\r\nx=a,\\ ; why\r\nb\r\n"},
      {"continuation-at-the-end", version + "[A]\r\nx=a,\\"},
      {"continuation-of-a-key", version + "[A]\r\nke\\\r\ny=1\r\n"},
      {"continuation-into-a-section", version + "[A]\r\nx=a\\\r\n[B]\r\ny=1\r\n"},
      {"backslashes", version + "[A]\r\nx=C:\\a\\b,\\\\server\\s,a\\ b\r\n"},
      {"two-backslashes-at-the-end", version + "[A]\r\nx=a\\\\\r\nb\r\n"},
      {"strings-unknown", version + "[A]\r\n%K%=%V%,%%,%,%%%,a%b\r\n"},
      {"strings-nested", version + "[A]\r\nx=%S%\r\n[Strings]\r\nS=%T%\r\nT=t\r\n"},
      {"strings-twice", version + "[A]\r\nx=%S%\r\n[Strings]\r\nS=1\r\ns=2\r\n"},
      {"strings-before-use", version + "[Strings]\r\nS=1\r\n[A]\r\n%S%=%s%\r\n"},
      {"strings-with-commas", version + "[A]\r\nx=%S%\r\n[Strings]\r\nS=a,b\r\n"},
      {"strings-with-language", version + "[A]\r\nx=%S%\r\n[Strings.0409]\r\nS=1\r\n"},
      {"strings-of-a-blank-name", version + "[A]\r\nx=%a b%\r\n[Strings]\r\na b=1\r\n"},
      {"directory-numbers", version + "[A]\r\nx=%12%\\a.sys,%10%,%99999%\r\n"},
      {"field-of-510", version + "[A]\r\nx=" + repeat(ten, 51) + ",b\r\n"},
      {"field-of-511", version + "[A]\r\nx=" + repeat(ten, 51) + "1,b\r\n"},
      {"field-of-512", version + "[A]\r\nx=" + repeat(ten, 51) + "12,b\r\n"},
      {"field-of-5000", version + "[A]\r\nx=" + repeat(ten, 500) + ",b\r\n"},
      {"key-of-600", version + "[A]\r\n" + repeat("k", 600) + "=1\r\n"},
      {"quoted-field-of-600", version + "[A]\r\nx=\"" + repeat("q", 600) + "\",b\r\n"},
      {"string-grown-beyond-a-field", version + "[A]\r\nx=" + repeat("%S%", 20) +
                                          "\r\n[Strings]\r\nS=" + repeat(ten, 40) + "\r\n"},
      {"string-grown-beyond-4095", version + "[A]\r\nx=" + repeat("%S%", 20) +
                                       "\r\n[Strings]\r\nS=" + repeat(ten, 50) + "\r\n"},
      {"many-fields", version + "[A]\r\nx=" + repeat("f,", 400) + "end\r\n"},
      {"many-lines", version + "[A]\r\n" + repeat("x=1\r\n", 500)},
      {"line-ends-of-unix", "[Version]\nSignature=$CHICAGO$\n[A]\nx=1\ny=2\n"},
      {"line-ends-of-macintosh", "[Version]\rSignature=$CHICAGO$\r[A]\rx=1\r"},
      {"line-ends-mixed", version + "[A]\nx=1\r\ny=2\n\nz=3\r\n"},
      {"carriage-return-in-a-field", version + "[A]\r\nx=a\rb\r\n"},
      {"no-last-line-end", version + "[A]\r\nx=1"},
      {"end-of-text-mark", version + "[A]\r\nx=1\r\n\x1ay=2\r\n"},
      {"nul-in-a-field", version + std::string("[A]\r\nx=a\0b,c\r\ny=2\r\n", 19)},
      {"nul-at-the-end", version + std::string("[A]\r\nx=1\r\n\0", 11)},
      {"text-before-the-first-section-and-strings", "stray=1\r\n" + version + "[Strings]\r\n"},
      {"text-on-the-third-line", "\r\n;\r\nstray\r\nother\r\n" + version},
      {"text-before-a-section-name", "stray [Version]\r\nSignature=$CHICAGO$\r\n[Strings]\r\n"},
      {"control-characters", version + "[A]\r\nx=a\x01"
                                       "b\x7f,\x0b"
                                       "c\r\n"},
      {"tabs", version + "[A]\r\n\tx\t=\ta\tb\t,\tc\t\r\n"},
      {"ansi-letters", version + "[A]\r\nx=\xC3\xA4\xC2\xA7\xC3\xBF\r\n"},
      {"utf8-letters", version + "[A]\r\nx=\xC3\xA4\xE4\xB8\xAD\r\n", Encoding::Utf8Mark},
      {"utf16-letters", version + "[A]\r\nx=\xC3\xA4\xE4\xB8\xAD\r\n", Encoding::Utf16Mark},
      {"utf16-empty", "", Encoding::Utf16Mark},
      {"utf8-empty", "", Encoding::Utf8Mark},
      {"utf16-of-unix", "[Version]\nSignature=$CHICAGO$\n[A]\nx=1", Encoding::Utf16Mark},
      {"utf16-broken", version + "[A\r\n", Encoding::Utf16Mark},
  };
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: make_inf_corpus FOLDER\n", stderr);
    return 64;
  }
  const std::string folder = argv[1];
  for (const Chosen& file : ChosenFiles())
    WriteFile(folder + "/" + file.name + ".inf", file.text, file.encoding);
  for (int i = 0; i < kRandomFiles; ++i) {
    Generator generator(static_cast<std::uint32_t>(1000 + i));
    char name[32];
    std::snprintf(name, sizeof name, "/random-%03d.inf", i);
    const std::string text = generator.File();
    WriteFile(folder + name, text, generator.AnEncoding());
  }
  return 0;
}
