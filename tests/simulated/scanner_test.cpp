#include "platform/simulated/clock.h"
#include "platform/simulated/error_values.h"
#include "tests/simulated/file_world.h"

#include <limits>

namespace vorn::platform::simulated {
namespace {

constexpr std::uint64_t kScanMs = 3'000;
constexpr char16_t kWritten[] = u"C:\\a\\written";

class Scanner : public FileWorld {
 protected:
  Scanner() { Files().scanMs = kScanMs; }

  void WriteAndClose() {
    const HANDLE file = OpenPath(kWritten, New());
    EXPECT_TRUE(Write(file, "x"));
    CloseHandle(file);
  }

  void Delete() {
    const HANDLE file = OpenPath(kWritten, With(DELETE));
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(Dispose(file));
    CloseHandle(file);
  }
};

TEST_F(Scanner, OpensWhatWasWrittenAndRefusesNobody) {
  WriteAndClose();
  EXPECT_EQ(Files().opens.size(), 1U);
  EXPECT_EQ(CountOwnOpens(Files()), 0U);
  EXPECT_EQ(StatusOf(kWritten, With(GENERIC_READ | GENERIC_WRITE | DELETE)), STATUS_SUCCESS);
  Advance(TheMachine(), kScanMs);
  EXPECT_TRUE(Files().opens.empty());
}

TEST_F(Scanner, NeverClosesAfterTheLongestTime) {
  Files().scanMs = std::numeric_limits<std::uint64_t>::max();
  WriteAndClose();
  Advance(TheMachine(), kScanMs);
  EXPECT_EQ(Files().opens.size(), 1U);
}

TEST_F(Scanner, DoesNotCareForWhatWasOnlyRead) {
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_SUCCESS);
  EXPECT_TRUE(Files().opens.empty());
}

TEST_F(Scanner, DoesNotCareForWhatIsDeletedAsItIsClosed) {
  const HANDLE file = OpenPath(kWritten, New());
  EXPECT_TRUE(Write(file, "x"));
  EXPECT_TRUE(Dispose(file));
  CloseHandle(file);
  EXPECT_TRUE(Files().opens.empty());
  EXPECT_EQ(StatusOf(kWritten), STATUS_OBJECT_NAME_NOT_FOUND);
}

TEST_F(Scanner, LeavesTheNameOfADeletedFileUntilItCloses) {
  WriteAndClose();
  Delete();
  EXPECT_EQ(StatusOf(kWritten), STATUS_DELETE_PENDING);
  EXPECT_EQ(StatusOf(kWritten, New()), STATUS_DELETE_PENDING);
  Advance(TheMachine(), kScanMs - 1);
  EXPECT_EQ(StatusOf(kWritten, New()), STATUS_DELETE_PENDING);
  Advance(TheMachine(), 1);
  EXPECT_EQ(StatusOf(kWritten, New()), STATUS_SUCCESS);
}

TEST_F(Scanner, KeepsTheFolderOfADeletedFileFull) {
  RemovePath(Files(), u"C:\\a\\file.txt");
  WriteAndClose();
  Delete();
  How how = Folder();
  how.access |= DELETE;
  const HANDLE folder = OpenPath(u"C:\\a", how);
  EXPECT_FALSE(Dispose(folder));
  EXPECT_EQ(GetLastError(), ERROR_DIR_NOT_EMPTY);
  Advance(TheMachine(), kScanMs);
  EXPECT_TRUE(Dispose(folder));
}

TEST_F(Scanner, IsNotThereUnlessTheMachineHasOne) {
  Files().scanMs = 0;
  WriteAndClose();
  EXPECT_TRUE(Files().opens.empty());
}

class RenameInto : public FileWorld {};

TEST_F(RenameInto, IsRefusedWhileTheFolderIsHeldWithReadSharingAlone) {
  const HANDLE held = OpenPath(u"C:\\a", Folder());
  ASSERT_NE(held, nullptr);
  EXPECT_FALSE(BeginRenameInto(Files(), u"C:\\a", 0));
  CloseHandle(held);
  EXPECT_TRUE(BeginRenameInto(Files(), u"C:\\a", 0));
  EXPECT_FALSE(BeginRenameInto(Files(), u"C:\\nowhere", 0));
}

TEST_F(RenameInto, KeepsTheFolderFromBeingHeldUntilItIsOver) {
  ASSERT_TRUE(BeginRenameInto(Files(), u"C:\\a", TheMachine().clock.tick + 1));
  EXPECT_EQ(StatusOf(u"C:\\a", Folder()), STATUS_SHARING_VIOLATION);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_SUCCESS);
  Advance(TheMachine(), 1);
  EXPECT_EQ(StatusOf(u"C:\\a", Folder()), STATUS_SUCCESS);
}

}  // namespace
}  // namespace vorn::platform::simulated
