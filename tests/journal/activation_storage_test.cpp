#include "journal/activation_storage.h"

#include "base/text.h"
#include "platform/native.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/protected_files.h"
#include "tests/privileged_input/input_test.h"
#include "tests/support/catalog_lists.h"
#include "tests/support/console_calls.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace vorn {
namespace {

using privileged_input::AbsolutePath;
using tests::CompleteCatalog;
using tests::kProtectedSddl;
using tests::kSampleJournal;
using tests::Repeat;

constexpr std::u16string_view kRefused = u"vorn_devnode: refusing malformed activation state\n";
constexpr std::u16string_view kPersisted =
    u"vorn_devnode: persisted protected pre-bind activation state\n";

ActivationState JournalOfAFreshInstall() {
  ActivationState state;
  state.fresh = true;
  state.target.version = u"26.8.10.5";
  state.target.date = u"08/10/2026";
  state.target.service = u"VornAudio";
  state.target.infSha256 = u"0123456789abcdef0123456789ABCDEF0123456789abcdef0123456789abcdef";
  return state;
}

ActivationState JournalOfAnUpdate() {
  ActivationState state = JournalOfAFreshInstall();
  state.fresh = false;
  state.catalog = CompleteCatalog();
  for (const CatalogEndpoint& endpoint : state.catalog)
    state.present.push_back(InstanceIdOfEndpoint(endpoint.endpointId));
  return state;
}

sim::Bytes ToBytes(std::u16string_view text) {
  sim::Bytes bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

class JournalStorage : public tests::InputTest {
 protected:
  JournalStorage() { sim::MakeFolder(Files(), u"C:\\pkg"); }

  /// Releases this run's handles, so that what follows finds the file as another run would.
  void EndRun() { protectedFiles_ = {}; }

  /// A journal of this run in another place.
  Journal JournalAt(std::u16string_view path) {
    return Journal(protectedFiles_, AbsolutePath::Parse(path));
  }

  void PutJournal(std::u16string_view text) { PutProtectedFile(kSampleJournal, ToBytes(text)); }

  bool Reads() { return journal_.Read().has_value(); }
  void ExpectErrorLine(std::u16string_view line) {
    EXPECT_EQ(ToUtf8(process.ErrorOutput()), ToUtf8(line));
    process.console.clear();
  }
  void ExpectRefused(const ActivationState& state) {
    process.console.clear();
    process.calls.clear();
    EXPECT_FALSE(journal_.Write(state));
    EXPECT_EQ(process.calls.size(), 2U) << "only the line on the console";
    EXPECT_EQ(process.Output(), u"");
    ExpectErrorLine(kRefused);
    EXPECT_FALSE(Exists(kSampleJournal));
  }
  void ExpectRefused(const std::function<void(ActivationState&)>& damage) {
    ActivationState state = JournalOfAnUpdate();
    damage(state);
    ExpectRefused(state);
  }

  privileged_input::ProtectedFiles protectedFiles_;
  Journal journal_{protectedFiles_, PathOf(kSampleJournal)};
};

// ------------------------------------------------------------------------------------------------
// Writing.

TEST_F(JournalStorage, WritesTheTextInCodeUnitsWithoutMarkOrTerminator) {
  EXPECT_TRUE(journal_.Write(JournalOfAnUpdate()));
  EXPECT_EQ(*sim::ReadWholeFile(Files(), kSampleJournal),
            ToBytes(SerializeActivationState(JournalOfAnUpdate())));
  EXPECT_EQ(process.Output(), kPersisted);
  EXPECT_EQ(process.ErrorOutput(), u"");
}

/// A state with an endpoint id whose units need both bytes, and those units in the file.
ActivationState StateWithAWideId() {
  ActivationState state = JournalOfAnUpdate();
  state.catalog[0].endpointId = u"\u97F3\U0001F50A";
  return state;
}
constexpr std::uint8_t kWideIdInTheFile[] = {0xF3, 0x97, 0x3D, 0xD8, 0x0A, 0xDD, '\n', 0};

TEST_F(JournalStorage, WritesTheLowByteOfEachUnitFirst) {
  ASSERT_TRUE(journal_.Write(StateWithAWideId()));
  const sim::Bytes content = *sim::ReadWholeFile(Files(), kSampleJournal);
  const auto found = std::search(content.begin(), content.end(), std::begin(kWideIdInTheFile),
                                 std::end(kWideIdInTheFile));
  EXPECT_NE(found, content.end());
}

TEST_F(JournalStorage, ReadsBothBytesOfEachUnit) {
  sim::Bytes content = ToBytes(SerializeActivationState(StateWithAWideId()));
  PutProtectedFile(kSampleJournal, content);
  EXPECT_EQ(journal_.Read(), StateWithAWideId());
}

TEST_F(JournalStorage, IsReadBackInTheSameRunAndInTheNext) {
  for (const ActivationState& written : {JournalOfAFreshInstall(), JournalOfAnUpdate()}) {
    ASSERT_TRUE(journal_.Write(written));
    EXPECT_EQ(journal_.Read(), written);
    EndRun();
    EXPECT_EQ(journal_.Read(), written);
    journal_.Delete();
    EXPECT_FALSE(Exists(kSampleJournal));
  }
}

TEST_F(JournalStorage, IsReadThroughTheHandleThatCreatedIt) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  process.calls.clear();
  EXPECT_TRUE(Reads());
  EXPECT_TRUE(CallsOf("NtCreateFile").empty());
}

TEST_F(JournalStorage, GuardsTheFile) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  EXPECT_EQ(sim::ToSddl(sim::NodeAt(Files(), kSampleJournal).security), kProtectedSddl);
  const auto descriptors = CallsOf("ConvertStringSecurityDescriptorToSecurityDescriptorW");
  ASSERT_EQ(descriptors.size(), 1U);
  EXPECT_EQ(descriptors[0].Argument("StringSecurityDescriptor"), ToUtf8(kProtectedSddl));
  EXPECT_EQ(descriptors[0].Argument("StringSDRevision"), "1");
  const auto creation = CallsOf("NtCreateFile").back();
  EXPECT_EQ(creation.Argument("DesiredAccess"), "0xC0130000");
  EXPECT_EQ(creation.Argument("CreateDisposition"), "2");
  EXPECT_EQ(creation.Argument("ShareAccess"), "0x1");
}

