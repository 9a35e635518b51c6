// A setupapi.dll in front of Wine's own: every function goes on to setupapi_real.dll but for those
// below, which Wine lacks. They answer from Wine's state: the device's Enum key, the driver's own
// account of what runs and what it hides, and the table of published packages.

#include "hooks.h"
#include "packages.h"
#include "restart.h"
#include "state.h"

#include <windows.h>
#include <cfgmgr32.h>
#include <cstring>
#include <cwchar>
#include <devpropdef.h>
#include <setupapi.h>
#include <string>

using supplement::Log;

namespace {

template <class Function>
Function Real(const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"setupapi_real.dll"), name)));
}

// ------------------------------------------------------------------------------------------------
// Nodes. A root ROOT\MEDIA\nnnn is node 0x1000 + nnnn; its endpoint number i (1 to 20) is
// 0x100000 * i + the root's node.

constexpr DEVINST kRootBase = 0x1000;
constexpr DEVINST kChildStep = 0x100000;
constexpr wchar_t kRootPrefix[] = L"ROOT\\MEDIA\\";
constexpr ULONG kStartedStatus = 0x0000000A;  // DN_DRIVER_LOADED | DN_STARTED
constexpr ULONG kProblemStatus = 0x00000400;  // DN_HAS_PROBLEM
constexpr ULONG kProblemFailedStart = 10;

bool HasEnumKey(const std::wstring& instanceId) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (L"System\\CurrentControlSet\\Enum\\" + instanceId).c_str(),
                    0, KEY_READ, &key) != 0) {
    return false;
  }
  RegCloseKey(key);
  return true;
}

/// The visible endpoint after number `after` as a node; 0 when there is none.
DEVINST NextVisible(DEVINST root, ULONG after) {
  if (!supplement::IsDriverRunning()) return 0;
  const auto endpoints = supplement::Endpoints();
  for (ULONG i = after; i < endpoints.size(); ++i) {
    if (endpoints[i].visible) return (i + 1) * kChildStep + root;
  }
  return 0;
}

ULONG ChildNumber(DEVINST node) {
  return node / kChildStep;
}

std::wstring InstanceIdOf(DEVINST node) {
  if (ChildNumber(node) > 0) {
    return L"SWD\\MMDEVAPI\\" + supplement::Endpoints()[ChildNumber(node) - 1].Id();
  }
  wchar_t text[32];
  std::swprintf(text, 32, L"%ls%04u", kRootPrefix, static_cast<unsigned>(node - kRootBase));
  return text;
}

struct PropertyName {
  DEVPROPKEY key;
  const wchar_t* what;
};

}  // namespace

