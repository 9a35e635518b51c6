#include "tests/contract/windows/guest_state.h"

#include "tests/contract/windows/answers.h"
// clang-format off
#include "platform/inf.h"
#include <windows.h>
#include <winsvc.h>
// clang-format on

namespace vorn::contract {

namespace {

constexpr const wchar_t* kAudioServices[] = {L"AudioEndpointBuilder",
                                             L"Audiosrv"};  // in start order
constexpr std::uint32_t kForceDelete = 1;  // SUOI_FORCEDELETE: also while a device uses it
constexpr DWORD kPollMs = 100;
constexpr int kMostPolls = 200;

class Service {
 public:
  explicit Service(const wchar_t* name)
      : manager_(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)),
        service_(
            ::OpenServiceW(manager_, name, SERVICE_QUERY_STATUS | SERVICE_START | SERVICE_STOP)) {}
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  ~Service() {
    if (service_ != nullptr) ::CloseServiceHandle(service_);
    if (manager_ != nullptr) ::CloseServiceHandle(manager_);
  }
  bool Start() { return ::StartServiceW(service_, 0, nullptr) != 0 && Reaches(SERVICE_RUNNING); }
  bool Stop() {
    SERVICE_STATUS status = {};
    ::ControlService(service_, SERVICE_CONTROL_STOP, &status);
    return Reaches(SERVICE_STOPPED);
  }

 private:
  bool Reaches(DWORD state) {
    SERVICE_STATUS status = {};
    for (int poll = 0; poll < kMostPolls; ++poll) {
      if (::QueryServiceStatus(service_, &status) == 0) return false;
      if (status.dwCurrentState == state) return true;
      ::Sleep(kPollMs);
    }
    return false;
  }

  ::SC_HANDLE manager_;
  ::SC_HANDLE service_;
};

void DeleteTestInf(const char16_t* name) {
  std::u16string path = WindowsInfFolder() + u"\\" + name;
  ::DeleteFileW(reinterpret_cast<const wchar_t*>(path.c_str()));
  path.replace(path.size() - 3, 3, u"pnf");  // what Windows made of it
  ::DeleteFileW(reinterpret_cast<const wchar_t*>(path.c_str()));
}

}  // namespace

void RestoreGuestState() {
  DeleteTestInf(kTestPublishedName);
  for (const std::u16string& name : ListPublished()) {
    if (OriginalNamesOf(WindowsInfFolder() + u"\\" + name).inf == kTestInfName) {
      platform::SetupUninstallOEMInfW(name.c_str(), kForceDelete);
    }
  }
  for (const wchar_t* name : kAudioServices)
    Service(name).Start();
}

bool StopAudioServices() {
  const bool sounds = Service(kAudioServices[1]).Stop();
  return Service(kAudioServices[0]).Stop() && sounds;
}

}  // namespace vorn::contract
