#include <gtest/gtest.h>

#include <map>
#include <random>

#include "database/Records.h"

namespace {

// The hash index must agree with the ordered map through any mix of
// insertions and removals (removal shifts later entries of a probe run),
// for keys kept in the index and keys too long for it, and the local-key
// filter must never deny a name that has a local key.
TEST(FuncMap, IndexAgreesWithOrderedMapUnderChurn) {
  FuncMap map;
  std::map<std::string, int> model;
  std::mt19937 rng(7);
  for (int step = 0; step < 200000; ++step) {
    // 2 to 5 characters, or 10 to 13 around the longest key kept inline,
    // half of them local keys of a name.
    const std::string name = std::string(rng() % 2 ? 0 : 8, 'x') + "f" + std::to_string(rng() % 3000);
    const std::string key = rng() % 2 ? name : name + "-of-u.s";
    if (const unsigned op = rng() % 3; op == 0) {
      auto record = std::make_unique<__func_attr>();
      record->Stack = step;
      ASSERT_EQ(map.try_emplace(key, std::move(record)).second, model.emplace(key, step).second);
      if (key != name) {
        ASSERT_TRUE(map.MayHaveLocalKey(name));
      }
    } else if (op == 1) {
      ASSERT_EQ(map.erase(key), model.erase(key));
    } else {
      auto it = map.find(key);
      auto expected = model.find(key);
      ASSERT_EQ(it == map.end() ? -1 : it->second->Stack, expected == model.end() ? -1 : expected->second) << key;
      ASSERT_EQ(map.FindRecord(key), it == map.end() ? nullptr : it->second.get());
      // The grouped lookup agrees too, for the key and some random others.
      std::vector<std::string> keys{key};
      for (int k = 0; k < 20; ++k) keys.push_back("f" + std::to_string(rng() % 3000));
      std::vector<__func_attr*> found;
      map.FindAll(keys.begin(), keys.end(), found);
      ASSERT_EQ(found.size(), keys.size());
      for (size_t k = 0; k < keys.size(); ++k) ASSERT_EQ(found[k], map.FindRecord(keys[k])) << keys[k];
    }
  }
  ASSERT_EQ(map.size(), model.size());
  auto expected = model.begin();
  for (const auto& [key, record] : map) EXPECT_EQ(key, (expected++)->first);
}

// A program's worth of functions: the table outgrows the small-allocation
// path (growing through it) and lives in memory offered for huge pages.
TEST(FuncMap, LargeTableKeepsEveryKeyThroughGrowthAndClear) {
  FuncMap map;
  constexpr int kKeys = 150000;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < kKeys; ++i) {
      auto record = std::make_unique<__func_attr>();
      record->Stack = i;
      ASSERT_TRUE(map.try_emplace("fn_" + std::to_string(i), std::move(record)).second);
    }
    for (int i = 0; i < kKeys; i += 7) {
      map.Prefetch("fn_" + std::to_string(i));
      const __func_attr* record = map.FindRecord("fn_" + std::to_string(i));
      ASSERT_NE(record, nullptr) << i;
      ASSERT_EQ(record->Stack, i);
    }
    EXPECT_EQ(map.FindRecord("fn_" + std::to_string(kKeys)), nullptr);
    map.clear();
    EXPECT_EQ(map.FindRecord("fn_0"), nullptr);
  }
}

}  // namespace
