#pragma once

// One owner alias for each kind of platform object, so that every object is closed exactly once and
// by the right call.

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

/// Neither null nor INVALID_HANDLE_VALUE is a handle, whichever a call uses for failure.
struct Handle {
  using Type = HANDLE;
  static bool IsValid(Type handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
  static void Close(Type handle) { CloseHandle(handle); }
};

/// For calls that store a handle through a pointer, null on failure.
struct KernelHandle : Handle {
  static Type Invalid() { return nullptr; }
};

/// For CreateFileW, which returns INVALID_HANDLE_VALUE on failure.
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

/// A pointer that one function releases; null owns nothing.
template <class Object, auto Release>
struct Pointer {
  using Type = Object;
  static Type Invalid() { return nullptr; }
  static bool IsValid(Type object) { return object != nullptr; }
  static void Close(Type object) { Release(object); }
};

template <class Interface>
void ReleaseObject(Interface* object) {
  object->Release();
}

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

template <class Interface>
using ComObject = Owner<owner_traits::Pointer<Interface*, owner_traits::ReleaseObject<Interface>>>;

}  // namespace vorn::platform
