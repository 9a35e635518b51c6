#include "remove/key_tree_deletion.h"

#include "platform/simulated/native_values.h"
#include "registry_world.h"

namespace vorn {
namespace {

using namespace platform::simulated;
using tests::ChangeBefore;
using tests::FailingCall;
using tests::kReadOnlySddl;

using Texts = std::vector<std::string>;

class KeyTreeDeletion : public tests::RegistryWorld {
 protected:
  KeyTreeDeletion() { MakeKey(TheRegistry(), PathOf(u"")); }

  /// Deletes the key of that name below kRecordsPath.
  std::uint32_t Delete(const std::u16string& name = u"tree") {
    platform::HKEY parent = nullptr;
    const std::vector<Fault> faults = std::move(process.faults);
    process.faults.clear();
    EXPECT_EQ(platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, tests::kRecordsPath, 0,
                                      platform::KEY_READ | platform::KEY_WOW64_64KEY, &parent),
              0);
    process.calls.clear();
    process.callCounts.clear();
    process.faults = faults;
    const std::uint32_t error = KeyTreeDeleter().DeleteKeyTree(parent, name);
    process.faults.clear();
    platform::RegCloseKey(parent);
    return error;
  }

  void Make(std::u16string_view path) { MakeKey(TheRegistry(), PathOf(path)); }

