#include "datarep/sorter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace tolvane {
namespace {

constexpr std::size_t kItem = 24, kKey = 20;

// Items of `varying` random bytes in a key of 20, and their number behind it.
std::vector<std::string> Items(std::size_t count, std::size_t varying) {
  std::mt19937 random(4711);
  std::vector<std::string> items(count, std::string(kItem, 'x'));
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t at = 0; at < varying; ++at)
      items[i][at * kKey / varying] = static_cast<char>(random() % 5);
    StoreBig(reinterpret_cast<Byte*>(&items[i][kKey]), static_cast<std::uint32_t>(i));
  }
  return items;
}

std::vector<std::string> Sorted(Sorter sorter, const std::vector<std::string>& items) {
  for (const std::string& item : items)
    EXPECT_TRUE(sorter.Add(reinterpret_cast<const Byte*>(item.data())));
  EXPECT_TRUE(sorter.Sort());
  std::vector<std::string> sorted;
  while (const Byte* item = sorter.Next())
    sorted.emplace_back(reinterpret_cast<const char*>(item), kItem);
  EXPECT_FALSE(sorter.failed());
  return sorted;
}

TEST(Sorter, GivesItemsInOrder) {
  const auto less = [](const Byte* a, const Byte* b) { return std::memcmp(a, b, kItem) < 0; };
  for (const std::size_t varying : {1, 3, 20}) {  // by bytes, by bytes, by comparing
    const auto items = Items(5000, varying);
    auto expected = items;
    std::sort(expected.begin(), expected.end(), [](const std::string& a, const std::string& b) {
      return std::memcmp(a.data(), b.data(), kItem) < 0;
    });
    for (const std::size_t memory : {kItem * 100, kItem * 5000}) {  // many runs; none
      EXPECT_EQ(Sorted(Sorter(kItem, kKey, memory), items), expected) << varying << " " << memory;
      EXPECT_EQ(Sorted(Sorter(kItem, less, memory), items), expected) << varying << " " << memory;
    }
  }
}

TEST(Sorter, GivesNothingOfNothing) { EXPECT_TRUE(Sorted(Sorter(kItem, kKey), {}).empty()); }

}  // namespace
}  // namespace tolvane
