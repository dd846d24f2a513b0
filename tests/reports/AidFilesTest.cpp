// Aid files: reading them in a whole run, and writing the database back.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "source/FileParser.h"

namespace {

using namespace testutil;

// What a run prints from the first aid file on (the library stage before
// it has its own tests).
std::string FromAidFiles(const std::string& out) {
  const size_t start = out.find("Processing aid file");
  return start == std::string::npos ? out : out.substr(out.rfind('\n', start) + 1);  // npos + 1 is 0
}

// Runs the analyser on a folder with one empty assembly file and the given
// aid file; a libcAidFile.txt without records is read after it.
RunResult RunWithAid(const TempDir& dir, const std::string& content, bool gui = false, const std::string& aidPath = "") {
  WriteFile(dir / "src/empty.s", "");
  MakeDirs(dir / "out");
  WriteFile(dir / "my.aid", content);
  std::vector<std::string> args = {"--folder", dir / "src", "--aidfile", aidPath.empty() ? dir / "my.aid" : aidPath,
                                   "--outdir", dir / "out"};
  if (gui) args.insert(args.begin(), "--gui");
  RunResult result = RunAnalyserIsolated(args, dir);
  result.out = FromAidFiles(result.out);
  return result;
}

TEST(AidFiles, RecordsOfARun) {
  TempDir dir;
  auto r = RunWithAid(dir,
                      "// a comment\ncode foo 64 1\ncode;bar2;16;2;\n  code, baz ,32 ,1 extra tokens\r\ncode//;x;1;1;\n"
                      "data;buf;100;1;\ncode;pre;16;3;\n\n ;; \ncode;foo;1;1;\ndata;buf;5;1;\n",
                      true);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("22: Processing aid file " + dir / "my.aid\n13: Warning: Func item foo from Aid file already "
                        "exists\n13: Warning: Mem item buf from Aid file already exists\n22: Processing aid file ", 0),
            0u);
  EXPECT_TRUE(Has(r.out, "libcAidFile.txt\n"));

  std::string functions = ReadFile(dir / "out/VA_FunctionList.xml");
  EXPECT_TRUE(Has(functions, "<Key>foo</Key>\n\t<Name>foo</Name>\n\t<Mangled>foo</Mangled>\n\t<Path>From aiding file</Path>\n"
                             "\t<Stack>64</Stack>\n\t<CumStack>64</CumStack>\n\t<CumUserStack>64</CumUserStack>\n"
                             "\t<Status>1</Status>\n\t<Scope>1</Scope>\n\t<Branch>0</Branch>\n"));
  EXPECT_TRUE(Has(functions, "<Mangled>bar2</Mangled>\n\t<Path>From aiding file</Path>\n\t<Stack>16</Stack>\n"
                             "\t<CumStack>16</CumStack>\n\t<CumUserStack>16</CumUserStack>\n\t<Status>1</Status>\n"
                             "\t<Scope>2</Scope>\n"));
  // pre is a preset, not a record.
  EXPECT_TRUE(Has(functions, "<Key>baz</Key>") && !Has(functions, "<Key>x</Key>") && !Has(functions, "<Key>pre</Key>"));
  EXPECT_TRUE(Has(ReadFile(dir / "out/VA_MemoryList.xml"),
                  "<Key>buf</Key>\n\t\t<Name>buf</Name>\n\t\t<Mangled>buf</Mangled>\n\t\t<Path>From aiding file</Path>\n"
                  "\t\t<Size>100</Size>\n\t\t<Used>0</Used>\n\t\t<IsAid>1</IsAid>\n\t\t<Scope>1</Scope>\n"));
}

TEST(AidFiles, RejectedLinesStopTheRun) {
  TempDir dir;
  const std::string aid = dir / "my.aid", none = dir / "none.aid", folder = dir / "src";
  const std::string processing = "Error: Error processing line ";
  const struct { std::string content, path, out; } cases[] = {
      {"code;a1;8;1;\ncode;foo;64;\ncode;never;1;1;\n", "",
       "Error: Error parsing line 2 of aid file.\n" + processing + "2 of aid file: " + aid + "\n"},
      {"\n// c\nCODE;foo;64;1;\n", "", processing + "3 of aid file: " + aid + "\n"},
      {std::string("\x7f" "ELF\x01\x01\0\0code;z;1;1;", 19), "", processing + "1 of aid file: " + aid + "\n"},
      {"", none, "Error: Cannot open aid file " + none + "\n\n"},
      {"", folder, "Error: Cannot open aid file " + folder + "\n\n"},
  };
  for (const auto& c : cases) {
    auto r = RunWithAid(dir, c.content, false, c.path);
    EXPECT_EQ(r.out, "Processing aid file " + (c.path.empty() ? aid : c.path) + "\n" + c.out +
                         "Program aborted on error\n");
    EXPECT_EQ(r.status, 255);
  }
}

TEST(AidFiles, WrittenFileReadsBack) {
  TempDir dir;
  FileParser db;
  // Locals are left out.
  db.CreateFuncAttr("main", "main")->CumStack = 56;
  db.CreateFuncAttr("loc-of-a.s", "loc")->Scope = db.CreateMemAttr("s-of-a.s", "s")->Scope = Local;
  __func_attr* weak = db.CreateFuncAttr("w", "w");
  weak->Scope = Weak, weak->CumStack = 8;
  db.CreateMemAttr("buf", "buf")->Size = 100;
  std::vector<int> results;
  EXPECT_EQ(Captured([&] { results = {db.CreateAidFile(dir / "out.aid"), db.CreateAidFile(dir / "no/such/dir.aid")}; }),
            "Writing aid file " + dir / "out.aid" + "\nError: Unable to open file " +
                dir / "no/such/dir.aid" + " for output.\n");
  EXPECT_EQ(results, (std::vector<int>{0, -1}));
  EXPECT_EQ(ReadFile(dir / "out.aid"),
            "// *****************************************\n// \n// Format:\n"
            "// code;name;stacksize;binding;\n// data;name;memsize;binding;\n// \n"
            "// ******************************************\n"
            "code;main;56;1;\ncode;w;8;2;\ndata;buf;100;1;\n");

  FileParser reader;
  Captured([&] { reader.ProcessAidFile(dir / "out.aid"); });
  const __func_attr* w = reader.FindFuncItem("w");
  ASSERT_TRUE(w);
  EXPECT_TRUE(w->Stack == 8 && w->Scope == Weak && w->IsReplaceable && reader.FindMemItem("buf")->Size == 100);
  EXPECT_EQ(reader.functionMap.size() + reader.memoryMap.size(), 3u);
}

}  // namespace
