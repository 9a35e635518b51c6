#include "journal/journal_guard.h"

#include "tests/privileged_input/input_test.h"
#include "tests/support/sample.h"

namespace vorn {
namespace {

using tests::kSampleJournal;

class GuardedJournal : public tests::InputTest {
 protected:
  GuardedJournal() {
    sim::MakeFolder(Files(), u"C:\\pkg");
    PutProtectedFile(kSampleJournal, {u'?', 0});
  }

  privileged_input::ProtectedFiles protectedFiles_;
  Journal journal_{protectedFiles_, PathOf(kSampleJournal)};
};

TEST_F(GuardedJournal, LivesAsLongAsItsGuard) {
  {
    const JournalGuard guard(journal_);
    EXPECT_TRUE(Exists(kSampleJournal));
  }
  EXPECT_FALSE(Exists(kSampleJournal));
  EXPECT_EQ(process.ErrorOutput() + process.Output(), u"");
}

TEST_F(GuardedJournal, StaysWhenItIsKept) {
  {
    JournalGuard guard(journal_);
    guard.Keep();
    process.calls.clear();
  }
  EXPECT_TRUE(Exists(kSampleJournal));
  EXPECT_TRUE(process.calls.empty());
}

}  // namespace
}  // namespace vorn
