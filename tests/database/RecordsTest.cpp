// Keys of static records, hex and demangled names, and call lists.
#include <gtest/gtest.h>

#include "database/AssemblyData.h"

namespace {

TEST(Records, LocalKeysHexAndDemangledNames) {
  for (const auto& [path, key] : std::vector<std::pair<std::string, std::string>>{
           {"src/bar.c", "foo-of-bar.s"}, {"lib\\baz.S", "foo-of-baz.s"}, {"dir/sub/file.cpp", "foo-of-file.s"},
           {"x.cfg.c", "foo-of-x.s"}, {"/abs/path/main.s", "foo-of-main.s"}}) {
    EXPECT_EQ(AssemblyData::GetLocalName("foo", path), key) << path;
  }
  EXPECT_EQ(AssemblyData::GetLocalName("foo", 0x1a2cu), "foo-of-00001a2c");
  EXPECT_EQ(AssemblyData::GetHexString(0xFFFFFFFFu), "ffffffff");
  EXPECT_EQ(AssemblyData::Demangle("_ZNK3geo5ShapeltERKS0_"), "geo::Shape::operator<(geo::Shape const&) const");
  EXPECT_EQ(AssemblyData::Demangle("main"), "main");
  EXPECT_EQ(AssemblyData::Demangle("_Zbogus"), "_Zbogus");
}

TEST(Records, CallListsKeepFirstOrderWithoutDuplicates) {
  AssemblyData db;
  __func_attr* f = db.CreateFuncAttr("f", "f");
  EXPECT_EQ(db.InsertCallListItem(nullptr, "x"), -1);
  // Enough callees to pass the point where the list gets its hash index.
  for (int round = 0; round < 2; ++round) {
    for (int i = 40; i > 0; --i) EXPECT_EQ(db.InsertCallListItem(f, "c" + std::to_string(i)), 0);
  }
  ASSERT_EQ(f->callList.size(), 40u);
  int expected = 40;
  for (const std::string& callee : f->callList) EXPECT_EQ(callee, "c" + std::to_string(expected--));
}

}  // namespace
