// Aliases and the preset function table.
#include <gtest/gtest.h>

#include "database/AssemblyData.h"
#include "reports/ReportTestUtil.h"

namespace {

TEST(Aliases, FirstDefinitionWinsAndLocalTargetIsPreferred) {
  AssemblyData db;
  __func_attr* global = db.CreateFuncAttr("impl", "impl");
  __func_attr* local = db.CreateFuncAttr("impl-of-util.s", "impl");
  db.InsertAliasItem("reset", "impl", 0);
  db.InsertAliasItem("reset", "other", 0);
  EXPECT_EQ(db.FindAliasItem("reset")->target, "impl");
  EXPECT_EQ(db.GetAliasAttribute("reset", "src/util.c"), local);
  EXPECT_EQ(db.GetAliasAttribute("reset", "src/main.s"), global);
  EXPECT_EQ(db.GetAliasAttribute("nothing", ""), nullptr);
  global->CumStack = 40;
  EXPECT_EQ(reporttest::Written([&](FILE* file) { EXPECT_EQ(db.DumpAliasFuncAttr("reset", file), 0); }),
            "code;reset;40;1;\n");
}

TEST(Presets, EmptyUntilBuiltThenFilledIn) {
  AssemblyData db;
  __func_attr* printf_ = db.CreateFuncAttr("printf", "printf");
  EXPECT_EQ(db.IsPresetFunction(printf_), 0);
  EXPECT_EQ(db.IsPresetFunction(std::string("printf")), nullptr);
  db.CreatePresetFunctions();
  printf_->IsAidEntry = true;
  EXPECT_EQ(db.IsPresetFunction(printf_), 1);
  EXPECT_TRUE(printf_->Stack == 904 && printf_->IsFound && !printf_->IsAidEntry);
  __func_attr* abort_ = db.IsPresetFunction(std::string("abort"));
  ASSERT_NE(abort_, nullptr);
  EXPECT_EQ(abort_->Stack, 80);
  EXPECT_EQ(db.FindFuncItem("abort"), abort_);
  db.AddPresetFunction("printf", 1);  // a later entry of the same name does not shadow the first
  EXPECT_EQ(db.IsPresetFunction(std::string("printf"))->Stack, 904);
}

}  // namespace
