#include "platform/simulated/com.h"

#include "platform/simulated/audio_catalog.h"
#include "platform/simulated/audio_values.h"

#include <algorithm>
#include <new>

namespace vorn::platform {

namespace simulated {

namespace {

constexpr std::uint32_t kInProcessServer = 1;  // CLSCTX_INPROC_SERVER

/// Precedes the text of a string that the program frees.
struct TaskHeader {
  std::uintptr_t number;  // in the process's table
};

void FreeTaskBlock(TaskHeader* header) {
  header->~TaskHeader();
  ::operator delete(header);
}

class HeldString : public Object {
 public:
  explicit HeldString(TaskHeader* header) : header_(header) {}
  ~HeldString() override { FreeTaskBlock(header_); }

 private:
  TaskHeader* header_;
};

void FreeTaskMemory(void* memory) {
  if (memory == nullptr) return;
  const auto* header = static_cast<const TaskHeader*>(memory) - 1;
  Process::Current().Remove(ObjectKind::Memory, header->number);
}

}  // namespace

std::uint32_t ComCounter::CountDown() {
  if (--references_ > 0) return references_;
  Process::Current().Remove(ObjectKind::Com, number_);
  return 0;
}

char16_t* AllocateTaskString(std::u16string_view text) {
  const std::size_t size = sizeof(TaskHeader) + (text.size() + 1) * sizeof(char16_t);
  auto* header = new (::operator new(size)) TaskHeader{0};
  auto* copy = reinterpret_cast<char16_t*>(header + 1);
  std::copy(text.begin(), text.end(), copy);
  copy[text.size()] = u'\0';
  header->number = Process::Current().Add(ObjectKind::Memory, std::make_shared<HeldString>(header));
  return copy;
}

void TakeBack(char16_t* text) {
  FreeTaskMemory(text);
}

bool IsInApartment() {
  const Process& process = Process::Current();
  return process.comInitialized > 0 || process.inOtherApartment;
}

namespace {

HRESULT JoinApartment(bool& joined) {
  Process& process = Process::Current();
  const HRESULT planned = process.TheMachine().audio.coInitializeResult;
  if (planned < S_OK) return planned;
  joined = true;
  return process.comInitialized++ > 0 ? S_FALSE : planned;
}

/// Documented: only registered classes can be created, and only after joining an apartment.
HRESULT CreateInstance(const GUID& classId, std::uint32_t context, const GUID& iid,
                       IUnknown*& made) {
  if (!IsInApartment()) return CO_E_NOTINITIALIZED;
  if (!(classId == CLSID_MMDeviceEnumerator) || (context & kInProcessServer) == 0) {
    return REGDB_E_CLASSNOTREG;
  }
  if (!(iid == IID_IMMDeviceEnumerator) && !(iid == IID_IUnknown)) return E_NOINTERFACE;
  HRESULT result = S_OK;
  made = CreateDeviceEnumerator(&result);
  return result;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

HRESULT CoInitializeEx(std::uint32_t concurrencyModel) {
  bool joined = false;
  const HRESULT result =
      SimulateCom("CoInitializeEx", Arguments("concurrencyModel", Hex{concurrencyModel}),
                  [&](const CallFaults&) { return JoinApartment(joined); });
  Process& process = Process::Current();
  if (result < S_OK && joined) --process.comInitialized;
  // Documented: RPC_E_CHANGED_MODE means that the thread is already in an apartment of the other
  // kind.
  if (result == RPC_E_CHANGED_MODE) process.inOtherApartment = true;
  return result;
}

void CoUninitialize() {
  SimulateBool("CoUninitialize", Arguments(), [](const CallFaults&) { return true; });
  // It cannot fail, so a planned failure does not change what it does.
  Process& process = Process::Current();
  process.comInitialized = std::max(0, process.comInitialized - 1);
}

HRESULT CoCreateInstance(const GUID& classId, std::uint32_t context, const GUID& iid,
                         void** object) {
  IUnknown* created = nullptr;
  const HRESULT result = SimulateGiving(
      "CoCreateInstance", Arguments("classId", classId, "context", Hex{context}, "iid", iid),
      object == nullptr ? nullptr : &created,
      [&](IUnknown*& made) { return CreateInstance(classId, context, iid, made); });
  // An object's only interface starts with its IUnknown.
  if (object != nullptr) *object = created;
  return result;
}

void CoTaskMemFree(void* memory) {
  SimulateBool("CoTaskMemFree", Arguments(), [](const CallFaults&) { return true; });
  // It cannot fail either.
  FreeTaskMemory(memory);
}

HRESULT PropVariantClear(PROPVARIANT* value) {
  return SimulateCom("PropVariantClear",
                     Arguments("type", value == nullptr ? std::uint16_t{0} : value->vt),
                     [&](const CallFaults&) {
                       if (value == nullptr) return S_OK;
                       if (value->vt == VT_LPWSTR) FreeTaskMemory(value->pointer);
                       *value = {};
                       return S_OK;
                     });
}

}  // namespace vorn::platform
