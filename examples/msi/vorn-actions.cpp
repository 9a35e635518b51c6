// SPDX-License-Identifier: 0BSD
//
// The custom actions of vorn-audio.wxs. They run vorn-setup.cmd, which knows what every exit status
// of the driver's program asks for, and tell Windows Installer what came of it. An EXE action could
// not: Windows Installer takes each exit code but 0 for a failure, also the 3010 of a removal that
// waits for a restart.
//
// The deferred actions run as the system in session 0, where nothing is redirected. Each gets the
// product's folder, "|" and the version as its CustomActionData.

#include <windows.h>

// msi.h needs what windows.h declares.
#include <msi.h>
#include <msiquery.h>
#include <string>

namespace {

constexpr DWORD kSuccess = 0;
constexpr DWORD kBusy = 1618;
constexpr DWORD kAfterRestart = 3010;

/// Tells the action after the end of the transaction, which alone may ask for a restart.
constexpr wchar_t kRestartAtom[] = L"VORN Audio restart";

struct Product {
  std::wstring home;
  std::wstring version;

  std::wstring File(const wchar_t* name) const { return home + name; }
};

Product ProductOf(MSIHANDLE install) {
  std::wstring data(1024, L'\0');
  DWORD length = static_cast<DWORD>(data.size());
  if (MsiGetPropertyW(install, L"CustomActionData", data.data(), &length) != ERROR_SUCCESS)
    return {};
  data.resize(length);
  const std::size_t bar = data.find(L'|');
  if (bar == data.npos) return {};
  return {data.substr(0, bar), data.substr(bar + 1)};
}

bool Exists(const std::wstring& file) {
  return GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// Keeps other installers of the driver out: two runs at a time would make two devices.
class OnlyRun {
 public:
  OnlyRun() : mutex_(CreateMutexW(nullptr, FALSE, L"Global\\VornDevnode")) {
    alone_ = mutex_ != nullptr && GetLastError() != ERROR_ALREADY_EXISTS;
  }
  ~OnlyRun() {
    if (mutex_ != nullptr) CloseHandle(mutex_);
  }
  OnlyRun(const OnlyRun&) = delete;
  OnlyRun& operator=(const OnlyRun&) = delete;

  bool IsAlone() const { return alone_; }

 private:
  HANDLE mutex_;
  bool alone_;
};

/// Runs the script; returns its exit code, or 1603 if it could not be started.
DWORD RunScript(const Product& product, const std::wstring& words) {
  const OnlyRun run;
  if (!run.IsAlone()) return kBusy;
  wchar_t system[MAX_PATH];
  if (GetSystemDirectoryW(system, MAX_PATH) == 0) return ERROR_INSTALL_FAILURE;
  const std::wstring shell = std::wstring(system) + L"\\cmd.exe";
  std::wstring line = L"\"" + shell + L"\" /d /s /c \"\"" + product.File(L"vorn-setup.cmd") +
                      L"\" " + words + L"\"";
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessW(shell.c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                      nullptr, nullptr, &startup, &process)) {
    return ERROR_INSTALL_FAILURE;
  }
  // Without a limit: a run that is ended leaves hidden endpoints.
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = ERROR_INSTALL_FAILURE;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return code;
}

/// Shows or logs that an errand failed; returns what the user answered, 0 without a user.
int Tell(MSIHANDLE install, const Product& product, DWORD code, UINT buttons) {
  const std::wstring text = L"VORN Audio setup ends with " + std::to_wstring(code) + L". See " +
                            product.File(L"setup.log") + L".";
  PMSIHANDLE record = MsiCreateRecord(0);
  MsiRecordSetStringW(record, 0, text.c_str());
  return MsiProcessMessage(install, static_cast<INSTALLMESSAGE>(INSTALLMESSAGE_ERROR | buttons),
                           record);
}

/// What Windows Installer is to do after the script ended with this code. It has no "try again
/// later".
UINT Finish(MSIHANDLE install, const Product& product, DWORD code) {
  if (code == kAfterRestart) GlobalAddAtomW(kRestartAtom);
  if (code == kSuccess || code == kAfterRestart) return ERROR_SUCCESS;
  Tell(install, product, code, MB_ICONERROR);
  return ERROR_INSTALL_FAILURE;
}

/// The mark of an install that a later failure of the transaction must undo.
std::wstring UndoMark(const Product& product) {
  return product.File(L"undo");
}

}  // namespace

extern "C" {

/// Deferred. The script falls back by itself when the install fails.
__declspec(dllexport) UINT __stdcall VornInstall(MSIHANDLE install) {
  const Product product = ProductOf(install);
  const DWORD code = RunScript(product, L"install " + product.version);
  if (code == kSuccess) {
    CloseHandle(CreateFileW(UndoMark(product).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
  }
  return Finish(install, product, code);
}

/// Rollback: undoes an install that succeeded, when a later action fails or the user cancels.
__declspec(dllexport) UINT __stdcall VornUndo(MSIHANDLE install) {
  const Product product = ProductOf(install);
  if (!DeleteFileW(UndoMark(product).c_str())) return ERROR_SUCCESS;
  return Finish(install, product, RunScript(product, L"rollback"));
}

/// Commit.
__declspec(dllexport) UINT __stdcall VornCommit(MSIHANDLE install) {
  DeleteFileW(UndoMark(ProductOf(install)).c_str());
  return ERROR_SUCCESS;
}

/// Deferred.
__declspec(dllexport) UINT __stdcall VornRepair(MSIHANDLE install) {
  const Product product = ProductOf(install);
  return Finish(install, product, RunScript(product, L"repair"));
}

/// Deferred. Busy means that a program holds the device: a user can close it.
__declspec(dllexport) UINT __stdcall VornRemove(MSIHANDLE install) {
  const Product product = ProductOf(install);
  DWORD code = RunScript(product, L"uninstall");
  while (code == kBusy) {
    const int answer = Tell(install, product, code, MB_ICONEXCLAMATION | MB_RETRYCANCEL);
    if (answer == IDCANCEL) return ERROR_INSTALL_USEREXIT;
    if (answer != IDRETRY) return ERROR_INSTALL_FAILURE;
    code = RunScript(product, L"uninstall");
  }
  return Finish(install, product, code);
}

/// Commit. The files are permanent components, because a removal that waits for a restart needs
/// them after it. When nothing waits, they go.
__declspec(dllexport) UINT __stdcall VornCleanUp(MSIHANDLE install) {
  const Product product = ProductOf(install);
  if (product.home.empty() || Exists(product.File(L"current.txt"))) return ERROR_SUCCESS;
  const std::wstring folder = product.home.substr(0, product.home.find_last_not_of(L'\\') + 1);
  const std::wstring from = folder + L'\0';
  SHFILEOPSTRUCTW removal = {};
  removal.wFunc = FO_DELETE;
  removal.pFrom = from.c_str();
  removal.fFlags = FOF_NO_UI;
  SHFileOperationW(&removal);
  return ERROR_SUCCESS;
}

/// Immediate, after the transaction: a deferred action may not ask for a restart.
__declspec(dllexport) UINT __stdcall VornRestart(MSIHANDLE install) {
  const ATOM atom = GlobalFindAtomW(kRestartAtom);
  if (atom == 0) return ERROR_SUCCESS;
  GlobalDeleteAtom(atom);
  MsiSetMode(install, MSIRUNMODE_REBOOTATEND, TRUE);
  return ERROR_SUCCESS;
}

}  // extern "C"