TEST_F(JournalStorage, WritesInThisOrder) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  std::vector<std::string> names;
  for (const auto& call : process.calls) {
    for (const char* name : {"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                             "SetFilePointerEx", "WriteFile", "SetEndOfFile", "FlushFileBuffers",
                             "GetSecurityInfo", "GetFileInformationByHandle", "fputws"}) {
      if (call.name == name) names.push_back(call.name);
    }
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                                      "GetFileInformationByHandle", "GetSecurityInfo",
                                      "SetFilePointerEx", "WriteFile", "SetEndOfFile",
                                      "FlushFileBuffers", "GetFileInformationByHandle", "fputws"}));
  EXPECT_EQ(CallsOf("WriteFile")[0].Argument("nNumberOfBytesToWrite"),
            std::to_string(SerializeActivationState(JournalOfAFreshInstall()).size() * 2));
}

TEST_F(JournalStorage, WorksInADriveRoot) {
  Journal journal = JournalAt(u"C:\\name");
  EXPECT_TRUE(journal.Write(JournalOfAFreshInstall()));
  EXPECT_TRUE(Exists(u"C:\\name"));
  EndRun();
  EXPECT_EQ(journal.Read(), JournalOfAFreshInstall());
  journal.Delete();
  EXPECT_FALSE(Exists(u"C:\\name"));
}

