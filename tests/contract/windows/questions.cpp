// Questions to a real Windows. Nothing is written, created or changed: files are opened for reading
// only, and the bind is asked with a hardware id that no device has.

#include "tests/contract/questions.h"

#include "platform/owners.h"
#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/device_io.h"
#include "platform/device_setup.h"
#include "platform/files.h"
#include "platform/inf.h"
#include "platform/last_error.h"
#include "platform/native.h"
#include "platform/simulated/file_values.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace vorn::contract {

using namespace platform;

namespace {

constexpr char16_t kNoDevice[] = u"Root\\VornQuestionThatNoDeviceMatches";
constexpr std::uint32_t kBackupSemantics = 0x02000000;  // FILE_FLAG_BACKUP_SEMANTICS

std::string Utf8(std::u16string_view text) {
  return ToUtf8(text);
}

/// Prints one answer.
void Answer(const char* name, const char* format, ...) {
  std::printf("answer %s - ", name);
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::printf("\n");
  std::fflush(stdout);
}

/// Opens for reading beside everybody; closes itself.
class Reader {
 public:
  explicit Reader(const std::u16string& path, std::uint32_t access = GENERIC_READ,
                  std::uint32_t share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE)
      : handle_(CreateFileW(path.c_str(), access, share, OPEN_EXISTING, kBackupSemantics)) {}
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  Reader(Reader&& other) noexcept : handle_(other.handle_) { other.handle_ = INVALID_HANDLE_VALUE; }
  ~Reader() {
    if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
  }
  bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE Handle() const { return handle_; }

