#include "package_world.h"

#include "base/text.h"
#include "platform/simulated/crypto_model.h"
#include "platform/simulated/native_values.h"
#include "tests/support/sample.h"

#include <stdexcept>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

/// Whether a call reports failure as an NTSTATUS.
bool IsNative(std::string_view call) {
  return call.starts_with("BCrypt") || call.starts_with("Nt");
}

/// Whether a call opens something that the caller closes.
bool IsOpening(std::string_view call) {
  return call == "NtCreateFile" || call == "SetupOpenInfFileW" ||
         call == "BCryptOpenAlgorithmProvider" || call == "BCryptCreateHash";
}

}  // namespace

Machine BareMachine() {
  Machine machine;
  AddVolume(machine.files, u'C', u"\\Device\\HarddiskVolume3",
            u"01234567-89ab-cdef-0123-456789abcdef");
  PutFile(machine.files, std::u16string(kInfFolder) + u"usb.inf",
          "[Version]\nSignature=\"$Windows NT$\"\nClass=USB\n");
  return machine;
}

Machine MachineWithInf() {
  return MachineWithInf(SoundInf());
}

Machine MachineWithInf(std::string_view text) {
  Machine machine = BareMachine();
  PutFile(machine.files, kSampleInf, text);
  return machine;
}

std::string SoundInf() {
  return R"([Version]
Signature="$Windows NT$"
Class=MEDIA
ClassGuid={4d36e96c-e325-11ce-bfc1-08002be10318}
Provider=%ProviderName%
CatalogFile=vorn_audio.cat
DriverVer=08/10/2026,26.8.10.5

[Manufacturer]
%ProviderName%=VornAudioDevices,NTamd64.10.0...19041

[VornAudioDevices.NTamd64.10.0...19041]
%DeviceDesc%=VornAudio_Install,Root\VornAudio

[VornAudio_Install]
CopyFiles=VornAudio_Files

[VornAudio_Install.Services]
AddService=VornAudio,0x00000002,VornAudio_Service

[VornAudio_Service]
ServiceBinary=%12%\vorn_audio.sys

[Strings]
ProviderName="VORN Audio"
DeviceDesc="VORN Audio Device"
)";
}

std::string With(std::string text, std::string_view from, std::string_view to) {
  const std::size_t at = text.find(from);
  if (at == std::string::npos) throw std::invalid_argument(std::string(from));
  return text.replace(at, from.size(), to);
}

std::string InfWith(std::string_view from, std::string_view to) {
  return With(SoundInf(), from, to);
}

Bytes ToUtf16Bytes(std::string_view ascii) {
  Bytes bytes = {0xFF, 0xFE};
  for (const char character : ascii) {
    bytes.push_back(static_cast<std::uint8_t>(character));
    bytes.push_back(0);
  }
  return bytes;
}

void Publish(Machine& machine, std::u16string_view publishedInf, std::string_view text,
             std::u16string_view originalInf, std::u16string_view originalCatalog) {
  PutFile(machine.files, kInfFolder + std::u16string(publishedInf), text);
  PublishedPackage package;
  package.publishedInf = publishedInf;
  package.originalInf = originalInf;
  package.originalCatalog = originalCatalog;
  machine.store.packages.push_back(package);
}

void SetContent(InfIdentity& identity, std::string_view text) {
  identity.infSha256 = ToUtf16(Sha256Hex(Bytes(text.begin(), text.end())));
  identity.infSize = text.size();
}

InfIdentity SoundIdentity() {
  const std::string text = SoundInf();
  InfIdentity identity;
  identity.originalInfName = u"vorn_audio.inf";
  identity.originalCatalogName = u"vorn_audio.cat";
  identity.providerName = u"VORN Audio";
  identity.className = u"MEDIA";
  identity.classGuid = u"{4d36e96c-e325-11ce-bfc1-08002be10318}";
  identity.catalogFile = u"vorn_audio.cat";
  identity.driverDate = u"08/10/2026";
  identity.driverVersion = u"26.8.10.5";
  SetContent(identity, text);
  identity.hasExactModel = true;
  identity.hasExactService = true;
  return identity;
}

std::vector<std::string> ArgumentsOf(const Process& process, std::string_view name,
                                     std::string_view argument) {
  std::vector<std::string> values;
  for (const CallRecord& call : CallsOf(process, name))
    values.push_back(call.Argument(argument));
  return values;
}

bool IsRelease(std::string_view call) {
  return call == "CloseHandle" || call == "SetupCloseInfFile" || call == "BCryptDestroyHash" ||
         call == "BCryptCloseAlgorithmProvider";
}

::testing::AssertionResult NothingIsOpen(const Process& process) {
  for (const auto& [kind, count] : process.OpenObjects()) {
    if (count != 0) {
      return ::testing::AssertionFailure()
             << count << " objects of kind " << static_cast<int>(kind) << " are open";
    }
  }
  return ::testing::AssertionSuccess();
}

void FailEachCall(const Machine& machine,
                  const std::function<void(Process& process, const std::string& failing)>& body,
                  FaultKind kind) {
  std::vector<CallRecord> calls;
  {
    Machine copy = machine;
    Process process(copy);
    process.logCalls = true;
    body(process, "");
    EXPECT_TRUE(NothingIsOpen(process));
    calls = process.calls;
  }
  for (std::uint32_t nth = 1; nth <= calls.size(); ++nth) {
    const std::string& failing = calls[nth - 1].name;
    SCOPED_TRACE("call " + std::to_string(nth) + ", " + failing + ", fails");
    Machine copy = machine;
    Process process(copy);
    process.logCalls = true;
    Fault fault;
    fault.first = fault.last = nth;
    fault.kind = kind;
    if (IsNative(failing)) fault.error = static_cast<std::uint32_t>(platform::STATUS_UNSUCCESSFUL);
    process.faults.push_back(fault);
    body(process, failing);
    // What a call opens although it fails is nobody's to close.
    const bool leaves = kind == FaultKind::FailAfterEffect && IsOpening(failing);
    if (!IsRelease(failing) && !leaves) {
      EXPECT_TRUE(NothingIsOpen(process));
    }
  }
}

void FailEachCallAfterItsEffect(
    const Machine& machine,
    const std::function<void(Process& process, const std::string& failing)>& body) {
  FailEachCall(machine, body, FaultKind::FailAfterEffect);
}

}  // namespace vorn::tests