TEST_F(JournalStorage, RefusesAMalformedTarget) {
  for (const std::u16string& version :
       {std::u16string(), Repeat(u'1', 65), std::u16string(u"1\n2"), std::u16string(u"1\r2")}) {
    ExpectRefused([&](ActivationState& state) { state.target.version = version; });
  }
  for (const std::u16string& date :
       {std::u16string(), Repeat(u'1', 33), std::u16string(u"1\n"), std::u16string(u"\r1")}) {
    ExpectRefused([&](ActivationState& state) { state.target.date = date; });
  }
  for (const char16_t* service : {u"", u"VornAudio2", u"Audiosrv"}) {
    ExpectRefused([&](ActivationState& state) { state.target.service = service; });
  }
  for (const std::u16string& hash :
       {std::u16string(), Repeat(u'a', 63), Repeat(u'a', 65), Repeat(u'g', 64)}) {
    ExpectRefused([&](ActivationState& state) { state.target.infSha256 = hash; });
  }
}

TEST_F(JournalStorage, AcceptsTheLongestTargetAndAnyCaseOfTheService) {
  ActivationState state = JournalOfAFreshInstall();
  state.target.version = Repeat(u'1', 64);
  state.target.date = Repeat(u'2', 32);
  state.target.service = u"vornaudio";
  state.target.infSha256 = Repeat(u'F', 64);
  EXPECT_TRUE(journal_.Write(state));
}

TEST_F(JournalStorage, RefusesBaselinesInAFreshState) {
  ActivationState state = JournalOfAFreshInstall();
  state.present = {u"SWD\\MMDEVAPI\\a"};
  ExpectRefused(state);
  state = JournalOfAFreshInstall();
  state.catalog = {{0, false, true, u"a"}};
  ExpectRefused(state);
}

TEST_F(JournalStorage, RefusesTooManyPresentIds) {
  ExpectRefused([](ActivationState& state) { state.present.emplace_back(u"one too many"); });
}

TEST_F(JournalStorage, RefusesAnInconsistentCatalog) {
  ExpectRefused([](ActivationState& state) { state.catalog.push_back({0, false, true, u"x"}); });
  ExpectRefused([](ActivationState& state) { state.catalog[0].cableIndex = 10; });
  ExpectRefused([](ActivationState& state) { state.catalog[0] = state.catalog[1]; });
  ExpectRefused([](ActivationState& state) {
    state.catalog[1].endpointId = ToUpperAscii(state.catalog[0].endpointId);
  });
}

TEST_F(JournalStorage, RefusesEndpointIdsThatCouldBeReadOtherwise) {
  for (const std::u16string& id :
       {std::u16string(), Repeat(u'a', 1025), std::u16string(u"a\nb"), std::u16string(u"a\rb"),
        std::u16string(u"a|b"), std::u16string(u"|")}) {
    ExpectRefused([&](ActivationState& state) { state.catalog[3].endpointId = id; });
  }
}

TEST_F(JournalStorage, RefusesPresentIdsThatCouldBeReadOtherwise) {
  for (const std::u16string& id :
       {std::u16string(), Repeat(u'a', 1025), std::u16string(u"a\nb"), std::u16string(u"a\rb")}) {
    ExpectRefused([&](ActivationState& state) { state.present[3] = id; });
  }
}

TEST_F(JournalStorage, AcceptsTheLongestIdsAndABarInAPresentId) {
  ActivationState state = JournalOfAnUpdate();
  state.catalog[0].endpointId = Repeat(u'a', 1024);
  state.present[0] = Repeat(u'a', 1024);
  state.present[1] = u"a|b";
  EXPECT_TRUE(journal_.Write(state));
  EndRun();
  EXPECT_TRUE(Reads());
}

TEST_F(JournalStorage, AcceptsATextOf65536BytesAndNoMore) {
  ActivationState state = JournalOfAnUpdate();
  for (std::size_t i = 0; i < 20; ++i) {
    state.catalog[i].endpointId += Repeat(u'e', 1024 - state.catalog[i].endpointId.size());
    const std::size_t length = i == 19 ? 100 : 580;
    state.present[i] = Repeat(static_cast<char16_t>(u'a' + i), length);
  }
  const std::size_t room = 32768 - SerializeActivationState(state).size();
  ASSERT_LT(room, 924U);
  state.present[19] += Repeat(u'z', room);
  ASSERT_EQ(SerializeActivationState(state).size(), 32768U);

  ActivationState tooLong = state;
  tooLong.present[19] += u'z';
  ExpectRefused(tooLong);
  EXPECT_TRUE(journal_.Write(state));
  EndRun();
  EXPECT_EQ(journal_.Read(), state);
}

