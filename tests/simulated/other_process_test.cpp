#include "platform/simulated/other_process.h"

#include "platform/simulated/error_values.h"
#include "platform/simulated/file_tree.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

constexpr char16_t kFile[] = u"C:\\a\\file.txt";

class AnotherProcess : public FileWorld {
 protected:
  AnotherProcess() { PutFile(Files(), u"C:\\other\\x", std::string_view("x")); }

  void Secure(std::u16string_view path, std::u16string_view sddl) {
    NodeAt(Files(), path).security = ParseSddl(sddl).value();
  }
  std::uint64_t FreeBytes() { return Files().volumes[0].freeBytes; }

  OtherProcess other_{TheMachine(), Token{}};
};

TEST_F(AnotherProcess, DoesWhatNothingForbids) {
  EXPECT_EQ(other_.Write(kFile, "new"), 0U);
  EXPECT_EQ(Content(kFile), "new");
  EXPECT_EQ(other_.Write(u"C:\\b\\c\\d.txt", "deep"), 0U);
  EXPECT_EQ(Content(u"C:\\b\\c\\d.txt"), "deep");
  EXPECT_EQ(other_.Grow(kFile, 2), 0U);
  EXPECT_EQ(Content(kFile), std::string("new\0\0", 5));
  EXPECT_EQ(other_.Copy(kFile, u"C:\\copy"), 0U);
  EXPECT_EQ(Content(u"C:\\copy"), Content(kFile));
  EXPECT_EQ(other_.Link(kFile, u"C:\\second"), 0U);
  EXPECT_EQ(FindNode(Files(), u"C:\\second"), FindNode(Files(), kFile));
  EXPECT_EQ(other_.Move(u"C:\\b\\c", u"C:\\moved"), 0U);
  EXPECT_EQ(Content(u"C:\\moved\\d.txt"), "deep");
  EXPECT_FALSE(Exists(u"C:\\b\\c"));
  EXPECT_EQ(other_.Delete(u"C:\\moved"), 0U);
  EXPECT_FALSE(Exists(u"C:\\moved"));
  EXPECT_EQ(other_.MakeFolder(u"C:\\made\\deep"), 0U);
  EXPECT_EQ(other_.MakeFolder(u"C:\\made\\deep"), 0U);
  EXPECT_TRUE(Exists(u"C:\\made\\deep"));
  EXPECT_TRUE(Files().opens.empty());
}

TEST_F(AnotherProcess, MeetsTheShareModesOfTheProgram) {
  const HANDLE held = OpenPath(kFile, With(GENERIC_READ, FILE_SHARE_READ));
  EXPECT_EQ(other_.Delete(kFile), ERROR_SHARING_VIOLATION);
  EXPECT_EQ(other_.Write(kFile, "x"), ERROR_SHARING_VIOLATION);
  EXPECT_EQ(other_.Grow(kFile, 1), ERROR_SHARING_VIOLATION);
  EXPECT_EQ(other_.Move(kFile, u"C:\\new"), ERROR_SHARING_VIOLATION);
  EXPECT_EQ(other_.PutLink(kFile, ReparseKind::SymbolicLink, u"C:\\x", false),
            ERROR_SHARING_VIOLATION);
  EXPECT_EQ(other_.Hold(kFile, FILE_GENERIC_WRITE), ERROR_SHARING_VIOLATION);
  EXPECT_EQ(other_.Copy(kFile, u"C:\\copy"), 0U);
  EXPECT_EQ(Content(kFile), "content");
  CloseHandle(held);
  EXPECT_EQ(other_.Write(kFile, "x"), 0U);
}

