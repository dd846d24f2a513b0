// Cumulative stacks, user share, recursion marking and the size map.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstdio>

#include "database/AssemblyData.h"

namespace {

__func_attr* Fn(AssemblyData& db, const std::string& name, int32_t stack,
                std::initializer_list<const char*> calls = {}, const std::string& path = "") {
  __func_attr* f = db.CreateFuncAttr(name, name);
  f->Stack = stack;
  f->IsFound = true;
  f->Path = path;
  for (const char* call : calls) db.InsertCallListItem(f, call);
  return f;
}

std::string Resolve(AssemblyData& db) {
  testing::internal::CaptureStdout();
  db.ProcessAssemblyObject();
  return testing::internal::GetCapturedStdout();
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
  EXPECT_EQ(leaf->CumStack, 16);
  EXPECT_EQ(leaf->CumUserStack, 16);
  EXPECT_EQ(leaf->BranchType, Closed);
  EXPECT_EQ(leaf->Recursion, 1);
  EXPECT_EQ(main->CumStack, 72);
  EXPECT_EQ(main->CumUserStack, 72);
  EXPECT_EQ(user->CumStack, 108);
  EXPECT_EQ(user->CumUserStack, 24);
  EXPECT_EQ(flt->CumStack, 100);
  EXPECT_EQ(flt->CumUserStack, 0);
  EXPECT_EQ(ext->BranchType, Undetermined);
  EXPECT_EQ(caller->BranchType, Undetermined);
  EXPECT_EQ(huge->CumStack, INT32_MIN + 15);  // wraps instead of overflowing

  // Equal cumulative stacks come out of the size map in key order.
  std::vector<std::string> order;
  for (const auto& [stack, f] : db.sizeMap) order.push_back(f->Key);
  EXPECT_EQ(order, (std::vector<std::string>{"user", "flt", "main", "b", "a", "c", "leaf", "caller",
                                             "ext", "huge"}));
}

TEST(StackResolution, RecursionIsMarkedUpwardsEvenWithoutWarnings) {
  AssemblyData db;
  db.warnRecursion = false;
  __func_attr* top = Fn(db, "0top", 4, {"a"});
  __func_attr* a = Fn(db, "a", 10, {"b"});
  __func_attr* b = Fn(db, "b", 20, {"a"});
  __func_attr* self = Fn(db, "self", 8, {"self"});
  EXPECT_EQ(Resolve(db), "");
  for (const __func_attr* f : {top, a, b, self}) {
    EXPECT_EQ(f->Recursion, 2) << f->Name;
    EXPECT_EQ(f->BranchType, Recursive) << f->Name;
  }
  // The back edge sees its target's sum as it stands: once around the cycle.
  EXPECT_EQ(b->CumStack, 20);
  EXPECT_EQ(a->CumStack, 30);
  EXPECT_EQ(top->CumStack, 34);
  EXPECT_EQ(self->CumStack, 8);
}

TEST(StackResolution, RecursionWarningNamesTheFunctionReachedAgain) {
  {
    AssemblyData probe;
    testing::internal::CaptureStdout();
    probe.PrintWarning("probe %s %s", "x", "y", "60: ", -1, "");
    if (testing::internal::GetCapturedStdout().empty()) {
      GTEST_SKIP() << "PrintWarning is not built into this tree";
    }
  }
  AssemblyData db;
  Fn(db, "a", 10, {"b"}, "src/a.s");
  Fn(db, "b", 20, {"a"});
  Fn(db, "self", 8, {"self"});
  EXPECT_EQ(Resolve(db), "Recursion encountered at function a in file src/a.s\n"
                         "Recursion encountered at function self\n");
}

TEST(StackResolution, DeepChainsAndLargeGraphsStayFast) {
  AssemblyData db;
  const int depth = 500000;
  char name[16], next[16];
  for (int i = 0; i < depth; ++i) {
    std::snprintf(name, sizeof name, "f%06d", i);
    std::snprintf(next, sizeof next, "f%06d", i + 1);
    __func_attr* f = db.CreateFuncAttr(name, name);
    f->Stack = 1;
    if (i + 1 < depth) db.InsertCallListItem(f, next);
  }
  db.ProcessAssemblyObject();
  EXPECT_EQ(db.FindFuncItem("f000000")->CumStack, depth);

  // A million edges, full of cycles.
  AssemblyData graph;
  graph.warnRecursion = false;
  const int nodes = 100000;
  uint32_t seed = 12345;
  for (int i = 0; i < nodes; ++i) {
    std::snprintf(name, sizeof name, "g%06d", i);
    __func_attr* f = graph.CreateFuncAttr(name, name);
    f->Stack = i % 64;
    for (int e = 0; e < 10; ++e) {
      seed = seed * 1103515245u + 12345u;
      std::snprintf(next, sizeof next, "g%06u", (seed >> 8) % nodes);
      graph.InsertCallListItem(f, next);
    }
  }
  auto start = std::chrono::steady_clock::now();
  graph.ProcessAssemblyObject();
  [[maybe_unused]] double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
#ifdef NDEBUG
  EXPECT_LT(seconds, 1.0);  // optimised builds only
#endif
  EXPECT_EQ(graph.sizeMap.size(), static_cast<size_t>(nodes));
}

}  // namespace
