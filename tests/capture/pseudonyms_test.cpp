#include "capture/pseudonyms.h"

#include <gtest/gtest.h>

namespace vorn::capture {
namespace {

TEST(Pseudonyms, ReplaceAUserInPathsOfEitherKind) {
  Pseudonyms names(false);
  names.Learn(u"C:\\Users\\Ann Lee\\AppData");
  names.Learn(u"Users/bob");
  EXPECT_EQ(names.Path(u"C:\\Users\\ann lee\\x"), u"C:\\Users\\user1\\x");
  EXPECT_EQ(names.Path(u"c:/users/BOB/x/bob"), u"c:/users/user2/x/user2");
  EXPECT_EQ(names.Path(u"C:\\Users\\bobby"), u"C:\\Users\\bobby");
}

TEST(Pseudonyms, KeepWhatEveryMachineHas) {
  Pseudonyms names(false);
  for (const char16_t* const path :
       {u"C:\\Users\\Public\\x", u"C:\\Users\\Default\\x", u"C:\\Users\\All Users\\x",
        u"C:\\Users\\Default User\\x", u"C:\\Users", u"C:\\Users\\", u"C:\\Program Files\\ann"}) {
    names.Learn(path);
    EXPECT_EQ(names.Path(path), path);
  }
}

TEST(Pseudonyms, ReplaceAUserWhereTheNameIsAWord) {
  Pseudonyms names(false);
  names.Learn(u"C:\\Users\\ann");
  EXPECT_EQ(names.Text(u"ann, ANN; joann anna ann_1 ann"), u"user1, user1; joann anna ann_1 user1");
}

TEST(Pseudonyms, GiveAccountsNumbersInTheOrderInWhichTheyAppear) {
  Pseudonyms names(false);
  EXPECT_EQ(names.Sid(u"S-1-5-21-7-8-9-1017"), u"S-1-5-21-1000000000-0-1-1001");
  EXPECT_EQ(names.Sid(u"S-1-5-21-7-8-9-1000"), u"S-1-5-21-1000000000-0-1-1002");
  EXPECT_EQ(names.Sid(u"S-1-5-21-1-1-1-1017"), u"S-1-5-21-1000000000-0-2-1003");
  EXPECT_EQ(names.Sid(u"S-1-5-21-7-8-9-1017"), u"S-1-5-21-1000000000-0-1-1001");
  EXPECT_EQ(names.Sid(u"S-1-5-21-7-8-9-500"), u"S-1-5-21-1000000000-0-1-500");
  EXPECT_EQ(names.Sid(u"S-1-5-21-7-8-9-999"), u"S-1-5-21-1000000000-0-1-999");
}

TEST(Pseudonyms, KnowEveryKindOfPersonalAccount) {
  Pseudonyms names(false);
  EXPECT_EQ(names.Sid(u"S-1-12-1-1-2-3-4444"), u"S-1-5-21-1000000000-0-1-1001");
  EXPECT_EQ(names.Sid(u"S-1-5-5-0-123456"), u"S-1-5-21-1000000000-0-2-1002");
  for (const char16_t* const shared : {u"S-1-5-18", u"S-1-5-32-544", u"S-1-1-0"})
    EXPECT_EQ(names.Sid(shared), shared);
}

TEST(Pseudonyms, KeepEverythingWhereTheyAreNotWanted) {
  Pseudonyms names(true);
  names.Learn(u"C:\\Users\\ann");
  EXPECT_EQ(names.Path(u"C:\\Users\\ann"), u"C:\\Users\\ann");
  EXPECT_EQ(names.Text(u"ann"), u"ann");
  EXPECT_EQ(names.Sid(u"S-1-5-21-7-8-9-1017"), u"S-1-5-21-7-8-9-1017");
}

}  // namespace
}  // namespace vorn::capture