  /// The names of the keys that were opened, in order.
  Texts Opened() const { return ArgumentsOf("RegOpenKeyExW", "subkey"); }
};

TEST_F(KeyTreeDeletion, RemovesAKeyWithEverythingBelowIt) {
  Make(u"tree\\a\\b");
  Make(u"tree\\c");
  Make(u"beside");
  PutDword(TheRegistry(), PathOf(u"tree\\a"), u"value", 1);
  EXPECT_EQ(Delete(), 0U);
  EXPECT_FALSE(Exists(u"tree"));
  EXPECT_TRUE(Exists(u"beside"));
  EXPECT_EQ(CountOf("NtDeleteKey"), 4U);
}

TEST_F(KeyTreeDeletion, RemovesADeepTree) {
  std::u16string path = u"tree";
  for (int level = 0; level < 200; ++level)
    path += u"\\k";
  Make(path);
  EXPECT_EQ(Delete(), 0U);
  EXPECT_FALSE(Exists(u"tree"));
}

TEST_F(KeyTreeDeletion, RemovesABroadTree) {
  for (int i = 0; i < 300; ++i)
    Make(u"tree\\" + std::u16string(1, static_cast<char16_t>(0x4E00 + i)));
  EXPECT_EQ(Delete(), 0U);
  EXPECT_FALSE(Exists(u"tree"));
}

TEST_F(KeyTreeDeletion, OpensKeysForListingAndDeletionInThe64BitView) {
  Make(u"tree\\a");
  Delete();
  EXPECT_EQ(ArgumentsOf("RegOpenKeyExW", "desiredAccess"), (Texts{"0x10109", "0x10109"}));
  EXPECT_EQ(ArgumentsOf("RegOpenKeyExW", "options"), (Texts{"0x0", "0x0"}));
  EXPECT_EQ(CountOf("OpenProcessToken"), 0U) << "no privilege is used that is not needed";
}

TEST_F(KeyTreeDeletion, OfAMissingKeySucceeds) {
  EXPECT_EQ(Delete(), 0U);
  EXPECT_EQ(CountOf("NtDeleteKey"), 0U);
  EXPECT_EQ(CountOf("RegOpenKeyExW"), 1U);
}

// ------------------------------------------------------------------------------------------------
// Order.

TEST_F(KeyTreeDeletion, RemovesPropertiesLast) {
  for (const auto name : {u"Alpha", u"Properties", u"Queue", u"Zeta"})
    Make(u"tree\\" + std::u16string(name));
  Delete();
  EXPECT_EQ(Opened(), (Texts{"tree", "Alpha", "Queue", "Zeta", "Properties"}));
}

TEST_F(KeyTreeDeletion, RemovesPropertiesLastWhateverTheirCase) {
  for (const auto name : {u"a", u"pROPERTIES", u"q", u"Properties2"})
    Make(u"tree\\" + std::u16string(name));
  Delete();
  EXPECT_EQ(Opened(), (Texts{"tree", "a", "Properties2", "q", "pROPERTIES"}));
}

TEST_F(KeyTreeDeletion, RemovesPropertiesLastAtEachLevel) {
  Make(u"tree\\Properties\\Properties");
  Make(u"tree\\Properties\\x");
  Make(u"tree\\x\\Properties");
  Make(u"tree\\x\\y");
  Delete();
  EXPECT_EQ(Opened(), (Texts{"tree", "x", "y", "Properties", "Properties", "x", "Properties"}));
}

TEST_F(KeyTreeDeletion, StopsAtTheFirstSubkeyThatStays) {
  for (const auto name : {u"a", u"b", u"Properties", u"q"})
    Make(u"tree\\" + std::u16string(name));
  KeyAt(u"tree\\b").openError = 1450;
  EXPECT_EQ(Delete(), 1450U);
  EXPECT_FALSE(Exists(u"tree\\a"));
  EXPECT_TRUE(Exists(u"tree\\b"));
  EXPECT_TRUE(Exists(u"tree\\Properties")) << "the record can still be recognised";
  EXPECT_TRUE(Exists(u"tree\\q"));
  EXPECT_EQ(Opened(), (Texts{"tree", "a", "b"}));
}

TEST_F(KeyTreeDeletion, DeletesNothingOfAKeyThatCannotAllBeListed) {
  for (const auto name : {u"a", u"b", u"c"})
    Make(u"tree\\" + std::u16string(name));
  process.faults = {FailingCall("RegEnumKeyExW", 1450, 3)};
  EXPECT_EQ(Delete(), platform::ERROR_CANTREAD);
  EXPECT_EQ(CountOf("NtDeleteKey"), 0U);
  EXPECT_TRUE(Exists(u"tree\\a"));
}

TEST_F(KeyTreeDeletion, DeletesNothingOfAKeyWhoseListingEndsWithAnotherError) {
  Make(u"tree\\a");
  for (const std::uint32_t error : {2U, 3U, 5U, 234U, 1018U}) {
    SCOPED_TRACE(error);
    process.faults = {FailingCall("RegEnumKeyExW", error, 2)};
    EXPECT_EQ(Delete(), 1012U);
    EXPECT_TRUE(Exists(u"tree\\a"));
  }
}

TEST_F(KeyTreeDeletion, ReturnsTheErrorOfALowerKeyThatCannotBeListed) {
  Make(u"tree\\a");
  KeyAt(u"tree\\a").listError = 5;
  EXPECT_EQ(Delete(), 1012U);
  EXPECT_TRUE(Exists(u"tree\\a"));
}

// ------------------------------------------------------------------------------------------------
// Opening.

TEST_F(KeyTreeDeletion, ReturnsTheErrorOfAKeyThatCannotBeOpened) {
  Make(u"tree");
  for (const std::uint32_t error : {3U, 6U, 19U, 32U, 87U, 161U, 1009U, 1018U, 1314U, 1450U}) {
    SCOPED_TRACE(error);
    process.faults = {FailingCall("RegOpenKeyExW", error)};
    EXPECT_EQ(Delete(), error);
    EXPECT_EQ(CountOf("OpenProcessToken"), 0U);
    EXPECT_EQ(CountOf("RegOpenKeyExW"), 1U);
    EXPECT_EQ(CountOf("RegEnumKeyExW"), 0U);
  }
  EXPECT_TRUE(Exists(u"tree"));
}

TEST_F(KeyTreeDeletion, UsesThePrivilegesWhereAccessIsDenied) {
  Make(u"tree");
  Secure(u"tree", kReadOnlySddl);
  EXPECT_EQ(Delete(), 0U);
  EXPECT_FALSE(Exists(u"tree"));
  EXPECT_EQ(ArgumentsOf("RegOpenKeyExW", "options"), (Texts{"0x0", "0x4"}));
  EXPECT_EQ(ArgumentsOf("RegOpenKeyExW", "desiredAccess"), (Texts{"0x10109", "0x100"}));
  EXPECT_EQ(ArgumentsOf("OpenProcessToken", "DesiredAccess"), Texts{"0x28"});
  EXPECT_EQ(CountOf("LookupPrivilegeValueW"), 2U);
  EXPECT_EQ(ArgumentsOf("AdjustTokenPrivileges", "PrivilegeCount"), (Texts{"1", "1"}));
  EXPECT_EQ(ArgumentsOf("AdjustTokenPrivileges", "Attributes"), (Texts{"0x2", "0x2"}));
  EXPECT_TRUE(process.token.backupEnabled);
  EXPECT_TRUE(process.token.restoreEnabled);
}

TEST_F(KeyTreeDeletion, UsesThePrivilegesForEachKeyBelow) {
  Make(u"tree\\a\\b");
  Make(u"tree\\Properties");
  Secure(u"tree", kReadOnlySddl);
  EXPECT_EQ(Delete(), 0U);
  EXPECT_FALSE(Exists(u"tree"));
}

TEST_F(KeyTreeDeletion, EnablesThePrivilegesOnceForATree) {
  Make(u"tree\\a\\b");
  Make(u"tree\\c");
  Secure(u"tree", kReadOnlySddl);
  EXPECT_EQ(Delete(), 0U);
  EXPECT_EQ(CountOf("NtDeleteKey"), 4U);
  EXPECT_EQ(CountOf("OpenProcessToken"), 1U);
  EXPECT_EQ(CountOf("LookupPrivilegeValueW"), 2U);
  EXPECT_EQ(CountOf("AdjustTokenPrivileges"), 2U);
}

TEST_F(KeyTreeDeletion, EnablesThePrivilegesAgainAfterACallThatFailed) {
  struct {
    const char* call;
    std::uint32_t nth;  // the second one is for the restore privilege
  } const rows[] = {{"OpenProcessToken", 1},
                    {"LookupPrivilegeValueW", 1},
                    {"LookupPrivilegeValueW", 2},
                    {"AdjustTokenPrivileges", 1},
                    {"AdjustTokenPrivileges", 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.call);
    Make(u"tree\\a");
    Make(u"tree\\b");
    Secure(u"tree\\a", kReadOnlySddl);
    Secure(u"tree\\b", kReadOnlySddl);
    process.token = Token();
    platform::HKEY tree = nullptr;
    ASSERT_EQ(platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, PathOf(u"tree").c_str(), 0,
                                      platform::KEY_READ | platform::KEY_WOW64_64KEY, &tree),
              0);
    KeyTreeDeleter deleter;
    process.callCounts.clear();
    process.faults = {FailingCall(row.call, 1314, row.nth)};
    EXPECT_NE(deleter.DeleteKeyTree(tree, u"a"), 0U);
    EXPECT_EQ(deleter.DeleteKeyTree(tree, u"b"), 0U);
    process.faults.clear();
    platform::RegCloseKey(tree);
  }
}

