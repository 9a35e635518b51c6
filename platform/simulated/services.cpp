#include "platform/services.h"

#include "base/text.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/process.h"
#include "platform/simulated/services.h"
#include "platform/simulated/upper_case.h"

#include <optional>
#include <utility>
#include <vector>

namespace vorn::platform {

namespace simulated {

namespace {

constexpr std::u16string_view kServices[] = {kEndpointBuilderService, kAudioService};

/// A handle to the service manager, or to a service.
class ServiceObjectHandle : public Object {
 public:
  ServiceObjectHandle(std::optional<std::u16string> name, std::uint32_t granted)
      : service(std::move(name)), access(granted) {}

  const std::optional<std::u16string> service;  // nothing: a handle to the manager
  const std::uint32_t access;
};

std::shared_ptr<ServiceObjectHandle> Find(SC_HANDLE handle) {
  return Process::Current().Find<ServiceObjectHandle>(ObjectKind::Service,
                                                      reinterpret_cast<std::uintptr_t>(handle));
}

SC_HANDLE Add(std::optional<std::u16string> service, std::uint32_t access) {
  return reinterpret_cast<SC_HANDLE>(Process::Current().Add(
      ObjectKind::Service, std::make_shared<ServiceObjectHandle>(std::move(service), access)));
}

SC_HANDLE RefuseHandle(std::uint32_t error) {
  SetLastError(error);
  return nullptr;
}

SC_HANDLE OpenService(SC_HANDLE manager, const char16_t* name, std::uint32_t desiredAccess) {
  const auto object = Find(manager);
  if (object == nullptr || object->service) return RefuseHandle(ERROR_INVALID_HANDLE);
  if (name == nullptr || *name == u'\0') return RefuseHandle(ERROR_INVALID_NAME);
  const Service* service = FindService(Process::Current().TheMachine(), name);
  if (service == nullptr) return RefuseHandle(ERROR_SERVICE_DOES_NOT_EXIST);
  if (service->openError != 0) return RefuseHandle(service->openError);
  return Add(name, desiredAccess);
}

/// Documented: the manager first starts the services that a service depends on. The audio service
/// depends on the endpoint builder.
bool StartDependencies(Machine& machine, std::u16string_view name) {
  if (!IsSameName(name, kAudioService)) return true;
  if (IsRunning(machine, kEndpointBuilderService)) return true;
  const Service* builder = FindService(machine, kEndpointBuilderService);
  if (builder == nullptr) return FailWith(ERROR_SERVICE_DEPENDENCY_DELETED);
  if (builder->startError != 0) return FailWith(ERROR_SERVICE_DEPENDENCY_FAIL);
  RunService(machine, kEndpointBuilderService);
  return true;
}

bool Start(SC_HANDLE handle) {
  const auto object = Find(handle);
  if (object == nullptr || !object->service) return FailWith(ERROR_INVALID_HANDLE);
  if ((object->access & SERVICE_START) == 0) return FailWith(ERROR_ACCESS_DENIED);
  Machine& machine = Process::Current().TheMachine();
  const Service* service = FindService(machine, *object->service);
  if (service == nullptr) return FailWith(ERROR_SERVICE_MARKED_FOR_DELETE);
  if (service->running) return FailWith(ERROR_SERVICE_ALREADY_RUNNING);
  if (service->startError != 0) return FailWith(service->startError);
  if (!StartDependencies(machine, *object->service)) return false;
  RunService(machine, *object->service);
  return true;
}

/// A device that started while a service was down is still waiting for its endpoints.
void BuildForStartedDevices(Machine& machine) {
  std::vector<std::u16string> waiting;
  for (const Device& device : std::as_const(machine.devices.devices)) {
    if (device.present && device.resident && IsStarted(device)) {
      waiting.push_back(device.instanceId);
    }
  }
  for (const std::u16string& root : waiting)
    BuildEndpointsSoon(machine, root);
}

}  // namespace

const Service* FindService(const Machine& machine, std::u16string_view name) {
  for (const auto& [key, service] : machine.services) {
    if (IsSameName(key, name)) return &service;
  }
  return nullptr;
}

Service* FindService(Machine& machine, std::u16string_view name) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the machine may be written
  return const_cast<Service*>(FindService(std::as_const(machine), name));
}

bool IsRunning(const Machine& machine, std::u16string_view name) {
  const Service* service = FindService(machine, name);
  return service != nullptr && service->running;
}

bool AudioServicesRun(const Machine& machine) {
  return IsRunning(machine, kEndpointBuilderService) && IsRunning(machine, kAudioService);
}

void RunService(Machine& machine, std::u16string_view name) {
  Service* service = FindService(machine, name);
  if (service == nullptr || service->running) return;
  service->running = true;
  if (AudioServicesRun(machine)) BuildForStartedDevices(machine);
}

// Assumed: endpoints and their children stay as they are while the services are stopped. Question:
// are the AudioEndpoint children still present after Audiosrv was stopped?
void StopService(Machine& machine, std::u16string_view name) {
  if (Service* service = FindService(machine, name)) service->running = false;
}

void RunAutomaticServices(Machine& machine) {
  for (const std::u16string_view name : kServices) {
    const Service* service = FindService(machine, name);
    if (service != nullptr && service->startError == 0) RunService(machine, name);
  }
}

}  // namespace simulated

using namespace simulated;

SC_HANDLE OpenSCManagerW(std::uint32_t desiredAccess) {
  SC_HANDLE created = nullptr;
  auto result = SimulateCall<SC_HANDLE>(
      "OpenSCManagerW", FailureStyle::LastError, nullptr,
      Arguments("desiredAccess", Hex{desiredAccess}), [&](const CallFaults&) {
        const std::uint32_t error = Process::Current().TheMachine().serviceManagerError;
        if (error != 0) return RefuseHandle(error);
        // Documented: connecting is part of every access to the service manager, and all that
        // opening a service takes.
        return created = Add(std::nullopt, desiredAccess | SC_MANAGER_CONNECT);
      });
  return KeepOnSuccess<SC_HANDLE>(ObjectKind::Service, result, created, nullptr);
}

SC_HANDLE OpenServiceW(SC_HANDLE manager, const char16_t* name, std::uint32_t desiredAccess) {
  SC_HANDLE created = nullptr;
  auto result = SimulateCall<SC_HANDLE>(
      "OpenServiceW", FailureStyle::LastError, nullptr,
      Arguments("manager", manager, "name", name, "desiredAccess", Hex{desiredAccess}),
      [&](const CallFaults&) { return created = OpenService(manager, name, desiredAccess); });
  return KeepOnSuccess<SC_HANDLE>(ObjectKind::Service, result, created, nullptr);
}

bool StartServiceW(SC_HANDLE service) {
  return SimulateBool("StartServiceW", Arguments("service", service),
                      [&](const CallFaults&) { return Start(service); });
}

bool CloseServiceHandle(SC_HANDLE handle) {
  return SimulateBool("CloseServiceHandle", Arguments("handle", handle), [&](const CallFaults&) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    return Process::Current().Remove(ObjectKind::Service, number) || FailWith(ERROR_INVALID_HANDLE);
  });
}

}  // namespace vorn::platform
