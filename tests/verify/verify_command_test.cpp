#include "base/text.h"
#include "platform/config_manager.h"
#include "tests/support/activation.h"
#include "tests/support/catalog_lists.h"
#include "tests/support/console_lines.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"
#include "tests/verify/journalled_machines.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using tests::ConsoleLine;
using tests::ControlRequests;
using tests::EndpointAt;
using tests::Err;
using tests::ExpectRun;
using tests::FreshTarget;
using tests::JournalledMachine;
using tests::kRootId;
using tests::kSampleJournal;
using tests::Perform;
using tests::ProvenLine;
using tests::PutJournal;
using tests::RunResult;
using tests::SelectedMachine;
using tests::UpdateTarget;
using tests::VisibilityRequests;
using tests::WithIdentity;

const ConsoleLine kMissingJournal = Err("vorn_devnode: activation state missing or unsafe");
const ConsoleLine kVerifyMissing =
    Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - protected activation state is missing or "
        "malformed");
const ConsoleLine kVerifyMismatch =
    Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - journal target does not match protected INF "
        "DriverVer");
const ConsoleLine kActivateMismatch =
    Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - protected activation identity is missing or "
        "mismatched");

class IdentityGate : public testing::TestWithParam<const char16_t*> {
 protected:
  /// The command's line for a journal that is missing or malformed, and for one of another package.
  bool IsVerify() const { return std::u16string_view(GetParam()) == u"verify"; }
  ConsoleLine Missing() const { return IsVerify() ? kVerifyMissing : kActivateMismatch; }
  ConsoleLine Mismatch() const { return IsVerify() ? kVerifyMismatch : kActivateMismatch; }
  ExitStatus Refusal() const { return IsVerify() ? kExitEndpointsMissing : kExitHotSwapFailed; }

  /// A refusal looks at no device.
  static void ExpectNoDeviceWasTouched(const RunResult& run) {
    EXPECT_FALSE(run.Called("SetupDiGetClassDevsW"));
    EXPECT_FALSE(run.Called("DeviceIoControl"));
    EXPECT_FALSE(run.Called("OpenSCManagerW"));
  }
};

INSTANTIATE_TEST_SUITE_P(Commands, IdentityGate, testing::Values(u"verify", u"hot-activate"));

TEST_P(IdentityGate, RefusesAMissingJournal) {
  Machine machine = InstalledMachine();
  const RunResult run = Perform(machine, WithIdentity(GetParam()));
  ExpectRun(run, Refusal(), {kMissingJournal, Missing()});
  ExpectNoDeviceWasTouched(run);
}

TEST_P(IdentityGate, RefusesAMalformedJournal) {
  // A journal that the writer accepts and the parser refuses: it holds a present id twice.
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  state.present.back() = ToLowerAscii(state.present.front());
  PutJournal(machine, state);
  const RunResult run = Perform(machine, WithIdentity(GetParam()));
  ExpectRun(run, Refusal(), {Missing()});
  ExpectNoDeviceWasTouched(run);
}

TEST_P(IdentityGate, RefusesAJournalThatOthersMayWrite) {
  Machine machine = JournalledMachine();
  const auto generous = platform::simulated::ParseSddl(u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;WD)");
  ASSERT_TRUE(generous.has_value());
  NodeAt(machine.files, kSampleJournal).security = *generous;
  const RunResult run = Perform(machine, WithIdentity(GetParam()));
  ExpectRun(run, Refusal(), {kMissingJournal, Missing()});
  ExpectNoDeviceWasTouched(run);
}

TEST_P(IdentityGate, RefusesAnotherVersionOrDate) {
  Machine machine = JournalledMachine();
  const std::pair<const char16_t*, const char16_t*> expectations[] = {
      {u"26.8.10.6", u"08/10/2026"},  {u"26.8.10.5", u"08/11/2026"}, {u"26.8.10", u"08/10/2026"},
      {u"26.8.10.5", u"8/10/2026"},   {u"", u"08/10/2026"},          {u"26.8.10.5", u""},
      {u"26.8.10.5 ", u"08/10/2026"}, {u"08/10/2026", u"26.8.10.5"}};
  for (const auto& [version, date] : expectations) {
    Machine copy = machine;
    const RunResult run = Perform(copy, WithIdentity(GetParam(), version, date));
    ExpectRun(run, Refusal(), {Mismatch()});
    ExpectNoDeviceWasTouched(run);
  }
}

