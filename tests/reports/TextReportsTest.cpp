// The text report family.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "database/AssemblyData.h"
#include "reports/ReportTestUtil.h"

namespace {

using testutil::ReadFile;

__func_attr* Fn(AssemblyData& db, const std::string& name, int32_t stack, int32_t cum,
                int32_t branch, int32_t scope, std::initializer_list<const char*> calls = {}) {
  __func_attr* f = db.CreateFuncAttr(name, name);
  f->Stack = stack, f->CumStack = cum, f->BranchType = branch, f->Scope = scope, f->IsFound = true;
  for (const char* call : calls) db.InsertCallListItem(f, call);
  return f;
}

TEST(TextReports, WorkedExample) {
  testutil::TempDir dir;
  AssemblyData db;
  Fn(db, "main", 16, 56, Closed, Global, {"_Z3fooi", "bar", "ext"});
  Fn(db, "_Z3fooi", 32, 40, Closed, Global, {"bar"});
  Fn(db, "bar", 8, 8, Open, Local);
  Fn(db, "ext", 0, 0, Undetermined, Global)->IsFound = false;
  db.CopyFuncItemsToSizeMap();
  int rc = -2;
  EXPECT_EQ(testutil::Captured([&] { rc = db.DumpFiles(dir.path()); }),
            "Writing output file " + dir / "VA_FunctionStackSizes.csv\n" +
                "Writing output file " + dir / "VA_FunctionsByName.txt\n" +
                "Writing output file " + dir / "VA_WorstCaseCallPaths.txt\n" +
                "Writing output file " + dir / "VA_UnknownFunctions.txt\n");
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(ReadFile(dir / "VA_FunctionStackSizes.csv"),
            "Function Name, Cumulative Stack Size, Branch Type\n"
            "\"main\",56,Closed\n"
            "\"foo(int)\",40,Closed\n"
            "\"bar\",8,Open\n"
            "\"ext\",0,Undetermined\n");
  EXPECT_EQ(ReadFile(dir / "VA_FunctionsByName.txt"), R"(   Function Name: foo(int)
    Mangled Name: _Z3fooi
     Branch Type: Closed
           Scope: Global
           Stack: 32 bytes
Cumulative Stack: 40 bytes
           Calls: Called function         Cumulative Stack, Branch Type
                  bar                                    8, Closed

   Function Name: bar
    Mangled Name: bar
     Branch Type: Open
           Scope: Local
           Stack: 8 bytes
Cumulative Stack: 8 bytes
           Calls: None

   Function Name: ext
    Mangled Name: ext
     Branch Type: Undetermined
           Scope: Global
           Stack: 0 bytes
Cumulative Stack: 0 bytes
           Calls: None

   Function Name: main
    Mangled Name: main
     Branch Type: Closed
           Scope: Global
           Stack: 16 bytes
Cumulative Stack: 56 bytes
           Calls: Called function         Cumulative Stack, Branch Type
                  _Z3fooi                               40, Closed
                  bar                                    8, Closed
                  ext                                    0, Closed

)");
  EXPECT_EQ(ReadFile(dir / "VA_WorstCaseCallPaths.txt"),
            "Call path for main\n"
            "\tTotal   56 bytes, local   16 bytes, main\n"
            "\tTotal   40 bytes, local   32 bytes, foo(int)\n"
            "\tTotal    8 bytes, local    8 bytes, bar\n"
            "\n"
            "Call path for foo(int)\n"
            "\tTotal   40 bytes, local   32 bytes, foo(int)\n"
            "\tTotal    8 bytes, local    8 bytes, bar\n"
            "\n");
  EXPECT_EQ(ReadFile(dir / "VA_UnknownFunctions.txt"), "ext\n");

}

// Recursion and functions without calls are in the end-to-end run.
TEST(TextReports, CallPathsStopAtUnknownCalleesAndTakeTheFirstOfEqualOnes) {
  AssemblyData db;
  __func_attr* first = Fn(db, "first", 4, 4, Closed, Global, {"nowhere", "bar"});
  __func_attr* tie = Fn(db, "tie", 1, 9, Closed, Global, {"z0", "bar", "a8"});
  for (const char* name : {"bar", "a8"}) Fn(db, name, 8, 8, Closed, Global);
  Fn(db, "z0", 0, 0, Closed, Global);
  auto path = [&](const __func_attr* f, int expected) {
    return reporttest::Written([&](FILE* file) { EXPECT_EQ(db.DumpCallPath(f, file), expected); });
  };
  EXPECT_EQ(path(first, -1), "Call path for first\n\tTotal    4 bytes, local    4 bytes, first\n\n");
  EXPECT_EQ(path(tie, 0),
            "Call path for tie\n\tTotal    9 bytes, local    1 bytes, tie\n"
            "\tTotal    8 bytes, local    8 bytes, bar\n\n");
}

// The whole-file writers take fields from tables by ordinal and keep the
// size map's order; an entry written alone reads the records. Both must
// print the same, also once the size map was changed after it was built
// and for names that hold a NUL (printed up to it) or are longer than
// the inline copies.
TEST(TextReports, WholeReportsAgreeWithEntriesWrittenAlone) {
  testutil::TempDir dir;
  AssemblyData db;
  const std::string longName(70, 'q');
  Fn(db, "main", 16, 90, Closed, Global, {"a", "nowhere", longName.c_str()});
  __func_attr* a = Fn(db, "a", 8, 60, Open, Local, {"b", "a"});
  a->UName = std::string("a\0hidden", 8);
  __func_attr* b = Fn(db, "b", 4, 52, Recursive, Global, {"a"});
  b->Name = std::string("b\0x", 3);
  Fn(db, longName, 32, 32, Closed, Global);
  db.CopyFuncItemsToSizeMap();
  // A record outside the function map, first in size order: every later
  // position of the kept order is now off by one.
  __func_attr outside;
  outside.UName = "outside";
  outside.CumStack = 99;
  outside.callList.Insert("main");
  db.InsertSizeItem(outside.CumStack, &outside);

  auto file = [&](const std::string& name) { return testutil::ReadFile(dir / name); };
  testutil::Captured([&] { db.DumpFiles(dir.path()); });
  std::string byName, paths, sizes = "Function Name, Cumulative Stack Size, Branch Type\n";
  for (const auto& [key, record] : db.functionMap) {
    byName += reporttest::Written([&](FILE* f) { db.DumpColumnFuncAttr(record.get(), f); });
  }
  for (const auto& [stack, record] : db.sizeMap) {
    paths += reporttest::Written([&](FILE* f) { db.DumpCallPath(record, f); });
    sizes += reporttest::Written([&](FILE* f) { db.DumpCSVFuncAttr(record, f); });
  }
  EXPECT_EQ(file("VA_FunctionsByName.txt"), byName);
  EXPECT_EQ(file("VA_WorstCaseCallPaths.txt"), paths);
  EXPECT_EQ(file("VA_FunctionStackSizes.csv"), sizes);
  // Worked by hand: the outside record descends into main, whose greedy
  // step is a (60 beats 32; nowhere ends the choice before the long name).
  EXPECT_EQ(paths.substr(0, paths.find("\n\n") + 2),
            "Call path for outside\n"
            "\tTotal   99 bytes, local    0 bytes, outside\n"
            "\tTotal   90 bytes, local   16 bytes, main\n"
            "\tTotal   60 bytes, local    8 bytes, a\n"
            "\tRecursive call to a\n\n");
  EXPECT_NE(byName.find(std::string(18, ' ') + "b" + std::string(37, ' ') + "52, Open\n"), std::string::npos);
  EXPECT_NE(byName.find("                  " + longName + "   32, Closed\n"), std::string::npos);
}

// The callee table is built once and reused while no call list changes; a
// list refilled to its old length after it was built must still be seen.
TEST(TextReports, CallListsChangedAfterTheTableWasBuiltAreSeen) {
  testutil::TempDir dir;
  AssemblyData db;
  __func_attr* a = Fn(db, "a", 4, 12, Closed, Global, {"b"});
  Fn(db, "b", 8, 8, Closed, Global);
  Fn(db, "c", 2, 2, Closed, Global);
  db.CopyFuncItemsToSizeMap();
  a->callList.clear();
  db.InsertCallListItem(a, "c");
  testutil::Captured([&] { db.DumpFuncItems(dir / ""); });
  const std::string report = testutil::ReadFile(dir / "VA_FunctionsByName.txt");
  EXPECT_NE(report.find(std::string(18, ' ') + "c" + std::string(38, ' ') + "2, Closed\n"), std::string::npos)
      << report;
  EXPECT_EQ(report.find(std::string(18, ' ') + "b "), std::string::npos);
}

// A call list may keep the callee's record, found when the call was read;
// once a record is removed, the name must be looked up again: here its key
// now holds a new record with other figures.
TEST(TextReports, CalleeRemovedAfterTheCallIsLookedUpAgain) {
  testutil::TempDir dir;
  AssemblyData db;
  __func_attr* a = Fn(db, "a", 4, 12, Closed, Global);
  __func_attr* old = Fn(db, "b", 8, 8, Closed, Global);
  db.InsertCallListItem(a, "b", old);
  db.functionMap.erase("b");
  Fn(db, "filler", 9, 9, Closed, Global);  // may take the freed record's place
  Fn(db, "b", 6, 6, Closed, Global);
  db.CopyFuncItemsToSizeMap();
  testutil::Captured([&] { db.DumpFuncItems(dir / ""); });
  EXPECT_NE(testutil::ReadFile(dir / "VA_FunctionsByName.txt")
                .find(std::string(18, ' ') + "b" + std::string(38, ' ') + "6, Closed\n"),
            std::string::npos);
}

}  // namespace
