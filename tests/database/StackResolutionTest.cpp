// Cumulative stacks, the user share, the size map and very deep call chains.
#include <gtest/gtest.h>

#include <climits>
#include <tuple>

#include "TestUtil.h"
#include "database/AssemblyData.h"

namespace {

__func_attr* Fn(AssemblyData& db, const std::string& name, int32_t stack,
                std::initializer_list<const char*> calls = {}) {
  __func_attr* f = db.CreateFuncAttr(name, name);
  f->Stack = stack, f->IsFound = true;
  for (const char* call : calls) db.InsertCallListItem(f, call);
  return f;
}

// CumStack, CumUserStack, BranchType, Recursion.
std::tuple<int, int, int, int> Result(const __func_attr* f) {
  return {f->CumStack, f->CumUserStack, f->BranchType, f->Recursion};
}

TEST(StackResolution, SumsAlongTheDeepestCallee) {
  AssemblyData db;
  __func_attr* leaf = Fn(db, "leaf", 16);
  Fn(db, "c", 16);
  __func_attr* main = Fn(db, "main", 8, {"a", "b"});
  Fn(db, "a", 24);
  Fn(db, "b", 40, {"a"});
  // A callee that is a filter function counts in CumStack only.
  __func_attr* user = Fn(db, "user", 8, {"flt", "nowhere", "leaf"});
  __func_attr* flt = Fn(db, "flt", 100);
  db.CreateFuncAttr(db.filterFunctionMap, "flt", "flt");
  __func_attr* huge = Fn(db, "huge", INT32_MAX, {"leaf"});

  EXPECT_EQ(testutil::Captured([&] { db.ProcessAssemblyObject(); }), "Error: Call list item nowhere not found.\n");
  EXPECT_EQ(Result(leaf), std::make_tuple(16, 16, Closed, 1));
  EXPECT_EQ(Result(main), std::make_tuple(72, 72, Closed, 1));
  EXPECT_EQ(Result(user), std::make_tuple(108, 24, Closed, 1));
  EXPECT_EQ(Result(flt), std::make_tuple(100, 0, Closed, 1));
  EXPECT_EQ(huge->CumStack, INT32_MIN + 15);  // wraps instead of overflowing

  // Equal cumulative stacks come out of the size map in key order.
  std::vector<std::string> order;
  for (const auto& [stack, f] : db.sizeMap) order.push_back(f->Key);
  EXPECT_EQ(order, (std::vector<std::string>{"user", "flt", "main", "b", "a", "c", "leaf", "huge"}));
}

TEST(StackResolution, HalfMillionDeepChain) {
  AssemblyData db;
  const int depth = 500000;
  for (int i = depth - 1; i >= 0; --i) {
    __func_attr* f = Fn(db, "f" + std::to_string(1000000 + i), 1);
    if (i + 1 < depth) db.InsertCallListItem(f, "f" + std::to_string(1000000 + i + 1));
  }
  db.ProcessAssemblyObject();
  EXPECT_EQ(db.FindFuncItem("f1000000")->CumStack, depth);

}

}  // namespace
