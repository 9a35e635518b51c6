#include "package/published_package.h"

#include "base/text.h"
#include "devnode/root_discovery.h"
#include "package_world.h"
#include "platform/files.h"
#include "platform/simulated/crypto_model.h"
#include "product/product.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

constexpr char16_t kNotAuthenticated[] = u"live published OEM INF could not be authenticated";
constexpr char16_t kDifferent[] = u"live root is bound to a different signed INF package";

TEST(IsPublishedOemInfName, AcceptsOemDigitsInf) {
  for (const char16_t* name : {u"oem0.inf", u"OEM12.INF", u"Oem3.Inf", u"oem007.inf",
                               u"oem99999999999999999999999999.inf"}) {
    EXPECT_TRUE(IsPublishedOemInfName(name)) << std::string(name, name + 8);
  }
}

TEST(IsPublishedOemInfName, RefusesEverythingElse) {
  for (const std::u16string_view name : {u"",           u"oem",           u".inf",
                                         u"oem.inf",    u"oem1.pnf",      u"oemA.inf",
                                         u"oem1a.inf",  u"oem1 .inf",     u"oem 1.inf",
                                         u" oem1.inf",  u"oem1.inf ",     u"oem-1.inf",
                                         u"oem1.2.inf", u"..\\oem1.inf",  u"a/oem1.inf",
                                         u"oem1\\.inf", u"oem/1.inf",     u"xem1.inf",
                                         u"oem1.in",    u"oem1.inf.inf",  u"oem\u0661.inf",
                                         u"oem1inf",    u"vorn_audio.inf"}) {
    EXPECT_FALSE(IsPublishedOemInfName(name)) << std::string(name.begin(), name.end());
  }
}

TEST(CompareBoundIdentity, GivesTheFirstReasonThatApplies) {
  struct Row {
    const char16_t* expectedVersion;
    const char16_t* expectedService;
    const char16_t* boundVersion;
    const char16_t* boundService;
    const char16_t* reason;
  };
  constexpr char16_t kNoExpected[] = u"activation state has no expected driver identity";
  constexpr char16_t kNoBound[] = u"live root has no bound driver identity";
  constexpr char16_t kVersion[] = u"live root is bound to the wrong driver version";
  constexpr char16_t kService[] = u"live root is bound to the wrong driver service";
  for (const Row& row : {
           Row{u"1.2", u"S", u"1.2", u"S", u""},
           Row{u"1.2a", u"Vorn", u"1.2A", u"vORN", u""},
           Row{u"1.2", u"S", u"1.2.3", u"S", kVersion},
           Row{u"1.2.3", u"S", u"1.2", u"S", kVersion},
           Row{u"1.2", u"S", u"1.2", u"S2", kService},
           Row{u"1.2", u"S2", u"1.2", u"S", kService},
           Row{u"", u"S", u"", u"", kNoExpected},
           Row{u"1.2", u"", u"1.2", u"S", kNoExpected},
           Row{u"1.2", u"S", u"", u"S", kNoBound},
           Row{u"1.2", u"S", u"1.2", u"", kNoBound},
           Row{u"1.2", u"S", u"1.20", u"Other", kVersion},
           Row{u"1.2", u"S", u"1.2", u"Other", kService},
           Row{u"1.2", u"S", u"1.2 ", u"S", kVersion},
       }) {
    const CheckResult result = CompareBoundIdentity(row.expectedVersion, row.expectedService,
                                                    row.boundVersion, row.boundService);
    EXPECT_EQ(result.reason, row.reason);
    EXPECT_EQ(result.ok, result.reason.empty());
  }
}

// ------------------------------------------------------------------------------------------------

/// A machine on which the package is published as oem3.inf.
Machine BoundMachine() {
  Machine machine = BareMachine();
  Publish(machine, u"oem3.inf", SoundInf());
  return machine;
}

DriverIdentity Expected() {
  const InfIdentity identity = SoundIdentity();
  return {identity.driverVersion, identity.driverDate, kDriverServiceName, identity.infSha256};
}

LiveRoot BoundRoot() {
  LiveRoot root;
  root.ok = true;
  root.driverVersion = u"26.8.10.5";
  root.service = u"VornAudio";
  root.driverInfPath = u"oem3.inf";
  return root;
}

struct Verdict {
  CheckResult result;
  std::u16string errorOutput;
  std::vector<CallRecord> calls;
};

Verdict Authenticate(Machine machine, const DriverIdentity& expected = Expected(),
                     const LiveRoot& root = BoundRoot(), std::vector<Fault> faults = {}) {
  Process process(machine);
  process.logCalls = true;
  process.faults = std::move(faults);
  Verdict answer;
  answer.result = AuthenticatePublishedPackage(expected, root);
  answer.errorOutput = process.ErrorOutput();
  answer.calls = process.calls;
  EXPECT_TRUE(NothingIsOpen(process));
  EXPECT_EQ(answer.result.ok, answer.result.reason.empty());
  EXPECT_EQ(process.Output(), u"");
  return answer;
}

