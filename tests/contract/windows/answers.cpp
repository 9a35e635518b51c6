#include "tests/contract/windows/answers.h"

#include "base/text.h"
#include "platform/device_io.h"
#include "platform/inf.h"
#include "platform/last_error.h"
#include "platform/simulated/file_values.h"
#include "tests/contract/record.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vorn::contract {

using namespace platform;

namespace {

constexpr std::uint32_t kBackupSemantics = 0x02000000;  // FILE_FLAG_BACKUP_SEMANTICS
constexpr std::uint32_t kPageSize = 65536;

bool IsPublishedName(std::u16string_view name) {
  return name.size() > 7 && EqualsIgnoringCase(name.substr(0, 3), u"oem") &&
         EqualsIgnoringCase(name.substr(name.size() - 4), u".inf");
}

void AddPublished(const std::uint8_t* bytes, std::vector<std::u16string>& names) {
  for (FILE_ID_BOTH_DIR_INFO record = {};; bytes += record.NextEntryOffset) {
    std::memcpy(&record, bytes, sizeof record);
    std::u16string name(record.FileNameLength / sizeof(char16_t), u'\0');
    std::memcpy(name.data(), bytes + sizeof record, record.FileNameLength);
    if (IsPublishedName(name)) names.push_back(name);
    if (record.NextEntryOffset == 0) return;
  }
}

}  // namespace

void Answer(const char* question, const std::string& subject, const std::string& value,
            const std::string& detail) {
  std::printf("answer %s - %s: %s%s%s\n", question, subject.c_str(), value.c_str(),
              detail.empty() ? "" : " ", detail.c_str());
  std::fflush(stdout);
  Record({{"kind", "answer"},
          {"question", question},
          {"subject", subject},
          {"value", value},
          {"detail", detail}});
}

std::string Code(std::uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(code));
  return text;
}

Reader::Reader(const std::u16string& path, std::uint32_t access)
    : Reader(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE) {}

Reader::Reader(const std::u16string& path, std::uint32_t access, std::uint32_t share)
    : handle_(CreateFileW(path.c_str(), access, share, OPEN_EXISTING, kBackupSemantics)) {}

std::u16string WindowsInfFolder() {
  char16_t path[MAX_PATH] = {};
  GetWindowsDirectoryW(path, MAX_PATH);
  return std::u16string(path) + u"\\INF";
}

std::u16string VolumeGuidPath(const std::u16string& path) {
  const Reader file(path);
  if (!file.IsOpen()) return {};
  std::u16string result(1024, u'\0');
  const std::uint32_t length =
      GetFinalPathNameByHandleW(file.Handle(), result.data(), 1024, VOLUME_NAME_GUID);
  result.resize(length < 1024 ? length : 0);
  return result;
}

std::vector<std::u16string> ListPublished() {
  std::vector<std::u16string> names;
  const Reader folder(WindowsInfFolder(), FILE_LIST_DIRECTORY);
  std::vector<std::uint64_t> page(kPageSize / sizeof(std::uint64_t));  // aligned as the records are
  std::uint32_t informationClass = FileIdBothDirectoryRestartInfo;
  while (folder.IsOpen() &&
         GetFileInformationByHandleEx(folder.Handle(), informationClass, page.data(), kPageSize)) {
    informationClass = FileIdBothDirectoryInfo;
    AddPublished(reinterpret_cast<const std::uint8_t*>(page.data()), names);
  }
  std::sort(names.begin(), names.end());
  return names;
}

Original OriginalNamesOf(const std::u16string& path) {
  Original result;
  std::uint32_t size = 0;
  if (!SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size)) {
    result.error = GetLastError();
    return result;
  }
  std::vector<std::uint64_t> buffer(size / sizeof(std::uint64_t) + 1);
  auto* information = reinterpret_cast<SP_INF_INFORMATION*>(buffer.data());
  SP_ORIGINAL_FILE_INFO_W original = {};
  original.cbSize = sizeof original;
  const bool known = SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE,
                                             information, size, nullptr) &&
                     SetupQueryInfOriginalFileInformationW(information, 0, &original);
  if (!known) result.error = std::max<std::uint32_t>(GetLastError(), 1);
  result.inf = original.OriginalInfName;
  result.catalog = original.OriginalCatalogName;
  return result;
}

std::uint32_t LinksOf(const std::u16string& path) {
  const Reader file(path, FILE_READ_ATTRIBUTES);
  BY_HANDLE_FILE_INFORMATION information = {};
  const bool read = file.IsOpen() && GetFileInformationByHandle(file.Handle(), &information);
  return read ? information.nNumberOfLinks : 0;
}

}  // namespace vorn::contract