 private:
  HANDLE handle_;
};

std::u16string WindowsInfFolder() {
  char16_t path[MAX_PATH] = {};
  GetWindowsDirectoryW(path, MAX_PATH);
  return std::u16string(path) + u"\\INF";
}

std::u16string VolumeGuidPath(const std::u16string& path) {
  const Reader file(path);
  std::u16string result(1024, u'\0');
  const std::uint32_t length =
      file.IsOpen()
          ? GetFinalPathNameByHandleW(file.Handle(), result.data(), 1024, VOLUME_NAME_GUID)
          : 0;
  result.resize(length < 1024 ? length : 0);
  return result;
}

/// The published INFs (oem<n>.inf) of the Windows INF folder.
std::vector<std::u16string> ListPublished() {
  std::vector<std::u16string> names;
  const Reader folder(WindowsInfFolder(), FILE_LIST_DIRECTORY);
  std::vector<std::uint64_t> page(8192);  // aligned as the records are
  std::uint32_t informationClass = FileIdBothDirectoryRestartInfo;
  while (folder.IsOpen() &&
         GetFileInformationByHandleEx(folder.Handle(), informationClass, page.data(), 65536)) {
    informationClass = FileIdBothDirectoryInfo;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(page.data());
    for (FILE_ID_BOTH_DIR_INFO record = {};; bytes += record.NextEntryOffset) {
      std::memcpy(&record, bytes, sizeof record);
      std::u16string name(record.FileNameLength / 2, u'\0');
      std::memcpy(name.data(), bytes + sizeof record, record.FileNameLength);
      if (EqualsIgnoringCase(name.substr(0, 3), u"oem") && name.size() > 7 &&
          EqualsIgnoringCase(name.substr(name.size() - 4), u".inf")) {
        names.push_back(name);
      }
      if (record.NextEntryOffset == 0) break;
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

struct Original {
  bool known = false;
  std::u16string inf;
  std::u16string catalog;
  std::uint32_t error = 0;
};

Original OriginalNamesOf(const std::u16string& path) {
  Original result;
  std::uint32_t size = 0;
  if (!SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size)) {
    result.error = GetLastError();
    return result;
  }
  std::vector<std::uint64_t> buffer(size / 8 + 1);
  auto* information = reinterpret_cast<SP_INF_INFORMATION*>(buffer.data());
  SP_ORIGINAL_FILE_INFO_W original = {};
  original.cbSize = sizeof original;
  result.known = SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, information,
                                         size, nullptr) &&
                 SetupQueryInfOriginalFileInformationW(information, 0, &original);
  result.error = result.known ? 0 : GetLastError();
  result.inf = original.OriginalInfName;
  result.catalog = original.OriginalCatalogName;
  return result;
}

void SayOriginal(const char* name, const char* form, const std::u16string& path) {
  const Original original = OriginalNamesOf(path);
  if (original.known) {
    Answer(name, "%s %s: original INF %s, catalog %s", form, Utf8(path).c_str(),
           Utf8(original.inf).c_str(), Utf8(original.catalog).c_str());
  } else {
    Answer(name, "%s %s: error %08X", form, Utf8(path).c_str(), unsigned{original.error});
  }
}

void SayOpen(const char* name, const std::u16string& path) {
  std::uint32_t line = 0;
  const HINF inf = SetupOpenInfFileW(path.c_str(), INF_STYLE_WIN4, &line);
  if (inf == INVALID_INF) {
    Answer(name, "SetupOpenInfFile %s: error %08X line %u", Utf8(path).c_str(),
           unsigned{GetLastError()}, unsigned{line});
    return;
  }
  SetupCloseInfFile(inf);
  Answer(name, "SetupOpenInfFile %s: opens", Utf8(path).c_str());
}

/// No device has that hardware id, so that the bind ends before it installs: E000020B says that the
/// path was taken, another code what it minds.
std::uint32_t SayBind(const char* name, const std::u16string& path) {
  bool restart = false;
  SetLastError(0);
  const bool bound = UpdateDriverForPlugAndPlayDevicesW(kNoDevice, path.c_str(), 0, &restart);
  const std::uint32_t error = bound ? 0 : GetLastError();
  Answer(name, "bind of %s without a matching device: %s %08X%s", Utf8(path).c_str(),
         bound ? "true" : "error", unsigned{error}, restart ? ", asks for a restart" : "");
  return error;
}

bool AskVolumeGuidPaths(const std::u16string& inf) {
  const std::u16string guid = VolumeGuidPath(inf);
  if (guid.empty()) {
    Answer("volume-guid-path", "no volume GUID path of %s: error %08X", Utf8(inf).c_str(),
           unsigned{GetLastError()});
    return false;
  }
  SayOpen("volume-guid-path", inf);
  SayOpen("volume-guid-path", guid);
  SayOriginal("volume-guid-path", "information of", guid);
  SayBind("volume-guid-path", inf);
  SayBind("volume-guid-path", guid);
  return true;
}

bool AskPublished(const std::vector<std::u16string>& published) {
  if (published.empty()) {
    Answer("published-inf", "there is no published INF on this machine");
    return false;
  }
  const std::u16string path = WindowsInfFolder() + u"\\" + published.front();
  SayBind("inf-folder-bind", path);
  SayBind("inf-folder-bind", VolumeGuidPath(path));
  const std::size_t shown = std::min<std::size_t>(published.size(), 3);
  for (std::size_t i = 0; i < shown; ++i) {
    const std::u16string one = WindowsInfFolder() + u"\\" + published[i];
    SayOriginal("original-names", "DOS path", one);
    SayOriginal("original-names", "verbatim path", u"\\\\?\\" + one);
    SayOriginal("original-names", "volume GUID path", VolumeGuidPath(one));
    SayOriginal("original-names", "name alone", published[i]);
  }
  return true;
}

bool AskHardLinks(const std::vector<std::u16string>& published) {
  std::size_t linked = 0;
  std::size_t read = 0;
  std::uint32_t most = 0;
  for (const std::u16string& name : published) {
    const Reader file(WindowsInfFolder() + u"\\" + name, FILE_READ_ATTRIBUTES);
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!file.IsOpen() || !GetFileInformationByHandle(file.Handle(), &information)) continue;
    ++read;
    if (information.nNumberOfLinks > 1) ++linked;
    most = std::max(most, information.nNumberOfLinks);
  }
  Answer("hard-links", "%u of %u published INFs have more than one link, at most %u",
         static_cast<unsigned>(linked), static_cast<unsigned>(read), unsigned{most});
  return read == published.size();
}

/// Holds the Windows INF folder and the INF's own as the program does, without write and delete
/// sharing, and asks the platform's installer again.
bool AskHeldFolders(const std::u16string& inf) {
  constexpr std::uint32_t kHold = FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES;
  const std::uint32_t before = SayBind("held-folders", inf);
  std::vector<Reader> held;
  for (std::size_t end = inf.find(u'\\'); end != std::u16string::npos;
       end = inf.find(u'\\', end + 1)) {
    held.emplace_back(inf.substr(0, std::max<std::size_t>(end, 3)), kHold, FILE_SHARE_READ);
    if (!held.back().IsOpen()) {
      Answer("held-folders", "%s cannot be held: error %08X",
             Utf8(inf.substr(0, std::max<std::size_t>(end, 3))).c_str(), unsigned{GetLastError()});
    }
  }
  held.emplace_back(WindowsInfFolder(), kHold, FILE_SHARE_READ);
  Answer("held-folders", "the Windows INF folder %s", held.back().IsOpen() ? "is held" : "is not");
  const std::uint32_t during = SayBind("held-folders", inf);
  Answer("held-folders", "the bind says %s while the folders are held",
         before == during ? "the same" : "something else");
  return true;
}

/// What one endpoint's topology says: the device that its first connector leads to.
void SayTopology(platform::IMMDevice& device, const std::u16string& id) {
  void* object = nullptr;
  const HRESULT activated = device.Activate(IID_IDeviceTopology, CLSCTX_ALL, nullptr, &object);
  const ComObject<IDeviceTopology> topology(static_cast<IDeviceTopology*>(object));
  if (activated < 0 || !topology) {
    Answer("disabled-endpoint", "%s: no topology, %08X", Utf8(id).c_str(),
           static_cast<unsigned>(activated));
    return;
  }
  ComObject<IConnector> connector;
  const HRESULT got = topology.Get()->GetConnector(0, connector.Receive());
  char16_t* connected = nullptr;
  const HRESULT led =
      got < 0 || !connector ? got : connector.Get()->GetDeviceIdConnectedTo(&connected);
  const TaskString owner(connected);
  Answer("disabled-endpoint", "%s: topology, connector %08X, device %08X %s", Utf8(id).c_str(),
         static_cast<unsigned>(got), static_cast<unsigned>(led),
         connected == nullptr ? "" : Utf8(connected).c_str());
}

bool SayDisabledEndpoints() {
  void* object = nullptr;
  const HRESULT created =
      CoCreateInstance(CLSID_MMDeviceEnumerator, CLSCTX_ALL, IID_IMMDeviceEnumerator, &object);
  const ComObject<IMMDeviceEnumerator> enumerator(static_cast<IMMDeviceEnumerator*>(object));
  if (created < 0 || !enumerator) {
    Answer("disabled-endpoint", "no endpoint catalog, %08X", static_cast<unsigned>(created));
    return false;
  }
  std::uint32_t seen = 0;
  for (const EDataFlow flow : {eRender, eCapture}) {
    ComObject<IMMDeviceCollection> endpoints;
    std::uint32_t count = 0;
    if (enumerator.Get()->EnumAudioEndpoints(flow, DEVICE_STATE_DISABLED, endpoints.Receive()) <
            0 ||
        endpoints.Get()->GetCount(&count) < 0) {
      return false;
    }
    for (std::uint32_t index = 0; index < count; ++index) {
      ComObject<IMMDevice> device;
      if (endpoints.Get()->Item(index, device.Receive()) < 0) continue;
      char16_t* id = nullptr;
      static_cast<void>(device.Get()->GetId(&id));
      const TaskString owner(id);
      SayTopology(*device.Get(), id == nullptr ? std::u16string() : std::u16string(id));
      ++seen;
    }
  }
  if (seen == 0) Answer("disabled-endpoint", "this machine has no disabled endpoint");
  return seen != 0;
}

bool AskDisabledEndpoints() {
  const HRESULT joined = CoInitializeEx(COINIT_MULTITHREADED);
  const bool asked = joined >= 0 && SayDisabledEndpoints();
  if (joined >= 0) CoUninitialize();
  return asked;
}

}  // namespace

int AskQuestions(const char* inf) {
  const std::string given = inf == nullptr ? std::string() : std::string(inf);
  const std::vector<std::u16string> published = ListPublished();
  std::u16string path(given.begin(), given.end());
  if (path.empty()) path = WindowsInfFolder() + u"\\machine.inf";
  bool all = AskVolumeGuidPaths(path);
  all = AskPublished(published) && all;
  all = AskHardLinks(published) && all;
  all = AskHeldFolders(path) && all;
  all = AskDisabledEndpoints() && all;
  std::printf(all ? "every question was put\n" : "some questions could not be put\n");
  return all ? 0 : 1;
}

}  // namespace vorn::contract
