#pragma once

// Owners of what the platform hands out: one alias for each kind, so that nothing is closed twice,
// forgotten, or closed by the wrong call.

#include "platform/audio_endpoints.h"
#include "platform/config_manager.h"
#include "platform/console.h"
#include "platform/crypto.h"
#include "platform/device_setup.h"
#include "platform/files.h"
#include "platform/inf.h"
#include "platform/owner.h"
#include "platform/registry.h"
#include "platform/security.h"
#include "platform/services.h"

namespace vorn::platform {

namespace owner_traits {

/// Neither null nor INVALID_HANDLE_VALUE is a handle, whichever of them a call answers with.
struct Handle {
  using Type = HANDLE;
  static bool IsValid(Type handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
  static void Close(Type handle) { CloseHandle(handle); }
};

/// Of calls that hand out a handle through a pointer, null when they fail.
struct KernelHandle : Handle {
  static Type Invalid() { return nullptr; }
};

/// Of CreateFileW, which answers INVALID_HANDLE_VALUE when it fails.
struct DeviceHandle : Handle {
  static Type Invalid() { return INVALID_HANDLE_VALUE; }
};

struct DeviceInfoList {
  using Type = HDEVINFO;
  static Type Invalid() { return INVALID_DEVICE_INFO_LIST; }
  static bool IsValid(Type list) { return list != INVALID_DEVICE_INFO_LIST; }
  static void Close(Type list) { SetupDiDestroyDeviceInfoList(list); }
};

struct Inf {
  using Type = HINF;
  static Type Invalid() { return INVALID_INF; }
  static bool IsValid(Type inf) { return inf != INVALID_INF; }
  static void Close(Type inf) { SetupCloseInfFile(inf); }
};

/// What a null pointer does not name, given back by one function.
template <class Object, auto Release>
struct Pointer {
  using Type = Object;
  static Type Invalid() { return nullptr; }
  static bool IsValid(Type object) { return object != nullptr; }
  static void Close(Type object) { Release(object); }
};

template <class Interface>
struct ComObject {
  using Type = Interface*;
  static Type Invalid() { return nullptr; }
  static bool IsValid(Type object) { return object != nullptr; }
  static void Close(Type object) { object->Release(); }
};

}  // namespace owner_traits

using KernelHandle = Owner<owner_traits::KernelHandle>;  // file, directory, token
using DeviceHandle = Owner<owner_traits::DeviceHandle>;
using DeviceInfoList = Owner<owner_traits::DeviceInfoList>;
using InfHandle = Owner<owner_traits::Inf>;
using RegistryKey = Owner<owner_traits::Pointer<HKEY, RegCloseKey>>;
using ServiceHandle = Owner<owner_traits::Pointer<SC_HANDLE, CloseServiceHandle>>;
using SecurityDescriptor = Owner<owner_traits::Pointer<SECURITY_DESCRIPTOR*, LocalFree>>;
using HashAlgorithm = Owner<owner_traits::Pointer<BCRYPT_ALG_HANDLE, BCryptCloseAlgorithmProvider>>;
using HashObject = Owner<owner_traits::Pointer<BCRYPT_HASH_HANDLE, BCryptDestroyHash>>;
using TaskString = Owner<owner_traits::Pointer<char16_t*, CoTaskMemFree>>;
using LogStream = Owner<owner_traits::Pointer<WideStream*, fclose>>;

/// A COM object; released once.
template <class Interface>
using ComObject = Owner<owner_traits::ComObject<Interface>>;

}  // namespace vorn::platform
