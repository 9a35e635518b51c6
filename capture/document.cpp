#include "capture/document.h"

#include "base/text.h"
#include "capture/json_writer.h"
#include "capture/pseudonyms.h"
#include "platform/device_setup.h"
#include "platform/registry.h"
#include "product/product.h"

#include <optional>

namespace vorn::capture {

namespace {

constexpr std::uint32_t REG_SZ = 1;
constexpr std::uint32_t ERROR_SERVICE_DISABLED = 1058;

/// The text of bytes that are one terminated string.
std::optional<std::u16string> TextOf(const Bytes& data) {
  if (data.size() < 2 || data.size() % 2 != 0) return std::nullopt;
  std::u16string text;
  for (std::size_t i = 0; i < data.size(); i += 2)
    text.push_back(static_cast<char16_t>(data[i] | data[i + 1] << 8));
  if (text.find(u'\0') != text.size() - 1) return std::nullopt;
  text.pop_back();
  return text;
}

/// The texts of bytes that are exactly a terminated list of terminated strings.
std::optional<std::vector<std::u16string>> ListOf(const Bytes& data) {
  if (data.size() < 4 || data.size() % 2 != 0) return std::nullopt;
  std::vector<std::u16string> texts;
  std::u16string text;
  for (std::size_t i = 0; i + 2 < data.size(); i += 2) {
    const auto unit = static_cast<char16_t>(data[i] | data[i + 1] << 8);
    if (unit != u'\0') {
      text.push_back(unit);
    } else if (text.empty()) {
      return std::nullopt;
    } else {
      texts.push_back(std::move(text));
      text.clear();
    }
  }
  const bool ended = data[data.size() - 1] == 0 && data[data.size() - 2] == 0;
  if (!ended || !text.empty() || texts.empty()) return std::nullopt;
  return texts;
}

class DocumentWriter {
 public:
  DocumentWriter(const CapturedMachine& machine, bool raw, std::vector<Bytes>& contents)
      : machine_(machine), raw_(raw), names_(raw), contents_(contents) {
    LearnNames();
  }

  std::string Write() {
    json_.BeginObject();
    json_.Key("format").Number(1);
    WriteAbout();
    WriteFolders();
    WriteProcess();
    WriteClock();
    WriteServices();
    WriteClassNames();
    WriteDevices();
    WritePublished();
    WriteCatalog();
    WriteDosDevices();
    WriteKeys();
    WriteVolumes();
    WriteErrors();
    json_.EndObject();
    return json_.Result();
  }

 private:
  void LearnNames() {
    for (const std::u16string* const path : {&machine_.windowsFolder, &machine_.temporaryFolder,
                                             &machine_.modulePath, &machine_.currentFolder}) {
      names_.Learn(*path);
    }
    for (const VolumeFact& volume : machine_.volumes) {
      for (const FileFact& file : volume.files)
        names_.Learn(u"\\" + file.path);
    }
  }

  void TextMember(const char* key, std::u16string_view text) { json_.Key(key).Text(text); }
  void PathMember(const char* key, std::u16string_view path) {
    json_.Key(key).Text(names_.Path(path));
  }
  void CodeUnlessZero(const char* key, std::uint32_t code) {
    if (code != 0) json_.Key(key).Code(code);
  }
  void ResultUnlessZero(const char* key, platform::HRESULT result) {
    CodeUnlessZero(key, static_cast<std::uint32_t>(result));
  }

  // ----------------------------------------------------------------------------------------------

  void WriteAbout() {
    const SystemFact& system = machine_.system;
    json_.Key("capture").BeginObject();
    json_.Key("format").Number(kCaptureFormat);
    json_.Key("raw").Flag(raw_);
    json_.Key("windows").BeginObject();
    json_.Key("major").Number(system.major);
    json_.Key("minor").Number(system.minor);
    json_.Key("build").Number(system.build);
    json_.EndObject();
    json_.Key("session").Number(system.session);
    json_.Key("remoteSession").Flag(system.remoteSession);
    json_.Key("elevated").Flag(machine_.token && machine_.token->elevated);
    json_.EndObject();
  }

  void WriteFolders() {
    // A folder that could not be read has the lab's usual path; the error says so.
    if (!machine_.windowsFolder.empty()) PathMember("windowsFolder", machine_.windowsFolder);
    if (!machine_.temporaryFolder.empty()) PathMember("tempFolder", machine_.temporaryFolder);
    if (!machine_.modulePath.empty()) PathMember("modulePath", machine_.modulePath);
    if (!machine_.currentFolder.empty()) PathMember("currentFolder", machine_.currentFolder);
  }

