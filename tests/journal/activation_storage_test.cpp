#include "base/text.h"
#include "platform/native.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "tests/journal/journal_storage.h"
#include "tests/support/console_calls.h"

#include <functional>
#include <iterator>

namespace vorn {
namespace {

using tests::JournalOfAFreshInstall;
using tests::JournalOfAnUpdate;
using tests::JournalStorage;
using tests::kProtectedSddl;
using tests::kSampleJournal;
using tests::Repeat;
using tests::ToBytes;

constexpr std::u16string_view kRefused = u"vorn_devnode: refusing malformed activation state\n";
constexpr std::u16string_view kPersisted =
    u"vorn_devnode: persisted protected pre-bind activation state\n";

class WrittenJournal : public JournalStorage {
 protected:
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
};

TEST_F(WrittenJournal, WritesTheTextInCodeUnitsWithoutMarkOrTerminator) {
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

TEST_F(WrittenJournal, WritesTheLowByteOfEachUnitFirst) {
  ASSERT_TRUE(journal_.Write(StateWithAWideId()));
  const sim::Bytes content = *sim::ReadWholeFile(Files(), kSampleJournal);
  const auto found = std::search(content.begin(), content.end(), std::begin(kWideIdInTheFile),
                                 std::end(kWideIdInTheFile));
  EXPECT_NE(found, content.end());
}

TEST_F(WrittenJournal, ReadsBothBytesOfEachUnit) {
  sim::Bytes content = ToBytes(SerializeActivationState(StateWithAWideId()));
  PutProtectedFile(kSampleJournal, content);
  EXPECT_EQ(journal_.Read(), StateWithAWideId());
}

TEST_F(WrittenJournal, IsReadBackInTheSameRunAndInTheNext) {
  for (const ActivationState& written : {JournalOfAFreshInstall(), JournalOfAnUpdate()}) {
    ASSERT_TRUE(journal_.Write(written));
    EXPECT_EQ(journal_.Read(), written);
    EndRun();
    EXPECT_EQ(journal_.Read(), written);
    journal_.Delete();
    EXPECT_FALSE(Exists(kSampleJournal));
  }
}

TEST_F(WrittenJournal, IsReadThroughTheHandleThatCreatedIt) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  process.calls.clear();
  EXPECT_TRUE(Reads());
  EXPECT_TRUE(CallsOf("NtCreateFile").empty());
}

TEST_F(WrittenJournal, GuardsTheFile) {
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

TEST_F(WrittenJournal, WritesInThisOrder) {
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

TEST_F(WrittenJournal, WorksInADriveRoot) {
  Journal journal = JournalAt(u"C:\\name");
  EXPECT_TRUE(journal.Write(JournalOfAFreshInstall()));
  EXPECT_TRUE(Exists(u"C:\\name"));
  EndRun();
  EXPECT_EQ(journal.Read(), JournalOfAFreshInstall());
  journal.Delete();
  EXPECT_FALSE(Exists(u"C:\\name"));
}

TEST_F(WrittenJournal, RefusesAMalformedTarget) {
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

TEST_F(WrittenJournal, AcceptsTheLongestTargetAndAnyCaseOfTheService) {
  ActivationState state = JournalOfAFreshInstall();
  state.target.version = Repeat(u'1', 64);
  state.target.date = Repeat(u'2', 32);
  state.target.service = u"vornaudio";
  state.target.infSha256 = Repeat(u'F', 64);
  EXPECT_TRUE(journal_.Write(state));
}

TEST_F(WrittenJournal, RefusesBaselinesInAFreshState) {
  ActivationState state = JournalOfAFreshInstall();
  state.present = {u"SWD\\MMDEVAPI\\a"};
  ExpectRefused(state);
  state = JournalOfAFreshInstall();
  state.catalog = {{0, false, true, u"a"}};
  ExpectRefused(state);
}

TEST_F(WrittenJournal, RefusesTooManyPresentIds) {
  ExpectRefused([](ActivationState& state) { state.present.emplace_back(u"one too many"); });
  ExpectRefused([](ActivationState& state) {
    state.present.emplace_back(u"one too many");
    state.catalog.clear();
  });
}

TEST_F(WrittenJournal, RefusesAnInconsistentCatalog) {
  ExpectRefused([](ActivationState& state) { state.catalog.push_back({0, false, true, u"x"}); });
  ExpectRefused([](ActivationState& state) { state.catalog[0].cableIndex = 10; });
  ExpectRefused([](ActivationState& state) { state.catalog[0] = state.catalog[1]; });
  ExpectRefused([](ActivationState& state) {
    state.catalog[1].endpointId = ToUpperAscii(state.catalog[0].endpointId);
  });
}

TEST_F(WrittenJournal, RefusesEndpointIdsThatCouldBeReadOtherwise) {
  for (const std::u16string& id :
       {std::u16string(), Repeat(u'a', 1025), std::u16string(u"a\nb"), std::u16string(u"a\rb"),
        std::u16string(u"a|b"), std::u16string(u"|")}) {
    ExpectRefused([&](ActivationState& state) { state.catalog[3].endpointId = id; });
  }
}

TEST_F(WrittenJournal, RefusesPresentIdsThatCouldBeReadOtherwise) {
  for (const std::u16string& id :
       {std::u16string(), Repeat(u'a', 1025), std::u16string(u"a\nb"), std::u16string(u"a\rb")}) {
    ExpectRefused([&](ActivationState& state) { state.present[3] = id; });
  }
}

TEST_F(WrittenJournal, AcceptsTheLongestIdsAndABarInAPresentId) {
  ActivationState state = JournalOfAnUpdate();
  state.catalog[0].endpointId = Repeat(u'a', 1024);
  state.present[0] = Repeat(u'a', 1024);
  state.present[1] = u"a|b";
  EXPECT_TRUE(journal_.Write(state));
  EndRun();
  EXPECT_TRUE(Reads());
}

TEST_F(WrittenJournal, AcceptsATextOf65536BytesAndNoMore) {
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

TEST_F(WrittenJournal, ReportsADescriptorThatCannotBeMade) {
  FailCall("ConvertStringSecurityDescriptorToSecurityDescriptorW", 8);
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(
      u"vorn_devnode: activation-state security descriptor failed (error 0x00000008)\n");
  EXPECT_TRUE(CallsOf("NtCreateFile").empty());
}

TEST_F(WrittenJournal, ReportsAnUnusablePath) {
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

TEST_F(WrittenJournal, ReportsAnUnusablePathWhateverFailedSinceItWasRead) {
  Journal journal = JournalAt(u"state");
  platform::SetLastError(platform::ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_FALSE(journal.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x0000007B)\n");
}

TEST_F(WrittenJournal, NeitherOverwritesNorDeletesAnExistingJournal) {
  PutJournal(u"an older journal");
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x000000B7)\n");
  EXPECT_EQ(*sim::ReadWholeFile(Files(), kSampleJournal), ToBytes(u"an older journal"));
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\pkg").size(), 1U);
}

TEST_F(WrittenJournal, NeverWritesThroughALink) {
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

TEST_F(WrittenJournal, DeletesAJournalThatDidNotGetItsProtection) {
  ChangeBefore("GetSecurityInfo", 1, [](sim::Machine& changed) {
    sim::NodeAt(changed.files, kSampleJournal).security.owner = sim::kOtherUser;
  });
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: safe create(activation state) failed (error 0x00000005)\n");
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_EQ(CallsOf("SetFileInformationByHandle").size(), 1U);
}

TEST_F(WrittenJournal, DeletesAJournalThatCouldNotBeWrittenWhole) {
  for (const char* call : {"SetFilePointerEx", "WriteFile", "SetEndOfFile", "FlushFileBuffers"}) {
    FailCall(call, platform::ERROR_DISK_FULL);
    EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall())) << call;
    ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x00000070)\n");
    EXPECT_FALSE(Exists(kSampleJournal)) << call;
    EXPECT_EQ(CallsOf("SetFileInformationByHandle").size(), 1U) << call;
    process.calls.clear();
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

TEST_F(WrittenJournal, ReportsTheFirstFailureWhenTheDeletionFailsToo) {
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

TEST_F(WrittenJournal, DeletesAJournalThatGrewOverTheLimitWhileItWasWritten) {
  // Its size is taken when it is created and again when it is written.
  ChangeBefore("GetFileInformationByHandle", 2, [](sim::Machine& changed) {
    sim::Node& journal = sim::NodeAt(changed.files, kSampleJournal);
    journal.zeroTail = 65537 - sim::ReadWholeFile(changed.files, kSampleJournal)->size();
  });
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x000003EE)\n");
  EXPECT_FALSE(Exists(kSampleJournal));
}

TEST_F(WrittenJournal, ReportsAFullDisk) {
  Files().volumes[0].freeBytes = 20;
  EXPECT_FALSE(journal_.Write(JournalOfAFreshInstall()));
  ExpectErrorLine(u"vorn_devnode: WriteFile(activation state) failed (error 0x00000070)\n");
  EXPECT_FALSE(Exists(kSampleJournal));
}

TEST_F(WrittenJournal, NeverLeavesAHalfWrittenJournalWhicheverCallFails) {
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

}  // namespace
}  // namespace vorn
