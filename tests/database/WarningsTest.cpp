// Which record a warning is stored under: the static one of the warning's
// file first, then the function, then the object; unknown names are printed
// but not stored.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "database/AssemblyData.h"

namespace {

TEST(Warnings, StoredUnderTheRecordOfTheirFile) {
  AssemblyData db;
  db.CreateFuncAttr("dup", "dup");
  db.CreateFuncAttr("dup-of-b.s", "dup");
  db.CreateMemAttr("buf-of-a.s", "buf");
  db.CreateMemAttr("buf", "buf");
  EXPECT_EQ(testutil::Captured([&] {
              db.PrintWarning("W %s %s", "dup", "dir/b.s", "41: ", 12, "dup:");
              db.PrintWarning("W %s %s", "dup", "dir/c.s", "41: ", -1, "");
              db.PrintWarning("W %s %s", "buf", "x/a.s", "42: ", 0, "x");
              db.PrintWarning("W %s %s", "buf", "x/z.s", "42: ", -1, "");
              db.PrintWarning("W %s %s", "nothing", "x/z.s", "42: ", -1, "");
            }),
            "W dup dir/b.s\nLine 12: dup:\nW dup dir/c.s\nW buf x/a.s\nLine 0: x\nW buf x/z.s\nW nothing x/z.s\n");
  ASSERT_EQ(db.warnings.size(), 4u);
  std::string stored;
  for (const _Warnings& w : db.warnings) stored += w.Key + "/" + std::to_string(w.Type) + " ";
  EXPECT_EQ(stored, "dup-of-b.s/0 dup/0 buf-of-a.s/1 buf/1 ");
  EXPECT_EQ(db.warnings[0].Message, "W dup dir/b.s");  // no code without the front end
  EXPECT_EQ(db.warnings[0].LineNum, 12);
  EXPECT_EQ(db.warnings[0].CodeLine, "dup:");
}

}  // namespace