extern "C" {

CONFIGRET WINAPI CM_Locate_DevNodeW(DEVINST* node, wchar_t* instanceId, ULONG) {
  Log("CM_Locate_DevNodeW");
  const std::size_t prefix = std::wcslen(kRootPrefix);
  if (_wcsnicmp(instanceId, kRootPrefix, prefix) != 0 || !HasEnumKey(instanceId)) {
    return CR_NO_SUCH_DEVNODE;
  }
  *node = kRootBase + static_cast<DEVINST>(std::wcstoul(instanceId + prefix, nullptr, 10));
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Get_DevNode_Status(ULONG* status, ULONG* problem, DEVINST, ULONG) {
  Log("CM_Get_DevNode_Status");
  const bool running = supplement::IsDriverRunning();
  *status = running ? kStartedStatus : kProblemStatus;
  *problem = running ? 0 : kProblemFailedStart;
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Get_Child(DEVINST* child, DEVINST node, ULONG) {
  Log("CM_Get_Child");
  *child = NextVisible(node, 0);
  return *child != 0 ? CR_SUCCESS : CR_NO_SUCH_DEVNODE;
}

CONFIGRET WINAPI CM_Get_Sibling(DEVINST* sibling, DEVINST node, ULONG) {
  Log("CM_Get_Sibling");
  *sibling = NextVisible(node % kChildStep, ChildNumber(node));
  return *sibling != 0 ? CR_SUCCESS : CR_NO_SUCH_DEVNODE;
}

CONFIGRET WINAPI CM_Get_Device_ID_Size(ULONG* length, DEVINST node, ULONG) {
  Log("CM_Get_Device_ID_Size");
  *length = static_cast<ULONG>(InstanceIdOf(node).size());
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Get_Device_IDW(DEVINST node, wchar_t* buffer, ULONG size, ULONG) {
  Log("CM_Get_Device_IDW");
  const std::wstring id = InstanceIdOf(node);
  if (size <= id.size()) return CR_BUFFER_SMALL;
  std::wcscpy(buffer, id.c_str());
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Get_DevNode_Registry_PropertyW(DEVINST node, ULONG property, ULONG* type,
                                                   void* buffer, ULONG* size, ULONG) {
  Log("CM_Get_DevNode_Registry_PropertyW");
  static const wchar_t endpointClass[] = L"{c166523c-fe0c-4a94-a586-f1a80cfbbf3e}";
  if (property != CM_DRP_CLASSGUID || ChildNumber(node) == 0) return CR_NO_SUCH_VALUE;
  if (*size < sizeof endpointClass) return CR_BUFFER_SMALL;
  std::memcpy(buffer, endpointClass, sizeof endpointClass);
  *size = sizeof endpointClass;
  if (type != nullptr) *type = REG_SZ;
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Query_And_Remove_SubTreeW(DEVINST, PNP_VETO_TYPE*, wchar_t*, ULONG, ULONG) {
  Log("CM_Query_And_Remove_SubTreeW");
  return supplement::IsOn(L"VetoRemoval") ? CR_REMOVE_VETOED : CR_SUCCESS;
}

BOOL WINAPI SetupDiGetDevicePropertyW(HDEVINFO list, SP_DEVINFO_DATA* device, const DEVPROPKEY* key,
                                      ULONG* type, BYTE* buffer, DWORD size, DWORD* required,
                                      DWORD) {
  Log("SetupDiGetDevicePropertyW");
  (void)list;
  (void)device;
  const std::wstring bound = supplement::BoundPackage();
  std::wstring text;
  if (key->pid == 3) text = supplement::PackageVersion(bound);
  if (key->pid == 5) text = bound;
  if (key->pid == 6 && !bound.empty()) text = L"VornAudio";
  if (text.empty()) {
    SetLastError(ERROR_NOT_FOUND);
    return FALSE;
  }
  const DWORD bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
  *type = 0x12;  // DEVPROP_TYPE_STRING
  if (required != nullptr) *required = bytes;
  if (size < bytes) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
  }
  std::memcpy(buffer, text.c_str(), bytes);
  return TRUE;
}

BOOL WINAPI SetupDiSetClassInstallParamsW(HDEVINFO, SP_DEVINFO_DATA*, SP_CLASSINSTALL_HEADER*,
                                          DWORD) {
  Log("SetupDiSetClassInstallParamsW");
  return TRUE;
}

BOOL WINAPI SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO list,
                                      SP_DEVINFO_DATA* device) {
  if (function == DIF_PROPERTYCHANGE) {
    Log("SetupDiCallClassInstaller(DIF_PROPERTYCHANGE)");
    supplement::RestartDeviceWith(supplement::BoundPackage());
    return TRUE;
  }
  using Call = BOOL(WINAPI*)(DI_FUNCTION, HDEVINFO, SP_DEVINFO_DATA*);
  const BOOL done = Real<Call>("SetupDiCallClassInstaller")(function, list, device);
  if (done && function == DIF_REMOVE) {
    Log("SetupDiCallClassInstaller(DIF_REMOVE): unbinds");
    supplement::Unbind();
  }
  return done;
}

BOOL WINAPI SetupDiGetDeviceInstallParamsW(HDEVINFO list, SP_DEVINFO_DATA* device,
                                           SP_DEVINSTALL_PARAMS_W* parameters) {
  using Call = BOOL(WINAPI*)(HDEVINFO, SP_DEVINFO_DATA*, SP_DEVINSTALL_PARAMS_W*);
  const BOOL done = Real<Call>("SetupDiGetDeviceInstallParamsW")(list, device, parameters);
  if (!supplement::IsOn(L"DeviceAsksRestart")) return done;
  // Wine forgets a device that was removed; Windows keeps its parameters as long as the list.
  Log("SetupDiGetDeviceInstallParamsW(restart)");
  parameters->Flags |= DI_NEEDREBOOT;
  return TRUE;
}

BOOL WINAPI SetupQueryInfOriginalFileInformationW(SP_INF_INFORMATION* information, UINT index,
                                                  SP_ALTPLATFORM_INFO* platform,
                                                  SP_ORIGINAL_FILE_INFO_W* original) {
  using Call =
      BOOL(WINAPI*)(SP_INF_INFORMATION*, UINT, SP_ALTPLATFORM_INFO*, SP_ORIGINAL_FILE_INFO_W*);
  if (!Real<Call>("SetupQueryInfOriginalFileInformationW")(information, index, platform,
                                                           original)) {
    return FALSE;
  }
  const std::wstring name = supplement::FileName(original->OriginalInfName);
  const std::wstring inf = supplement::OriginalInf(name);
  if (inf.empty()) return TRUE;
  Log("SetupQueryInfOriginalFileInformationW");
  std::wcscpy(original->OriginalInfName, inf.c_str());
  std::wcscpy(original->OriginalCatalogName, supplement::OriginalCatalog(name).c_str());
  return TRUE;
}

BOOL WINAPI SetupUninstallOEMInfW(const wchar_t* name, DWORD, void*) {
  Log("SetupUninstallOEMInfW");
  if (supplement::Unpublish(name)) return TRUE;
  SetLastError(ERROR_FILE_NOT_FOUND);
  return FALSE;
}

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) {
    DisableThreadLibraryCalls(instance);
    LoadLibraryW(L"setupapi_real.dll");
    // Only the program under test sees the file layer of Windows; Wine's own processes keep theirs.
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const std::wstring name = supplement::FileName(program);
    if (name == L"vorn_devnode.exe" || name == L"vorn_capture.exe") supplement::InstallHooks();
  }
  return TRUE;
}
}