TEST_F(JournalStorage, ReportsADescriptorThatCannotBeMade) {
  FailCall("ConvertStringSecurityDescriptorToSecurityDescriptorW", 8);
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(
      u"vorn_devnode: activation-state security descriptor failed (error 0x00000008)\n");
  EXPECT_TRUE(CallsOf("NtCreateFile").empty());
}

TEST_F(JournalStorage, ReportsAnUnusablePath) {
  for (const auto& [path, error] : std::vector<std::pair<std::u16string, std::u16string>>{
           {u"", u"0000007B"},
           {u"state", u"0000007B"},
           {u"C:\\", u"0000007B"},
           {u"C:\\pkg\\state\\", u"0000007B"},
           {u"C:\\pkg\\nul", u"0000007B"},
           {u"\\\\?\\C:\\pkg\\state", u"0000007B"},
           {u"C:\\none\\state", u"00000002"},
           {u"Q:\\state", u"00000002"}}) {
    EXPECT_FALSE(JournalAt(path).Write(JournalOfAFreshInstall()));
    ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x" + error +
                    u")\n");
  }
}

TEST_F(JournalStorage, ReportsAnUnusablePathWhateverFailedSinceItWasRead) {
  Journal journal = JournalAt(u"state");
  platform::SetLastError(platform::ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_FALSE(journal.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x0000007B)\n");
}

TEST_F(JournalStorage, NeitherOverwritesNorDeletesAnExistingJournal) {
  PutJournal(u"an older journal");
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x000000B7)\n");
  EXPECT_EQ(*sim::ReadWholeFile(Files(), kSampleJournal), ToBytes(u"an older journal"));
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\pkg").size(), 1U);
}

TEST_F(JournalStorage, NeverWritesThroughALink) {
  sim::PutFile(Files(), u"C:\\victim", "precious");
  sim::PutLink(Files(), kSampleJournal, sim::ReparseKind::SymbolicLink, u"C:\\victim", false);
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x000000B7)\n");
  sim::MakeFolder(Files(), u"C:\\elsewhere");
  sim::PutLink(Files(), u"C:\\linked", sim::ReparseKind::Junction, u"C:\\elsewhere", true);
  EXPECT_FALSE(JournalAt(u"C:\\linked\\state").Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x00001129)\n");
  EXPECT_TRUE(sim::ListFolder(Files(), u"C:\\elsewhere").empty());
  EXPECT_EQ(sim::ReadWholeFile(Files(), u"C:\\victim")->size(), 8U);
}

TEST_F(JournalStorage, DeletesAJournalThatDidNotGetItsProtection) {
  ChangeBefore("GetSecurityInfo", 1, [](sim::Machine& changed) {
    sim::NodeAt(changed.files, kSampleJournal).security.owner = sim::kOtherUser;
  });
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x00000005)\n");
  EXPECT_FALSE(Exists(kSampleJournal));
}

TEST_F(JournalStorage, DeletesAJournalThatCouldNotBeWrittenWhole) {
  for (const char* call : {"SetFilePointerEx", "WriteFile", "SetEndOfFile", "FlushFileBuffers"}) {
    FailCall(call, platform::ERROR_DISK_FULL);
    EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall())) << call;
    ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x00000070)\n");
    EXPECT_FALSE(Exists(kSampleJournal)) << call;
  }
  FailCall("GetFileInformationByHandle", platform::ERROR_GEN_FAILURE, 2);
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x0000001F)\n");
  EXPECT_FALSE(Exists(kSampleJournal));
  AddFault("WriteFile", sim::FaultKind::Short).amount = 10;
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x000003EE)\n");
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_EQ(OpenHandles(), 0U);
  EXPECT_TRUE(journal_.Write(JournalOfAFreshInstall()));
}

