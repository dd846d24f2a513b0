// Printing and storing input warnings, collisions, and the item lookup.
#include <gtest/gtest.h>

#include "database/AssemblyData.h"

namespace {

const char* kMissingAtFunction = "Warning: Missing @function declaration for %s in file %s";

TEST(Warnings, PrintAndStoreWithFollowUpLine) {
  AssemblyData db;
  db.CreateFuncAttr("foo", "foo");
  db.guiMode = true;
  testing::internal::CaptureStdout();
  db.PrintWarning(kMissingAtFunction, "foo", "src/a.s", "41: ", 12, "foo:");
  db.PrintWarning(kMissingAtFunction, "foo", "src/a.s", "41: ", 0, "x");
  db.PrintWarning(kMissingAtFunction, "foo", "src/a.s", "41: ", -1, "y");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "41: Warning: Missing @function declaration for foo in file src/a.s\n"
            "47: Line 12: foo:\n"
            "41: Warning: Missing @function declaration for foo in file src/a.s\n"
            "47: Line 0: x\n"
            "41: Warning: Missing @function declaration for foo in file src/a.s\n");
  ASSERT_EQ(db.warnings.size(), 3u);  // no de-duplication
  const _Warnings& w = db.warnings[0];
  EXPECT_EQ(w.Key, "foo");
  EXPECT_EQ(w.Path, "src/a.s");
  EXPECT_EQ(w.Code, "");
  EXPECT_EQ(w.Message, "41: Warning: Missing @function declaration for foo in file src/a.s");
  EXPECT_EQ(w.LineNum, 12);
  EXPECT_EQ(w.Type, 0);
  EXPECT_EQ(w.CodeLine, "foo:");
  EXPECT_EQ(w.File2, "");
}

TEST(Warnings, LookupPrefersTheLocalRecordThenFunctionsThenObjects) {
  AssemblyData db;
  db.CreateFuncAttr("dup", "dup");
  db.CreateFuncAttr("dup-of-b.s", "dup");
  db.CreateMemAttr("buf-of-a.s", "buf");
  db.CreateMemAttr("buf", "buf");
  testing::internal::CaptureStdout();
  db.PrintWarning("W %s %s", "dup", "dir/b.s", "41: ", -1, "");
  db.PrintWarning("W %s %s", "dup", "dir/c.s", "41: ", -1, "");
  db.PrintWarning("W %s %s", "buf", "x/a.s", "42: ", -1, "");
  db.PrintWarning("W %s %s", "buf", "x/z.s", "42: ", -1, "");
  db.PrintWarning("W %s %s", "nothing", "x/z.s", "42: ", -1, "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "W dup dir/b.s\nW dup dir/c.s\nW buf x/a.s\nW buf x/z.s\nW nothing x/z.s\n");
  ASSERT_EQ(db.warnings.size(), 4u);  // the unknown item is printed, not stored
  EXPECT_EQ(db.warnings[0].Key, "dup-of-b.s");
  EXPECT_EQ(db.warnings[1].Key, "dup");
  EXPECT_EQ(db.warnings[2].Key, "buf-of-a.s");
  EXPECT_EQ(db.warnings[2].Type, 1);
  EXPECT_EQ(db.warnings[3].Key, "buf");
  EXPECT_EQ(db.warnings[0].Message, "W dup dir/b.s");  // no code without the front end
}

TEST(Warnings, CollisionRecordsTheFirstFile) {
  AssemblyData db;
  db.CreateFuncAttr("f", "f");
  testing::internal::CaptureStdout();
  db.PrintCollision("Warning: Global collision for function %s in file %s", "f", "b.s", "a.s", "48: ");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Warning: Global collision for function f in file b.s\n"
            "Forcing to local, subsequent references will use first instance from file a.s\n");
  ASSERT_EQ(db.warnings.size(), 1u);
  EXPECT_EQ(db.warnings[0].LineNum, -1);
  EXPECT_EQ(db.warnings[0].CodeLine, "");
  EXPECT_EQ(db.warnings[0].File2, "a.s");

  db.guiMode = true;
  testing::internal::CaptureStdout();
  db.PrintCollision("Warning: Global collision for object %s in file %s", "f", "b.s", "a.s", "48: ");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "48: Warning: Global collision for object f in file b.s\n"
            "49: Forcing to local, subsequent references will use first instance from file a.s\n");
}

TEST(Warnings, FunctionRecordFormUsesItsNameAndPath) {
  AssemblyData db;
  __func_attr* f = db.CreateFuncAttr("g-of-lib.s", "g");
  f->Path = "lib.s";
  testing::internal::CaptureStdout();
  db.PrintWarning2("Warning: Could not compute R29 = for function %s in file %s", f, "46: ", 7,
                   "r29 = add(r29,r0)");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Warning: Could not compute R29 = for function g in file lib.s\nLine 7: r29 = add(r29,r0)\n");
  ASSERT_EQ(db.warnings.size(), 1u);
  EXPECT_EQ(db.warnings[0].Key, "g-of-lib.s");
  EXPECT_EQ(db.warnings[0].Path, "lib.s");
}

}  // namespace