TEST_F(KeyTreeDeletion, FailsWithoutThePrivileges) {
  Make(u"tree");
  Secure(u"tree", kReadOnlySddl);
  process.token.holdsBackup = false;
  process.token.holdsRestore = false;
  EXPECT_EQ(Delete(), 5U);
  EXPECT_EQ(CountOf("RegOpenKeyExW"), 2U);
  EXPECT_TRUE(Exists(u"tree"));
}

TEST_F(KeyTreeDeletion, CannotListWithTheRestorePrivilegeAlone) {
  Make(u"tree");
  Secure(u"tree", kReadOnlySddl);
  process.token.holdsBackup = false;
  EXPECT_EQ(Delete(), 1012U);
  EXPECT_TRUE(Exists(u"tree"));
}

TEST_F(KeyTreeDeletion, CannotDeleteWithTheBackupPrivilegeAlone) {
  Make(u"tree");
  Secure(u"tree", kReadOnlySddl);
  process.token.holdsRestore = false;
  EXPECT_EQ(Delete(), 5U);
  EXPECT_TRUE(Exists(u"tree"));
}

TEST_F(KeyTreeDeletion, TriesAgainWhateverBecomesOfThePrivileges) {
  for (const auto call : {"OpenProcessToken", "LookupPrivilegeValueW", "AdjustTokenPrivileges"}) {
    SCOPED_TRACE(call);
    Make(u"tree");
    Secure(u"tree", kReadOnlySddl);
    process.token = Token();
    process.faults = {tests::AlwaysFailingCall(call, 1314)};
    EXPECT_EQ(Delete(), 5U);
    EXPECT_EQ(ArgumentsOf("RegOpenKeyExW", "options"), (Texts{"0x0", "0x4"}));
    EXPECT_TRUE(Exists(u"tree"));
  }
}

TEST_F(KeyTreeDeletion, AsksForNoPrivilegeWithoutAToken) {
  Make(u"tree");
  Secure(u"tree", kReadOnlySddl);
  process.faults = {FailingCall("OpenProcessToken", 5)};
  Delete();
  EXPECT_EQ(CountOf("OpenProcessToken"), 1U);
  EXPECT_EQ(CountOf("LookupPrivilegeValueW"), 0U);
}

