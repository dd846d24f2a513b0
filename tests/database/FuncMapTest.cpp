#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "database/Records.h"

namespace {

// The hash index must agree with the ordered map through any mix of
// insertions and removals (removal shifts later entries of a probe run).
TEST(FuncMap, IndexAgreesWithOrderedMapUnderChurn) {
  FuncMap map;
  std::map<std::string, int> model;
  std::mt19937 rng(7);
  for (int step = 0; step < 200000; ++step) {
    std::string key = "f" + std::to_string(rng() % 3000);
    switch (rng() % 3) {
      case 0: {
        auto record = std::make_unique<__func_attr>();
        record->Stack = step;
        bool inserted = map.try_emplace(key, std::move(record)).second;
        EXPECT_EQ(inserted, model.emplace(key, step).second);
        break;
      }
      case 1:
        EXPECT_EQ(map.erase(key), model.erase(key));
        break;
      default: {
        auto it = map.find(key);
        auto expected = model.find(key);
        ASSERT_EQ(it == map.end(), expected == model.end()) << key;
        if (it != map.end()) {
          EXPECT_EQ(it->second->Stack, expected->second);
        }
      }
    }
  }
  ASSERT_EQ(map.size(), model.size());
  auto expected = model.begin();
  for (const auto& [key, record] : map) EXPECT_EQ(key, (expected++)->first);
  map.clear();
  EXPECT_EQ(map.find("f1"), map.end());
}

}  // namespace
