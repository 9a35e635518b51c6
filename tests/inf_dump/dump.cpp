#include "tests/inf_dump/dump.h"

#include "platform/inf.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace vorn::inf_dump {

using namespace platform;

namespace {

constexpr std::uint32_t kMostFields = 3000;
constexpr std::uint32_t kMostLines = 20000;
constexpr std::size_t kShownUnits = 120;

std::string Printable(std::u16string_view text) {
  std::string result;
  for (const char16_t unit : text) {
    char escape[8] = {static_cast<char>(unit), '\0'};
    if (unit < 0x20 || unit > 0x7E || unit == u'\\' || unit == u'<') {
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(unit));
    }
    result += escape;
  }
  return result;
}

/// The text of a field. A long one is shown by its first units and a checksum.
std::string Shown(std::u16string_view text) {
  if (text.size() <= kShownUnits) return Printable(text);
  std::uint32_t sum = 2166136261U;
  for (const char16_t unit : text)
    sum = (sum ^ unit) * 16777619U;
  char tail[32];
  std::snprintf(tail, sizeof tail, "...%08x", static_cast<unsigned>(sum));
  return Printable(text.substr(0, kShownUnits)) + tail;
}

/// Prints one field and returns whether there is one.
bool DumpField(const INFCONTEXT& line, std::uint32_t index) {
  std::uint32_t size = 0;
  SetLastError(0xDEAD);
  if (!SetupGetStringFieldW(&line, index, nullptr, 0, &size)) {
    if (GetLastError() != ERROR_SUCCESS) {
      std::printf(" %u:error %08X", static_cast<unsigned>(index),
                  static_cast<unsigned>(GetLastError()));
    }
    return false;
  }
  std::u16string text(size, u'?');
  std::uint32_t again = 0;
  if (!SetupGetStringFieldW(&line, index, text.data(), size, &again) || again != size) {
    std::printf(" %u:size %u then %u", static_cast<unsigned>(index), static_cast<unsigned>(size),
                static_cast<unsigned>(again));
    return true;
  }
  std::uint32_t needed = 0;
  std::u16string shorter(size, u'?');
  const bool fits =
      size > 1 && SetupGetStringFieldW(&line, index, shorter.data(), size - 1, &needed);
  const std::size_t length = text.find(u'\0');
  std::printf(" %u:%u<%s>%s", static_cast<unsigned>(index), static_cast<unsigned>(size),
              Shown(std::u16string_view(text).substr(0, length)).c_str(),
              fits ? " fits a shorter buffer" : "");
  if (length + 1 != size) std::printf(" ends early");
  return true;
}

void DumpLine(HINF inf, const std::u16string& section, const INFCONTEXT& line) {
  std::printf(" ");
  DumpField(line, 0);
  std::uint32_t index = 1;
  while (index < kMostFields && DumpField(line, index))
    ++index;
  // A lookup by the line's own key finds the first line with that key.
  std::uint32_t size = 0;
  if (SetupGetStringFieldW(&line, 0, nullptr, 0, &size)) {
    std::u16string key(size, u'\0');
    INFCONTEXT found = {};
    SetupGetStringFieldW(&line, 0, key.data(), size, nullptr);
    if (SetupFindFirstLineW(inf, section.c_str(), key.c_str(), &found)) {
      std::printf(" key finds line");
      DumpField(found, 1);
    } else {
      std::printf(" key finds %08X", static_cast<unsigned>(GetLastError()));
    }
  }
  std::printf("\n");
}

void DumpSection(HINF inf, const std::u16string& section) {
  INFCONTEXT line = {};
  SetLastError(0xDEAD);
  if (!SetupFindFirstLineW(inf, section.c_str(), nullptr, &line)) {
    if (GetLastError() != ERROR_LINE_NOT_FOUND) {
      std::printf(" [%s] error %08X\n", Printable(section).c_str(),
                  static_cast<unsigned>(GetLastError()));
    }
    return;
  }
  std::printf(" [%s]\n", Printable(section).c_str());
  for (std::uint32_t count = 0; count < kMostLines; ++count) {
    DumpLine(inf, section, line);
    INFCONTEXT next = {};
    if (!SetupFindNextLine(&line, &next)) {
      if (GetLastError() != ERROR_LINE_NOT_FOUND) {
        std::printf("  ends with %08X\n", static_cast<unsigned>(GetLastError()));
      }
      return;
    }
    line = next;
  }
}

}  // namespace

void Dump(const std::string& name, const std::u16string& path,
          const std::vector<std::u16string>& sections) {
  std::uint32_t line = 0;
  SetLastError(0xDEAD);
  const HINF inf = SetupOpenInfFileW(path.c_str(), INF_STYLE_WIN4, &line);
  if (inf == INVALID_INF) {
    std::printf("%s: error %08X line %u\n", name.c_str(), static_cast<unsigned>(GetLastError()),
                static_cast<unsigned>(line));
    return;
  }
  std::printf("%s:\n", name.c_str());
  for (const std::u16string& section : sections)
    DumpSection(inf, section);
  SetupCloseInfFile(inf);
}

std::vector<std::u16string> ReadSectionNames(const std::string& path) {
  std::vector<std::u16string> names;
  std::ifstream file(path);
  for (std::string text; std::getline(file, text);) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    std::u16string name;
    for (std::size_t at = 0; at < text.size();) {
      if (text.compare(at, 2, "\\u") == 0 && at + 6 <= text.size()) {
        name += static_cast<char16_t>(std::stoul(text.substr(at + 2, 4), nullptr, 16));
        at += 6;
      } else {
        name += static_cast<unsigned char>(text[at++]);
      }
    }
    names.push_back(name);
  }
  return names;
}

std::vector<std::string> ListInfs(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".inf") names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace vorn::inf_dump
