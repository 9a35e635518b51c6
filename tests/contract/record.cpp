#include "tests/contract/record.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace vorn::contract {

namespace {

std::string recordFile;

std::string Quoted(const std::string& text) {
  std::string result = "\"";
  for (const char unit : text) {
    if (unit == '"' || unit == '\\') {
      result += '\\';
      result += unit;
    } else if (static_cast<unsigned char>(unit) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(unit));
      result += escape;
    } else {
      result += unit;
    }
  }
  result += '"';
  return result;
}

}  // namespace

void RecordTo(const std::string& path) {
  recordFile = path;
}

const std::string& RecordFile() {
  return recordFile;
}

void Record(std::initializer_list<std::pair<const char*, std::string>> members) {
  if (recordFile.empty()) return;
  std::string line = "{";
  for (const auto& [name, value] : members)
    line.append(line.size() == 1 ? "" : ",").append(Quoted(name)).append(":").append(Quoted(value));
  const std::u8string path(recordFile.begin(), recordFile.end());
  std::ofstream(std::filesystem::path(path), std::ios::binary | std::ios::app) << line << "}\n";
}

}  // namespace vorn::contract
