#include "platform/simulated/copy_on_write.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace vorn::platform::simulated {
namespace {

using Table = SharedTable<std::uint64_t, std::string>;
using Pairs = std::vector<std::pair<std::uint64_t, std::string>>;

constexpr std::uint64_t kFarAway = std::uint64_t{1} << 48;

Table TableOf(const Pairs& pairs) {
  Table table;
  for (const auto& [id, value] : pairs)
    table.Put(id, value);
  return table;
}

Pairs PairsOf(const Table& table) {
  Pairs pairs;
  for (const auto& [id, value] : table)
    pairs.emplace_back(id, *value);
  return pairs;
}

TEST(SharedTable, GoesThroughItsValuesByNumberHoweverFarApart) {
  EXPECT_EQ(PairsOf(TableOf({{kFarAway, "d"}, {31, "b"}, {0, "a"}, {32, "c"}})),
            (Pairs{{0, "a"}, {31, "b"}, {32, "c"}, {kFarAway, "d"}}));
  EXPECT_EQ(PairsOf(Table()), Pairs());
}

TEST(SharedTable, CountsAValueOnceHoweverOftenItIsPutAndErased) {
  Table table = TableOf({{1, "a"}, {1, "b"}, {100, "c"}});
  EXPECT_EQ(table.size(), 2U);
  EXPECT_EQ(table.Get(1), "b");
  table.Erase(100);
  table.Erase(100);
  EXPECT_EQ(table.size(), 1U);
  EXPECT_FALSE(table.contains(100));
}

TEST(SharedTable, KeepsACopyAsItWasWhenOneOfThemChanges) {
  const Table before = TableOf({{1, "a"}, {2, "b"}, {100, "c"}});
  Table after = before;
  after.at(1) = "changed";
  after.Erase(2);
  after.Put(3, "new");
  EXPECT_EQ(PairsOf(before), (Pairs{{1, "a"}, {2, "b"}, {100, "c"}}));
  EXPECT_EQ(PairsOf(after), (Pairs{{1, "changed"}, {3, "new"}, {100, "c"}}));
}

TEST(SharedTable, IsEqualToAnotherWithTheSameValues) {
  const Table table = TableOf({{1, "a"}, {100, "b"}});
  EXPECT_EQ(table, TableOf({{100, "b"}, {1, "a"}}));
  EXPECT_NE(table, TableOf({{1, "a"}, {100, "c"}}));
  EXPECT_NE(table, TableOf({{1, "a"}, {101, "b"}}));
  EXPECT_NE(table, TableOf({{1, "a"}}));
}

TEST(SharedTable, HasNoTraceOfAnErasedValue) {
  Table table = TableOf({{1, "a"}, {100, "b"}});
  table.Erase(100);
  EXPECT_EQ(table, TableOf({{1, "a"}}));
}

TEST(SharedTable, RefusesANumberWithoutAValue) {
  Table table = TableOf({{1, "a"}});
  EXPECT_THROW(table.at(2) = "b", std::out_of_range);
  EXPECT_THROW(std::as_const(table).at(100), std::out_of_range);
}

}  // namespace
}  // namespace vorn::platform::simulated
