#include "base/text.h"
#include "platform/native.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "tests/journal/journal_storage.h"

#include <iterator>

namespace vorn {
namespace {

using tests::JournalOfAFreshInstall;
using tests::JournalOfAnUpdate;
using tests::JournalStorage;
using tests::kSampleJournal;
using tests::ToBytes;

using StoredJournal = JournalStorage;

// ------------------------------------------------------------------------------------------------
// Looking.

TEST_F(StoredJournal, IsPresentOrAbsentToALook) {
  EXPECT_EQ(journal_.Look(), JournalPresence::Absent);
  EXPECT_EQ(JournalAt(u"C:\\none\\state").Look(), JournalPresence::Absent);
  PutJournal(u"whatever is in it");
  EXPECT_EQ(journal_.Look(), JournalPresence::Present);
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(StoredJournal, IsReadThroughTheHandleOfTheLook) {
  PutJournal(SerializeActivationState(JournalOfAFreshInstall()));
  ASSERT_EQ(journal_.Look(), JournalPresence::Present);
  process.calls.clear();
  EXPECT_EQ(journal_.Read(), JournalOfAFreshInstall());
  EXPECT_TRUE(CallsOf("NtCreateFile").empty());
}

TEST_F(StoredJournal, CanBeDeletedAfterALook) {
  PutJournal(SerializeActivationState(JournalOfAFreshInstall()));
  ASSERT_EQ(journal_.Look(), JournalPresence::Present);
  journal_.Delete();
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_EQ(journal_.Look(), JournalPresence::Absent);
}

TEST_F(StoredJournal, IsUnknownToALookWhenItCannotBeInspectedSafely) {
  PutJournal(u"planted");
  SetSecurity(kSampleJournal, u"O:BUD:(A;;FA;;;WD)");
  EXPECT_EQ(journal_.Look(), JournalPresence::Unknown);
  EXPECT_EQ(JournalAt(u"state").Look(), JournalPresence::Unknown) << "no absolute path";
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(StoredJournal, IsAbsentToALookOnlyWhenTheFileIsNotFound) {
  // The volume's root and the folder are opened first.
  FailCall("NtCreateFile", platform::ERROR_PATH_NOT_FOUND, 3);
  EXPECT_EQ(journal_.Look(), JournalPresence::Unknown);
}

// ------------------------------------------------------------------------------------------------
// Reading.

TEST_F(StoredJournal, ReportsAMissingOrUnsafeJournal) {
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

TEST_F(StoredJournal, RefusesAJournalOverTheLimit) {
  PutProtectedFile(kSampleJournal, sim::Bytes(65538, u' '));
  EXPECT_FALSE(Reads());
  ExpectErrorLine(u"vorn_devnode: activation state missing or unsafe\n");
}

TEST_F(StoredJournal, RefusesAnOddAnEmptyOrAMalformedJournalSilently) {
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

TEST_F(StoredJournal, DoesNotReadAJournalOfAnImpossibleSize) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}}) {
    PutProtectedFile(kSampleJournal, sim::Bytes(size));
    EXPECT_FALSE(Reads());
    EXPECT_TRUE(CallsOf("SetFilePointerEx").empty()) << size;
    EndRun();
  }
}

TEST_F(StoredJournal, RefusesANulAnywhere) {
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
  EndRun();
  // The parser would take it for the end of the last id.
  std::u16string ended = SerializeActivationState(JournalOfAnUpdate());
  ended.back() = u'\0';
  PutJournal(ended);
  EXPECT_FALSE(Reads());
}

TEST_F(StoredJournal, StaysOpenWhateverItHolds) {
  PutJournal(u"no journal");
  EXPECT_FALSE(Reads());
  EXPECT_GT(OpenHandles(), 0U);
}

TEST_F(StoredJournal, AcceptsNoOtherEncoding) {
  std::string utf8 = ToUtf8(SerializeActivationState(JournalOfAFreshInstall()));
  if (utf8.size() % 2 != 0) utf8 += '\n';
  PutProtectedFile(kSampleJournal, sim::Bytes(utf8.begin(), utf8.end()));
  EXPECT_FALSE(Reads());
  EndRun();
  PutJournal(u"\uFEFF" + SerializeActivationState(JournalOfAFreshInstall()));
  EXPECT_FALSE(Reads());
}

TEST_F(StoredJournal, ReadsABarInAnEndpointIdThatItWouldNotWrite) {
  ActivationState state = JournalOfAnUpdate();
  state.catalog[0].endpointId = u"a|b";
  PutJournal(SerializeActivationState(state));
  EXPECT_EQ(journal_.Read(), state);
}

TEST_F(StoredJournal, RefusesAShortOrFailedRead) {
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

TEST_F(StoredJournal, IsDeletedAtOnceAndMayThenBeWrittenAgain) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  journal_.Delete();
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  EXPECT_EQ(process.ErrorOutput(), u"");
}

TEST_F(StoredJournal, DeletesTheJournalOfAnEarlierRun) {
  PutJournal(u"whatever is in it");
  journal_.Delete();
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(StoredJournal, DeletesAJournalThatThisRunStillRefersTo) {
  PutJournal(SerializeActivationState(JournalOfAFreshInstall()));
  const privileged_input::File kept = protectedFiles_.OpenProtectedFile(PathOf(kSampleJournal));
  ASSERT_TRUE(Reads());
  journal_.Delete();
  EXPECT_FALSE(kept);
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_TRUE(journal_.Write(JournalOfAFreshInstall()));
}

TEST_F(StoredJournal, IsLookedUpAnewAfterItWasDeleted) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  journal_.Delete();
  platform::SetLastError(0);
  EXPECT_FALSE(protectedFiles_.OpenProtectedFile(PathOf(kSampleJournal)));
  EXPECT_LAST_ERROR(ERROR_FILE_NOT_FOUND);
  PutJournal(SerializeActivationState(JournalOfAnUpdate()));
  EXPECT_EQ(journal_.Read(), JournalOfAnUpdate());
}

TEST_F(StoredJournal, DeletesNothingAndSaysNothingWhenThereIsNone) {
  journal_.Delete();
  JournalAt(u"C:\\none\\state").Delete();
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(StoredJournal, ReportsADeletionForWhichAFolderIsNotFound) {
  FailCall("NtCreateFile", platform::ERROR_PATH_NOT_FOUND, 3);
  journal_.Delete();
  ExpectErrorLine(
      u"vorn_devnode: safe open for delete(activation state) failed (error 0x00000003)\n");
}

TEST_F(StoredJournal, ReportsAJournalThatIsNotSafeToDelete) {
  PutJournal(u"planted");
  SetSecurity(kSampleJournal, u"O:BUD:(A;;FA;;;WD)");
  journal_.Delete();
  ExpectErrorLine(
      u"vorn_devnode: safe open for delete(activation state) failed (error 0x00000005)\n");
  EXPECT_TRUE(Exists(kSampleJournal));
}

TEST_F(StoredJournal, ReportsAFailedDeletionAndReleasesTheFile) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  FailCall("SetFileInformationByHandle", platform::ERROR_GEN_FAILURE);
  journal_.Delete();
  ExpectErrorLine(u"vorn_devnode: delete handle(activation state) failed (error 0x0000001F)\n");
  EXPECT_TRUE(Exists(kSampleJournal));
  EXPECT_EQ(OpenHandles(), 0U);
}

TEST_F(StoredJournal, OpensTheFileAgainAfterAFailedDeletion) {
  ASSERT_TRUE(journal_.Write(JournalOfAFreshInstall()));
  FailCall("SetFileInformationByHandle", platform::ERROR_GEN_FAILURE);
  journal_.Delete();
  EXPECT_EQ(journal_.Look(), JournalPresence::Present);
  EXPECT_EQ(journal_.Read(), JournalOfAFreshInstall());
}

TEST_F(StoredJournal, ReportsAReadOnlyJournalAndLeavesIt) {
  PutJournal(u"read-only");
  sim::NodeAt(Files(), kSampleJournal).attributes = platform::FILE_ATTRIBUTE_READONLY;
  journal_.Delete();
  ExpectErrorLine(u"vorn_devnode: delete handle(activation state) failed (error 0x00000005)\n");
  EXPECT_TRUE(Exists(kSampleJournal));
}

TEST_F(StoredJournal, IsNotBelievedWhenItsReadingFailed) {
  PutJournal(SerializeActivationState(JournalOfAnUpdate()));
  AddFault("ReadFile", sim::FaultKind::FailAfterEffect);
  EXPECT_FALSE(Reads());
}

}  // namespace
}  // namespace vorn
