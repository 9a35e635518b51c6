#include "lab/capture_import.h"

#include "base/text.h"
#include "lab/capture_audio.h"
#include "lab/capture_devices.h"
#include "lab/capture_document.h"
#include "lab/capture_volumes.h"
#include "platform/last_error.h"

#include <algorithm>
#include <string_view>

namespace vorn::lab {

using platform::simulated::FileSystem;
using platform::simulated::Machine;

namespace {

/// Paths that the model looks at without asking the capture's volumes.
void CheckFolder(const std::u16string& path, const char* key) {
  const bool onDrive = path.size() >= 3 && IsAsciiLetter(path[0]) && path[1] == u':' &&
                       (path[2] == u'\\' || path[2] == u'/') &&
                       path.find(u'\0') == std::u16string::npos;
  if (!onDrive) throw BadInput(key, "must be a path on a drive");
}

void CheckFolders(const FileSystem& files) {
  CheckFolder(files.windowsFolder, "windowsFolder");
  CheckFolder(files.tempFolder, "tempFolder");
  CheckFolder(files.modulePath, "modulePath");
  CheckFolder(files.currentFolder, "currentFolder");
}

/// Calls whose failure is the machine's, not that of one thing on it: every call of a run fails.
constexpr std::string_view kFailingCalls[] = {
    "GetModuleFileNameW",        "GetTempPathW", "GetWindowsDirectoryW", "SetupDiGetClassDevsW",
    "SetupDiClassNameFromGuidW",
};

/// Calls whose failure a key of the machine repeats, or the thing itself by being what it is.
constexpr std::string_view kRepeatedCalls[] = {
    "CM_Get_DevNode_Status",
    "CoCreateInstance",
    "CoInitializeEx",
    "CreateFileW",
    "DeviceIoControl",
    "IMMDeviceCollection::GetCount",
    "IMMDeviceCollection::Item",
    "IMMDeviceEnumerator::EnumAudioEndpoints",
    "OpenSCManagerW",
    "OpenServiceW",
    "QueryDosDeviceW",
    "RegEnumKeyExW",
    "RegGetValueW",
    "RegOpenKeyExW",
    "path",
};

template <std::size_t N>
bool IsOneOf(const std::string_view (&calls)[N], std::string_view call) {
  return std::find(std::begin(calls), std::end(calls), call) != std::end(calls);
}

std::string Code(std::uint32_t code) {
  return *HexToJson(code).As<std::string>();
}

/// Turns errors into faults of every process, and names those that a run will not repeat.
void RepeatErrors(const CaptureDocument& capture, ImportedCapture& imported) {
  for (const CapturedError& error : capture.errors) {
    if (IsOneOf(kFailingCalls, error.call) && error.code != 0) {
      imported.lab.process.faults.push_back(error.call + "#1-:fail=" + Code(error.code));
    } else if (!IsOneOf(kRepeatedCalls, error.call) && error.call != "NtCreateFile") {
      imported.notes.push_back("not repeated: " + error.call + " failed (" + Code(error.code) +
                               ") for " + ToUtf8(error.fact));
    }
  }
}

void NoteWhatIsUsual(ImportedCapture& imported) {
  for (const char* const note : {
           "the endpoint builder: how long it takes, what it publishes late, twice or never",
           "a signature: every catalog of a package is taken to be sound",
           "a driver that has not run on the machine: sound, of the version of its INF",
           "what would refuse a removal, a restart or a bind: nothing does",
           "a package that waits for a restart, and what else becomes of it then",
           "endpoints that the driver has and the catalog lacks: the driver was told to hide them",
           "a virus scanner, and whoever opens a file later",
           "random numbers, and the numbers of the next published INF and the next endpoint",
       }) {
    imported.notes.push_back(std::string("usual: ") + note);
  }
}

std::string OriginLine(const CaptureOrigin& origin) {
  return "Windows " + std::to_string(origin.windowsMajor) + "." +
         std::to_string(origin.windowsMinor) + "." + std::to_string(origin.windowsBuild) +
         ", session " + std::to_string(origin.session) + (origin.remoteSession ? " (remote)" : "") +
         (origin.elevated ? ", elevated" : ", not elevated");
}

}  // namespace

ImportedCapture ImportCapture(const CaptureFiles& files, const ImportOptions& options) {
  CaptureDocument capture = ReadCaptureDocument(files.document);
  CheckFolders(capture.document.machine.files);
  ImportedCapture imported;
  imported.origin = OriginLine(capture.origin);
  imported.lab.process = capture.document.process;
  imported.lab.machine = std::move(capture.document.machine);
  Machine& machine = imported.lab.machine;

  BuildVolumes(capture, files.contents, machine, imported.notes);
  GiveDevicesTheirDrivers(capture, options.image, machine);
  FillDriverStore(capture, options.image, machine);
  GiveEndpointsTheirDevices(capture.origin.remoteSession, machine);
  RepeatErrors(capture, imported);
  NoteWhatIsUsual(imported);
  return imported;
}

}  // namespace vorn::lab
