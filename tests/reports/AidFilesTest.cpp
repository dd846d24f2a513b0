// Aid files: reading them in a whole run, and writing the database back.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "source/FileParser.h"

namespace {

using testutil::ReadFile;

// What a run prints from the first aid file on (the library stage before
// it has its own tests).
std::string FromAidFiles(const std::string& out) {
  size_t start = out.find("Processing aid file");
  if (start == std::string::npos) return out;
  start = out.rfind('\n', start);
  return out.substr(start == std::string::npos ? 0 : start + 1);
}

// Runs the analyser on a folder with one empty assembly file and the given
// aid file; a libcAidFile.txt without records is read after it.
testutil::RunResult RunWithAid(const testutil::TempDir& dir, const std::string& content,
                               bool gui = false, const std::string& aidPath = "") {
  testutil::WriteFile(dir / "src/empty.s", "");
  testutil::MakeDirs(dir / "out");
  testutil::WriteFile(dir / "my.aid", content);
  std::vector<std::string> args = {"--folder", dir / "src", "--aidfile", aidPath.empty() ? dir / "my.aid" : aidPath,
                                   "--outdir", dir / "out"};
  if (gui) args.insert(args.begin(), "--gui");
  testutil::RunResult result = testutil::RunAnalyserIsolated(args, dir);
  result.out = FromAidFiles(result.out);
  return result;
}

TEST(AidFiles, RecordsOfARun) {
  testutil::TempDir dir;
  auto r = RunWithAid(dir,
                      "// a comment\ncode foo 64 1\ncode;bar2;16;2;\n  code, baz ,32 ,1 extra tokens\r\ncode//;x;1;1;\n"
                      "data;buf;100;1;\ncode;pre;16;3;\n\n ;; \ncode;foo;1;1;\ndata;buf;5;1;\n",
                      true);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("22: Processing aid file " + dir / "my.aid\n13: Warning: Func item foo from Aid file already "
                        "exists\n13: Warning: Mem item buf from Aid file already exists\n22: Processing aid file ", 0),
            0u);
  EXPECT_TRUE(testutil::Has(r.out, "libcAidFile.txt\n"));

  std::string functions = ReadFile(dir / "out/VA_FunctionList.xml");
  EXPECT_TRUE(testutil::Has(functions,
                       "<Key>foo</Key>\n\t<Name>foo</Name>\n\t<Mangled>foo</Mangled>\n"
                       "\t<Path>From aiding file</Path>\n\t<Stack>64</Stack>\n"
                       "\t<CumStack>64</CumStack>\n\t<CumUserStack>64</CumUserStack>\n"
                       "\t<Status>1</Status>\n\t<Scope>1</Scope>\n\t<Branch>0</Branch>\n"));
  EXPECT_TRUE(testutil::Has(functions, "<Mangled>bar2</Mangled>\n\t<Path>From aiding file</Path>\n"
                                  "\t<Stack>16</Stack>\n\t<CumStack>16</CumStack>\n"
                                  "\t<CumUserStack>16</CumUserStack>\n\t<Status>1</Status>\n"
                                  "\t<Scope>2</Scope>\n"));
  EXPECT_TRUE(testutil::Has(functions, "<Key>baz</Key>") && !testutil::Has(functions, "<Key>x</Key>"));
  EXPECT_FALSE(testutil::Has(functions, "<Key>pre</Key>"));  // a preset, not a record
  EXPECT_TRUE(testutil::Has(ReadFile(dir / "out/VA_MemoryList.xml"),
                       "<Key>buf</Key>\n\t\t<Name>buf</Name>\n\t\t<Mangled>buf</Mangled>\n"
                       "\t\t<Path>From aiding file</Path>\n\t\t<Size>100</Size>\n"
                       "\t\t<Used>0</Used>\n\t\t<IsAid>1</IsAid>\n\t\t<Scope>1</Scope>\n"));
}

TEST(AidFiles, RejectedLinesStopTheRun) {
  testutil::TempDir dir;
  const std::string aid = dir / "my.aid";
  const std::string aborted = "Program aborted on error\n";
  auto r = RunWithAid(dir, "code;a1;8;1;\ncode;foo;64;\ncode;never;1;1;\n");
  EXPECT_EQ(r.out, "Processing aid file " + aid + "\nError: Error parsing line 2 of aid file.\n" +
                       "Error: Error processing line 2 of aid file: " + aid + "\n" + aborted);
  EXPECT_EQ(r.status, 255);

  r = RunWithAid(dir, "\n// c\nCODE;foo;64;1;\n");
  EXPECT_EQ(r.out, "Processing aid file " + aid + "\nError: Error processing line 3 of aid file: " +
                       aid + "\n" + aborted);

  r = RunWithAid(dir, std::string("\x7f" "ELF\x01\x01\0\0code;z;1;1;", 19));
  EXPECT_EQ(r.out, "Processing aid file " + aid + "\nError: Error processing line 1 of aid file: " +
                       aid + "\n" + aborted);

  r = RunWithAid(dir, "", false, dir / "none.aid");
  EXPECT_EQ(r.out, "Processing aid file " + dir / "none.aid" + "\nError: Cannot open aid file " +
                       dir / "none.aid" + "\n\n" + aborted);
  EXPECT_EQ(r.status, 255);
  r = RunWithAid(dir, "", false, dir / "src");
  EXPECT_TRUE(testutil::Has(r.out, "\nError: Cannot open aid file " + dir / "src" + "\n\n"));
}