TEST(AuthenticatePublishedPackage, AcceptsThePackageThatIsBound) {
  const Verdict answer = Authenticate(BoundMachine());
  EXPECT_TRUE(answer.result.ok);
  EXPECT_EQ(answer.errorOutput, u"");
}

TEST(AuthenticatePublishedPackage, NeverTouchesTheInfFolderOfAWrongService) {
  LiveRoot root = BoundRoot();
  root.service = u"Other";
  const Verdict answer = Authenticate(BoundMachine(), Expected(), root);
  EXPECT_EQ(answer.result.reason, u"live root is bound to the wrong driver service");
  EXPECT_TRUE(answer.calls.empty());
}

TEST(AuthenticatePublishedPackage, RefusesAnUnsafePublishedNameWithoutAnyCall) {
  for (const char16_t* name :
       {u"", u"vorn_audio.inf", u"..\\INF\\oem3.inf", u"C:\\Windows\\INF\\oem3.inf"}) {
    LiveRoot root = BoundRoot();
    root.driverInfPath = name;
    const Verdict answer = Authenticate(BoundMachine(), Expected(), root);
    EXPECT_EQ(answer.result.reason, u"live root has no safe published OEM INF identity");
    EXPECT_TRUE(answer.calls.empty());
  }
}

TEST(AuthenticatePublishedPackage, ComparesWhatIsBoundBeforeThePublishedName) {
  LiveRoot root = BoundRoot();
  root.driverInfPath = u"vorn_audio.inf";
  root.driverVersion = u"26.8.10.6";
  EXPECT_EQ(Authenticate(BoundMachine(), Expected(), root).result.reason,
            u"live root is bound to the wrong driver version");
}

TEST(AuthenticatePublishedPackage, TakesTheServiceFromTheExpectedIdentity) {
  DriverIdentity expected = Expected();
  expected.service = u"Other";
  EXPECT_EQ(Authenticate(BoundMachine(), expected).result.reason,
            u"live root is bound to the wrong driver service");
}

TEST(AuthenticatePublishedPackage, NeedsTheWindowsFolder) {
  Fault fault;
  fault.call = "GetWindowsDirectoryW";
  EXPECT_EQ(Authenticate(BoundMachine(), Expected(), BoundRoot(), {fault}).result.reason,
            u"Windows INF directory could not be resolved");
}

TEST(AuthenticatePublishedPackage, AcceptsAWindowsFolderOfUpTo32767Units) {
  constexpr char16_t kUnresolved[] = u"Windows INF directory could not be resolved";
  Machine machine = BoundMachine();
  machine.files.windowsFolder = u"C:\\" + std::u16string(32764, u'x');
  EXPECT_EQ(Authenticate(machine).result.reason, kNotAuthenticated) << "resolved, not there";
  machine.files.windowsFolder += u'x';
  EXPECT_EQ(Authenticate(machine).result.reason, kUnresolved);
}

TEST(AuthenticatePublishedPackage, AsksForTheWindowsFolderWithABufferOf32768) {
  for (const CallRecord& call : Authenticate(BoundMachine()).calls) {
    if (call.name != "GetWindowsDirectoryW") continue;
    EXPECT_EQ(call.Argument("uSize"), "32768");
    return;
  }
  FAIL() << "not asked";
}

TEST(AuthenticatePublishedPackage, RefusesAPackageWhoseBytesDiffer) {
  Machine machine = BoundMachine();
  PutFile(machine.files, u"C:\\Windows\\INF\\oem3.inf", SoundInf() + " ");
  EXPECT_EQ(Authenticate(machine).result.reason, kDifferent);
}

TEST(AuthenticatePublishedPackage, RefusesAnotherDateOrVersion) {
  DriverIdentity expected = Expected();
  for (const char16_t* date : {u"08/11/2026", u"08/10/202", u"08/10/20266", u""}) {
    expected.date = date;
    EXPECT_EQ(Authenticate(BoundMachine(), expected).result.reason, kDifferent);
  }
  // The version that the platform reports can differ from the one in the INF.
  expected = Expected();
  expected.version = u"26.8.10.6";
  LiveRoot root = BoundRoot();
  root.driverVersion = u"26.8.10.6";
  EXPECT_EQ(Authenticate(BoundMachine(), expected, root).result.reason, kDifferent);
}