TEST_F(JournalStorage, ReportsTheFirstFailureWhenTheDeletionFailsToo) {
  FailCall("WriteFile", platform::ERROR_DISK_FULL);
  FailCall("SetFileInformationByHandle", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x00000070)\n");

  Journal other = JournalAt(u"C:\\other");
  FailCall("GetSecurityInfo", platform::ERROR_ACCESS_DENIED);
  FailCall("SetFileInformationByHandle", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(other.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x00000005)\n");
}

TEST_F(JournalStorage, DeletesAJournalThatGrewOverTheLimitWhileItWasWritten) {
  // Its size is taken when it is created and again when it is written.
  ChangeBefore("GetFileInformationByHandle", 2, [](sim::Machine& changed) {
    sim::Node& journal = sim::NodeAt(changed.files, kSampleJournal);
    journal.zeroTail = 65537 - sim::ReadWholeFile(changed.files, kSampleJournal)->size();
  });
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x000003EE)\n");
  EXPECT_FALSE(Exists(kSampleJournal));
}

TEST_F(JournalStorage, ReportsAFullDisk) {
  Files().volumes[0].freeBytes = 20;
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x00000070)\n");
  EXPECT_FALSE(Exists(kSampleJournal));
}

TEST_F(JournalStorage, NeverLeavesAHalfWrittenJournalWhicheverCallFails) {
  process.logCalls = true;
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  const std::vector<sim::CallRecord> calls = process.calls;
  journal_.Delete();
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const std::string& name = calls[i].name;
    if (name == "CloseHandle" || name == "LocalFree" || tests::IsPrinting(name)) continue;
    SCOPED_TRACE(std::to_string(i) + ": " + name);
    process.console.clear();
    const auto number = static_cast<std::uint32_t>(process.callCount + i + 1);
    process.faults = {{"*",
                       number,
                       number,
                       sim::FaultKind::Fail,
                       static_cast<std::uint32_t>(platform::STATUS_INSUFFICIENT_RESOURCES),
                       0,
                       {}}};
    const bool written = journal_.Write(JournalOfAFreshInstall());
    process.faults.clear();
    EXPECT_EQ(Exists(kSampleJournal), written);
    EXPECT_EQ(process.ErrorOutput().empty(), written);
    if (written) journal_.Delete();
    EXPECT_EQ(OpenHandles(), 0U);
  }
}

// ------------------------------------------------------------------------------------------------
// Looking.