TEST(AidFiles, LineLengthsAndOddBytes) {
  testutil::TempDir dir;
  std::string exact = "code;exact;4;1;";
  exact.resize(1023, ' ');
  // A line beyond 1023 characters is cut there and ends the file's reading;
  // a line of exactly 1023 is whole.
  auto r = RunWithAid(dir, exact + "\ncode;cut;12;1;" + std::string(3000, 'y') +
                               "\ncode;after;4;1;\n");
  EXPECT_EQ(r.status, 0);
  std::string csv = ReadFile(dir / "out/VA_FunctionStackSizes.csv");
  EXPECT_TRUE(testutil::Has(csv, "\n\"exact\",4,Closed\n") && testutil::Has(csv, "\n\"cut\",12,Closed\n")) << csv;
  EXPECT_FALSE(testutil::Has(csv, "\"after\""));

  // A NUL ends a line's text; the last line needs no newline.
  r = RunWithAid(dir, std::string("\0code;n;1;1;\ncode;after;4;1;", 28));
  EXPECT_EQ(r.status, 0);
  csv = ReadFile(dir / "out/VA_FunctionStackSizes.csv");
  EXPECT_TRUE(testutil::Has(csv, "\n\"after\",4,Closed\n") && !testutil::Has(csv, "\"n\"")) << csv;

  EXPECT_EQ(RunWithAid(dir, "").status, 0);
  EXPECT_EQ(RunWithAid(dir, "data;big;1;1;" + std::string(8 << 20, 'z')).status, 0);
}

TEST(AidFiles, ImageModeTakesOnlyPresets) {
  testutil::TempDir dir;
  testutil::WriteFile(dir / "a.aid", "code;foo;64;1;\ndata;d;4;1;\ncode;bar;16;3;\n");
  FileParser parser;
  parser.elfMode = true;
  int rc = -2;
  EXPECT_EQ(testutil::Captured([&] { rc = parser.ProcessAidFile(dir / "a.aid"); }),
            "Processing aid file " + dir / "a.aid" + "\n");
  EXPECT_EQ(rc, 0);
  EXPECT_TRUE(parser.functionMap.empty() && parser.memoryMap.empty());
}

TEST(AidFiles, WrittenFileReadsBack) {
  testutil::TempDir dir;
  FileParser db;
  // Locals are left out.
  db.CreateFuncAttr("main", "main")->CumStack = 56;
  db.CreateFuncAttr("loc-of-a.s", "loc")->Scope = db.CreateMemAttr("s-of-a.s", "s")->Scope = Local;
  db.CreateFuncAttr("w", "w")->Scope = Weak;
  db.FindFuncItem("w")->CumStack = 8;
  db.CreateMemAttr("buf", "buf")->Size = 100;
  std::vector<int> results;
  EXPECT_EQ(testutil::Captured([&] {
              results = {db.CreateAidFile(dir / "out.aid"), db.CreateAidFile(dir / "no/such/dir.aid")};
            }),
            "Writing aid file " + dir / "out.aid" + "\nError: Unable to open file " +
                dir / "no/such/dir.aid" + " for output.\n");
  EXPECT_EQ(results, (std::vector<int>{0, -1}));
  EXPECT_EQ(ReadFile(dir / "out.aid"),
            "// *****************************************\n// \n// Format:\n"
            "// code;name;stacksize;binding;\n// data;name;memsize;binding;\n// \n"
            "// ******************************************\n"
            "code;main;56;1;\ncode;w;8;2;\ndata;buf;100;1;\n");

  FileParser reader;
  testutil::Captured([&] { reader.ProcessAidFile(dir / "out.aid"); });
  const __func_attr* w = reader.FindFuncItem("w");
  ASSERT_TRUE(w);
  EXPECT_TRUE(w->Stack == 8 && w->Scope == Weak && w->IsReplaceable);
  EXPECT_EQ(reader.FindMemItem("buf")->Size, 100);
  EXPECT_EQ(reader.functionMap.size() + reader.memoryMap.size(), 3u);
}

}  // namespace
