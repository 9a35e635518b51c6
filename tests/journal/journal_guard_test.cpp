#include "journal/journal_guard.h"

#include "tests/privileged_input/input_test.h"

namespace vorn {
namespace {

constexpr char16_t kPath[] = u"C:\\pkg\\.vorn-driver-activation-state";

class GuardedJournal : public tests::InputTest {
 protected:
  GuardedJournal() {
    sim::MakeFolder(Files(), u"C:\\pkg");
    PutProtectedFile(kPath, {u'?', 0});
  }

  privileged_input::ProtectedFiles protectedFiles_;
  Journal journal_{protectedFiles_, PathOf(kPath)};
};

TEST_F(GuardedJournal, StaysWhileItsGuardDoesAndGoesWithIt) {
  {
    const JournalGuard guard(journal_);
    EXPECT_TRUE(Exists(kPath));
  }
  EXPECT_FALSE(Exists(kPath));
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(GuardedJournal, StaysWhenItIsKept) {
  {
    JournalGuard guard(journal_);
    guard.Keep();
    process.calls.clear();
  }
  EXPECT_TRUE(Exists(kPath));
  EXPECT_TRUE(process.calls.empty());
}

}  // namespace
}  // namespace vorn