TEST_F(JournalStorage, IsPresentOrAbsentToALook) {
  EXPECT_EQ(journal_.Look(), JournalPresence::Absent);
  EXPECT_EQ(JournalAt(u"C:\\none\\state").Look(), JournalPresence::Absent);
  PutJournal(u"whatever is in it");
  EXPECT_EQ(journal_.Look(), JournalPresence::Present);
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(JournalStorage, IsReadThroughTheHandleOfTheLook) {
  PutJournal(SerializeActivationState(JournalOfAFreshInstall()));
  ASSERT_EQ(journal_.Look(), JournalPresence::Present);
  process.calls.clear();
  EXPECT_EQ(journal_.Read(), JournalOfAFreshInstall());
  EXPECT_TRUE(CallsOf("NtCreateFile").empty());
}

TEST_F(JournalStorage, CanBeDeletedAfterALook) {
  PutJournal(SerializeActivationState(JournalOfAFreshInstall()));
  ASSERT_EQ(journal_.Look(), JournalPresence::Present);
  journal_.Delete();
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_EQ(journal_.Look(), JournalPresence::Absent);
}

TEST_F(JournalStorage, IsUnknownToALookWhenItCannotBeInspectedSafely) {
  PutJournal(u"planted");
  SetSecurity(kSampleJournal, u"O:BUD:(A;;FA;;;WD)");
  EXPECT_EQ(journal_.Look(), JournalPresence::Unknown);
  EXPECT_EQ(JournalAt(u"state").Look(), JournalPresence::Unknown) << "no absolute path";
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(JournalStorage, IsAbsentToALookOnlyWhenTheFileIsNotFound) {
  // The volume's root and the folder are opened first.
  FailCall("NtCreateFile", platform::ERROR_PATH_NOT_FOUND, 3);
  EXPECT_EQ(journal_.Look(), JournalPresence::Unknown);
}

// ------------------------------------------------------------------------------------------------
// Reading.

TEST_F(JournalStorage, ReportsAMissingOrUnsafeJournal) {
  const std::u16string_view line = u"vorn_devnode: activation state missing or unsafe\n";
  EXPECT_FALSE(Reads());
  ExpectErrorLine(line);
  const std::u16string text = SerializeActivationState(JournalOfAFreshInstall());
  for (const char16_t* sddl :
       {u"O:BUD:P(A;;FA;;;SY)(A;;FA;;;BA)", u"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)",
        u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;WD)",
        u"O:S-1-5-21-1000000000-2000000000-3000000000-1002D:P(A;;FA;;;SY)(A;;FA;;;BA)"}) {
    PutJournal(text);
    SetSecurity(kSampleJournal, sddl);
    EXPECT_FALSE(Reads()) << testing::PrintToString(sddl);
    ExpectErrorLine(line);
  }
  PutJournal(text);
  sim::AddHardLink(Files(), kSampleJournal, u"C:\\alias");
  EXPECT_FALSE(Reads());
  ExpectErrorLine(line);
  sim::RemovePath(Files(), u"C:\\alias");
  EXPECT_TRUE(Reads());
}

TEST_F(JournalStorage, RefusesAJournalOverTheLimit) {
  PutProtectedFile(kSampleJournal, sim::Bytes(65538, u' '));
  EXPECT_FALSE(Reads());
  ExpectErrorLine(u"vorn_devnode: activation state missing or unsafe\n");
}

TEST_F(JournalStorage, RefusesAnOddAnEmptyOrAMalformedJournalSilently) {
  sim::Bytes odd = ToBytes(SerializeActivationState(JournalOfAFreshInstall()));
  odd.push_back(0);
  for (const sim::Bytes& content :
       {sim::Bytes(), sim::Bytes{1}, odd, ToBytes(u"nonsense\n"), sim::Bytes(65536, u' ')}) {
    PutProtectedFile(kSampleJournal, content);
    EXPECT_FALSE(Reads());
    EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
    EndRun();
  }
}

TEST_F(JournalStorage, DoesNotReadAJournalOfAnImpossibleSize) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}}) {
    PutProtectedFile(kSampleJournal, sim::Bytes(size));
    EXPECT_FALSE(Reads());
    EXPECT_TRUE(CallsOf("SetFilePointerEx").empty()) << size;
    EndRun();
  }
}

TEST_F(JournalStorage, RefusesANulAnywhere) {
  const std::u16string text = SerializeActivationState(JournalOfAFreshInstall());
  const std::size_t inVersion = text.find(u"26.8") + 2;  // where the parser accepts anything
  for (const std::size_t position : {std::size_t{0}, inVersion, text.size() / 2, text.size()}) {
    std::u16string damaged = text;
    damaged.insert(position, 1, u'\0');
    PutJournal(damaged);
    EXPECT_FALSE(Reads()) << position;
    EndRun();
  }
  PutJournal(text);
  EXPECT_TRUE(Reads());
}

TEST_F(JournalStorage, AcceptsNoOtherEncoding) {
  std::string utf8 = ToUtf8(SerializeActivationState(JournalOfAFreshInstall()));
  if (utf8.size() % 2 != 0) utf8 += '\n';
  PutProtectedFile(kSampleJournal, sim::Bytes(utf8.begin(), utf8.end()));
  EXPECT_FALSE(Reads());
  EndRun();
  PutJournal(u"\uFEFF" + SerializeActivationState(JournalOfAFreshInstall()));
  EXPECT_FALSE(Reads());
}

