#pragma once

// CapturedMachine: what a capture holds, as plain records. Each reader fills its part; the document
// writes all of it. Every fact is one that the program itself would have read on the machine.
//
// What could not be read is an error beside the facts. The capture goes on: that a fact cannot be
// read is itself what somebody wants to rehearse.

#include "platform/audio_endpoints.h"
#include "platform/types.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::capture {

using Bytes = std::vector<std::uint8_t>;

/// A fact that could not be read, the call that refused it, and that call's own code.
struct ReadError {
  std::u16string fact = {};
  std::string call = {};
  std::uint32_t code = 0;
};

// ------------------------------------------------------------------------------------------------
// Owners and access lists.

struct AccessEntryFact {
  std::uint8_t type = 0;
  std::uint8_t flags = 0;
  std::uint32_t mask = 0;
  std::u16string sid = {};  // empty when the entry has none that can be told

  friend bool operator==(const AccessEntryFact&, const AccessEntryFact&) = default;
};

struct SecurityFact {
  std::u16string owner = {};
  bool daclPresent = false;
  bool daclProtected = false;
  bool daclAutoInherited = false;
  std::vector<AccessEntryFact> entries = {};

  friend bool operator==(const SecurityFact&, const SecurityFact&) = default;
};

// ------------------------------------------------------------------------------------------------
// The process and the system.

struct TokenFact {
  std::vector<std::u16string> sids = {};
  std::u16string owner = {};  // of what the process creates
  bool elevated = false;
  bool holdsBackup = false;
  bool holdsRestore = false;
  bool backupEnabled = false;
  bool restoreEnabled = false;
};

struct ServiceFact {
  std::u16string name = {};
  bool running = false;
  bool disabled = false;        // its start type
  std::uint32_t openError = 0;  // not 0: nothing else is known of it
};

struct SystemFact {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t build = 0;
  std::uint32_t session = 0;
  bool remoteSession = false;
  std::uint64_t tick = 0;  // ms since the system started
  std::uint64_t utc = 0;   // ms since 1970
};

// ------------------------------------------------------------------------------------------------
// Devices.

struct PropertyFact {
  platform::DEVPROPKEY key = {};
  std::uint32_t type = 0;
  Bytes data = {};
};

struct InterfaceFact {
  platform::GUID interfaceClass = {};
  std::u16string path = {};
  std::uint32_t openError = 0;  // of an open for reading
};

/// What the driver answered to one control code.
struct ReplyFact {
  std::uint32_t code = 0;
  bool answered = false;
  std::uint32_t error = 0;
  Bytes reply = {};
};

struct DeviceFact {
  std::u16string instanceId = {};
  std::u16string parent = {};  // of an endpoint's node; empty for a root-enumerated device
  bool ours = false;           // has our hardware id, or stands below a device that has
  bool present = true;
  std::optional<Bytes> hardwareIds = {};  // as the platform returns them
  platform::GUID classGuid = {};
  std::uint32_t status = 0;
  std::uint32_t problem = 0;
  std::uint32_t statusError = 0;  // a CONFIGRET
  std::uint32_t installFlags = 0;
  std::optional<std::u16string> classText = {};  // of an endpoint's node
  std::vector<PropertyFact> properties = {};
  std::vector<InterfaceFact> interfaces = {};
  std::vector<ReplyFact> replies = {};
};

// ------------------------------------------------------------------------------------------------
// The endpoint catalog. A result that is not 0 is the HRESULT of the read that it names.

struct EndpointFact {
  bool capture = false;
  std::optional<std::u16string> id = {};  // of one with the driver's property
  bool nullId = false;
  std::uint32_t state = platform::DEVICE_STATE_ACTIVE;
  std::optional<std::uint16_t> cableType = {};  // a VT_ code
  std::uint32_t cableValue = 0;
  std::u16string connectedTo = {};
  platform::HRESULT propertyStoreError = 0;
  platform::HRESULT propertyError = 0;
  platform::HRESULT topologyError = 0;
  platform::HRESULT connectorError = 0;
  platform::HRESULT connectedError = 0;
  platform::HRESULT idError = 0;
  platform::HRESULT stateError = 0;
};

struct CatalogFact {
  std::vector<EndpointFact> endpoints = {};  // render, then capture
  platform::HRESULT coInitializeResult = 0;
  platform::HRESULT createError = 0;
  platform::HRESULT enumError = 0;
  platform::HRESULT countError = 0;
  platform::HRESULT itemError = 0;
};

// ------------------------------------------------------------------------------------------------
// The registry.

struct ValueFact {
  std::u16string name = {};
  std::uint32_t type = 0;
  Bytes data = {};
};

struct KeyFact {
  std::u16string path = {};
  std::vector<ValueFact> values = {};
  std::optional<SecurityFact> security = {};  // missing when it is that of the key above
  std::uint32_t openError = 0;
  std::uint32_t listError = 0;
};

// ------------------------------------------------------------------------------------------------
// Files.

enum class LinkKind { None, Junction, SymbolicLink, Other };

struct FileFact {
  std::u16string path = {};  // below the volume's root, whose path is empty
  bool directory = false;
  std::uint32_t attributes = 0;
  std::uint32_t links = 1;
  std::uint64_t size = 0;
  std::optional<std::uint32_t> type = {};  // of GetFileType, when it is not a disk file
  std::optional<SecurityFact> security = {};
  LinkKind link = LinkKind::None;
  std::u16string target = {};         // of a link
  std::uint32_t openError = 0;        // of the open that the program would make
  std::optional<Bytes> content = {};  // of a file that is ours
  bool text = false;                  // the content is a log, which may name users
};

struct VolumeFact {
  char16_t letter = 0;
  std::u16string device = {};
  std::u16string guid = {};
  std::uint32_t serial = 0;
  std::optional<std::uint64_t> freeBytes = {};
  std::vector<FileFact> files = {};  // a folder before what is in it
};

struct DosDeviceFact {
  std::u16string name = {};    // C:
  std::u16string target = {};  // an NT path, or anything else
};

/// A published INF of the Windows INF folder.
struct PublishedFact {
  std::u16string name = {};
  bool ours = false;  // its text names the product
  std::u16string originalInf = {};
  std::u16string originalCatalog = {};
};

// ------------------------------------------------------------------------------------------------

struct CapturedMachine {
  SystemFact system;
  std::optional<TokenFact> token = {};
  bool ntdllMissing = false;
  std::vector<std::string> missingExports = {};
  std::uint32_t serviceManagerError = 0;
  std::vector<ServiceFact> services = {};
  std::optional<std::u16string> mediaClassName = {};
  std::u16string windowsFolder = {};
  std::u16string temporaryFolder = {};
  std::u16string modulePath = {};
  std::u16string currentFolder = {};
  std::vector<DeviceFact> devices = {};  // in enumeration order, endpoints' nodes after the roots
  CatalogFact catalog;
  std::vector<KeyFact> keys = {};  // a key before what is in it
  std::vector<DosDeviceFact> dosDevices = {};
  std::vector<VolumeFact> volumes = {};
  std::vector<PublishedFact> published = {};
  std::vector<ReadError> errors = {};

  void Miss(std::u16string_view fact, std::string_view call, std::uint32_t code) {
    errors.push_back({std::u16string(fact), std::string(call), code});
  }
};

}  // namespace vorn::capture