TEST(AuthenticatePublishedPackage, IgnoresTheCaseOfDateAndVersion) {
  Machine machine = BareMachine();
  const std::string text = InfWith("08/10/2026,26.8.10.5", "10.aug.2026,26.8.10.5b");
  Publish(machine, u"oem3.inf", text);
  DriverIdentity expected = Expected();
  expected.date = u"10.AUG.2026";
  expected.version = u"26.8.10.5B";
  expected.infSha256 = ToUtf16(Sha256Hex(Bytes(text.begin(), text.end())));
  LiveRoot root = BoundRoot();
  root.driverVersion = u"26.8.10.5b";
  EXPECT_EQ(Authenticate(machine, expected, root).result.reason, u"");
}

TEST(AuthenticatePublishedPackage, IgnoresTheCaseOfTheHash) {
  DriverIdentity expected = Expected();
  for (char16_t& unit : expected.infSha256) {
    if (unit >= u'a') unit = static_cast<char16_t>(unit - 0x20);
  }
  EXPECT_TRUE(Authenticate(BoundMachine(), expected).result.ok);
}

TEST(AuthenticatePublishedPackage, FindsThePublishedInfInAnyCase) {
  LiveRoot root = BoundRoot();
  root.driverInfPath = u"OEM3.INF";
  EXPECT_TRUE(Authenticate(BoundMachine(), Expected(), root).result.ok);
}

TEST(AuthenticatePublishedPackage, FailsWhenThePublishedInfIsGone) {
  Machine machine = BoundMachine();
  RemovePath(machine.files, u"C:\\Windows\\INF\\oem3.inf");
  const Verdict answer = Authenticate(machine);
  EXPECT_EQ(answer.result.reason, kNotAuthenticated);
  EXPECT_EQ(answer.errorOutput, u"");
}

TEST(AuthenticatePublishedPackage, LeavesItToTheReaderToReportAnInfWithoutDriverVer) {
  Machine machine = BoundMachine();
  PutFile(machine.files, u"C:\\Windows\\INF\\oem3.inf", InfWith("DriverVer", "DriverVersion"));
  const Verdict answer = Authenticate(machine);
  EXPECT_EQ(answer.result.reason, kNotAuthenticated);
  EXPECT_EQ(answer.errorOutput, u"vorn_devnode: INF has no valid DriverVer date/version\n");
}

TEST(AuthenticatePublishedPackage, DoesNotFollowALinkAnywhereOnTheWay) {
  {
    Machine machine = BoundMachine();
    MovePath(machine.files, u"C:\\Windows\\INF", u"C:\\Elsewhere");
    PutLink(machine.files, u"C:\\Windows\\INF", ReparseKind::Junction, u"\\??\\C:\\Elsewhere",
            true);
    EXPECT_EQ(Authenticate(machine).result.reason, kNotAuthenticated);
  }
  {
    Machine machine = BoundMachine();
    MovePath(machine.files, u"C:\\Windows\\INF\\oem3.inf", u"C:\\real.inf");
    PutLink(machine.files, u"C:\\Windows\\INF\\oem3.inf", ReparseKind::SymbolicLink,
            u"\\??\\C:\\real.inf", false);
    EXPECT_EQ(Authenticate(machine).result.reason, kNotAuthenticated);
  }
}

TEST(AuthenticatePublishedPackage, LimitsThePublishedInfTo4MiB) {
  for (const std::size_t size : {std::size_t{4194304}, std::size_t{4194305}}) {
    Machine machine = BoundMachine();
    std::string text = SoundInf() + ";";
    text.resize(size, 'x');
    PutFile(machine.files, u"C:\\Windows\\INF\\oem3.inf", text);
    EXPECT_EQ(Authenticate(machine).result.reason,
              size == 4194304 ? kDifferent : kNotAuthenticated);
  }
}

TEST(AuthenticatePublishedPackage, WorksThroughOneHandleOfTheFile) {
  const Verdict answer = Authenticate(BoundMachine());
  std::vector<std::string> opened;
  for (const CallRecord& call : answer.calls) {
    if (call.name == "NtCreateFile") opened.push_back(call.Argument("ObjectName"));
  }
  EXPECT_EQ(opened, (std::vector<std::string>{"\\Device\\HarddiskVolume3\\", "Windows", "INF",
                                              "oem3.inf"}));
}

TEST(AuthenticatePublishedPackage, BelievesNoAnswerOfACallThatFailed) {
  FailEachCallAfterItsEffect(BoundMachine(), [](Process&, const std::string& failing) {
    const CheckResult result = AuthenticatePublishedPackage(Expected(), BoundRoot());
    EXPECT_EQ(result.ok, failing.empty() || IsRelease(failing));
  });
}

TEST(AuthenticatePublishedPackage, FailsWhenAnyCallFails) {
  FailEachCall(BoundMachine(), [](Process&, const std::string& failing) {
    const CheckResult result = AuthenticatePublishedPackage(Expected(), BoundRoot());
    EXPECT_EQ(result.ok, failing.empty() || IsRelease(failing)) << failing;
  });
}

}  // namespace
}  // namespace vorn
