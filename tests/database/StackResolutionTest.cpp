// Cumulative stacks, user share, recursion marking and the size map.
#include <gtest/gtest.h>

#include <chrono>
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

std::string Resolve(AssemblyData& db) {
  return testutil::Captured([&] { db.ProcessAssemblyObject(); });
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
  // A leaf never seen keeps its branch type, which flows up to its callers.
  __func_attr* ext = db.CreateFuncAttr("ext", "ext");
  ext->BranchType = Undetermined;
  __func_attr* caller = Fn(db, "caller", 4, {"ext"});
  __func_attr* huge = Fn(db, "huge", INT32_MAX, {"leaf"});

  EXPECT_EQ(Resolve(db), "Error: Call list item nowhere not found.\n");
  EXPECT_EQ(Result(leaf), std::make_tuple(16, 16, Closed, 1));
  EXPECT_EQ(Result(main), std::make_tuple(72, 72, Closed, 1));
  EXPECT_EQ(Result(user), std::make_tuple(108, 24, Closed, 1));
  EXPECT_EQ(Result(flt), std::make_tuple(100, 0, Closed, 1));
  EXPECT_EQ(Result(ext), std::make_tuple(0, 0, Undetermined, 1));
  EXPECT_EQ(Result(caller), std::make_tuple(4, 4, Undetermined, 1));
  EXPECT_EQ(huge->CumStack, INT32_MIN + 15);  // wraps instead of overflowing

  // Equal cumulative stacks come out of the size map in key order.
  std::vector<std::string> order;
  for (const auto& [stack, f] : db.sizeMap) order.push_back(f->Key);
  EXPECT_EQ(order, (std::vector<std::string>{"user", "flt", "main", "b", "a", "c", "leaf", "caller", "ext", "huge"}));
}

TEST(StackResolution, RecursionIsMarkedUpwardsEvenWithoutWarnings) {
  AssemblyData db;
  db.warnRecursion = false;
  __func_attr* top = Fn(db, "0top", 4, {"a"});
  __func_attr* a = Fn(db, "a", 10, {"b"});
  __func_attr* b = Fn(db, "b", 20, {"a"});
  __func_attr* self = Fn(db, "self", 8, {"self"});
  EXPECT_EQ(Resolve(db), "");
  // A back edge sees its target's sum as it stands: once around the cycle.
  EXPECT_EQ(Result(b), std::make_tuple(20, 20, Recursive, 2));
  EXPECT_EQ(Result(a), std::make_tuple(30, 30, Recursive, 2));
  EXPECT_EQ(Result(top), std::make_tuple(34, 34, Recursive, 2));
  EXPECT_EQ(Result(self), std::make_tuple(8, 8, Recursive, 2));
}

TEST(StackResolution, DeepChainsAndLargeGraphsStayFast) {
  AssemblyData db;
  const int depth = 500000;
  for (int i = depth - 1; i >= 0; --i) {
    __func_attr* f = Fn(db, "f" + std::to_string(1000000 + i), 1);
    if (i + 1 < depth) db.InsertCallListItem(f, "f" + std::to_string(1000000 + i + 1));
  }
  db.ProcessAssemblyObject();
  EXPECT_EQ(db.FindFuncItem("f1000000")->CumStack, depth);

  // A million edges, full of cycles.
  AssemblyData graph;
  graph.warnRecursion = false;
  const uint32_t nodes = 100000;
  uint32_t seed = 12345;
  for (uint32_t i = 0; i < nodes; ++i) {
    __func_attr* f = Fn(graph, std::to_string(i), i % 64);
    for (int e = 0; e < 10; ++e) {
      seed = seed * 1103515245u + 12345u;
      graph.InsertCallListItem(f, std::to_string((seed >> 8) % nodes));
    }
  }
  auto start = std::chrono::steady_clock::now();
  graph.ProcessAssemblyObject();
  [[maybe_unused]] double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
#ifdef NDEBUG
  EXPECT_LT(seconds, 1.0);  // optimised builds only
#endif
  EXPECT_EQ(graph.sizeMap.size(), nodes);
}

}  // namespace