TEST_F(KeyTreeDeletion, EnablesEachPrivilegeOnItsOwn) {
  for (const auto call : {"LookupPrivilegeValueW", "AdjustTokenPrivileges"}) {
    SCOPED_TRACE(call);
    Make(u"tree");
    Secure(u"tree", kReadOnlySddl);
    process.token = Token();
    process.faults = {FailingCall(call, 1313, 1)};
    Delete();
    EXPECT_FALSE(process.token.backupEnabled);
    EXPECT_TRUE(process.token.restoreEnabled);
    process.token = Token();
    process.faults = {FailingCall(call, 1313, 2)};
    Delete();
    EXPECT_TRUE(process.token.backupEnabled);
    EXPECT_FALSE(process.token.restoreEnabled);
  }
}

TEST_F(KeyTreeDeletion, OfAKeyThatVanishesBetweenTheTwoOpensSucceeds) {
  Make(u"tree");
  Secure(u"tree", kReadOnlySddl);
  process.faults = {ChangeBefore(
      "OpenProcessToken", 1, [this](Machine&) { RemoveKeyTree(TheRegistry(), PathOf(u"tree")); })};
  EXPECT_EQ(Delete(), 0U);
}

// ------------------------------------------------------------------------------------------------
// The key itself.

TEST_F(KeyTreeDeletion, NeedsBothNativeFunctions) {
  Make(u"tree");
  for (const auto missing : {"NtDeleteKey", "RtlNtStatusToDosError"}) {
    SCOPED_TRACE(missing);
    process.missingExports = {missing};
    EXPECT_EQ(Delete(), platform::ERROR_PROC_NOT_FOUND);
    EXPECT_TRUE(Exists(u"tree"));
  }
  process.missingExports.clear();
  process.ntdllMissing = true;
  EXPECT_EQ(Delete(), 127U);
  EXPECT_TRUE(Exists(u"tree"));
}

TEST_F(KeyTreeDeletion, LooksTheNativeFunctionsUpOnceForATree) {
  Make(u"tree\\a\\b");
  Make(u"tree\\c");
  EXPECT_EQ(Delete(), 0U);
  EXPECT_EQ(CountOf("NtDeleteKey"), 4U);
  EXPECT_EQ(CountOf("GetModuleHandleW"), 1U);
  EXPECT_EQ(CountOf("GetProcAddress"), 2U);
}

TEST_F(KeyTreeDeletion, TurnsTheStatusIntoAnErrorCode) {
  struct {
    platform::NTSTATUS status;
    std::uint32_t error;
  } const rows[] = {{platform::STATUS_ACCESS_DENIED, 5},
                    {platform::STATUS_CANNOT_DELETE, 5},
                    {platform::STATUS_KEY_DELETED, 1018},
                    {platform::STATUS_INSUFFICIENT_RESOURCES, 1450},
                    {platform::STATUS_INVALID_HANDLE, 6}};
  Make(u"tree");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    KeyAt(u"tree").deleteStatus = row.status;
    EXPECT_EQ(Delete(), row.error);
    EXPECT_TRUE(Exists(u"tree"));
  }
}

TEST_F(KeyTreeDeletion, TakesAnInformationalStatusForSuccess) {
  constexpr platform::NTSTATUS kObjectNameExists = 0x40000000;
  Make(u"tree");
  KeyAt(u"tree").deleteStatus = kObjectNameExists;
  EXPECT_EQ(Delete(), 0U);
}

TEST_F(KeyTreeDeletion, KeepsAKeyThatHasGainedASubkey) {
  Make(u"tree");
  process.faults = {ChangeBefore("NtDeleteKey", 1, [this](Machine&) { Make(u"tree\\new"); })};
  EXPECT_EQ(Delete(), 5U);
  EXPECT_TRUE(Exists(u"tree\\new"));
}

TEST_F(KeyTreeDeletion, ClosesEachKeyThatItOpened) {
  Make(u"tree\\a");
  Make(u"tree\\b");
  KeyAt(u"tree\\b").deleteStatus = platform::STATUS_ACCESS_DENIED;
  Delete();
  // One more than was opened: the parent's handle is the test's own.
  EXPECT_EQ(CountOf("RegCloseKey"), CountOf("RegOpenKeyExW") + 1);
}

}  // namespace
}  // namespace vorn
