#include "platform/owners.h"
#include "platform/services.h"
#include "platform/simulated/error_values.h"
#include "tests/simulated/audio_machine.h"

#include <gtest/gtest.h>

namespace vorn::platform::simulated {
namespace {

class ServiceCalls : public testing::Test {
 protected:
  ServiceHandle Manager() { return ServiceHandle(OpenSCManagerW(SC_MANAGER_CONNECT)); }

  ServiceHandle OpenToStart(const char16_t* name) {
    return ServiceHandle(OpenServiceW(Manager().Get(), name, SERVICE_START));
  }

  /// Starts a service; 0, or the error.
  std::uint32_t Start(const char16_t* name) {
    return StartServiceW(OpenToStart(name).Get()) ? ERROR_SUCCESS : GetLastError();
  }

  Machine machine = StartedMachine();
  Process process{machine};
};

TEST_F(ServiceCalls, StartAStoppedService) {
  StopService(machine, kEndpointBuilderService);
  EXPECT_EQ(Start(kEndpointBuilderService), ERROR_SUCCESS);
  EXPECT_TRUE(IsRunning(machine, kEndpointBuilderService));
  EXPECT_TRUE(process.OpenObjects().empty());
}

TEST_F(ServiceCalls, FindAServiceInAnyCase) {
  EXPECT_TRUE(OpenToStart(u"AUDIOSRV"));
}

TEST_F(ServiceCalls, RefuseToStartARunningService) {
  EXPECT_EQ(Start(kAudioService), ERROR_SERVICE_ALREADY_RUNNING);
}

TEST_F(ServiceCalls, DoNotFindAMissingService) {
  machine.services.erase(kAudioService);
  EXPECT_FALSE(OpenToStart(kAudioService));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_DOES_NOT_EXIST);
  EXPECT_FALSE(OpenToStart(u""));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);
}

TEST_F(ServiceCalls, FailEachStepAsConfigured) {
  StopService(machine, kEndpointBuilderService);
  machine.services[kEndpointBuilderService].startError = ERROR_SERVICE_DISABLED;
  EXPECT_EQ(Start(kEndpointBuilderService), ERROR_SERVICE_DISABLED);
  EXPECT_FALSE(IsRunning(machine, kEndpointBuilderService));
  machine.services[kEndpointBuilderService].openError = ERROR_ACCESS_DENIED;
  EXPECT_FALSE(OpenToStart(kEndpointBuilderService));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  machine.serviceManagerError = 1722;
  EXPECT_FALSE(Manager());
  EXPECT_EQ(GetLastError(), 1722u);
}

TEST_F(ServiceCalls, RequireTheRightToStart) {
  const ServiceHandle manager = Manager();
  const ServiceHandle service(OpenServiceW(manager.Get(), kAudioService, 0));
  StopService(machine, kAudioService);
  EXPECT_FALSE(StartServiceW(service.Get()));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_FALSE(IsRunning(machine, kAudioService));
}

TEST_F(ServiceCalls, DistinguishManagersFromServices) {
  const ServiceHandle manager = Manager();
  const ServiceHandle service = OpenToStart(kAudioService);
  EXPECT_FALSE(StartServiceW(manager.Get()));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(OpenServiceW(service.Get(), kAudioService, SERVICE_START), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(OpenServiceW(nullptr, kAudioService, SERVICE_START), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_F(ServiceCalls, CloseAHandleOnce) {
  const SC_HANDLE manager = OpenSCManagerW(SC_MANAGER_CONNECT);
  EXPECT_TRUE(CloseServiceHandle(manager));
  EXPECT_FALSE(CloseServiceHandle(manager));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_F(ServiceCalls, StartADependencyFirst) {
  StopService(machine, kEndpointBuilderService);
  StopService(machine, kAudioService);
  EXPECT_EQ(Start(kAudioService), ERROR_SUCCESS);
  EXPECT_TRUE(AudioServicesRun(machine));
  StopService(machine, kEndpointBuilderService);
  StopService(machine, kAudioService);
  machine.services[kEndpointBuilderService].startError = ERROR_SERVICE_DISABLED;
  EXPECT_EQ(Start(kAudioService), ERROR_SERVICE_DEPENDENCY_FAIL);
  machine.services.erase(kEndpointBuilderService);
  EXPECT_EQ(Start(kAudioService), ERROR_SERVICE_DEPENDENCY_DELETED);
  EXPECT_FALSE(IsRunning(machine, kAudioService));
}

TEST_F(ServiceCalls, LetTheBuilderServeAWaitingDevice) {
  StopService(machine, kAudioService);
  EXPECT_EQ(Start(kAudioService), ERROR_SUCCESS);
  Advance(machine, machine.audio.buildDelay);
  EXPECT_EQ(CountEndpoints(machine, 1), 20u);
}

TEST_F(ServiceCalls, RunWithTheMachineAfterARestart) {
  StopService(machine, kEndpointBuilderService);
  StopService(machine, kAudioService);
  machine.services[kAudioService].startError = ERROR_SERVICE_DISABLED;
  RunAutomaticServices(machine);
  EXPECT_TRUE(IsRunning(machine, kEndpointBuilderService));
  EXPECT_FALSE(IsRunning(machine, kAudioService));
}

TEST_F(ServiceCalls, KeepNoHandleOfAFailedOpen) {
  process.faults.push_back({"*", 1, kEveryLaterCall, FaultKind::FailAfterEffect, 8, 0, {}});
  EXPECT_FALSE(Manager());
  EXPECT_EQ(GetLastError(), 8u);
  EXPECT_TRUE(process.OpenObjects().empty());
}

}  // namespace
}  // namespace vorn::platform::simulated