  void WriteToken(const TokenFact& token) {
    json_.Key("token").BeginObject();
    json_.Key("sids").BeginList();
    for (const std::u16string& sid : token.sids)
      json_.Text(names_.Sid(sid));
    json_.EndList();
    TextMember("owner", names_.Sid(token.owner));
    json_.Key("holdsBackup").Flag(token.holdsBackup);
    json_.Key("holdsRestore").Flag(token.holdsRestore);
    json_.Key("backupEnabled").Flag(token.backupEnabled);
    json_.Key("restoreEnabled").Flag(token.restoreEnabled);
    json_.EndObject();
  }

  void WriteProcess() {
    json_.Key("process").BeginObject();
    if (machine_.token) WriteToken(*machine_.token);
    json_.Key("ntdllMissing").Flag(machine_.ntdllMissing);
    json_.Key("missingExports").BeginList();
    for (const std::string& name : machine_.missingExports)
      json_.Text(std::string_view(name));
    json_.EndList();
    json_.EndObject();
  }

  void WriteClock() {
    json_.Key("clock").BeginObject();
    json_.Key("tick").Number(machine_.system.tick);
    const std::uint64_t utc = machine_.system.utc;
    json_.Key("utcAtTickZero").Number(utc < machine_.system.tick ? 0 : utc - machine_.system.tick);
    json_.EndObject();
  }

  void WriteServices() {
    json_.Key("services").BeginList();
    for (const ServiceFact& service : machine_.services) {
      json_.BeginObject();
      TextMember("name", service.name);
      json_.Key("running").Flag(service.running);
      CodeUnlessZero("openError", service.openError);
      if (service.disabled) json_.Key("startError").Code(ERROR_SERVICE_DISABLED);
      json_.EndObject();
    }
    json_.EndList();
    CodeUnlessZero("serviceManagerError", machine_.serviceManagerError);
  }

  void WriteClassNames() {
    json_.Key("classNames").BeginList();
    if (machine_.mediaClassName) {
      json_.BeginObject();
      TextMember("class", ToUpperAscii(kSetupClassText));
      TextMember("name", *machine_.mediaClassName);
      json_.EndObject();
    }
    json_.EndList();
  }

  // ----------------------------------------------------------------------------------------------

  void WriteHardwareIds(const DeviceFact& device) {
    json_.Key("hardwareIds").BeginList();
    const auto texts = device.hardwareIds ? ListOf(*device.hardwareIds) : std::nullopt;
    if (texts) {
      for (const std::u16string& text : *texts)
        json_.Text(text);
    }
    json_.EndList();
    if (device.hardwareIds && !texts) json_.Key("hardwareIdData").Hex(*device.hardwareIds);
  }

  void WriteTyped(std::uint32_t type, const Bytes& data, std::uint32_t textType) {
    const auto text = type == textType ? TextOf(data) : std::nullopt;
    if (text) {
      TextMember("text", *text);
      return;
    }
    json_.Key("type").Number(type);
    json_.Key("hex").Hex(data);
  }

  void WriteProperties(const DeviceFact& device) {
    json_.Key("properties").BeginList();
    for (const PropertyFact& property : device.properties) {
      json_.BeginObject();
      json_.Key("key").Text(
          std::string_view(GuidText(property.key.fmtid) + " " + std::to_string(property.key.pid)));
      WriteTyped(property.type, property.data, platform::DEVPROP_TYPE_STRING);
      json_.EndObject();
    }
    json_.EndList();
  }

  void WriteInterfaces(const DeviceFact& device) {
    json_.Key("interfaces").BeginList();
    for (const InterfaceFact& interface : device.interfaces) {
      json_.BeginObject();
      json_.Key("class").Guid(interface.interfaceClass);
      TextMember("path", interface.path);
      CodeUnlessZero("openError", interface.openError);
      json_.EndObject();
    }
    json_.EndList();
  }

  void WriteReplies(const DeviceFact& device) {
    json_.Key("driver").BeginList();
    for (const ReplyFact& reply : device.replies) {
      json_.BeginObject();
      json_.Key("code").Code(reply.code);
      if (reply.answered) {
        json_.Key("reply").Hex(reply.reply);
      } else {
        json_.Key("error").Code(reply.error);
      }
      json_.EndObject();
    }
    json_.EndList();
  }

