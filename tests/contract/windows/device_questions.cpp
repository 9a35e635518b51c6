// Questions about device nodes, the audio endpoints that stand below them, and what the suite
// itself lets stand because Windows' versions differ.

#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/clock.h"
#include "platform/config_manager.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "platform/simulated/file_values.h"
#include "tests/contract/contract.h"
#include "tests/contract/native_files.h"
#include "tests/contract/own_device.h"
#include "tests/contract/windows/answers.h"
#include "tests/contract/windows/guest_state.h"

namespace vorn::contract {

using namespace platform;

namespace {

std::string NodeState(const std::u16string& instanceId) {
  DEVINST node = 0;
  const CONFIGRET located = CM_Locate_DevNodeW(&node, instanceId.c_str(), CM_LOCATE_DEVNODE_NORMAL);
  if (located != CR_SUCCESS) return "no node " + Code(located);
  std::uint32_t status = 0;
  std::uint32_t problem = 0;
  const CONFIGRET read = CM_Get_DevNode_Status(&status, &problem, node);
  if (read != CR_SUCCESS) return "no status " + Code(read);
  return std::string((status & DN_STARTED) != 0 ? "started" : "stopped") + " problem " +
         std::to_string(problem);
}

std::u16string IdOf(DEVINST node) {
  char16_t id[256] = {};
  return CM_Get_Device_IDW(node, id, 256) == CR_SUCCESS ? id : u"";
}

void SayChildren(const std::string& subject, const std::u16string& instanceId) {
  DEVINST node = 0;
  DEVINST child = 0;
  if (CM_Locate_DevNodeW(&node, instanceId.c_str(), CM_LOCATE_DEVNODE_NORMAL) != CR_SUCCESS) {
    Answer("disabled-endpoint", subject, "no node", ToUtf8(instanceId));
    return;
  }
  std::size_t count = 0;
  for (CONFIGRET found = CM_Get_Child(&child, node); found == CR_SUCCESS;
       found = CM_Get_Sibling(&child, child)) {
    const std::u16string id = IdOf(child);
    Answer("disabled-endpoint", subject + " " + std::to_string(count++), NodeState(id), ToUtf8(id));
  }
  Answer("disabled-endpoint", subject, std::to_string(count), ToUtf8(instanceId));
}

/// The device of "{2}.\\?\root#media#0000#{class}\wave", which is how a topology names it.
std::u16string DeviceOfTopologyId(const std::u16string& id) {
  const std::size_t start = id.find(u"\\\\?\\");
  const std::size_t end = id.find(u"#{", start == std::u16string::npos ? 0 : start);
  if (start == std::u16string::npos || end == std::u16string::npos) return {};
  std::u16string device = id.substr(start + 4, end - start - 4);
  for (char16_t& unit : device) {
    if (unit == u'#') unit = u'\\';
  }
  return device;
}

/// What one endpoint's topology says: the device that its first connector leads to.
std::u16string SayTopology(IMMDevice& device, const std::u16string& id) {
  void* object = nullptr;
  const HRESULT activated = device.Activate(IID_IDeviceTopology, CLSCTX_ALL, nullptr, &object);
  const ComObject<IDeviceTopology> topology(static_cast<IDeviceTopology*>(object));
  HRESULT result = activated;
  ComObject<IConnector> connector;
  if (topology) result = topology.Get()->GetConnector(0, connector.Receive());
  char16_t* connected = nullptr;
  if (connector) result = connector.Get()->GetDeviceIdConnectedTo(&connected);
  const TaskString owner(connected);
  const std::u16string leads = connected == nullptr ? u"" : connected;
  Answer("disabled-endpoint", "topology", Code(static_cast<std::uint32_t>(result)),
         ToUtf8(id) + " leads to " + ToUtf8(leads));
  return leads;
}

void SayEndpoint(IMMDevice& device) {
  char16_t* text = nullptr;
  static_cast<void>(device.GetId(&text));
  const TaskString owner(text);
  const std::u16string id = text == nullptr ? u"" : text;
  const std::u16string below = DeviceOfTopologyId(SayTopology(device, id));
  SayChildren("children of the endpoint", u"SWD\\MMDEVAPI\\" + id);
  if (!below.empty()) SayChildren("children of its device", below);
}

class Apartment {
 public:
  Apartment() : joined_(CoInitializeEx(COINIT_MULTITHREADED)) {}
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  ~Apartment() {
    if (joined_ >= 0) CoUninitialize();
  }