TEST_F(JournalStorage, ReadsABarInAnEndpointIdThatItWouldNotWrite) {
  ActivationState state = JournalOfAnUpdate();
  state.catalog[0].endpointId = u"a|b";
  PutJournal(SerializeActivationState(state));
  EXPECT_EQ(journal_.Read(), state);
}

TEST_F(JournalStorage, RefusesAShortOrFailedRead) {
  PutJournal(SerializeActivationState(JournalOfAFreshInstall()));
  AddFault("ReadFile", sim::FaultKind::Short).amount = 100;
  EXPECT_FALSE(Reads());
  FailCall("ReadFile", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(Reads());
  FailCall("SetFilePointerEx", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(Reads());
  EXPECT_EQ(process.ErrorOutput(), u"");
  EXPECT_TRUE(Reads());
  EXPECT_TRUE(Reads()) << "from the start again";
}

// ------------------------------------------------------------------------------------------------
// Deleting.

TEST_F(JournalStorage, IsDeletedAtOnceAndMayThenBeWrittenAgain) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  journal_.Delete();
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  EXPECT_EQ(process.ErrorOutput(), u"");
}

TEST_F(JournalStorage, DeletesTheJournalOfAnEarlierRun) {
  PutJournal(u"whatever is in it");
  journal_.Delete();
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(JournalStorage, DeletesAJournalThatThisRunStillRefersTo) {
  PutJournal(SerializeActivationState(JournalOfAFreshInstall()));
  const privileged_input::File kept = protectedFiles_.OpenProtectedFile(PathOf(kSampleJournal));
  ASSERT_TRUE(Reads());
  journal_.Delete();
  EXPECT_FALSE(kept);
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_TRUE(journal_.Write(JournalOfAFreshInstall()));
}

TEST_F(JournalStorage, IsLookedUpAnewAfterItWasDeleted) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  journal_.Delete();
  platform::SetLastError(0);
  EXPECT_FALSE(protectedFiles_.OpenProtectedFile(PathOf(kSampleJournal)));
  EXPECT_LAST_ERROR(ERROR_FILE_NOT_FOUND);
  PutJournal(SerializeActivationState(JournalOfAnUpdate()));
  EXPECT_EQ(journal_.Read(), JournalOfAnUpdate());
}

TEST_F(JournalStorage, DeletesNothingAndSaysNothingWhenThereIsNone) {
  journal_.Delete();
  JournalAt(u"C:\\none\\state").Delete();
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(JournalStorage, ReportsADeletionForWhichAFolderIsNotFound) {
  FailCall("NtCreateFile", platform::ERROR_PATH_NOT_FOUND, 3);
  journal_.Delete();
  ExpectErrorLine(
      u"vorn_devnode: safe open for delete(activation state) failed (error 0x00000003)\n");
}

TEST_F(JournalStorage, ReportsAJournalThatIsNotSafeToDelete) {
  PutJournal(u"planted");
  SetSecurity(kSampleJournal, u"O:BUD:(A;;FA;;;WD)");
  journal_.Delete();
  ExpectErrorLine(
      u"vorn_devnode: safe open for delete(activation state) failed (error 0x00000005)\n");
  EXPECT_TRUE(Exists(kSampleJournal));
}

TEST_F(JournalStorage, ReportsAFailedDeletionAndReleasesTheFile) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  FailCall("SetFileInformationByHandle", platform::ERROR_GEN_FAILURE);
  journal_.Delete();
  ExpectErrorLine(u"vorn_devnode: delete handle(activation state) failed (error 0x0000001F)\n");
  EXPECT_TRUE(Exists(kSampleJournal));
  EXPECT_EQ(OpenHandles(), 0U);
}

TEST_F(JournalStorage, ReportsAReadOnlyJournalAndLeavesIt) {
  PutJournal(u"read-only");
  sim::NodeAt(Files(), kSampleJournal).attributes = platform::FILE_ATTRIBUTE_READONLY;
  journal_.Delete();
  ExpectErrorLine(u"vorn_devnode: delete handle(activation state) failed (error 0x00000005)\n");
  EXPECT_TRUE(Exists(kSampleJournal));
}

}  // namespace
}  // namespace vorn
