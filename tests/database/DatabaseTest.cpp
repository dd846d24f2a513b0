// Record keys and call lists, where warnings are stored, aliases and the
// user-defined root file.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "reports/ReportTestUtil.h"
#include "source/FileParser.h"

namespace {

TEST(Records, LocalKeysHexAndDemangledNames) {
  for (const auto& [path, key] : std::vector<std::pair<std::string, std::string>>{
           {"src/bar.c", "foo-of-bar.s"}, {"lib\\baz.S", "foo-of-baz.s"}, {"dir/sub/file.cpp", "foo-of-file.s"},
           {"x.cfg.c", "foo-of-x.s"}, {"/abs/path/main.s", "foo-of-main.s"}}) {
    EXPECT_EQ(AssemblyData::GetLocalName("foo", path), key) << path;
  }
  EXPECT_EQ(AssemblyData::GetLocalName("foo", 0x1a2cu) + " " + AssemblyData::GetHexString(0xFFFFFFFFu),
            "foo-of-00001a2c ffffffff");
  EXPECT_EQ(AssemblyData::Demangle("_ZNK3geo5ShapeltERKS0_"), "geo::Shape::operator<(geo::Shape const&) const");
  EXPECT_EQ(AssemblyData::Demangle("main") + AssemblyData::Demangle("_Zbogus"), "main_Zbogus");  // as they are
}

TEST(Records, CallListsKeepFirstOrderWithoutDuplicates) {
  AssemblyData db;
  __func_attr* f = db.CreateFuncAttr("f", "f");
  EXPECT_EQ(db.InsertCallListItem(nullptr, "x"), -1);
  // Enough callees to pass the point where the list gets its hash index.
  for (int i = 80; i > 0; --i) EXPECT_EQ(db.InsertCallListItem(f, "c" + std::to_string(i % 40)), 0);
  ASSERT_EQ(f->callList.size(), 40u);
  int i = 0;
  for (const std::string& callee : f->callList) EXPECT_EQ(callee, "c" + std::to_string((80 - i++) % 40));
}

// A warning is stored under the static record of its file first, then the
// function, then the object; unknown names are printed but not stored.
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
  // No code without the front end.
  EXPECT_TRUE(db.warnings[0].Message == "W dup dir/b.s" && db.warnings[0].LineNum == 12 && db.warnings[0].CodeLine == "dup:");
}

TEST(Aliases, FirstDefinitionWinsAndLocalTargetIsPreferred) {
  AssemblyData db;
  __func_attr* global = db.CreateFuncAttr("impl", "impl");
  __func_attr* local = db.CreateFuncAttr("impl-of-util.s", "impl");
  db.InsertAliasItem("reset", "impl", 0);
  db.InsertAliasItem("reset", "other", 0);
  EXPECT_EQ(db.FindAliasItem("reset")->target, "impl");
  EXPECT_TRUE(db.GetAliasAttribute("reset", "src/util.c") == local && db.GetAliasAttribute("reset", "src/main.s") == global);
  global->CumStack = 40;
  EXPECT_EQ(reporttest::Written([&](FILE* file) { EXPECT_EQ(db.DumpAliasFuncAttr("reset", file), 0); }),
            "code;reset;40;1;\n");
}

using Entries = std::vector<std::pair<std::string, std::string>>;

TEST(UserRoots, ModulesCommentsBlankLinesAndMissingFiles) {
  testutil::TempDir dir;
  testutil::WriteFile(dir / "roots.txt", "early\n[AudioThread]\naudio_main\n# only a comment\n   \t\n_Z3fooi\n"
                                         "[ Interrupts ]  # handlers\n  isr_timer    # timer tick\r\naudio_main\n" +
                                             std::string(1500, 'x') + "# dropped [x]\nlast");
  FileParser parser;
  parser.rootFile = dir / "roots.txt";
  parser.verbose = true;
  int rc = -2;
  EXPECT_EQ(testutil::Captured([&] { rc = parser.ProcessUserDefinedRootFile(); }),
            "Processing User Defined Root file: " + parser.rootFile + "\n");
  EXPECT_EQ(rc, 0);
  // The rest of a line beyond 1023 characters is dropped.
  EXPECT_EQ(Entries(parser.rootMap.begin(), parser.rootMap.end()),
            (Entries{{"_Z3fooi", "AudioThread"}, {"audio_main", "AudioThread"}, {"audio_main", "Interrupts"},
                     {"early", ""}, {"isr_timer", "Interrupts"}, {"last", "Interrupts"},
                     {std::string(1023, 'x'), "Interrupts"}}));
  // Roots are matched by their mangled name.
  EXPECT_EQ(parser.IsUserDefinedRoot(parser.CreateFuncAttr("_Z3fooi", "_Z3fooi")), 1);
  EXPECT_EQ(parser.IsUserDefinedRoot(parser.CreateFuncAttr("foo(int)", "foo(int)")), 0);

  // No root file is fine; one that cannot be read is not.
  FileParser none;
  EXPECT_EQ(none.ProcessUserDefinedRootFile(), 0);
  for (const char* path : {"/nonexistent/roots.txt", "/"}) {
    none.rootFile = path;
    EXPECT_EQ(testutil::Captured([&] { rc = none.ProcessUserDefinedRootFile(); }),
              "Error: Cannot open User Defined Root file " + std::string(path) + "\n");
    EXPECT_EQ(rc, -1);
  }
  EXPECT_TRUE(none.rootMap.empty());
}

}  // namespace
