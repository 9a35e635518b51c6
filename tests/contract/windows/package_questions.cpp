// Questions about INFs, their paths, and the packages that Windows keeps.

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/inf.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "product/product.h"
#include "tests/contract/contract.h"
#include "tests/contract/native_files.h"
#include "tests/contract/own_device.h"
#include "tests/contract/windows/answers.h"
#include "tests/contract/windows/guest_state.h"

#include <algorithm>

namespace vorn::contract {

using namespace platform;

namespace {

constexpr std::uint32_t kNonInteractive =
    0x4;  // INSTALLFLAG_NONINTERACTIVE: no dialog, but a failure

/// A package for the suite's device, sound but for the catalog, which it lacks. The installer reads
/// the INF for a device that matches, and refuses the package before it changes anything.
constexpr std::string_view kInfText =
    "; vorn contract\r\n"
    "[Version]\r\nSignature=\"$Windows NT$\"\r\nClass=MEDIA\r\n"
    "ClassGuid={4d36e96c-e325-11ce-bfc1-08002be10318}\r\nProvider=%Provider%\r\n"
    "DriverVer=01/01/2026,1.0.0.0\r\n"
    "[Manufacturer]\r\n%Provider%=Models,NTamd64\r\n"
    "[Models.NTamd64]\r\n%Device%=Install,Root\\VornContract\r\n"
    "[Install.NT]\r\n[Install.NT.Services]\r\nAddService=,2\r\n"
    "[Strings]\r\nProvider=\"VORN\"\r\nDevice=\"VORN contract device\"\r\n";

std::string Utf8(std::u16string_view text) {
  return ToUtf8(text);
}

struct Form {
  const char* name;
  std::u16string path;
};

std::vector<Form> FormsOf(const std::u16string& path) {
  return {{"DOS path", path},
          {"verbatim path", u"\\\\?\\" + path},
          {"volume GUID path", VolumeGuidPath(path)}};
}

std::string Bind(const char16_t* hardwareId, const std::u16string& path, std::string& detail) {
  bool restart = false;
  SetLastError(0);
  const bool bound = UpdateDriverForPlugAndPlayDevicesW(
      hardwareId, path.c_str(), INSTALLFLAG_FORCE | kNonInteractive, &restart);
  const std::uint32_t error = bound ? 0 : GetLastError();
  detail = Utf8(path) + (restart ? " asks for a restart" : "");
  return Code(error);
}

/// The folders of a path and its file, held as the program holds them: nobody else may write or
/// delete.
std::vector<Reader> Hold(const std::u16string& path, std::string& missed) {
  constexpr std::uint32_t kHold =
      READ_CONTROL | FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES;
  std::vector<Reader> held;
  const auto hold = [&](const std::u16string& one, std::uint32_t access) {
    held.emplace_back(one, access, FILE_SHARE_READ);
    const std::uint32_t error = GetLastError();
    if (!held.back().IsOpen())
      missed.append("; not held: ").append(Utf8(one)).append(" ").append(Code(error));
  };
  for (std::size_t end = path.find(u'\\'); end != std::u16string::npos;
       end = path.find(u'\\', end + 1)) {
    hold(path.substr(0, std::max<std::size_t>(end, 3)), kHold);
  }
  hold(path, GENERIC_READ);
  return held;
}

void AskBind(const Form& form, const std::u16string& dosPath) {
  std::string detail;
  const std::string free = Bind(kOwnHardwareId, form.path, detail);
  Answer("bind-path", std::string(form.name) + ", free", free, detail);
  std::string missed;
  std::vector<Reader> held = Hold(dosPath, missed);
  held.emplace_back(WindowsInfFolder(), FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES,
                    FILE_SHARE_READ);
  const std::string holding = Bind(kOwnHardwareId, form.path, detail);
  Answer("bind-path", std::string(form.name) + ", held", holding, detail + missed);
}

void SayOriginal(const char* question, const std::string& form, const std::u16string& path) {
  const Original original = OriginalNamesOf(path);
  if (original.error != 0) {
    Answer(question, form, Code(original.error), Utf8(path));
  } else {
    Answer(question, form, Utf8(original.inf) + " " + Utf8(original.catalog), Utf8(path));
  }
}

void SayOriginals(const char* question, const std::u16string& name) {
  const std::u16string path = WindowsInfFolder() + u"\\" + name;
  const std::string which = Utf8(name) + ", ";
  for (const Form& form : FormsOf(path))
    SayOriginal(question, which + form.name, form.path);
  SayOriginal(question, which + "name alone", name);
}

std::string ContentOf(const std::u16string& path) {
  const Reader file(path);
  std::string content(1 << 20, '\0');
  std::uint32_t read = 0;
  if (!file.IsOpen() ||
      !ReadFile(file.Handle(), content.data(), static_cast<std::uint32_t>(content.size()), &read)) {
    return {};
  }
  content.resize(read);
  return content;
}

std::u16string TextProperty(const OwnDevice& device, const DEVPROPKEY& key) {
  char16_t text[512] = {};
  std::uint32_t type = 0;
  std::uint32_t required = 0;
  const bool read = SetupDiGetDevicePropertyW(device.List(), &device.Device(), &key, &type, text,
                                              sizeof text - sizeof(char16_t), &required);
  return read ? text : u"";
}

void SayBoundPackage(const OwnDevice& device, const std::u16string& inf) {
  const std::u16string published = TextProperty(device, DEVPKEY_Device_DriverInfPath);
  Answer("signed-package", "published as", Utf8(published));
  if (published.empty()) return;
  const std::u16string path = WindowsInfFolder() + u"\\" + published;
  Answer("signed-package", "links", std::to_string(LinksOf(path)));
  const bool same = !ContentOf(inf).empty() && ContentOf(inf) == ContentOf(path);
  Answer("signed-package", "content", same ? "the source's" : "another");
  SayOriginals("signed-package", published);
}

}  // namespace

void AskVolumeGuidPath(const Given& given) {
  for (const Form& form : FormsOf(given.inf)) {
    std::uint32_t line = 0;
    const HINF inf = SetupOpenInfFileW(form.path.c_str(), INF_STYLE_WIN4, &line);
    const std::uint32_t error = inf == INVALID_INF ? GetLastError() : 0;
    if (inf != INVALID_INF) SetupCloseInfFile(inf);
    Answer("inf-path", std::string("open, ") + form.name, Code(error), Utf8(form.path));
    Answer("inf-path", std::string("information, ") + form.name,
           Code(OriginalNamesOf(form.path).error), Utf8(form.path));
  }
}

void AskOriginalNames(const Given&) {
  const std::vector<std::u16string> published = ListPublished();
  if (published.empty()) Answer("original-names", "published INFs", "none");
  for (std::size_t i = 0; i < std::min<std::size_t>(published.size(), 3); ++i)
    SayOriginals("original-names", published[i]);
}

void AskHardLinks(const Given&) {
  const std::vector<std::u16string> published = ListPublished();
  std::uint32_t most = 0;
  for (const std::u16string& name : published)
    most = std::max(most, LinksOf(WindowsInfFolder() + u"\\" + name));
  Answer("hard-links", "most names of a published INF", std::to_string(most),
         std::to_string(published.size()) + " are published");
}

void AskBindPaths(const Given&) {
  const OwnDevice device;
  const std::u16string path = Scratch() + u"\\" + kTestInfName;
  WriteNewFile(path, kInfText);
  for (const Form& form : FormsOf(path))
    AskBind(form, path);
  const std::u16string published = WindowsInfFolder() + u"\\" + kTestPublishedName;
  WriteNewFile(published, kInfText);
  AskBind({"published path", published}, published);
  RestoreGuestState();
}

void AskSignedPackage(const Given& given) {
  if (!given.isSigned) {
    Answer("signed-package", "bind", "not asked", "no signed package was given");
    return;
  }
  if (CountOwnDevices(kRootHardwareId) != 0) {
    Answer("signed-package", "bind", "not asked", "the machine has the product's device");
    return;
  }
  std::u16string published;
  {
    OwnDevice device(kRootHardwareId);
    std::string detail;
    const std::string bound = Bind(kRootHardwareId, given.inf, detail);
    Answer("signed-package", "bind", bound, detail);
    published = TextProperty(device, DEVPKEY_Device_DriverInfPath);
    SayBoundPackage(device, given.inf);
    SayQueryRemove("signed-package", device);
  }
  if (!published.empty()) {
    const bool gone = SetupUninstallOEMInfW(published.c_str(), 0);
    Answer("signed-package", "uninstall", Code(gone ? 0 : GetLastError()), Utf8(published));
  }
}

}  // namespace vorn::contract