TEST_P(IdentityGate, ComparesDatesAsTexts) {
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  state.target.date = u"2026-1-2";
  PutJournal(machine, state);
  ExpectRun(Perform(machine, WithIdentity(GetParam(), u"26.8.10.5", u"2026-01-02")), Refusal(),
            {Mismatch()});
}

TEST_P(IdentityGate, IgnoresLetterCase) {
  // No package has such a version; the gate lets it pass and the engine names what is wrong.
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  state.target.version = u"26.8.10.5-Beta";
  state.target.date = u"aug 10";
  PutJournal(machine, state);
  const RunResult run = Perform(machine, WithIdentity(GetParam(), u"26.8.10.5-bETA", u"AUG 10"));
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_NE(ToUtf8(run.errorOutput)
                .find("package=live root is bound to the wrong driver version; kernel=; "
                      "resident=expected driver version is not an exact four-part DriverVer; "),
            std::string::npos)
      << ToUtf8(run.errorOutput);
}

// ------------------------------------------------------------------------------------------------

TEST(VerifyCommand, ProvesTheMachineAgainstItsJournal) {
  Machine machine = JournalledMachine();
  ExpectRun(Perform(machine, WithIdentity(u"verify")), kExitOk, {ProvenLine(machine)});
}

TEST(VerifyCommand, ProvesAFreshInstall) {
  Machine machine = InstalledMachine();
  PutJournal(machine, FreshTarget(machine));
  ExpectRun(Perform(machine, WithIdentity(u"VERIFY")), kExitOk, {ProvenLine(machine)});
}

TEST(VerifyCommand, LetsARealUpdateRemintEveryId) {
  // That a package did not change is never part of a journal.
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  for (CatalogEndpoint& endpoint : state.catalog)
    endpoint.endpointId += u"-old";
  PutJournal(machine, state);
  ExpectRun(Perform(machine, WithIdentity(u"verify")), kExitOk, {ProvenLine(machine)});
}

TEST(VerifyCommand, ReportsADeviceThatIsNotStarted) {
  Machine machine = JournalledMachine();
  DisableDevice(machine, kRootId);
  ExpectRun(
      Perform(machine, WithIdentity(u"verify")), kExitNotStarted,
      {Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=22)")});
}

TEST(VerifyCommand, ReportsWhatIsMissing) {
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  EndpointAt(state.catalog, 5, true).active = false;
  PutJournal(machine, state);
  ExpectRun(
      Perform(machine, WithIdentity(u"verify")), kExitEndpointsMissing,
      {Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
           "resident=proven; catalog=healthy; mapping=driver update activated an endpoint the user "
           "had not claimed; present= (catalog=20, active=20, present-pnp=20)")});
}

TEST(VerifyCommand, FindsThatAnotherImageIsResident) {
  Machine machine = SelectedMachine();
  const RunResult run = Perform(machine, WithIdentity(u"verify"));
  ExpectRun(
      run, kExitEndpointsMissing,
      {Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
           "resident=RESIDENT IMAGE MISMATCH: driver reports 26.8.9 (0x001A0809) but the package "
           "being activated is 26.8.10.5. PnP metadata is not proof -- the devnode restart did not "
           "load the new image.; catalog=healthy; mapping=; present= (catalog=20, active=20, "
           "present-pnp=20)")});
}

TEST(VerifyCommand, ChangesNoDeviceDriverOrFile) {
  Machine machine = JournalledMachine();
  const RunResult run = Perform(machine, WithIdentity(u"verify"));
  for (const char* call : {"SetupDiCallClassInstaller", "SetupDiSetClassInstallParamsW",
                           "UpdateDriverForPlugAndPlayDevicesW", "SetupUninstallOEMInfW",
                           "WriteFile", "SetFileInformationByHandle",
                           "CM_Query_And_Remove_SubTreeW", "NtDeleteKey", "CreateDirectoryW"}) {
    EXPECT_FALSE(run.Called(call)) << call;
  }
  EXPECT_TRUE(VisibilityRequests(run).empty());
  EXPECT_EQ(ControlRequests(run, "0x226000"), 0u);
  // The journal is still there for the next run.
  ExpectRun(Perform(machine, WithIdentity(u"verify")), kExitOk, {ProvenLine(machine)});
}

}  // namespace
}  // namespace vorn
