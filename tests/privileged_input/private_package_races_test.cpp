// The package snapshot while others change the world under it.

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

TEST_F(PackageSnapshotTest, CopiesTheFileThatItCheckedWhenTheNameIsTakenOver) {
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
  // The folder was listed as one; by the time it is opened a junction has its name.
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

TEST_F(PackageSnapshotTest, RemovesACopyThatCouldNotBeReopened) {
  // Opens before the first copy's reopening: two folder walks, the snapshot's folder, the copy.
  ASSERT_TRUE(Acquire());
  std::uint32_t reopening = 0;
  const auto opens = CallsOf("NtCreateFile");
  for (std::uint32_t i = 0; i < opens.size() && reopening == 0; ++i) {
    const bool ours = opens[i].Argument("ObjectName") == "vorn_audio.cat";
    if (ours && i > 0 && opens[i - 1].Argument("CreateDisposition") == "2") reopening = i + 1;
  }
  ASSERT_NE(reopening, 0U);
  Release();
  FailCall("NtCreateFile", static_cast<std::uint32_t>(platform::STATUS_INSUFFICIENT_RESOURCES),
           reopening);
  ExpectRefused("000005AA");
}

}  // namespace
}  // namespace vorn::privileged_input
