#include "platform/simulated/object_table.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <utility>
#include <vector>

namespace vorn::platform::simulated {
namespace {

/// Notes its end.
class Noted : public Object {
 public:
  Noted(std::vector<int>& ends, int number) : ends_(ends), number_(number) {}
  ~Noted() override { ends_.push_back(number_); }

 private:
  std::vector<int>& ends_;
  int number_;
};

class Objects : public testing::Test {
 protected:
  std::uintptr_t Add(ObjectKind kind, int number) {
    return table.Add(kind, std::make_shared<Noted>(ends, number));
  }

  std::vector<int> ends;
  ObjectTable table;
};

TEST_F(Objects, AreFoundByKindAndValueUntilTheyAreRemoved) {
  const std::uintptr_t value = Add(ObjectKind::Handle, 1);
  EXPECT_NE(table.Find(ObjectKind::Handle, value), nullptr);
  EXPECT_EQ(table.Find(ObjectKind::Key, value), nullptr);
  EXPECT_FALSE(table.Remove(ObjectKind::Key, value));
  EXPECT_TRUE(table.Remove(ObjectKind::Handle, value));
  EXPECT_EQ(ends, std::vector<int>{1});
  EXPECT_EQ(table.Find(ObjectKind::Handle, value), nullptr);
  EXPECT_FALSE(table.Remove(ObjectKind::Handle, value));
}

TEST_F(Objects, KeepTheirValuesWhateverIsRemovedAroundThem) {
  std::vector<std::uintptr_t> values;
  for (int i = 0; i < 100; ++i)
    values.push_back(Add(ObjectKind::Handle, i));
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i % 10 != 3) table.Remove(ObjectKind::Handle, values[i]);
  }
  for (std::size_t i = 0; i < values.size(); ++i)
    EXPECT_EQ(table.Find(ObjectKind::Handle, values[i]) != nullptr, i % 10 == 3) << i;
}

TEST_F(Objects, NeverGetAValueASecondTime) {
  const std::uintptr_t first = Add(ObjectKind::Handle, 1);
  table.Remove(ObjectKind::Handle, first);
  EXPECT_GT(Add(ObjectKind::Handle, 2), first);
}

TEST_F(Objects, GoFromTheNewestToTheOldest) {
  for (int i = 1; i <= 3; ++i)
    Add(i == 2 ? ObjectKind::Memory : ObjectKind::Handle, i);
  table.RemoveAll([](ObjectKind kind) { return kind == ObjectKind::Handle; });
  EXPECT_EQ(ends, (std::vector<int>{3, 1}));
  std::vector<ObjectKind> left;
  table.VisitKinds([&left](ObjectKind kind) { left.push_back(kind); });
  EXPECT_EQ(left, std::vector<ObjectKind>{ObjectKind::Memory});
}

}  // namespace
}  // namespace vorn::platform::simulated