 private:
  HRESULT joined_;
};

ComObject<IMMDeviceEnumerator> MakeEnumerator(HRESULT& result) {
  void* object = nullptr;
  result = CoCreateInstance(CLSID_MMDeviceEnumerator, CLSCTX_ALL, IID_IMMDeviceEnumerator, &object);
  return ComObject<IMMDeviceEnumerator>(static_cast<IMMDeviceEnumerator*>(object));
}

/// How the enumerator answers for a flow: the result and the number, or the call that failed.
std::string Enumerated(IMMDeviceEnumerator& enumerator, EDataFlow flow) {
  ComObject<IMMDeviceCollection> endpoints;
  const HRESULT listed =
      enumerator.EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, endpoints.Receive());
  if (listed < 0 || !endpoints) return Code(static_cast<std::uint32_t>(listed));
  std::uint32_t count = 0;
  const HRESULT counted = endpoints.Get()->GetCount(&count);
  return Code(static_cast<std::uint32_t>(counted)) + " " + std::to_string(count);
}

void SayEnumerator(const std::string& when) {
  HRESULT created = 0;
  const auto enumerator = MakeEnumerator(created);
  Answer("audio-services", "creation, " + when, Code(static_cast<std::uint32_t>(created)));
  if (!enumerator) return;
  Answer("audio-services", "outputs, " + when, Enumerated(*enumerator.Get(), eRender));
  Answer("audio-services", "inputs, " + when, Enumerated(*enumerator.Get(), eCapture));
}

}  // namespace

void SayQueryRemove(const char* question, OwnDevice& device) {
  const std::u16string id = InstanceId(device.List(), device.Device());
  Answer(question, "node before", NodeState(id));
  std::uint32_t veto = 0;
  char16_t name[MAX_PATH] = {};
  const CONFIGRET asked = CM_Query_And_Remove_SubTreeW(
      device.Device().DevInst, &veto, name, MAX_PATH, CM_REMOVE_UI_NOT_OK | CM_REMOVE_NO_RESTART);
  Answer(question, "query-removal", Code(asked), ToUtf8(std::u16string_view(name)));
  Answer(question, "node after", NodeState(id));
  const bool removed = device.Remove();
  Answer(question, "DIF_REMOVE after", Code(removed ? 0 : GetLastError()));
  Answer(question, "node at the end", NodeState(id));
}

void AskQueryRemove(const Given&) {
  OwnDevice device;
  SayQueryRemove("query-remove", device);
}

void AskDisabledEndpoints(const Given&) {
  const Apartment apartment;
  HRESULT created = 0;
  const auto enumerator = MakeEnumerator(created);
  NEED(enumerator);
  std::uint32_t seen = 0;
  for (const EDataFlow flow : {eRender, eCapture}) {
    ComObject<IMMDeviceCollection> endpoints;
    std::uint32_t count = 0;
    NEED(enumerator.Get()->EnumAudioEndpoints(flow, DEVICE_STATE_DISABLED, endpoints.Receive()) >=
         0);
    NEED(endpoints.Get()->GetCount(&count) >= 0);
    for (std::uint32_t index = 0; index < count; ++index) {
      ComObject<IMMDevice> device;
      if (endpoints.Get()->Item(index, device.Receive()) < 0) continue;
      SayEndpoint(*device.Get());
      ++seen;
    }
  }
  Answer("disabled-endpoint", "disabled endpoints", std::to_string(seen),
         seen == 0 ? "disable one in the sound settings and ask again" : "");
}

void AskStoppedAudioServices(const Given&) {
  const Apartment apartment;
  SayEnumerator("services running");
  const bool stopped = StopAudioServices();
  Answer("audio-services", "stop", stopped ? "stopped" : "still running");
  SayEnumerator("services stopped");
  RestoreGuestState();
}

void AskSuiteAlternatives(const Given&) {
  const std::u16string folder = Scratch();
  WriteNewFile(folder + u"\\f", "abc");
  NEED(CreateDirectoryW((folder + u"\\held").c_str()));
  const Opened opened = OpenFolder(folder);
  Answer("alternatives", "relative name that starts with a separator",
         Code(static_cast<std::uint32_t>(OpenNative(u"\\f", {}, opened.Handle()).status)));
  How how;
  how.access = kListFolder;
  how.options = kFolder;
  {
    const Opened holder = OpenNative(Nt(folder + u"\\held"), how);
    NEED(holder.status >= 0);
    Answer("alternatives", "rename into a folder that is held with read sharing",
           Code(MoveTo(folder + u"\\f", folder + u"\\held\\f")));
  }
  how.options |= FILE_OPEN_REPARSE_POINT;
  how.objectAttributes = OBJ_CASE_INSENSITIVE | OBJ_DONT_REPARSE;
  NEED(MakeFolderLink(folder + u"\\link", folder + u"\\held"));
  Answer("alternatives", "folder link in last place with both flags",
         Code(static_cast<std::uint32_t>(OpenNative(u"link", how, opened.Handle()).status)));
}

}  // namespace vorn::contract
