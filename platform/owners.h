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

namespace vorn {

namespace owner_traits {

/// Files, directories, devices, tokens: neither null nor INVALID_HANDLE_VALUE is a handle.
struct KernelHandle {
  using Type = platform::HANDLE;
  static Type Invalid() { return nullptr; }
  static bool IsValid(Type handle) {
    return handle != nullptr && handle != platform::INVALID_HANDLE_VALUE;
  }
  static void Close(Type handle) { platform::CloseHandle(handle); }
};

struct DeviceInfoList {
  using Type = platform::HDEVINFO;
  static Type Invalid() { return platform::INVALID_DEVICE_INFO_LIST; }
  static bool IsValid(Type list) { return list != platform::INVALID_DEVICE_INFO_LIST; }
  static void Close(Type list) { platform::SetupDiDestroyDeviceInfoList(list); }
};

struct Inf {
  using Type = platform::HINF;
  static Type Invalid() { return platform::INVALID_INF; }
  static bool IsValid(Type inf) { return inf != platform::INVALID_INF; }
  static void Close(Type inf) { platform::SetupCloseInfFile(inf); }
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

using KernelHandle = Owner<owner_traits::KernelHandle>;
using DeviceInfoList = Owner<owner_traits::DeviceInfoList>;
using InfHandle = Owner<owner_traits::Inf>;
using RegistryKey = Owner<owner_traits::Pointer<platform::HKEY, platform::RegCloseKey>>;
using ServiceHandle =
    Owner<owner_traits::Pointer<platform::SC_HANDLE, platform::CloseServiceHandle>>;
using SecurityDescriptor =
    Owner<owner_traits::Pointer<platform::SECURITY_DESCRIPTOR*, platform::LocalFree>>;
using HashAlgorithm = Owner<
    owner_traits::Pointer<platform::BCRYPT_ALG_HANDLE, platform::BCryptCloseAlgorithmProvider>>;
using HashObject =
    Owner<owner_traits::Pointer<platform::BCRYPT_HASH_HANDLE, platform::BCryptDestroyHash>>;
using TaskString = Owner<owner_traits::Pointer<char16_t*, platform::CoTaskMemFree>>;
using LogStream = Owner<owner_traits::Pointer<platform::WideStream*, platform::fclose>>;

/// A COM object; released once.
template <class Interface>
using ComObject = Owner<owner_traits::ComObject<Interface>>;

}  // namespace vorn