TEST_F(AnotherProcess, MeetsAccessLists) {
  Secure(kFile, u"O:SYD:P(A;;FA;;;SY)");
  Secure(u"C:\\a", u"O:SYD:P(A;;FA;;;SY)");
  EXPECT_EQ(other_.Delete(kFile), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Write(kFile, "x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Write(u"C:\\a\\new", "x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Copy(kFile, u"C:\\copy"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.MakeReadOnly(kFile), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Secure(kFile, ParseSddl(u"D:P(A;;FA;;;BA)").value()), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Move(u"C:\\other\\x", u"C:\\a\\x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Link(u"C:\\other\\x", u"C:\\a\\x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.MakeFolder(u"C:\\a\\folder"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Content(kFile), "content");
}

TEST_F(AnotherProcess, DoesNotUseThePrivilegesOfTheProgram) {
  Token token;
  token.backupEnabled = true;
  token.restoreEnabled = true;
  Secure(kFile, u"O:SYD:P(A;;FA;;;SY)");
  EXPECT_EQ(OtherProcess(TheMachine(), token).Copy(kFile, u"C:\\copy"), ERROR_ACCESS_DENIED);
}

TEST_F(AnotherProcess, FollowsLinksOnTheWay) {
  PutLink(Files(), u"C:\\way", ReparseKind::Junction, u"C:\\a", true);
  EXPECT_EQ(other_.Write(u"C:\\way\\file.txt", "through"), 0U);
  EXPECT_EQ(Content(kFile), "through");
  EXPECT_EQ(other_.Write(u"C:\\way\\new.txt", "new"), 0U);
  EXPECT_EQ(Content(u"C:\\a\\new.txt"), "new");
  EXPECT_EQ(other_.Move(u"C:\\way\\new.txt", u"C:\\way\\newer.txt"), 0U);
  EXPECT_EQ(Content(u"C:\\a\\newer.txt"), "new");
  PutLink(Files(), u"C:\\name", ReparseKind::SymbolicLink, kFile, false);
  EXPECT_EQ(other_.Write(u"C:\\name", "named"), 0U);
  EXPECT_EQ(Content(kFile), "named");
}

TEST_F(AnotherProcess, DeletesALinkAndNotWhatItLeadsTo) {
  PutLink(Files(), u"C:\\way", ReparseKind::Junction, u"C:\\a", true);
  EXPECT_EQ(other_.Delete(u"C:\\way"), 0U);
  EXPECT_FALSE(Exists(u"C:\\way"));
  EXPECT_EQ(Content(kFile), "content");
}

TEST_F(AnotherProcess, PutsALinkInPlaceOfATree) {
  EXPECT_EQ(other_.PutLink(u"C:\\a", ReparseKind::Junction, u"C:\\other", true), 0U);
  EXPECT_EQ(NodeAt(Files(), u"C:\\a").reparse, ReparseKind::Junction);
  EXPECT_EQ(other_.Write(u"C:\\a\\x", "through"), 0U);
  EXPECT_EQ(Content(u"C:\\other\\x"), "through");
}

TEST_F(AnotherProcess, MeetsReadOnlyFiles) {
  EXPECT_EQ(other_.MakeReadOnly(kFile), 0U);
  EXPECT_EQ(other_.Write(kFile, "x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Grow(kFile, 1), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Delete(kFile), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Content(kFile), "content");
}

TEST_F(AnotherProcess, MeetsAReadOnlyVolume) {
  Files().volumes[0].readOnly = true;
  EXPECT_EQ(other_.Delete(kFile), ERROR_WRITE_PROTECT);
  EXPECT_EQ(other_.Write(u"C:\\new", "x"), ERROR_WRITE_PROTECT);
}

TEST_F(AnotherProcess, MeetsAFullVolume) {
  const std::uint64_t free = FreeBytes();
  EXPECT_EQ(other_.Grow(kFile, free + 1), ERROR_DISK_FULL);
  EXPECT_EQ(other_.Grow(kFile, ~std::uint64_t{0}), ERROR_DISK_FULL);
  EXPECT_EQ(Content(kFile), "content");
  EXPECT_EQ(other_.Grow(kFile, free), 0U);
  EXPECT_EQ(FreeBytes(), 0U);
}

TEST_F(AnotherProcess, LeavesANameThatTheProgramHasOpenUntilItCloses) {
  const HANDLE held = OpenPath(kFile, With(GENERIC_READ));
  EXPECT_EQ(other_.Delete(kFile), 0U);
  EXPECT_TRUE(Exists(kFile));
  EXPECT_EQ(other_.Write(kFile, "x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Delete(u"C:\\a"), ERROR_ACCESS_DENIED);
  CloseHandle(held);
  EXPECT_FALSE(Exists(kFile));
}

TEST_F(AnotherProcess, CannotMoveAFolderInWhichSomethingIsOpen) {
  PutFile(Files(), u"C:\\a\\b\\deep", std::string_view("x"));
  const HANDLE held = OpenPath(u"C:\\a\\b\\deep", With(GENERIC_READ));
  EXPECT_EQ(other_.Move(u"C:\\a", u"C:\\new"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Move(u"C:\\other", u"C:\\new"), 0U);
  CloseHandle(held);
  EXPECT_EQ(other_.Move(u"C:\\a", u"C:\\newer"), 0U);
}

TEST_F(AnotherProcess, MovesAFileOverAnother) {
  EXPECT_EQ(other_.Move(u"C:\\other\\x", kFile), 0U);
  EXPECT_EQ(Content(kFile), "x");
  EXPECT_EQ(other_.Move(kFile, kFile), 0U);
  EXPECT_EQ(Content(kFile), "x");
}

TEST_F(AnotherProcess, ReplacesNeitherAFolderNorAnOpenFile) {
  EXPECT_EQ(other_.Move(u"C:\\other\\x", u"C:\\a"), ERROR_ACCESS_DENIED);
  const HANDLE held = OpenPath(kFile, With(GENERIC_READ));
  EXPECT_EQ(other_.Move(u"C:\\other\\x", kFile), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Link(u"C:\\other\\x", kFile), ERROR_ALREADY_EXISTS);
  CloseHandle(held);
  EXPECT_EQ(Content(kFile), "content");
}

TEST_F(AnotherProcess, CannotMoveAFolderIntoItself) {
  MakeFolder(Files(), u"C:\\a\\b");
  EXPECT_EQ(other_.Move(u"C:\\a", u"C:\\a\\b\\c"), ERROR_ACCESS_DENIED);
}

TEST_F(AnotherProcess, StaysOnOneVolume) {
  AddVolume(Files(), u'E', u"\\Device\\HarddiskVolume4", u"");
  EXPECT_EQ(other_.Move(kFile, u"E:\\file"), ERROR_NOT_SAME_DEVICE);
  EXPECT_EQ(other_.Link(kFile, u"E:\\file"), ERROR_NOT_SAME_DEVICE);
  EXPECT_EQ(other_.Copy(kFile, u"E:\\file"), 0U);
  EXPECT_EQ(Content(u"E:\\file"), "content");
}

TEST_F(AnotherProcess, DeletesNoVolume) {
  EXPECT_EQ(other_.Delete(u"C:\\"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Content(kFile), "content");
}

TEST_F(AnotherProcess, SaysWhatIsMissing) {
  EXPECT_EQ(other_.Delete(u"C:\\none"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(other_.Delete(u"C:\\none\\x"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(other_.Copy(u"C:\\none", u"C:\\new"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(other_.Hold(u"C:\\none", FILE_GENERIC_WRITE), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(other_.Write(u"X:\\none", "x"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(other_.Write(u"C:\\a", "x"), ERROR_ACCESS_DENIED);
}

TEST_F(AnotherProcess, HoldsAFileAgainstWhoeverDoesNotShareIt) {
  EXPECT_EQ(other_.Hold(kFile, FILE_GENERIC_WRITE), 0U);
  EXPECT_EQ(StatusOf(kFile, With(GENERIC_READ, FILE_SHARE_READ)), STATUS_SHARING_VIOLATION);
  EXPECT_EQ(StatusOf(kFile, With(GENERIC_READ)), STATUS_SUCCESS);
  EXPECT_EQ(CountOwnOpens(Files()), 0U);
}

TEST_F(AnotherProcess, NamesOnlyOwnersThatItMay) {
  EXPECT_EQ(other_.Secure(kFile, ParseSddl(u"O:SYD:P(A;;FA;;;SY)").value()), ERROR_INVALID_OWNER);
  EXPECT_EQ(other_.Secure(kFile, ParseSddl(u"O:BAD:P(A;;FR;;;BU)").value()), 0U);
  EXPECT_EQ(ToSddl(NodeAt(Files(), kFile).security), u"O:BAD:P(A;;FR;;;BU)");
  EXPECT_EQ(other_.Secure(kFile, ParseSddl(u"D:P(A;;FA;;;SY)").value()), 0U);
  EXPECT_EQ(ToSddl(NodeAt(Files(), kFile).security), u"O:BAD:P(A;;FA;;;SY)");
}

TEST_F(AnotherProcess, LeavesTheGroupThatItDoesNotName) {
  Secure(kFile, u"O:BAG:BUD:P(A;;FA;;;BA)");
  EXPECT_EQ(other_.Secure(kFile, ParseSddl(u"D:P(A;;FA;;;SY)(A;;FA;;;BA)").value()), 0U);
  EXPECT_EQ(ToSddl(NodeAt(Files(), kFile).security), u"O:BAG:BUD:P(A;;FA;;;SY)(A;;FA;;;BA)");
  EXPECT_EQ(other_.Secure(kFile, ParseSddl(u"G:SYD:P(A;;FA;;;BA)").value()), 0U);
  EXPECT_EQ(ToSddl(NodeAt(Files(), kFile).security), u"O:BAG:SYD:P(A;;FA;;;BA)");
}

TEST_F(AnotherProcess, MayPutAFileOrAFolderIntoAFolderByDifferentRights) {
  MakeFolder(Files(), u"C:\\tree");
  MakeFolder(Files(), u"C:\\goal");
  Secure(u"C:\\goal", u"O:SYD:P(A;;0x120082;;;BA)");  // FILE_ADD_FILE
  EXPECT_EQ(other_.Move(u"C:\\tree", u"C:\\goal\\tree"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Move(kFile, u"C:\\goal\\file"), 0U);
  Secure(u"C:\\goal", u"O:SYD:P(A;;0x120084;;;BA)");  // FILE_ADD_SUBDIRECTORY
  EXPECT_EQ(other_.Move(u"C:\\other\\x", u"C:\\goal\\x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other_.Move(u"C:\\tree", u"C:\\goal\\tree"), 0U);
}

TEST_F(AnotherProcess, NeedsTheRightToReplaceAnOwner) {
  const SecurityRecord wanted = ParseSddl(u"O:BAD:P(A;;FA;;;BA)").value();
  Secure(kFile, u"O:SYD:P(A;;0x140000;;;BA)");
  EXPECT_EQ(other_.Secure(kFile, wanted), ERROR_ACCESS_DENIED);
  Secure(kFile, u"O:SYD:P(A;;0x1c0000;;;BA)");
  EXPECT_EQ(other_.Secure(kFile, wanted), 0U);
}

}  // namespace
}  // namespace vorn::platform::simulated
