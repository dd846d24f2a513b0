// Records, keys, name helpers, call lists and the parser's name lists.
#include <gtest/gtest.h>

#include "source/FileParser.h"

namespace {

TEST(Records, CreateIsFindOrCreateWithDefaults) {
  AssemblyData db;
  __func_attr* main1 = db.CreateFuncAttr("main", "main");
  ASSERT_NE(main1, nullptr);
  EXPECT_EQ(main1->CodeSize, -1);
  EXPECT_EQ(main1->Scope, Global);
  EXPECT_EQ(main1->BranchType, Closed);
  EXPECT_FALSE(main1->IsFound || main1->IsUsed || main1->IsAidEntry || main1->HasParent ||
               main1->HasPtrToFunc);
  EXPECT_EQ(db.CreateFuncAttr("main", "other"), main1);
  EXPECT_EQ(main1->Name, "main");

  __mem_attr* buf = db.CreateMemAttr("buf-of-a.s", "buf");
  ASSERT_NE(buf, nullptr);
  EXPECT_EQ(buf->Size, -1);
  EXPECT_EQ(buf->Scope, Global);
  EXPECT_EQ(buf->Key, "buf-of-a.s");
  EXPECT_EQ(db.CreateMemAttr("buf-of-a.s", "x"), buf);
}

TEST(Records, InsertFindRemoveReturnValues) {
  AssemblyData db;
  EXPECT_EQ(db.InsertFuncItem(db.functionMap, "f", std::make_unique<__func_attr>()), 1);
  EXPECT_EQ(db.InsertFuncItem(db.functionMap, "f", std::make_unique<__func_attr>()), 0);
  EXPECT_NE(db.FindFuncItem("f"), nullptr);
  EXPECT_EQ(db.RemoveFuncItem("f"), 1);
  EXPECT_EQ(db.FindFuncItem("f"), nullptr);
  EXPECT_EQ(db.RemoveFuncItem("f"), 1);  // absent function: 1
  EXPECT_EQ(db.RemoveMemItem("m"), 0);   // absent object: 0
  db.CreateMemAttr("m", "m");
  EXPECT_EQ(db.RemoveMemItem("m"), 1);
}

TEST(Records, LocalKeysAndHexStrings) {
  EXPECT_EQ(AssemblyData::GetLocalName("foo", "src/bar.c"), "foo-of-bar.s");
  EXPECT_EQ(AssemblyData::GetLocalName("foo", "lib\\baz.S"), "foo-of-baz.s");
  EXPECT_EQ(AssemblyData::GetLocalName("foo", "dir/sub/file.cpp"), "foo-of-file.s");
  EXPECT_EQ(AssemblyData::GetLocalName("foo", "x.cfg.c"), "foo-of-x.s");
  EXPECT_EQ(AssemblyData::GetLocalName("foo", "/abs/path/main.s"), "foo-of-main.s");
  EXPECT_EQ(AssemblyData::GetLocalName("foo", 0x1a2cu), "foo-of-00001a2c");
  EXPECT_EQ(AssemblyData::GetHexString(0), "00000000");
  EXPECT_EQ(AssemblyData::GetHexString(0xFFFFFFFFu), "ffffffff");
}

TEST(Records, Demangling) {
  EXPECT_EQ(AssemblyData::Demangle("_Z3fooi"), "foo(int)");
  EXPECT_EQ(AssemblyData::Demangle("_ZNK3geo5ShapeltERKS0_"),
            "geo::Shape::operator<(geo::Shape const&) const");
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

TEST(Records, DuplicateAttributesCopiesResultsButNotNames) {
  FileParser p;
  __func_attr* source = p.CreateFuncAttr("src", "src");
  __func_attr* target = p.CreateFuncAttr("dst", "dst");
  source->Stack = 24;
  source->CumStack = 56;
  source->CumUserStack = 40;
  source->Path = "a.s";
  source->IsFound = true;
  source->HasPtrToFunc = true;
  p.InsertCallListItem(source, "b");
  p.InsertCallListItem(source, "a");
  p.InsertCallListItem(target, "a");
  p.DuplicateAttributes(target, source);
  EXPECT_EQ(target->Stack, 24);
  EXPECT_EQ(target->CumStack, 56);
  EXPECT_EQ(target->CumUserStack, 0);
  EXPECT_EQ(target->Path, "a.s");
  EXPECT_TRUE(target->IsFound && target->HasPtrToFunc);
  EXPECT_EQ(target->Name, "dst");
  EXPECT_EQ(std::vector<std::string>(target->callList.begin(), target->callList.end()),
            (std::vector<std::string>{"a", "b"}));
}

TEST(NameLists, InsertRemoveAndScope) {
  FileParser p;
  EXPECT_EQ(p.InsertListItem("g", ListGlobal), 0);
  EXPECT_EQ(p.InsertListItem("g", ListGlobal), 0);
  EXPECT_EQ(p.nameLists[ListGlobal].size(), 1u);
  EXPECT_EQ(p.InsertListItem("w", ListWeak), 0);
  EXPECT_EQ(p.InsertListItem("x", 5), -1);
  EXPECT_EQ(p.GetItemScope("g"), Global);
  EXPECT_EQ(p.GetItemScope("w"), Weak);
  EXPECT_EQ(p.GetItemScope("l"), Local);
  EXPECT_EQ(p.RemoveFromList("nothere", ListGlobal), 0);
  EXPECT_EQ(p.RemoveFromList("g", ListGlobal), 0);
  EXPECT_EQ(p.DoesListItemExist("g", ListGlobal), 0);
  EXPECT_EQ(p.DoesListItemExist("w", 7), 0);
  EXPECT_EQ(p.RemoveFromList("w", -1), -1);
  EXPECT_EQ(p.DeleteList(ListWeak), 1);
  EXPECT_EQ(p.DeleteList(9), 0);
  EXPECT_EQ(p.DoesListItemExist("w", ListWeak), 0);
}

TEST(NameLists, CurrentFunctionStateAndStack) {
  FileParser p;
  p.currentFunction = p.CreateFuncAttr("f", "f");
  p.functionEnded = true;
  p.foreignFunction = true;
  p.AddToStack(16);
  p.AddToStack(-4);
  EXPECT_EQ(p.currentFunction->Stack, 12);
  p.ClearCurrentFunction();
  EXPECT_EQ(p.currentFunction, nullptr);
  EXPECT_FALSE(p.functionEnded || p.foreignFunction);
  EXPECT_EQ(p.AddToStack(8), 0);  // no current function: nothing to grow
}

}  // namespace
