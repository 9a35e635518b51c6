#include "privileged_input/deletion.h"

#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "privileged_input/file.h"
#include "tests/privileged_input/input_test.h"

#include <string>
#include <vector>

namespace vorn::privileged_input {
namespace {

const std::vector<std::string> kReadThenMark = {"GetFileInformationByHandleEx",
                                                "SetFileInformationByHandle"};

class Deletion : public tests::InputTest {
 protected:
  Deletion() { sim::PutFile(Files(), u"C:\\dir\\file", "x"); }

  File Open(FileMode mode = FileMode::Deletable) {
    return File::OpenAbsolute(u"C:\\dir\\file", LoadNativeApi(), 100, mode);
  }
  void SetAttributes(std::uint32_t attributes) {
    sim::NodeAt(Files(), u"C:\\dir\\file").attributes = attributes;
  }
};

TEST_F(Deletion, HappensWhenTheLastHandleCloses) {
  File file = Open();
  EXPECT_TRUE(DeleteByHandle(file.Handle()));
  EXPECT_TRUE(Exists(u"C:\\dir\\file"));
  file.Close();
  EXPECT_FALSE(Exists(u"C:\\dir\\file"));
}

TEST_F(Deletion, IsADispositionOfOneByte) {
  const File file = Open();
  MarkForDeletion(file.Handle());
  const auto calls = CallsOf("SetFileInformationByHandle");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("FileInformationClass"), "4");
  EXPECT_EQ(calls[0].Argument("dwBufferSize"), "1");
}

TEST_F(Deletion, NeedsTheRightToDelete) {
  const File file = Open(FileMode::ReadOnly);
  EXPECT_FALSE(DeleteByHandle(file.Handle()));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
}

TEST_F(Deletion, IsTriedOnce) {
  const File file = Open(FileMode::ReadOnly);
  process.calls.clear();
  EXPECT_FALSE(DeleteByHandle(file.Handle()));
  EXPECT_EQ(CallNames(), kReadThenMark);
}

TEST_F(Deletion, LeavesAttributesThatCannotBeRead) {
  for (const auto kind : {sim::FaultKind::Fail, sim::FaultKind::FailAfterEffect}) {
    SetAttributes(platform::FILE_ATTRIBUTE_READONLY);
    const File file = Open();
    AddFault("GetFileInformationByHandleEx", kind);
    process.calls.clear();
    EXPECT_FALSE(DeleteByHandle(file.Handle()));
    EXPECT_EQ(CallNames(), kReadThenMark);
  }
}

TEST_F(Deletion, ClearsTheReadOnlyAttributeFirst) {
  SetAttributes(platform::FILE_ATTRIBUTE_READONLY | platform::FILE_ATTRIBUTE_HIDDEN);
  File file = Open();
  process.calls.clear();
  EXPECT_TRUE(DeleteByHandle(file.Handle()));
  ASSERT_EQ(process.calls.size(), 3U);
  EXPECT_EQ(process.calls[0].name, "GetFileInformationByHandleEx");
  EXPECT_EQ(process.calls[0].Argument("FileInformationClass"), "0");
  EXPECT_EQ(process.calls[0].Argument("dwBufferSize"), "40");
  EXPECT_EQ(process.calls[1].Argument("FileInformationClass"), "0");
  EXPECT_EQ(process.calls[1].Argument("dwBufferSize"), "40");
  EXPECT_EQ(process.calls[2].Argument("FileInformationClass"), "4");
  EXPECT_EQ(sim::NodeAt(Files(), u"C:\\dir\\file").attributes, platform::FILE_ATTRIBUTE_HIDDEN);
  file.Close();
  EXPECT_FALSE(Exists(u"C:\\dir\\file"));
}

TEST_F(Deletion, ClearsTheReadOnlyAttributeWhenItIsTheOnlyOne) {
  SetAttributes(platform::FILE_ATTRIBUTE_READONLY);
  File file = Open();
  EXPECT_TRUE(DeleteByHandle(file.Handle()));
  file.Close();
  EXPECT_FALSE(Exists(u"C:\\dir\\file"));
}

TEST_F(Deletion, KeepsTheOtherAttributesAndTheTimesOfAReadOnlyFile) {
  constexpr std::uint32_t kOthers = platform::FILE_ATTRIBUTE_HIDDEN |
                                    platform::FILE_ATTRIBUTE_SYSTEM |
                                    platform::FILE_ATTRIBUTE_ARCHIVE;
  SetAttributes(platform::FILE_ATTRIBUTE_READONLY | kOthers);
  sim::NodeAt(Files(), u"C:\\dir\\file").times = {11, 22, 33, 44};
  const File file = Open();
  EXPECT_TRUE(DeleteByHandle(file.Handle()));
  const sim::Node& node = sim::NodeAt(Files(), u"C:\\dir\\file");
  EXPECT_EQ(node.attributes, kOthers);
  EXPECT_EQ(node.times.creation, 11);
  EXPECT_EQ(node.times.lastAccess, 22);
  EXPECT_EQ(node.times.lastWrite, 33);
  EXPECT_EQ(node.times.change, 44);
}

TEST_F(Deletion, AddsNoAttributeToAFileThatWasOnlyReadOnly) {
  SetAttributes(platform::FILE_ATTRIBUTE_READONLY);
  const File file = Open();
  EXPECT_TRUE(DeleteByHandle(file.Handle()));
  EXPECT_EQ(sim::NodeAt(Files(), u"C:\\dir\\file").attributes, 0U);
}

TEST_F(Deletion, DoesNotWriteTheAttributesOfAFileThatIsNotReadOnly) {
  const File file = Open();
  process.calls.clear();
  EXPECT_TRUE(DeleteByHandle(file.Handle()));
  EXPECT_EQ(CallNames(), (std::vector<std::string>{"GetFileInformationByHandleEx",
                                                   "SetFileInformationByHandle"}));
}

TEST_F(Deletion, GivesUpOnAFileThatStaysReadOnly) {
  SetAttributes(platform::FILE_ATTRIBUTE_READONLY);
  File file = Open();
  FailCall("SetFileInformationByHandle", platform::ERROR_GEN_FAILURE);
  process.calls.clear();
  EXPECT_FALSE(DeleteByHandle(file.Handle()));
  EXPECT_EQ(CallsOf("SetFileInformationByHandle").size(), 1U);
  file.Close();
  EXPECT_TRUE(Exists(u"C:\\dir\\file"));
}

TEST_F(Deletion, IsTriedEvenWhenTheAttributesCannotBeRead) {
  File file = Open();
  FailCall("GetFileInformationByHandleEx", platform::ERROR_GEN_FAILURE);
  EXPECT_TRUE(DeleteByHandle(file.Handle()));
  file.Close();
  EXPECT_FALSE(Exists(u"C:\\dir\\file"));
}

TEST_F(Deletion, FailsForAReadOnlyFileThatIsOnlyMarked) {
  SetAttributes(platform::FILE_ATTRIBUTE_READONLY);
  const File file = Open();
  EXPECT_FALSE(MarkForDeletion(file.Handle()));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
}

}  // namespace
}  // namespace vorn::privileged_input