  void WriteDevice(const DeviceFact& device) {
    json_.BeginObject();
    TextMember("instanceId", device.instanceId);
    if (!device.parent.empty()) TextMember("parent", device.parent);
    json_.Key("present").Flag(device.present);
    WriteHardwareIds(device);
    json_.Key("foreign").Flag(!device.ours);
    if (device.ours) {
      json_.Key("status").Code(device.status);
      json_.Key("problem").Number(device.problem);
      CodeUnlessZero("statusError", device.statusError);
      CodeUnlessZero("installFlags", device.installFlags);
      if (device.classText) {
        TextMember("classGuidText", *device.classText);
      } else {
        json_.Key("classGuid").Guid(device.classGuid);
      }
      if (!device.properties.empty()) WriteProperties(device);
      if (!device.interfaces.empty()) WriteInterfaces(device);
      if (!device.replies.empty()) WriteReplies(device);
    }
    json_.EndObject();
  }

  void WriteDevices() {
    json_.Key("devices").BeginList();
    for (const DeviceFact& device : machine_.devices)
      WriteDevice(device);
    json_.EndList();
  }

  void WritePublished() {
    json_.Key("published").BeginList();
    for (const PublishedFact& published : machine_.published) {
      json_.BeginObject();
      TextMember("name", published.name);
      json_.Key("ours").Flag(published.ours);
      if (published.ours) {
        TextMember("originalInf", published.originalInf);
        TextMember("originalCatalog", published.originalCatalog);
      }
      json_.EndObject();
    }
    json_.EndList();
  }

  // ----------------------------------------------------------------------------------------------

  void WriteEndpoint(const EndpointFact& endpoint, std::size_t number) {
    json_.BeginObject();
    // An endpoint of another maker has only its place in the list.
    json_.Key("id").Text(
        endpoint.id.value_or(u"{0.0." + std::u16string(endpoint.capture ? u"1" : u"0") +
                             u".00000000}.{other-" + ToUtf16(std::to_string(number)) + u"}"));
    json_.Key("flow").Text(std::string_view(endpoint.capture ? "capture" : "render"));
    json_.Key("state").Number(endpoint.state);
    if (endpoint.cableType) {
      json_.Key("cable").BeginObject();
      json_.Key("type").Number(*endpoint.cableType);
      json_.Key("value").Number(endpoint.cableValue);
      json_.EndObject();
      TextMember("connectedTo", endpoint.connectedTo);
    }
    if (endpoint.nullId) json_.Key("nullId").Flag(true);
    ResultUnlessZero("propertyStoreError", endpoint.propertyStoreError);
    ResultUnlessZero("propertyError", endpoint.propertyError);
    ResultUnlessZero("topologyError", endpoint.topologyError);
    ResultUnlessZero("connectorError", endpoint.connectorError);
    ResultUnlessZero("connectedError", endpoint.connectedError);
    ResultUnlessZero("idError", endpoint.idError);
    ResultUnlessZero("stateError", endpoint.stateError);
    json_.EndObject();
  }

  void WriteCatalog() {
    const CatalogFact& catalog = machine_.catalog;
    json_.Key("audio").BeginObject();
    json_.Key("endpoints").BeginList();
    std::size_t number = 0;
    for (const EndpointFact& endpoint : catalog.endpoints)
      WriteEndpoint(endpoint, ++number);
    json_.EndList();
    ResultUnlessZero("coInitializeResult", catalog.coInitializeResult);
    ResultUnlessZero("createError", catalog.createError);
    ResultUnlessZero("enumError", catalog.enumError);
    ResultUnlessZero("countError", catalog.countError);
    ResultUnlessZero("itemError", catalog.itemError);
    json_.EndObject();
  }

  // ----------------------------------------------------------------------------------------------

  void WriteSecurity(const SecurityFact& security) {
    json_.Key("security").BeginObject();
    TextMember("owner", SidOrMalformed(security.owner));
    json_.Key("daclPresent").Flag(security.daclPresent);
    json_.Key("daclProtected").Flag(security.daclProtected);
    json_.Key("daclAutoInherited").Flag(security.daclAutoInherited);
    json_.Key("entries").BeginList();
    for (const AccessEntryFact& entry : security.entries) {
      json_.BeginObject();
      json_.Key("type").Number(entry.type);
      json_.Key("flags").Code(entry.flags);
      json_.Key("mask").Code(entry.mask);
      TextMember("sid", SidOrMalformed(entry.sid));
      json_.EndObject();
    }
    json_.EndList();
    json_.EndObject();
  }

