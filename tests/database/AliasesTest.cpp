// Aliases and the preset function table.
#include <gtest/gtest.h>

#include <cstdio>

#include "database/AssemblyData.h"

namespace {

TEST(Aliases, FirstDefinitionWinsAndLocalTargetIsPreferred) {
  AssemblyData db;
  __func_attr* global = db.CreateFuncAttr("impl", "impl");
  __func_attr* local = db.CreateFuncAttr("impl-of-util.s", "impl");
  db.InsertAliasItem("reset", "impl", 0);
  db.InsertAliasItem("reset", "other", 0);
  ASSERT_EQ(db.aliasList.size(), 1u);
  EXPECT_EQ(db.FindAliasItem("reset")->target, "impl");
  EXPECT_EQ(db.GetAliasAttribute("reset", "src/util.c"), local);
  EXPECT_EQ(db.GetAliasAttribute("reset", "src/main.s"), global);
  EXPECT_EQ(db.GetAliasAttribute("reset", ""), global);
  EXPECT_EQ(db.GetAliasAttribute("nothing", ""), nullptr);

  global->CumStack = 40;
  global->Scope = Global;
  char buffer[128] = {};
  FILE* stream = fmemopen(buffer, sizeof buffer, "w");
  EXPECT_EQ(db.DumpAliasFuncAttr("reset", stream), 0);
  std::fclose(stream);
  EXPECT_STREQ(buffer, "code;reset;40;1;\n");
  db.DeleteAliasList();
  EXPECT_EQ(db.GetAliasAttribute("reset", ""), nullptr);
}

TEST(Presets, EmptyUntilBuiltThenFilledIn) {
  AssemblyData db;
  __func_attr* printf_ = db.CreateFuncAttr("printf", "printf");
  EXPECT_EQ(db.IsPresetFunction(printf_), 0);
  EXPECT_EQ(db.IsPresetFunction(std::string("printf")), nullptr);

  db.CreatePresetFunctions();
  ASSERT_EQ(db.presetFunctions.size(), 18u);
  EXPECT_EQ(db.presetFunctions.front().name, "printf");
  EXPECT_EQ(db.presetFunctions.back().name, "strptime");
  printf_->IsAidEntry = true;
  EXPECT_EQ(db.IsPresetFunction(printf_), 1);
  EXPECT_EQ(printf_->Stack, 904);
  EXPECT_TRUE(printf_->IsFound);
  EXPECT_FALSE(printf_->IsAidEntry);

  __func_attr* abort_ = db.IsPresetFunction(std::string("abort"));
  ASSERT_NE(abort_, nullptr);
  EXPECT_EQ(abort_->Key, "abort");
  EXPECT_EQ(abort_->Stack, 80);
  EXPECT_EQ(db.FindFuncItem("abort"), abort_);

  // A later entry of the same name does not shadow the first.
  db.AddPresetFunction("printf", 1);
  EXPECT_EQ(db.IsPresetFunction(std::string("printf"))->Stack, 904);
}

}  // namespace
