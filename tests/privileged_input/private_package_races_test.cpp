// Snapshots of a package while other processes change files.

#include "platform/simulated/native_values.h"
#include "tests/privileged_input/package_snapshot.h"
#include "tests/support/sample.h"

namespace vorn::privileged_input {
namespace {

using tests::kSampleInf;

TEST_F(PackageSnapshotTest, CopiesAGrowingFileAsItWasWhenItWasChecked) {
  ChangeBefore("ReadFile", 2, [](sim::Machine& changed) {
    sim::PutFile(changed.files, kSampleInf, "the inf, grown");
  });
  ASSERT_TRUE(Acquire());
  EXPECT_EQ(Content(CopyFolder() + u"\\vorn_audio.inf"), "the inf");
}

TEST_F(PackageSnapshotTest, RefusesAShrinkingFile) {
  ChangeBefore("ReadFile", 2,
               [](sim::Machine& changed) { sim::PutFile(changed.files, kSampleInf, "short"); });
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshotTest, CopiesTheCheckedFileEvenIfAnotherTakesItsName) {
  ChangeBefore("ReadFile", 2, [](sim::Machine& changed) {
    sim::MovePath(changed.files, kSampleInf, u"C:\\moved.inf");
    sim::PutFile(changed.files, kSampleInf, "planted");
  });
  ASSERT_TRUE(Acquire());
  EXPECT_EQ(Content(CopyFolder() + u"\\vorn_audio.inf"), "the inf");
}

TEST_F(PackageSnapshotTest, RefusesAnInfThatIsGoneWhenTheFolderIsListed) {
  ChangeBefore("BCryptGenRandom", 1,
               [](sim::Machine& changed) { sim::RemovePath(changed.files, kSampleInf); });
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshotTest, RefusesAFolderThatBecameALink) {
  // It is a folder when it is listed and a junction when it is opened.
  ChangeBefore("SetFilePointerEx", 1, [](sim::Machine& changed) {
    sim::RemovePath(changed.files, u"C:\\pkg\\driver\\x64");
    sim::PutLink(changed.files, u"C:\\pkg\\driver\\x64", sim::ReparseKind::Junction, u"C:\\pkg",
                 true);
  });
  ExpectRefused("00001129");
}

TEST_F(PackageSnapshotTest, RefusesACopyThatWasReplacedBeforeItWasReopened) {
  // The writable copy's flush is followed by its capture, its closing and the reopening by name.
  ChangeBefore("CloseHandle", 1, [](sim::Machine& changed) {
    const std::u16string copy =
        u"C:\\Temp\\" + sim::ListFolder(changed.files, u"C:\\Temp").at(0) + u"\\vorn_audio.cat";
    sim::RemovePath(changed.files, copy);
    sim::PutFile(changed.files, copy, "planted cat");
    sim::NodeAt(changed.files, copy).security.owner = sim::kOtherUser;
  });
  process.console.clear();
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: protected local package snapshot refused (error 0x00000005)\n");
}

TEST_F(PackageSnapshotTest, RefusesACopyThatGrewBeforeItWasCaptured) {
  ChangeBefore("FlushFileBuffers", 1, [](sim::Machine& changed) {
    const std::u16string copy = u"C:\\Temp\\" + sim::ListFolder(changed.files, u"C:\\Temp").at(0);
    sim::PutFile(changed.files, copy + u"\\vorn_audio.cat", "the catalog!");
  });
  ExpectRefused("000003EE");
}

TEST_F(PackageSnapshotTest, RefusesACopyThatGrewBeforeItWasReopened) {
  ChangeBefore("CloseHandle", 1, [](sim::Machine& changed) {
    const std::u16string copy = u"C:\\Temp\\" + sim::ListFolder(changed.files, u"C:\\Temp").at(0);
    sim::PutFile(changed.files, copy + u"\\vorn_audio.cat", "the catalog!");
  });
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: protected local package snapshot refused (error 0x000003EE)\n");
}

TEST_F(PackageSnapshotTest, DoesNotTakeAnInfOfASubfolderForAMissingOne) {
  sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.inf", "another inf");
  ChangeBefore("BCryptGenRandom", 1,
               [](sim::Machine& changed) { sim::RemovePath(changed.files, kSampleInf); });
  ExpectRefused("000003EE");
}

/// The first copy, that of the catalog, can be written but not reopened.
class UnopenableCopy : public PackageSnapshotTest {
 protected:
  UnopenableCopy() {
    EXPECT_TRUE(Acquire());
    const auto opens = CallsOf("NtCreateFile");
    std::uint32_t reopening = 0;
    for (std::uint32_t i = 1; i < opens.size() && reopening == 0; ++i) {
      const bool written = opens[i - 1].Argument("ObjectName") == "vorn_audio.cat" &&
                           opens[i - 1].Argument("CreateDisposition") == "2";
      if (written && opens[i].Argument("ObjectName") == "vorn_audio.cat") reopening = i + 1;
    }
    EXPECT_NE(reopening, 0U);
    Release();
    process.calls.clear();
    FailCall("NtCreateFile", static_cast<std::uint32_t>(platform::STATUS_INSUFFICIENT_RESOURCES),
             reopening);
  }
};

TEST_F(UnopenableCopy, EndsTheSnapshotAndIsRemoved) {
  ExpectRefused("000005AA");
  EXPECT_EQ(CallsOf("FlushFileBuffers").size(), 1U) << "nothing is copied after it";
}

TEST_F(UnopenableCopy, EndsASnapshotWhoseProtectionIsNotVerified) {
  EXPECT_FALSE(CreatePackage({}, kPackageSddl, ProtectionCheck::Skip));
  EXPECT_LAST_ERROR(ERROR_NO_SYSTEM_RESOURCES);
  ExpectNothingLeft();
}

}  // namespace
}  // namespace vorn::privileged_input