  std::u16string SidOrMalformed(const std::u16string& sid) {
    return sid.empty() ? u"no valid SID" : names_.Sid(sid);
  }

  void WriteDosDevices() {
    json_.Key("dosDevices").BeginList();
    for (const DosDeviceFact& device : machine_.dosDevices) {
      json_.BeginObject();
      TextMember("name", device.name);
      PathMember("target", device.target);
      json_.EndObject();
    }
    json_.EndList();
  }

  void WriteKeys() {
    json_.Key("registry").BeginList();
    for (const KeyFact& key : machine_.keys) {
      json_.BeginObject();
      TextMember("path", key.path);
      if (key.security) WriteSecurity(*key.security);
      CodeUnlessZero("openError", key.openError);
      CodeUnlessZero("listError", key.listError);
      if (!key.values.empty()) {
        json_.Key("values").BeginList();
        for (const ValueFact& value : key.values) {
          json_.BeginObject();
          TextMember("name", value.name);
          WriteTyped(value.type, value.data, REG_SZ);
          json_.EndObject();
        }
        json_.EndList();
      }
      json_.EndObject();
    }
    json_.EndList();
  }

  // ----------------------------------------------------------------------------------------------

  void WriteContent(const FileFact& file) {
    if (!file.content) return;
    Bytes content = *file.content;
    if (file.text) {
      const std::u16string text = names_.Text(ToUtf16(std::string(content.begin(), content.end())));
      const std::string utf8 = ToUtf8(text);
      content.assign(utf8.begin(), utf8.end());
    }
    json_.Key("size").Number(content.size());
    json_.Key("content").Number(contents_.size());
    contents_.push_back(std::move(content));
  }

  void WriteFile(const FileFact& file) {
    static constexpr const char* kLinks[] = {"none", "junction", "symbolicLink", "other"};
    json_.BeginObject();
    PathMember("path", file.path);
    if (file.directory) json_.Key("directory").Flag(true);
    if (!file.directory && !file.content && file.size != 0) json_.Key("size").Number(file.size);
    WriteContent(file);
    if (file.links != 1) json_.Key("links").Number(file.links);
    json_.Key("attributes").Code(file.attributes);
    if (file.type) json_.Key("reportedType").Number(*file.type);
    if (file.link != LinkKind::None) {
      json_.Key("reparse").Text(std::string_view(kLinks[static_cast<std::size_t>(file.link)]));
      PathMember("target", file.target);
    }
    if (file.security) WriteSecurity(*file.security);
    CodeUnlessZero("openError", file.openError);
    json_.EndObject();
  }

  void WriteVolumes() {
    json_.Key("volumes").BeginList();
    for (const VolumeFact& volume : machine_.volumes) {
      json_.BeginObject();
      const std::u16string letter(1, volume.letter);
      TextMember("folder", letter);
      TextMember("letter", letter);
      TextMember("device", volume.device);
      TextMember("guid", volume.guid);
      json_.Key("serial").Code(volume.serial);
      if (volume.freeBytes) json_.Key("freeBytes").Number(*volume.freeBytes);
      json_.Key("files").BeginList();
      for (const FileFact& file : volume.files)
        WriteFile(file);
      json_.EndList();
      json_.EndObject();
    }
    json_.EndList();
  }

  void WriteErrors() {
    json_.Key("errors").BeginList();
    for (const ReadError& error : machine_.errors) {
      json_.BeginObject();
      PathMember("fact", error.fact);
      json_.Key("call").Text(std::string_view(error.call));
      json_.Key("code").Code(error.code);
      json_.EndObject();
    }
    json_.EndList();
  }

  const CapturedMachine& machine_;
  bool raw_;
  Pseudonyms names_;
  std::vector<Bytes>& contents_;
  JsonWriter json_;
};

}  // namespace

std::string WriteCapture(const CapturedMachine& machine, bool raw, std::vector<Bytes>& contents) {
  return DocumentWriter(machine, raw, contents).Write();
}

}  // namespace vorn::capture
